// The conversation view on screen: a text browser that keeps the exact HTML
// written to it and renders each finished chat line as a block of its own.
// One growing block would be laid out again on every message, which makes a
// long chat slower with each line; a block per line keeps the cost flat.
#pragma once

#include "platform/message_view.h"

#include <QTextBrowser>

namespace velmora {

class Desktop;

class HtmlMessageView : public QTextBrowser, public MessageView {
    Q_OBJECT
public:
    // Links open in the user's browser (or mail program).
    explicit HtmlMessageView(QWidget* parent = nullptr);
    // Links go to `desktop`, which must outlive the view.
    explicit HtmlMessageView(Desktop& desktop, QWidget* parent = nullptr);

    // Fragments collect until one ends a line (with "<br>" and a line break);
    // then the line is rendered.
    void write(const QString& fragment) override;
    void clear() override;
    // Also renders a line still waiting for its end, so a notice that does
    // not end like a chat line shows as soon as the view is scrolled to it.
    void scrollToEnd() override;
    [[nodiscard]] QString source() const override { return source_; }

    // Lines rendered since the last clear().
    [[nodiscard]] int renderedLines() const { return renderedLines_; }

private:
    void setUp();
    void renderPending();

    QString source_;
    QString pending_;
    int renderedLines_ = 0;
};

} // namespace velmora

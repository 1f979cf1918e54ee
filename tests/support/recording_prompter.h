// A Prompter that shows nothing: it records every box and answers from a
// script, so a test sees each box's exact text, style, title and owner.
#pragma once

#include "platform/prompter.h"

#include <QList>
#include <QPointer>
#include <QQueue>
#include <QString>
#include <QWidget>

#include <functional>

namespace velmora::test {

struct ShownBox {
    QString text;
    int style = 0;
    QString title;
    QPointer<QWidget> owner;
};

class RecordingPrompter : public Prompter {
public:
    // Without a scripted answer a box gets its first button: OK, or Yes.
    int show(const QString& text, int style, const QString& title, QWidget* owner) override;
    void beep() override { ++beeps_; }

    void queueAnswer(int answer) { answers_.enqueue(answer); }
    // Runs while a box is "on screen", before it is answered: what a user
    // could do (or what could arrive) while the box waits.
    void onShow(std::function<void(const ShownBox&)> action) { onShow_ = std::move(action); }

    [[nodiscard]] const QList<ShownBox>& boxes() const { return boxes_; }
    [[nodiscard]] QStringList texts() const;
    [[nodiscard]] int beeps() const { return beeps_; }
    void reset();

private:
    QList<ShownBox> boxes_;
    QQueue<int> answers_;
    std::function<void(const ShownBox&)> onShow_;
    int beeps_ = 0;
};

} // namespace velmora::test

// The desktop around the client on a real screen: the user's browser,
// sound output, a help window and window activation.
#pragma once

#include "platform/desktop.h"

#include <QObject>
#include <QPointer>
#include <QTextBrowser>

class QTextBrowser;

namespace velmora {

class QtDesktop : public QObject, public Desktop {
    Q_OBJECT
public:
    explicit QtDesktop(QObject* parent = nullptr);
    ~QtDesktop() override;
    QtDesktop(const QtDesktop&) = delete;
    QtDesktop& operator=(const QtDesktop&) = delete;

    void openUrl(const QString& url) override;
    // Plays without waiting; a file that is missing or not a sound plays
    // nothing and reports nothing.
    void playSound(const QString& wavPath) override;
    // One help window, reused: a later call shows the new topic in it.
    void showHelp(const QString& helpPath, const QString& topic, QWidget* owner) override;
    void bringToFront(QWidget* window) override;
    [[nodiscard]] bool hasSystemTray() const override;

    // The help window while it is open.
    [[nodiscard]] QTextBrowser* helpWindow() const { return help_; }

private:
    QPointer<QTextBrowser> help_;
};

} // namespace velmora

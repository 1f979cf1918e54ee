// The desktop around the client on a real screen: the user's browser,
// sound output, a help window, window activation and notifications.
#pragma once

#include "platform/dbus_notifications.h"
#include "platform/desktop.h"
#include "platform/secret_keychain.h"

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
    void notify(const QString& title, const QString& body, std::function<void()> activated,
                std::function<void()> unavailable) override;
    [[nodiscard]] Keychain& keychain() override { return keychain_; }

    // The help window while it is open.
    [[nodiscard]] QTextBrowser* helpWindow() const { return help_; }

private:
    QPointer<QTextBrowser> help_;
    DbusNotifications notifications_;
    SecretKeychain keychain_;
};

} // namespace velmora

// What the client asks of the desktop around it: web pages, sounds, help,
// bringing a window to the front, notifications, the keychain, and whether
// it shows tray icons.
#pragma once

#include <QString>

#include <functional>

class QWidget;

namespace velmora {

class Keychain;

class Desktop {
public:
    virtual ~Desktop() = default;
    virtual void openUrl(const QString& url) = 0;
    virtual void playSound(const QString& wavPath) = 0;
    // Shows `topic` of the help found at `helpPath` (a folder of HTML pages).
    virtual void showHelp(const QString& helpPath, const QString& topic, QWidget* owner) = 0;
    virtual void bringToFront(QWidget* window) = 0;
    // Whether the desktop shows tray icons now; without one, a hidden window
    // could not be brought back.
    [[nodiscard]] virtual bool hasSystemTray() const = 0;
    // A notification beside the windows: `activated` runs when the user
    // clicks it. Where the desktop has no notification service nothing is
    // shown and `unavailable` runs instead (perhaps later), so the caller can
    // use its tray.
    virtual void notify(const QString& title, const QString& body, std::function<void()> activated,
                        std::function<void()> unavailable) = 0;
    [[nodiscard]] virtual Keychain& keychain() = 0;
};

} // namespace velmora

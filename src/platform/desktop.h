// What the client asks of the desktop around it: web pages, sounds, help and
// bringing a window to the front, and whether it shows tray icons.
#pragma once

#include <QString>

class QWidget;

namespace velmora {

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
};

} // namespace velmora

// What the client asks of the desktop around it: web pages, sounds, help and
// bringing a window to the front.
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
};

} // namespace velmora

#include "platform/qt_desktop.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QSoundEffect>
#include <QSystemTrayIcon>
#include <QTextBrowser>
#include <QUrl>
#include <QWidget>

namespace velmora {

QtDesktop::QtDesktop(QObject* parent) : QObject(parent) {}

QtDesktop::~QtDesktop() {
    delete help_.data();
}

void QtDesktop::openUrl(const QString& url) {
    QDesktopServices::openUrl(QUrl(url, QUrl::TolerantMode));
}

void QtDesktop::playSound(const QString& wavPath) {
    if (!QFileInfo(wavPath).isFile()) {
        return;
    }
    // Each sound lives until it has played (or failed to load), so sounds
    // started close together overlap instead of cutting each other off.
    auto* effect = new QSoundEffect(this);
    connect(effect, &QSoundEffect::playingChanged, effect, [effect] {
        if (!effect->isPlaying()) {
            effect->deleteLater();
        }
    });
    connect(effect, &QSoundEffect::statusChanged, effect, [effect] {
        if (effect->status() == QSoundEffect::Error) {
            effect->deleteLater();
        }
    });
    effect->setSource(QUrl::fromLocalFile(wavPath));
    effect->play();
}

void QtDesktop::showHelp(const QString& helpPath, const QString& topic, QWidget* owner) {
    if (!help_) {
        help_ = new QTextBrowser(owner);
        help_->setWindowFlag(Qt::Window);
        help_->setAttribute(Qt::WA_DeleteOnClose);
        help_->setObjectName(QStringLiteral("helpWindow"));
        help_->setOpenExternalLinks(true);
        help_->resize(640, 480);
        connect(help_, &QTextBrowser::sourceChanged, help_,
                [browser = help_.data()] { browser->setWindowTitle(browser->documentTitle()); });
    }
    help_->setSearchPaths({helpPath});
    help_->setSource(QUrl(topic));
    bringToFront(help_);
}

void QtDesktop::bringToFront(QWidget* window) {
    if (!window) {
        return;
    }
    window->show();
    window->raise();
    window->activateWindow();
}

bool QtDesktop::hasSystemTray() const {
    return QSystemTrayIcon::isSystemTrayAvailable();
}

void QtDesktop::notify(const QString& title, const QString& body, std::function<void()> activated,
                       std::function<void()> unavailable) {
    notifications_.show(title, body, std::move(activated), std::move(unavailable));
}

} // namespace velmora

// A Desktop that records each call instead of opening pages, playing sounds
// or moving windows.
#pragma once

#include "platform/desktop.h"

#include <QList>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QWidget>

namespace velmora::test {

struct HelpCall {
    QString helpPath;
    QString topic;
    QPointer<QWidget> owner;
};

class RecordingDesktop : public Desktop {
public:
    void openUrl(const QString& url) override { urls_.append(url); }
    void playSound(const QString& wavPath) override { sounds_.append(wavPath); }
    void showHelp(const QString& helpPath, const QString& topic, QWidget* owner) override;
    void bringToFront(QWidget* window) override { broughtToFront_.append(window); }

    [[nodiscard]] const QStringList& urls() const { return urls_; }
    [[nodiscard]] const QStringList& sounds() const { return sounds_; }
    [[nodiscard]] const QList<HelpCall>& helpCalls() const { return helpCalls_; }
    [[nodiscard]] const QList<QPointer<QWidget>>& broughtToFront() const { return broughtToFront_; }
    void reset();

private:
    QStringList urls_;
    QStringList sounds_;
    QList<HelpCall> helpCalls_;
    QList<QPointer<QWidget>> broughtToFront_;
};

} // namespace velmora::test

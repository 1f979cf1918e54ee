// What the client benchmarks run a Client with: no display unless one is
// asked for, and a prompter and desktop that show nothing. A box would spoil
// a figure, so it is printed to stderr and counted.
#pragma once

#include "platform/desktop.h"
#include "platform/keychain.h"
#include "platform/prompter.h"

#include <QtGlobal>

#include <cstdio>

namespace velmora::bench {

class SilentPrompter : public Prompter {
public:
    int show(const QString& text, int, const QString&, QWidget*) override {
        std::fprintf(stderr, "box: %s\n", qPrintable(text));
        ++boxes;
        return answer::kOk;
    }
    void beep() override {}
    int boxes = 0;
};

class SilentDesktop : public Desktop {
public:
    void openUrl(const QString&) override {}
    void playSound(const QString&) override {}
    void showHelp(const QString&, const QString&, QWidget*) override {}
    void bringToFront(QWidget*) override {}
    [[nodiscard]] bool hasSystemTray() const override { return false; }
    void notify(const QString&, const QString&, std::function<void()>,
                std::function<void()>) override {}
    [[nodiscard]] Keychain& keychain() override { return keychain_; }

private:
    // Nothing is ever saved while measuring.
    class NoKeychain : public Keychain {
    public:
        Result read(const QString&, QString&) override { return Result::Unavailable; }
        Result write(const QString&, const QString&) override { return Result::Unavailable; }
        Result remove(const QString&) override { return Result::Unavailable; }
    } keychain_;
};

// Called before the QApplication is made.
inline void preferOffscreen() {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
}

} // namespace velmora::bench

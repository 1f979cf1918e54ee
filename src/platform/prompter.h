// Message boxes and the system beep. Every box of the client goes through a
// Prompter so that tests can script the answers and see each box shown.
#pragma once

#include <QString>

class QWidget;

namespace velmora {

// Box styles as the client uses them (the classic message-box flag values).
namespace style {
inline constexpr int kOk = 0;
inline constexpr int kYesNoQuestion = 36; // question icon, Yes and No
inline constexpr int kExclamation = 48;   // exclamation icon, OK
inline constexpr int kSystemInfo = 4160;  // information icon, system-modal, OK
} // namespace style

// Button results.
namespace answer {
inline constexpr int kOk = 1;
inline constexpr int kCancel = 2;
inline constexpr int kAbort = 3;
inline constexpr int kRetry = 4;
inline constexpr int kIgnore = 5;
inline constexpr int kYes = 6;
inline constexpr int kNo = 7;
} // namespace answer

class Prompter {
public:
    virtual ~Prompter() = default;
    // Shows a box with exactly this text, style and title and returns the
    // button pressed. An empty title is replaced by the caller (showMessage).
    virtual int show(const QString& text, int style, const QString& title, QWidget* owner) = 0;
    virtual void beep() = 0;
};

} // namespace velmora

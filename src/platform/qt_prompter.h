// Message boxes on screen. The style is the classic flag word: buttons in
// the low bits (0 OK, 1 OK/Cancel, 2 Abort/Retry/Ignore, 3 Yes/No/Cancel,
// 4 Yes/No, 5 Retry/Cancel), the icon in 16..64, the default button in
// 256/512, the modality in 4096/8192.
#pragma once

#include "platform/prompter.h"

namespace velmora {

class QtPrompter : public Prompter {
public:
    int show(const QString& text, int style, const QString& title, QWidget* owner) override;
    void beep() override;
};

} // namespace velmora

#include "support/recording_prompter.h"

namespace velmora::test {

namespace {

int firstButton(int style) {
    switch (style & 0x7) {
    case 2:
        return answer::kAbort;
    case 3:
    case 4:
        return answer::kYes;
    case 5:
        return answer::kRetry;
    default:
        return answer::kOk;
    }
}

} // namespace

int RecordingPrompter::show(const QString& text, int style, const QString& title, QWidget* owner) {
    ShownBox box{text, style, title, owner};
    boxes_.append(box);
    if (onShow_) {
        onShow_(box);
    }
    return answers_.isEmpty() ? firstButton(style) : answers_.dequeue();
}

QStringList RecordingPrompter::texts() const {
    QStringList texts;
    for (const ShownBox& box : boxes_) {
        texts.append(box.text);
    }
    return texts;
}

void RecordingPrompter::reset() {
    boxes_.clear();
    answers_.clear();
    beeps_ = 0;
}

} // namespace velmora::test

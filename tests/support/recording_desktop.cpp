#include "support/recording_desktop.h"

namespace velmora::test {

void RecordingDesktop::showHelp(const QString& helpPath, const QString& topic, QWidget* owner) {
    helpCalls_.append(HelpCall{helpPath, topic, owner});
}

void RecordingDesktop::reset() {
    urls_.clear();
    sounds_.clear();
    helpCalls_.clear();
    broughtToFront_.clear();
}

} // namespace velmora::test

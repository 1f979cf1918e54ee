#include "messaging/chat_input.h"

#include "session/space_mark.h"

namespace velmora {

QString typedText(QString text) {
    text = marksToSpaces(text);
    while (text.contains(QLatin1StringView("  "))) {
        text.replace(QLatin1StringView("  "), QLatin1StringView(" "));
    }
    return text;
}

QString wireText(QString text) {
    text.replace(QLatin1StringView("\r\n"), QLatin1StringView("\n"));
    text.replace(QLatin1StringView("\n"), QLatin1StringView("\r\n"));
    text = spacesToMarks(text);
    return text;
}

} // namespace velmora

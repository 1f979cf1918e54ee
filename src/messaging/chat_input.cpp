#include "messaging/chat_input.h"

namespace velmora {

QString typedText(QString text) {
    text.replace(QLatin1StringView("%%"), QLatin1StringView(" "));
    while (text.contains(QLatin1StringView("  "))) {
        text.replace(QLatin1StringView("  "), QLatin1StringView(" "));
    }
    return text;
}

QString wireText(QString text) {
    text.replace(QLatin1StringView("\r\n"), QLatin1StringView("\n"));
    text.replace(QLatin1StringView("\n"), QLatin1StringView("\r\n"));
    text.replace(QLatin1Char(' '), QLatin1StringView("%%"));
    return text;
}

} // namespace velmora

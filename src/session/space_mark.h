// Spaces inside a relayed text travel as a mark; the windows turn them back
// into spaces to show them, and the formatter splits a message at them.
#pragma once

#include "protocol/wire.h"

#include <QLatin1StringView>
#include <QString>

namespace velmora {

[[nodiscard]] inline QLatin1StringView spaceMark() {
    return QLatin1StringView(protocol::kSpaceMark.data(),
                             static_cast<qsizetype>(protocol::kSpaceMark.size()));
}

// The text with each space written as the mark.
[[nodiscard]] inline QString spacesToMarks(QString text) {
    return text.replace(QLatin1Char(' '), spaceMark());
}

// The text with each mark shown as a space.
[[nodiscard]] inline QString marksToSpaces(QString text) {
    return text.replace(spaceMark(), QLatin1StringView(" "));
}

} // namespace velmora

// The input box of the chat windows: what a typed message becomes on the
// wire.
#pragma once

#include <QString>

namespace velmora {

// Typed "%%" is the space marker of the wire form, so it is taken as a space;
// runs of spaces shrink to one.
[[nodiscard]] QString typedText(QString text);

// The wire form of typed text: CR LF line breaks (the input box breaks lines
// with "\n") and every space as "%%".
[[nodiscard]] QString wireText(QString text);

} // namespace velmora

// The input box of the message windows: what a typed message becomes on the
// wire, and the box's font and style letters as the font toolbar sets them.
#pragma once

#include <QString>

class QPlainTextEdit;

namespace velmora {

class FontToolbar;

// Typed "%%" is the space marker of the wire form, so it is taken as a space;
// runs of spaces shrink to one.
[[nodiscard]] QString typedText(QString text);

// The wire form of typed text: CR LF line breaks (the input box breaks lines
// with "\n") and every space as "%%".
[[nodiscard]] QString wireText(QString text);

// The style letters of the toolbar's toggles, "B", "I", "U" in that order.
[[nodiscard]] QString styleLetters(const FontToolbar& toolbar);

// Shows the input box in the toolbar's font. A size outside
// [minSize, maxSize] (one still being typed) keeps the last usable one.
void applyToolbarFont(QPlainTextEdit& input, const FontToolbar& toolbar, double minSize,
                      double maxSize);

} // namespace velmora

// Numbers kept as text (settings values, positions, counts) are converted
// the way the client always has: blanks around the number are ignored, the
// decimal point is '.', and halves round to the even whole number. Text that
// is not a number raises the type-mismatch error (13); a number that does not
// fit the type raises the overflow error (6).
#pragma once

#include <QString>
#include <QtGlobal>

namespace velmora::number_text {

[[nodiscard]] double toDouble(const QString& text);
[[nodiscard]] qint16 toInt16(const QString& text);
[[nodiscard]] qint32 toInt32(const QString& text);
// "True" / "False" in any case, or a number (non-zero is true).
[[nodiscard]] bool toBool(const QString& text);

} // namespace velmora::number_text

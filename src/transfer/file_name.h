// Names of files that come from elsewhere: an offered name becomes a plain
// name that can only ever mean a file inside the folder it is saved in.
#pragma once

#include <QString>

namespace velmora {

// The last part of `offered` (after "/" or "\"), without control characters,
// protocol separators or characters other systems forbid in names, without
// leading dots or spaces and trailing dots or spaces; a device name of
// Windows gets "_" in front; nothing left gives "file"; at most 255 bytes of
// UTF-8, keeping the extension where it can.
[[nodiscard]] QString plainFileName(const QString& offered);

// `name` if no file of that name is in `folder`, else the first free
// "name (1).ext", "name (2).ext" …
[[nodiscard]] QString freeFileName(const QString& folder, const QString& name);

} // namespace velmora

// INI files with the semantics the client's settings rely on: a 128-character
// read buffer (values cut to 127), an empty value distinct from a missing key,
// section and key names compared ignoring case, and everything else in the
// file kept as it was when one key is written.
#pragma once

#include <QString>

namespace velmora::IniFile {

// A missing key, section or file gives `defaultValue` (also cut to 127).
[[nodiscard]] QString read(const QString& section, const QString& key,
                           const QString& defaultValue, const QString& path);

// Creates the file, section and key as needed. False when the file cannot be
// written; callers may ignore it.
bool write(const QString& section, const QString& key, const QString& value,
           const QString& path);

} // namespace velmora::IniFile

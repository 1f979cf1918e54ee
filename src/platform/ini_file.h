// INI files with the semantics the client's settings rely on: a 128-character
// read buffer (values cut to 127), an empty value distinct from a missing key,
// section and key names compared ignoring case, and everything else in the
// file kept as it was when one key is written.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <optional>

namespace velmora::IniFile {

// A missing key, section or file gives `defaultValue` (also cut to 127, and
// without its trailing blanks). A key present with an empty value gives "".
// Values lose the blanks around them and one pair of matching quotes.
[[nodiscard]] QString read(const QString& section, const QString& key, const QString& defaultValue,
                           const QString& path);

// Creates the file, section and key as needed; every other byte of the file
// stays as it was. The file is replaced in one step, so a crash leaves either
// the old file or the new one. A line break in `value` ends it, so a value
// can never add keys. False when the file cannot be read or written; callers
// may ignore it.
bool write(const QString& section, const QString& key, const QString& value, const QString& path);

// The file as read and indexed once, for callers that read many keys in a
// row (a server list of thousands of entries stays one pass over the file).
class Snapshot {
public:
    // An unreadable or missing file is an empty one.
    [[nodiscard]] static Snapshot load(const QString& path);
    explicit Snapshot(const QByteArray& bytes);

    [[nodiscard]] QString read(const QString& section, const QString& key,
                               const QString& defaultValue) const;

private:
    // Case-folded section name -> case-folded key name -> value, for the
    // first section and the first key of each name; no value for a key
    // line without '='.
    QHash<QString, QHash<QString, std::optional<QString>>> sections_;
};

} // namespace velmora::IniFile

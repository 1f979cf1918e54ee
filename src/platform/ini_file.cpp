#include "platform/ini_file.h"

#include <QFile>
#include <QList>
#include <QSaveFile>

#include <optional>

namespace velmora::IniFile {

namespace {

// The read buffer holds 128 characters including the terminator.
constexpr qsizetype kMaxValueLength = 127;

bool isBlank(char c) {
    // Ctrl-Z counts as a blank: old editors ended text files with it.
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f' || c == '\x1a';
}

// One line of the file, by byte offsets: [begin, end) is the line without
// surrounding blanks, `next` the start of the following line.
struct Line {
    enum class Kind { Blank, Section, Key };
    Kind kind = Kind::Blank;
    QString name;          // section or key name, as compared
    bool hasValue = false; // a key line with '='
    bool comment = false;  // a key line starting with ';'
    qsizetype begin = 0;
    qsizetype end = 0;
    qsizetype valueBegin = 0; // first byte of the value (after '=' and blanks)
    qsizetype next = 0;
    bool terminated = false; // ends with '\n'
};

QString decode(const QByteArray& bytes, qsizetype from, qsizetype to) {
    return QString::fromUtf8(bytes.constData() + from, to - from);
}

QList<Line> parse(const QByteArray& bytes) {
    QList<Line> lines;
    qsizetype pos = bytes.startsWith("\xEF\xBB\xBF") ? 3 : 0;
    while (pos < bytes.size()) {
        Line line;
        const qsizetype newline = bytes.indexOf('\n', pos);
        const qsizetype lineEnd = newline < 0 ? bytes.size() : newline;
        line.terminated = newline >= 0;
        line.next = newline < 0 ? bytes.size() : newline + 1;
        qsizetype b = pos;
        qsizetype e = lineEnd;
        while (b < e && isBlank(bytes[b])) {
            ++b;
        }
        while (e > b && isBlank(bytes[e - 1])) {
            --e;
        }
        line.begin = b;
        line.end = e;
        pos = line.next;
        if (b == e) {
            lines.append(line);
            continue;
        }
        if (bytes[b] == '[') {
            // The name runs to the last ']' of the line, blanks included.
            const qsizetype close = bytes.lastIndexOf(']', e - 1);
            if (close > b) {
                line.kind = Line::Kind::Section;
                line.name = decode(bytes, b + 1, close);
                lines.append(line);
                continue;
            }
        }
        line.kind = Line::Kind::Key;
        line.comment = bytes[b] == ';';
        const qsizetype equals = bytes.indexOf('=', b);
        if (equals < 0 || equals >= e) {
            line.name = decode(bytes, b, e);
        } else {
            qsizetype nameEnd = equals;
            while (nameEnd > b && isBlank(bytes[nameEnd - 1])) {
                --nameEnd;
            }
            line.name = decode(bytes, b, nameEnd);
            line.hasValue = true;
            line.valueBegin = equals + 1;
            while (line.valueBegin < e && isBlank(bytes[line.valueBegin])) {
                ++line.valueBegin;
            }
        }
        lines.append(line);
    }
    return lines;
}

bool sameName(const QString& a, const QString& b) {
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

// Where a section and a key stand in the file. Only the first section of a
// name is ever looked at, and in it the first key of a name.
struct Place {
    std::optional<qsizetype> section; // index of the header line
    std::optional<qsizetype> key;     // index of the key line
    qsizetype lastEntry = -1;         // last line a new key goes after
};

Place locate(const QList<Line>& lines, const QString& section, const QString& key) {
    Place place;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const Line& line = lines[i];
        if (!place.section) {
            if (line.kind == Line::Kind::Section && sameName(line.name, section)) {
                place.section = i;
                place.lastEntry = i;
            }
            continue;
        }
        if (line.kind == Line::Kind::Section) {
            break;
        }
        if (line.kind == Line::Kind::Key && !line.comment) {
            place.lastEntry = i;
            if (!place.key && sameName(line.name, key)) {
                place.key = i;
            }
        }
    }
    return place;
}

QString cutToBuffer(QString text) {
    if (text.size() > kMaxValueLength) {
        text.truncate(kMaxValueLength);
        if (text.back().isHighSurrogate()) {
            text.chop(1);
        }
    }
    return text;
}

QString givenDefault(QString defaultValue) {
    // Trailing blanks of a default never reach the caller.
    while (defaultValue.endsWith(QLatin1Char(' '))) {
        defaultValue.chop(1);
    }
    return cutToBuffer(defaultValue);
}

QString unquoted(const QString& value) {
    if (value.size() >= 2 &&
        (value.front() == QLatin1Char('"') || value.front() == QLatin1Char('\'')) &&
        value.back() == value.front()) {
        return value.mid(1, value.size() - 2);
    }
    return value;
}

// Bytes of the file, or nothing when it exists but cannot be read. A missing
// file reads as empty.
std::optional<QByteArray> readBytes(const QString& path) {
    QFile file(path);
    if (!file.exists()) {
        return QByteArray();
    }
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    return file.readAll();
}

QByteArray lineBreakOf(const QByteArray& bytes) {
    const qsizetype newline = bytes.indexOf('\n');
    if (newline < 0) {
#ifdef Q_OS_WIN
        return QByteArrayLiteral("\r\n");
#else
        return QByteArrayLiteral("\n");
#endif
    }
    return newline > 0 && bytes[newline - 1] == '\r' ? QByteArrayLiteral("\r\n")
                                                     : QByteArrayLiteral("\n");
}

QByteArray withKey(QByteArray bytes, const QString& section, const QString& key,
                   const QByteArray& value) {
    const QList<Line> lines = parse(bytes);
    const Place place = locate(lines, section, key);
    const QByteArray lineBreak = lineBreakOf(bytes);
    if (place.key) {
        const Line& line = lines[*place.key];
        if (line.hasValue) {
            return bytes.replace(line.valueBegin, line.end - line.valueBegin, value);
        }
        return bytes.insert(line.end, '=' + value);
    }
    const QByteArray entry = key.toUtf8() + '=' + value + lineBreak;
    if (place.section) {
        const Line& after = lines[place.lastEntry];
        return bytes.insert(after.next, after.terminated ? entry : lineBreak + entry);
    }
    if (!bytes.isEmpty() && !bytes.endsWith('\n')) {
        bytes += lineBreak;
    }
    return bytes + '[' + section.toUtf8() + ']' + lineBreak + entry;
}

} // namespace

Snapshot Snapshot::load(const QString& path) {
    return Snapshot(readBytes(path).value_or(QByteArray()));
}

Snapshot::Snapshot(const QByteArray& bytes) {
    QHash<QString, std::optional<QString>>* current = nullptr;
    for (const Line& line : parse(bytes)) {
        if (line.kind == Line::Kind::Section) {
            // A later section of the same name is never looked at.
            const QString name = line.name.toCaseFolded();
            current = sections_.contains(name) ? nullptr : &sections_[name];
        } else if (line.kind == Line::Kind::Key && current && !line.comment) {
            const QString name = line.name.toCaseFolded();
            if (!current->contains(name)) {
                current->insert(name, line.hasValue ? std::optional<QString>(
                                                          decode(bytes, line.valueBegin, line.end))
                                                    : std::nullopt);
            }
        }
    }
}

QString Snapshot::read(const QString& section, const QString& key,
                       const QString& defaultValue) const {
    const QString wantedKey = key.trimmed();
    const auto keys = sections_.constFind(section.trimmed().toCaseFolded());
    if (wantedKey.isEmpty() || keys == sections_.constEnd()) {
        return givenDefault(defaultValue);
    }
    const auto value = keys->constFind(wantedKey.toCaseFolded());
    if (value == keys->constEnd() || !value->has_value()) {
        return givenDefault(defaultValue);
    }
    return cutToBuffer(unquoted(**value));
}

QString read(const QString& section, const QString& key, const QString& defaultValue,
             const QString& path) {
    return Snapshot::load(path).read(section, key, defaultValue);
}

bool write(const QString& section, const QString& key, const QString& value, const QString& path) {
    const QString wantedKey = key.trimmed();
    if (wantedKey.isEmpty()) {
        return false;
    }
    const std::optional<QByteArray> bytes = readBytes(path);
    if (!bytes) {
        // Writing over a file we could not read would lose its content.
        return false;
    }
    qsizetype lineBreak = value.indexOf(QLatin1Char('\n'));
    const qsizetype carriageReturn = value.indexOf(QLatin1Char('\r'));
    if (carriageReturn >= 0 && (lineBreak < 0 || carriageReturn < lineBreak)) {
        lineBreak = carriageReturn;
    }
    const QByteArray valueBytes = value.left(lineBreak < 0 ? value.size() : lineBreak).toUtf8();

    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return false;
    }
    file.write(withKey(*bytes, section.trimmed(), wantedKey, valueBytes));
    return file.commit();
}

} // namespace velmora::IniFile

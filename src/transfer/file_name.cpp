#include "transfer/file_name.h"

#include "protocol/transfer.h"
#include "protocol/wire.h"

#include <QDir>
#include <QFileInfo>
#include <QStringList>

namespace velmora {

namespace {

bool isControl(QChar c) {
    const char16_t u = c.unicode();
    return u < 0x20 || (u >= 0x7F && u <= 0x9F) || c.category() == QChar::Other_Format;
}

// Names Windows keeps for devices, whatever extension follows.
bool isDeviceName(const QString& name) {
    const QString base = name.section(QLatin1Char('.'), 0, 0).trimmed().toUpper();
    static const QStringList kPlain = {QStringLiteral("CON"), QStringLiteral("PRN"),
                                       QStringLiteral("AUX"), QStringLiteral("NUL")};
    if (kPlain.contains(base)) {
        return true;
    }
    return base.size() == 4 &&
           (base.startsWith(QLatin1String("COM")) || base.startsWith(QLatin1String("LPT"))) &&
           base[3] >= QLatin1Char('1') && base[3] <= QLatin1Char('9');
}

// Drops whole characters from the end of `text` until it fits in `limit`
// bytes of UTF-8.
QString cutToBytes(QString text, qsizetype limit) {
    while (!text.isEmpty() && text.toUtf8().size() > limit) {
        text.chop(text.size() >= 2 && text.back().isLowSurrogate() ? 2 : 1);
    }
    return text;
}

QString trimDotsAndSpaces(QString name) {
    auto edge = [](QChar c) { return c == QLatin1Char('.') || c.isSpace(); };
    while (!name.isEmpty() && edge(name.front())) {
        name.remove(0, 1);
    }
    while (!name.isEmpty() && edge(name.back())) {
        name.chop(1);
    }
    return name;
}

} // namespace

QString plainFileName(const QString& offered) {
    QString name = offered;
    const qsizetype slash =
        std::max(name.lastIndexOf(QLatin1Char('/')), name.lastIndexOf(QLatin1Char('\\')));
    name = name.mid(slash + 1);
    QString kept;
    for (const QChar c : std::as_const(name)) {
        if (!isControl(c)) {
            kept += QStringLiteral("<>:\"|?*").contains(c) ? QLatin1Char('_') : c;
        }
    }
    for (const std::string_view separator : protocol::kSeparators) {
        kept.replace(QString::fromUtf8(separator.data(), static_cast<qsizetype>(separator.size())),
                     QStringLiteral("_"));
    }
    name = trimDotsAndSpaces(kept);
    if (isDeviceName(name)) {
        name.prepend(QLatin1Char('_'));
    }
    if (name.isEmpty()) {
        return QStringLiteral("file");
    }
    const auto limit = static_cast<qsizetype>(protocol::transfer::kMaxNameBytes);
    if (name.toUtf8().size() > limit) {
        const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
        const QString ext = dot > 0 && name.size() - dot <= 16 ? name.mid(dot) : QString();
        name = trimDotsAndSpaces(
                   cutToBytes(name.left(name.size() - ext.size()), limit - ext.toUtf8().size())) +
               ext;
    }
    return name;
}

QString freeFileName(const QString& folder, const QString& name) {
    const QDir dir(folder);
    if (!QFileInfo::exists(dir.filePath(name))) {
        return name;
    }
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    const QString base = dot > 0 ? name.left(dot) : name;
    const QString ext = dot > 0 ? name.mid(dot) : QString();
    for (int i = 1;; ++i) {
        const QString candidate =
            base + QStringLiteral(" (") + QString::number(i) + QLatin1Char(')') + ext;
        if (!QFileInfo::exists(dir.filePath(candidate))) {
            return candidate;
        }
    }
}

} // namespace velmora

#include "platform/number_text.h"

#include "platform/app_error.h"

#include <QLocale>
#include <QRegularExpression>

#include <cmath>
#include <limits>

namespace velmora::number_text {

namespace {

constexpr int kOverflow = 6;

QString errorSource() {
    return QStringLiteral("Velmora");
}

[[noreturn]] void raiseOverflow() {
    throw AppError(kOverflow, errorSource(), QStringLiteral("Overflow"));
}

template <typename Int> Int toWhole(const QString& text) {
    // Halves go to the even neighbour (2.5 -> 2, 3.5 -> 4), as the client's
    // conversions always did; std::nearbyint does that in the default mode.
    const double rounded = std::nearbyint(toDouble(text));
    if (rounded < static_cast<double>(std::numeric_limits<Int>::min()) ||
        rounded > static_cast<double>(std::numeric_limits<Int>::max())) {
        raiseOverflow();
    }
    return static_cast<Int>(rounded);
}

} // namespace

double toDouble(const QString& text) {
    // Checked by pattern first: QLocale also takes "inf", "nan" and
    // group separators, none of which is a number here.
    static const QRegularExpression number(
        QStringLiteral(R"(^[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?$)"));
    const QString trimmed = text.trimmed();
    if (!number.match(trimmed).hasMatch()) {
        raiseTypeMismatch(errorSource());
    }
    bool ok = false;
    const double value = QLocale::c().toDouble(trimmed, &ok);
    if (!ok || !std::isfinite(value)) {
        raiseOverflow();
    }
    return value;
}

qint16 toInt16(const QString& text) {
    return toWhole<qint16>(text);
}

qint32 toInt32(const QString& text) {
    return toWhole<qint32>(text);
}

bool toBool(const QString& text) {
    const QString trimmed = text.trimmed();
    if (trimmed.compare(QLatin1String("True"), Qt::CaseInsensitive) == 0) {
        return true;
    }
    if (trimmed.compare(QLatin1String("False"), Qt::CaseInsensitive) == 0) {
        return false;
    }
    return toDouble(trimmed) != 0.0;
}

} // namespace velmora::number_text

#include "controls/image_list.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace velmora::images {

namespace {

// A small person: head and shoulders in the presence colour.
QPixmap person(const QColor& fill, int size) {
    QPixmap pm(size, size);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(fill.darker(160), size / 16.0));
    p.setBrush(fill);
    const double s = size;
    p.drawEllipse(QRectF(s * 0.32, s * 0.06, s * 0.36, s * 0.36));
    QPainterPath body;
    body.moveTo(s * 0.12, s * 0.94);
    body.cubicTo(s * 0.12, s * 0.52, s * 0.88, s * 0.52, s * 0.88, s * 0.94);
    body.closeSubpath();
    p.drawPath(body);
    return pm;
}

// Two people side by side for a group of buddies.
QPixmap group(const QColor& fill, int size) {
    QPixmap pm(size, size);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    const QPixmap back = person(fill.lighter(130), size * 3 / 4);
    const QPixmap front = person(fill, size * 3 / 4);
    p.drawPixmap(size / 4, 0, back);
    p.drawPixmap(0, size / 4, front);
    return pm;
}

QPixmap trayBadge(const QColor& fill, int size) {
    QPixmap pm(size, size);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    QRadialGradient g(size * 0.35, size * 0.35, size * 0.6);
    g.setColorAt(0, fill.lighter(170));
    g.setColorAt(1, fill);
    p.setBrush(g);
    p.setPen(QPen(fill.darker(170), 1));
    p.drawEllipse(QRectF(1, 1, size - 2, size - 2));
    p.setPen(QPen(Qt::white, size / 8.0));
    p.setFont(QFont(QStringLiteral("DejaVu Sans"), size / 2, QFont::Bold));
    p.drawText(QRectF(0, 0, size, size), Qt::AlignCenter, QStringLiteral("V"));
    return pm;
}

const QColor kOnline(0x2e, 0xa0, 0x43);
const QColor kOffline(0x9a, 0x9a, 0x9a);

} // namespace

QIcon mainImage(int index) {
    constexpr int kSize = 32;
    switch (index) {
    case kOnlineGroup:
        return QIcon(group(kOnline, kSize));
    case kOfflineGroup:
        return QIcon(group(kOffline, kSize));
    case kOnlineBuddy:
        return QIcon(person(kOnline, kSize));
    case kOfflineBuddy:
        return QIcon(person(kOffline, kSize));
    case kTrayOnline:
        return QIcon(trayBadge(kOnline, kSize));
    case kTrayOffline:
        return QIcon(trayBadge(kOffline, kSize));
    default:
        return QIcon();
    }
}

} // namespace velmora::images

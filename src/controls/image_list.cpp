#include "controls/image_list.h"

#include "platform/painted_icon.h"

#include <QPainter>
#include <QPainterPath>

namespace velmora::images {

namespace {

// The pictures are drawn on a square of this side and scaled to each size
// and pixel ratio asked for.
constexpr double kDesign = 32;

// A small person: head and shoulders in the presence colour, on a square of
// side `s` at the painter's origin.
void person(QPainter& p, const QColor& fill, double s) {
    p.setPen(QPen(fill.darker(160), s / 16.0));
    p.setBrush(fill);
    p.drawEllipse(QRectF(s * 0.32, s * 0.06, s * 0.36, s * 0.36));
    QPainterPath body;
    body.moveTo(s * 0.12, s * 0.94);
    body.cubicTo(s * 0.12, s * 0.52, s * 0.88, s * 0.52, s * 0.88, s * 0.94);
    body.closeSubpath();
    p.drawPath(body);
}

// Two people side by side for a group of buddies.
void group(QPainter& p, const QColor& fill) {
    const double s = kDesign * 3 / 4;
    p.save();
    p.translate(kDesign / 4, 0);
    person(p, fill.lighter(130), s);
    p.restore();
    p.save();
    p.translate(0, kDesign / 4);
    person(p, fill, s);
    p.restore();
}

void trayBadge(QPainter& p, const QColor& fill) {
    const double s = kDesign;
    QRadialGradient g(s * 0.35, s * 0.35, s * 0.6);
    g.setColorAt(0, fill.lighter(170));
    g.setColorAt(1, fill);
    p.setBrush(g);
    p.setPen(QPen(fill.darker(170), 1));
    p.drawEllipse(QRectF(1, 1, s - 2, s - 2));
    p.setPen(QPen(Qt::white, s / 8.0));
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(int(s / 2));
    font.setBold(true);
    p.setFont(font);
    p.drawText(QRectF(0, 0, s, s), Qt::AlignCenter, QStringLiteral("V"));
}

const QColor kOnline(0x2e, 0xa0, 0x43);
const QColor kOffline(0x9a, 0x9a, 0x9a);

} // namespace

QIcon mainImage(int index) {
    const int size = int(kDesign);
    switch (index) {
    case kOnlineGroup:
        return paintedIcon(size, [](QPainter& p) { group(p, kOnline); });
    case kOfflineGroup:
        return paintedIcon(size, [](QPainter& p) { group(p, kOffline); });
    case kOnlineBuddy:
        return paintedIcon(size, [](QPainter& p) { person(p, kOnline, kDesign); });
    case kOfflineBuddy:
        return paintedIcon(size, [](QPainter& p) { person(p, kOffline, kDesign); });
    case kTrayOnline:
        return paintedIcon(size, [](QPainter& p) { trayBadge(p, kOnline); });
    case kTrayOffline:
        return paintedIcon(size, [](QPainter& p) { trayBadge(p, kOffline); });
    default:
        return QIcon();
    }
}

} // namespace velmora::images

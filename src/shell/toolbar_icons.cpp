#include "shell/toolbar_icons.h"

#include "platform/painted_icon.h"

#include <QPainter>
#include <QPainterPath>

namespace velmora::toolbar_icons {

namespace {

constexpr int kSize = 48;
const QColor kBlue(0x2f, 0x6f, 0xc4);
const QColor kGreen(0x2e, 0xa0, 0x43);
const QColor kAmber(0xe0, 0x9a, 0x1f);

void prepare(QPainter& p, const QColor& fill) {
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(fill.darker(150), 2.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(fill);
}

void bubble(QPainter& p, const QRectF& r, const QColor& fill) {
    prepare(p, fill);
    QPainterPath path;
    path.addRoundedRect(r, r.height() * 0.3, r.height() * 0.3);
    QPainterPath tail;
    tail.moveTo(r.left() + r.width() * 0.22, r.bottom() - 2);
    tail.lineTo(r.left() + r.width() * 0.12, r.bottom() + r.height() * 0.35);
    tail.lineTo(r.left() + r.width() * 0.45, r.bottom() - 2);
    tail.closeSubpath();
    p.drawPath(path.united(tail));
}

void person(QPainter& p, double x, double y, double s, const QColor& fill) {
    prepare(p, fill);
    p.drawEllipse(QRectF(x + s * 0.3, y, s * 0.4, s * 0.4));
    QPainterPath body;
    body.moveTo(x + s * 0.08, y + s);
    body.cubicTo(x + s * 0.08, y + s * 0.45, x + s * 0.92, y + s * 0.45, x + s * 0.92, y + s);
    body.closeSubpath();
    p.drawPath(body);
}

void sendIM(QPainter& p) {
    bubble(p, QRectF(4, 6, 40, 26), kBlue);
    p.setPen(QPen(Qt::white, 3, Qt::SolidLine, Qt::RoundCap));
    for (int i = 0; i < 3; ++i) {
        p.drawPoint(QPointF(15 + i * 9, 19));
    }
}

void sendFile(QPainter& p) {
    prepare(p, QColor(0xf4, 0xf4, 0xf0));
    QPainterPath page;
    page.moveTo(10, 4);
    page.lineTo(30, 4);
    page.lineTo(40, 14);
    page.lineTo(40, 44);
    page.lineTo(10, 44);
    page.closeSubpath();
    p.drawPath(page);
    p.drawLine(QPointF(30, 4), QPointF(30, 14));
    p.drawLine(QPointF(30, 14), QPointF(40, 14));
    // An arrow leaving the page.
    p.setPen(QPen(kBlue, 4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawLine(QPointF(17, 30), QPointF(33, 30));
    p.drawLine(QPointF(27, 24), QPointF(33, 30));
    p.drawLine(QPointF(27, 36), QPointF(33, 30));
}

void viewProfile(QPainter& p) {
    prepare(p, QColor(0xe8, 0xee, 0xf8));
    p.drawRoundedRect(QRectF(3, 9, 42, 30), 5, 5);
    person(p, 7, 15, 18, kBlue);
    p.setPen(QPen(kBlue.darker(130), 3, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(29, 19), QPointF(40, 19));
    p.drawLine(QPointF(29, 26), QPointF(40, 26));
    p.drawLine(QPointF(29, 33), QPointF(36, 33));
}

void addContact(QPainter& p) {
    person(p, 2, 6, 34, kGreen);
    p.setPen(QPen(kAmber.darker(140), 1.5));
    p.setBrush(kAmber);
    p.drawEllipse(QRectF(28, 26, 18, 18));
    p.setPen(QPen(Qt::white, 3.5, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(37, 30), QPointF(37, 40));
    p.drawLine(QPointF(32, 35), QPointF(42, 35));
}

void openConference(QPainter& p) {
    person(p, 18, 4, 26, kBlue.lighter(130));
    person(p, 4, 4, 26, kGreen.lighter(115));
    person(p, 11, 18, 28, kBlue);
}

} // namespace

QIcon button(int index) {
    switch (index) {
    case 1:
        return paintedIcon(kSize, sendIM);
    case 2:
        return paintedIcon(kSize, sendFile);
    case 3:
        return paintedIcon(kSize, viewProfile);
    case 4:
        return paintedIcon(kSize, addContact);
    case 5:
        return paintedIcon(kSize, openConference);
    default:
        return QIcon();
    }
}

} // namespace velmora::toolbar_icons

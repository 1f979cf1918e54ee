#include "platform/painted_icon.h"

#include <QApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPixmap>
#include <QStyle>
#include <QStyleOption>

namespace velmora {

namespace {

class PaintedIconEngine : public QIconEngine {
public:
    PaintedIconEngine(int designSize, std::function<void(QPainter&)> draw)
        : designSize_(designSize), draw_(std::move(draw)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode,
               QIcon::State state) override {
        const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        painter->drawPixmap(rect, scaledPixmap(rect.size() * ratio, mode, state, ratio));
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1.0);
    }

    // `size` comes in device pixels, `scale` is what they are per logical one.
    QPixmap scaledPixmap(const QSize& pixels, QIcon::Mode mode, QIcon::State /*state*/,
                         qreal scale) override {
        if (pixels.isEmpty()) {
            return QPixmap();
        }
        QPixmap picture(pixels);
        picture.fill(Qt::transparent);
        {
            QPainter painter(&picture);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.scale(qreal(pixels.width()) / designSize_,
                          qreal(pixels.height()) / designSize_);
            draw_(painter);
        }
        if (mode == QIcon::Disabled && qApp) {
            QStyleOption option;
            option.palette = QApplication::palette();
            picture = QApplication::style()->generatedIconPixmap(mode, picture, &option);
        }
        picture.setDevicePixelRatio(scale);
        return picture;
    }

    QSize actualSize(const QSize& size, QIcon::Mode /*mode*/, QIcon::State /*state*/) override {
        return size;
    }

    QIconEngine* clone() const override { return new PaintedIconEngine(designSize_, draw_); }

private:
    int designSize_;
    std::function<void(QPainter&)> draw_;
};

} // namespace

QIcon paintedIcon(int designSize, std::function<void(QPainter&)> draw) {
    return QIcon(new PaintedIconEngine(designSize, std::move(draw)));
}

} // namespace velmora

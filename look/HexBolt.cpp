#include "look/HexBolt.h"

#include "look/Shadow.h"
#include "look/Symbol.h"
#include "look/Theme.h"

#include <QImage>
#include <QList>
#include <QRadialGradient>

#include <algorithm>
#include <cmath>

namespace wingbell {

namespace {

Shadow boltShadow()
{
    return {Theme::faded(Qt::black, 0.7), 2.0, QPointF(0.0, 1.0)};
}

/// Paints the bolt into the square from the origin on.
void paintBolt(QPainter& painter, double diameter)
{
    const QRectF frame(0.0, 0.0, diameter, diameter);
    paintShadow(painter, frame, boltShadow(), [&frame](QPainter& shape) {
        shape.setPen(Qt::NoPen);
        shape.setBrush(Qt::black);
        shape.drawEllipse(frame);
    });

    QRadialGradient light(frame.topLeft(), diameter, frame.topLeft(), 1.0);
    light.setColorAt(0.0, Theme::steelLight());
    light.setColorAt(1.0, Theme::steelDark());
    painter.setPen(Qt::NoPen);
    painter.setBrush(light);
    painter.drawEllipse(frame);

    const double fontSize = 0.42 * diameter;
    paintSymbol(
        painter, QStringLiteral("hexagon.fill"), frame.center(), fontSize,
        Theme::faded(Qt::black, 0.8));
    paintSymbol(
        painter, QStringLiteral("hexagon"), frame.center(), fontSize,
        Theme::faded(Theme::steelLight(), 0.6));
}

struct BoltPicture
{
    double diameter = 0.0;
    double scale = 0.0; ///< pixels a point
    QImage image;       ///< with room for the shadow around the head
};

/// Where in its picture a bolt has its middle, which lies between two pixels or within one, so that
/// every bolt is alike on all sides on every screen.
double middleInPixels(double diameter, double scale)
{
    const double reach = std::ceil(boltShadow().reach());
    return std::round(2.0 * scale * (diameter / 2.0 + reach)) / 2.0;
}

/// A window has dozens of bolts of a few sizes, each with a shadow to blur: every size is painted
/// once. Each thread that paints keeps its own.
const QImage& boltPicture(double diameter, double scale)
{
    thread_local QList<BoltPicture> pictures;
    const auto known = std::find_if(
        pictures.cbegin(), pictures.cend(), [diameter, scale](const BoltPicture& picture) {
            return picture.diameter == diameter && picture.scale == scale;
        });
    if (known != pictures.cend()) {
        return known->image;
    }
    constexpr qsizetype maxPictures = 16; // sizes, on a desk that has seen many screens
    if (pictures.size() >= maxPictures) {
        pictures.clear();
    }
    const double middle = middleInPixels(diameter, scale);
    const int pixels = static_cast<int>(std::ceil(2.0 * middle));
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(middle, middle);
    painter.scale(scale, scale);
    painter.translate(-diameter / 2.0, -diameter / 2.0);
    paintBolt(painter, diameter);
    painter.end();
    pictures.append({diameter, scale, image});
    return pictures.constLast().image;
}

} // namespace

void paintHexBolt(QPainter& painter, const QPointF& topLeft, double diameter)
{
    const QTransform toPixels = painter.deviceTransform();
    const double scale = toPixels.m11();
    const double middle = middleInPixels(diameter, scale);
    const QPointF wanted =
        toPixels.map(topLeft + QPointF(diameter, diameter) / 2.0) - QPointF(middle, middle);
    const QImage& picture = boltPicture(diameter, scale);
    painter.drawImage(
        QRectF(toPixels.inverted().map(QPointF(wanted.toPoint())), QSizeF(picture.size()) / scale),
        picture);
}

HexBolt::HexBolt(QQuickItem* parent)
    : PaintedSurface(parent)
{
    setReach(boltShadow().reach());
}

void HexBolt::setDiameter(double diameter)
{
    if (implicitWidth() == diameter) {
        return;
    }
    setImplicitSize(diameter, diameter);
    Q_EMIT diameterChanged();
}

void HexBolt::paintSurface(QPainter& painter, const QSizeF& size)
{
    paintHexBolt(painter, QPointF(), size.width());
}

} // namespace wingbell

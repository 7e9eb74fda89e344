#include "look/BrushedSteel.h"

#include "look/HexBolt.h"
#include "look/Shadow.h"
#include "look/Theme.h"

#include <QBrush>
#include <QImage>
#include <QLinearGradient>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace wingbell {

namespace {

constexpr double distance = 3.0;
constexpr double lineWidth = 1.0;
constexpr double edgeWidth = 1.0; // of a panel

Shadow trimShadow()
{
    return {Theme::faded(Qt::black, 0.6), 4.0, QPointF(0.0, 3.0)};
}

double opacityAt(double x)
{
    return std::max(0.0, std::sin(0.6 * x) * 0.02 + 0.025);
}

/// How much of a pixel's square lies where x + y is less than `limit`, counted in pixels from the
/// pixel's top left corner.
double coverageBelow(double limit)
{
    const double inside = std::clamp(limit, 0.0, 2.0);
    return inside <= 1.0 ? inside * inside / 2.0 : 1.0 - (2.0 - inside) * (2.0 - inside) / 2.0;
}

/// The opacity of the white that the hairlines lay over the first `length` pixels of the row along
/// the top edge of a plate, of `scale` pixels a point, whose corner is `corner` pixels into the
/// first.
///
/// Lines at 45 degrees: every row of a plate is the row above moved left by a pixel. So one row
/// tells the whole plate.
std::vector<float> topRow(int length, double scale, double corner)
{
    std::vector<float> row(static_cast<size_t>(length));
    const double halfWidth = lineWidth * scale / std::numbers::sqrt2; // along the edge
    for (int index = 0;; ++index) {
        const double x = index * distance;
        const double middle = corner + x * scale;
        const int first = std::max(0, static_cast<int>(std::floor(middle - halfWidth)) - 1);
        const int last = std::min(length - 1, static_cast<int>(std::ceil(middle + halfWidth)));
        if (first >= length) {
            return row;
        }
        for (int along = first; along <= last; ++along) {
            const double coverage = coverageBelow(middle + halfWidth - along) -
                                    coverageBelow(middle - halfWidth - along);
            row[static_cast<size_t>(along)] += static_cast<float>(coverage * opacityAt(x));
        }
    }
}

/// The pixels of `area` of a plate's steel, where `plate` is in pixels too, of `scale` a point.
/// Worked out in fractions and rounded once: a hairline is worth a few of 255 steps, and rounding
/// each layer would take a good part of that away.
QImage steel(const QRectF& plate, const QRect& area, double scale, double streakOpacity)
{
    const QPoint first(
        static_cast<int>(std::floor(plate.left())), static_cast<int>(std::floor(plate.top())));
    const QPointF corner = plate.topLeft() - first;
    const QPoint begin = area.topLeft() - first;
    std::vector<float> streaks = topRow(
        begin.x() + area.width() + begin.y() + area.height(), scale, corner.x() + corner.y());
    for (float& opacity : streaks) {
        opacity *= static_cast<float>(streakOpacity);
    }
    // With half a step added, for what follows cuts fractions off.
    const auto channel = [](double dark, double deep, double depth) {
        return static_cast<float>(255.0 * (dark + (deep - dark) * depth) + 0.5);
    };
    constexpr Theme::Components dark = Theme::steelDarkComponents;
    constexpr Theme::Components deep = Theme::steelDeepComponents;
    QImage picture(area.size(), QImage::Format_RGB32);
    for (int y = 0; y < area.height(); ++y) {
        const double depth =
            std::clamp((area.top() + y + 0.5 - plate.top()) / plate.height(), 0.0, 1.0);
        const float red = channel(dark.red, deep.red, depth);
        const float green = channel(dark.green, deep.green, depth);
        const float blue = channel(dark.blue, deep.blue, depth);
        auto* const pixels = reinterpret_cast<QRgb*>(picture.scanLine(y));
        const float* const row = streaks.data() + begin.x() + begin.y() + y;
        for (int x = 0; x < area.width(); ++x) {
            const auto lit = [opacity = row[x]](float shade) {
                return static_cast<int>(shade + opacity * (255.5F - shade));
            };
            pixels[x] = qRgb(lit(red), lit(green), lit(blue));
        }
    }
    return picture;
}

} // namespace

QList<Streak> streaksOf(const QSizeF& plate)
{
    const double end = plate.width() + plate.height();
    QList<Streak> streaks;
    if (!(end > 0.0)) {
        return streaks;
    }
    streaks.reserve(static_cast<qsizetype>(end / distance) + 1);
    for (qsizetype index = 0; static_cast<double>(index) * distance < end; ++index) {
        const double x = static_cast<double>(index) * distance;
        streaks.append({QLineF(x, 0.0, x - plate.height(), plate.height()), opacityAt(x)});
    }
    return streaks;
}

void paintBrushedSteel(
    QPainter& painter, const QPainterPath& shape, const QSizeF& plate, double streakOpacity)
{
    const QTransform toPixels = painter.deviceTransform();
    const QRectF inPixels = toPixels.mapRect(QRectF(QPointF(), plate));
    // No more than the device shows of it.
    const QRect device(0, 0, painter.device()->width(), painter.device()->height());
    const QRect area = inPixels.toAlignedRect() & device;
    if (plate.isEmpty() || area.isEmpty()) {
        return;
    }
    QBrush brush(steel(inPixels, area, toPixels.m11(), streakOpacity));
    brush.setTransform(QTransform::fromTranslate(area.x(), area.y()) * toPixels.inverted());
    painter.fillPath(shape, brush);
}

BrushedStreaks::BrushedStreaks(QQuickItem* parent)
    : PaintedSurface(parent)
{
    connect(this, &BrushedStreaks::streakOpacityChanged, this, &QQuickItem::update);
}

void BrushedStreaks::paintSurface(QPainter& painter, const QSizeF& size)
{
    QPainterPath plate;
    plate.addRect(QRectF(QPointF(), size));
    paintBrushedSteel(painter, plate, size, m_streakOpacity);
}

SteelPanelBackground::SteelPanelBackground(QQuickItem* parent)
    : PaintedSurface(parent)
{
    setReach(edgeWidth / 2.0); // the edge is centred on the outline
    connect(this, &SteelPanelBackground::cornerRadiusChanged, this, &QQuickItem::update);
}

void SteelPanelBackground::paintSurface(QPainter& painter, const QSizeF& size)
{
    QPainterPath plate;
    plate.addRoundedRect(QRectF(QPointF(), size), m_cornerRadius, m_cornerRadius);

    constexpr double textureOpacity = 0.4;
    paintBrushedSteel(painter, plate, size, textureOpacity);

    constexpr double edgeOpacity = 0.5;
    painter.strokePath(plate, QPen(Theme::faded(Theme::steelMid(), edgeOpacity), edgeWidth));
}

SteelTrim::SteelTrim(QQuickItem* parent)
    : PaintedSurface(parent)
{
    setReach(trimShadow().reach());
}

void SteelTrim::paintSurface(QPainter& painter, const QSizeF& size)
{
    const QRectF strip(QPointF(), size);
    paintShadow(painter, strip, trimShadow(), [&strip](QPainter& shape) {
        shape.fillRect(strip, Qt::black);
    });

    QLinearGradient steel(0.0, 0.0, 0.0, size.height());
    steel.setColorAt(0.0, Theme::steelLight());
    steel.setColorAt(0.5, Theme::steelMid());
    steel.setColorAt(1.0, Theme::steelDark());
    painter.fillRect(strip, steel);

    constexpr double lineHeight = 1.5;
    constexpr double lineOpacity = 0.6;
    painter.fillRect(
        QRectF(0.0, 0.0, size.width(), lineHeight), Theme::faded(Theme::gold(), lineOpacity));

    constexpr double diameter = 11.0;
    constexpr double inset = 16.0;
    const double top = (size.height() - diameter) / 2.0;
    paintHexBolt(painter, QPointF(inset, top), diameter);
    paintHexBolt(painter, QPointF(size.width() - inset - diameter, top), diameter);
}

} // namespace wingbell

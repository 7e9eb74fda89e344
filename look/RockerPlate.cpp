#include "look/RockerPlate.h"

#include "look/Shadow.h"
#include "look/Theme.h"
#include "look/Typeface.h"

#include <QFontMetricsF>
#include <QLinearGradient>
#include <QPainterPath>

#include <algorithm>

namespace wingbell {

namespace {

constexpr QSizeF housingSize(150.0, 58.0);
constexpr double housingRadius = 10.0;
constexpr double housingOutline = 2.0;
constexpr QSizeF faceSize(142.0, 50.0);
constexpr double faceRadius = 7.0;
constexpr double halfOpacity = 0.9;
constexpr double maxLabelWidth = 65.0;

Shadow switchShadow()
{
    return {Theme::faded(Qt::black, 0.6), 4.0, QPointF(0.0, 3.0)};
}

QPainterPath rounded(const QRectF& rect, double radius)
{
    QPainterPath path;
    path.addRoundedRect(rect, radius, radius);
    return path;
}

QFont labelFont()
{
    QFont font(Typeface::rounded());
    constexpr int pixels = 11;
    font.setPixelSize(pixels);
    font.setWeight(QFont::Bold);
    font.setLetterSpacing(QFont::AbsoluteSpacing, 1.0);
    return font;
}

QSizeF labelSize(const QString& label)
{
    const QFontMetricsF metrics(labelFont());
    return {metrics.horizontalAdvance(label), metrics.height()};
}

} // namespace

RockerPlate::RockerPlate(QQuickItem* parent)
    : PaintedSurface(parent)
{
    setImplicitSize(housingSize.width(), housingSize.height());
    setReach(switchShadow().reach() + housingOutline / 2.0);
    connect(this, &RockerPlate::lookChanged, this, &QQuickItem::update);
}

void RockerPlate::paintSurface(QPainter& painter, const QSizeF& size)
{
    const QRectF frame(QPointF(), size);
    const QPainterPath housing = rounded(frame, housingRadius);
    const QPen outline(Theme::steelDeep(), housingOutline);
    const double reach = housingOutline / 2.0;
    const QRectF outlined = frame.adjusted(-reach, -reach, reach, reach);
    paintShadow(painter, outlined, switchShadow(), [&housing, &outline](QPainter& shape) {
        shape.fillPath(housing, Qt::black);
        shape.strokePath(housing, outline);
    });

    QLinearGradient steel(frame.topLeft(), frame.bottomLeft());
    steel.setColorAt(0.0, Theme::steelLight());
    steel.setColorAt(0.5, Theme::steelMid());
    steel.setColorAt(1.0, Theme::steelDark());
    painter.fillPath(housing, steel);
    painter.strokePath(housing, outline);

    paintHalf(painter, false);
    paintHalf(painter, true);
}

void RockerPlate::paintHalf(QPainter& painter, bool on) const
{
    const bool isLit = on == m_isOn;
    const QColor tint = on ? Theme::live() : Theme::ready();
    QPainterPath area;
    area.addRect(half(on));
    painter.fillPath(
        rounded(face(), faceRadius).intersected(area),
        Theme::faded(isLit ? tint : Theme::steelDeep(), halfOpacity));

    const QString& label = on ? m_startLabel : m_stopLabel;
    const QRectF place = labelPlace(on);
    const double scale = place.height() / labelSize(label).height();
    painter.save();
    painter.translate(place.topLeft());
    painter.scale(scale, scale);
    painter.fillPath(
        heavyLetters(label, labelFont()),
        isLit ? Theme::faded(Qt::black, 0.85) : Theme::faded(Qt::white, 0.4));
    painter.restore();
}

QRectF RockerPlate::face() const
{
    QRectF face(QPointF(), faceSize);
    face.moveCenter(boundingRect().center());
    return face;
}

QRectF RockerPlate::half(bool on) const
{
    QRectF half = face();
    half.setWidth(half.width() / 2.0);
    return on ? half.translated(half.width(), 0.0) : half;
}

QRectF RockerPlate::labelPlace(bool on) const
{
    const QSizeF whole = labelSize(on ? m_startLabel : m_stopLabel);
    QRectF place(QPointF(), whole * std::min(1.0, maxLabelWidth / std::max(1.0, whole.width())));
    place.moveCenter(half(on).center());
    place.moveTopLeft(place.topLeft().toPoint()); // sharp
    return place;
}

} // namespace wingbell

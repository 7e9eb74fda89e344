#include "look/RockerPlate.h"

#include "look/Shadow.h"
#include "look/Theme.h"

#include <QLinearGradient>
#include <QPainterPath>

namespace wingbell {

namespace {

constexpr QSizeF housingSize(150.0, 58.0);
constexpr double housingRadius = 10.0;
constexpr double housingOutline = 2.0;
constexpr QSizeF faceSize(142.0, 50.0);
constexpr double faceRadius = 7.0;
constexpr double halfOpacity = 0.9;

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

} // namespace

RockerPlate::RockerPlate(QQuickItem* parent)
    : PaintedSurface(parent)
{
    setImplicitSize(housingSize.width(), housingSize.height());
    setReach(switchShadow().reach() + housingOutline / 2.0);
}

void RockerPlate::setIsOn(bool on)
{
    if (m_isOn == on) {
        return;
    }
    m_isOn = on;
    repaint();
    Q_EMIT isOnChanged();
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

    QRectF face(QPointF(), faceSize);
    face.moveCenter(frame.center());
    const QPainterPath clip = rounded(face, faceRadius);
    QPainterPath left;
    left.addRect(face.adjusted(0.0, 0.0, -face.width() / 2.0, 0.0));
    const QColor dark = Theme::faded(Theme::steelDeep(), halfOpacity);
    painter.fillPath(
        clip.intersected(left), m_isOn ? dark : Theme::faded(Theme::ready(), halfOpacity));
    painter.fillPath(
        clip.subtracted(left), m_isOn ? Theme::faded(Theme::live(), halfOpacity) : dark);
}

} // namespace wingbell

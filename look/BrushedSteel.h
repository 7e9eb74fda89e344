#pragma once

#include "look/PaintedSurface.h"

#include <QLineF>
#include <QList>
#include <QPainterPath>

namespace wingbell {

/// One hairline of brushed steel, in points.
struct Streak
{
    QLineF line;
    double opacity; ///< of white, from 0 to 1
};

/// The hairlines of a plate of that size: diagonals that fall to the left at 45 degrees, 3 points
/// apart along the top edge, of an opacity that wavers without chance. The same size gives the same
/// lines always; no size gives none.
[[nodiscard]] QList<Streak> streaksOf(const QSizeF& plate);

/// Fills `shape` with the steel of a plate of that size whose top left corner is the origin: darker
/// from top to bottom, under the plate's hairlines, each 1 point wide and all together at
/// `streakOpacity` from 0 to 1.
void paintBrushedSteel(
    QPainter& painter, const QPainterPath& shape, const QSizeF& plate, double streakOpacity);

/// A texture of faint diagonal hairlines that fills the item, as on brushed metal, together with
/// the steel that it lies on, darker from the top edge to the bottom edge: apart, both would be
/// rounded.
class BrushedStreaks : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(double streakOpacity MEMBER m_streakOpacity NOTIFY streakOpacityChanged)

public:
    explicit BrushedStreaks(QQuickItem* parent = nullptr);

Q_SIGNALS:
    void streakOpacityChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    double m_streakOpacity = 1.0; ///< of all hairlines together, from 0 to 1
};

/// A rounded plate of brushed steel that fills the item.
class SteelPanelBackground : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(double cornerRadius MEMBER m_cornerRadius NOTIFY cornerRadiusChanged)

public:
    explicit SteelPanelBackground(QQuickItem* parent = nullptr);

Q_SIGNALS:
    void cornerRadiusChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    double m_cornerRadius = 0.0; ///< in points
};

/// A strip of steel with a gold line along its top and a bolt at each end; it casts a shadow
/// downwards. As high as its user makes it.
class SteelTrim : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT

public:
    explicit SteelTrim(QQuickItem* parent = nullptr);

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;
};

} // namespace wingbell

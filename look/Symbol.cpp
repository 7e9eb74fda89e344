#include "look/Symbol.h"

#include <QHash>
#include <QPainterPathStroker>
#include <QPolygonF>

#include <cmath>
#include <numbers>

namespace wingbell {

namespace {

constexpr double lineWidth = 0.1; // of an outline symbol in the regular weight

QPainterPath stroked(const QPainterPath& line, double width)
{
    QPainterPathStroker stroker;
    stroker.setWidth(width);
    stroker.setCapStyle(Qt::RoundCap);
    stroker.setJoinStyle(Qt::RoundJoin);
    return stroker.createStroke(line).simplified();
}

QPainterPath line(const QPointF& from, const QPointF& to, double width)
{
    QPainterPath path(from);
    path.lineTo(to);
    return stroked(path, width);
}

QPainterPath disc(const QPointF& centre, double radius)
{
    QPainterPath path;
    path.addEllipse(centre, radius, radius);
    return path;
}

QPainterPath rounded(const QRectF& rect, double radius)
{
    QPainterPath path;
    path.addRoundedRect(rect, radius, radius);
    return path;
}

/// A regular polygon with a corner at the top.
QPainterPath polygon(int corners, const QPointF& centre, double circumradius)
{
    QPolygonF points;
    for (int corner = 0; corner < corners; ++corner) {
        const double angle = 2.0 * std::numbers::pi * corner / corners;
        points.append(centre + circumradius * QPointF(std::sin(angle), -std::cos(angle)));
    }
    QPainterPath path;
    path.addPolygon(points);
    path.closeSubpath();
    return path;
}

/// The polygon with its corners rounded by a brush of that width around its edge.
QPainterPath softened(const QPainterPath& shape, double width)
{
    return shape.united(stroked(shape, width)).simplified();
}

QPainterPath hexagonFill()
{
    return softened(polygon(6, {}, 0.52), 0.08);
}

QPainterPath hexagon()
{
    return stroked(polygon(6, {}, 0.51), lineWidth);
}

QPainterPath warning()
{
    const QPainterPath triangle = softened(polygon(3, QPointF(0.0, 0.14), 0.58), 0.16);
    const QPainterPath mark =
        line({0.0, -0.14}, {0.0, 0.12}, 0.11).united(disc({0.0, 0.29}, 0.065));
    return triangle.subtracted(mark);
}

QPainterPath plusInCircle()
{
    const QPainterPath plus =
        line({-0.25, 0.0}, {0.25, 0.0}, 0.1).united(line({0.0, -0.25}, {0.0, 0.25}, 0.1));
    return disc({}, 0.55).subtracted(plus);
}

QPainterPath trash()
{
    QPainterPath body(QPointF(-0.36, -0.26));
    body.lineTo(0.36, -0.26);
    body.lineTo(0.31, 0.45);
    body.quadTo(0.3, 0.56, 0.19, 0.56);
    body.lineTo(-0.19, 0.56);
    body.quadTo(-0.3, 0.56, -0.31, 0.45);
    body.closeSubpath();
    const QPainterPath ribs = line({-0.15, -0.1}, {-0.13, 0.4}, 0.055)
                                  .united(line({0.0, -0.1}, {0.0, 0.4}, 0.055))
                                  .united(line({0.15, -0.1}, {0.13, 0.4}, 0.055));
    QPainterPath handle(QPointF(-0.15, -0.42));
    handle.lineTo(-0.15, -0.47);
    handle.quadTo(-0.15, -0.55, -0.07, -0.55);
    handle.lineTo(0.07, -0.55);
    handle.quadTo(0.15, -0.55, 0.15, -0.47);
    handle.lineTo(0.15, -0.42);
    const QPainterPath lid = line({-0.43, -0.39}, {0.43, -0.39}, 0.09);
    return body.subtracted(ribs).united(lid).united(stroked(handle, 0.075));
}

QPainterPath microphone()
{
    const QPainterPath head = rounded(QRectF(-0.17, -0.58, 0.34, 0.72), 0.17);
    QPainterPath cradle(QPointF(-0.33, -0.1));
    cradle.lineTo(-0.33, -0.03);
    cradle.arcTo(QRectF(-0.33, -0.36, 0.66, 0.66), 180.0, 180.0);
    cradle.lineTo(0.33, -0.1);
    const QPainterPath stand =
        line({0.0, 0.31}, {0.0, 0.53}, 0.08).united(line({-0.2, 0.54}, {0.2, 0.54}, 0.08));
    return head.united(stroked(cradle, 0.08)).united(stand);
}

QPainterPath headphones()
{
    QPainterPath headband(QPointF(-0.46, 0.2));
    headband.lineTo(-0.46, 0.0);
    headband.arcTo(QRectF(-0.46, -0.48, 0.92, 0.92), 180.0, -180.0);
    headband.lineTo(0.46, 0.2);
    return stroked(headband, 0.1)
        .united(rounded(QRectF(-0.52, 0.08, 0.25, 0.44), 0.1))
        .united(rounded(QRectF(0.27, 0.08, 0.25, 0.44), 0.1));
}

QPainterPath minus()
{
    return line({-0.4, 0.0}, {0.4, 0.0}, 0.14);
}

QPainterPath cross()
{
    return line({-0.35, -0.35}, {0.35, 0.35}, 0.14)
        .united(line({-0.35, 0.35}, {0.35, -0.35}, 0.14));
}

QPainterPath square()
{
    return stroked(rounded(QRectF(-0.37, -0.37, 0.74, 0.74), 0.12), 0.13);
}

QPainterPath twoSquares()
{
    const QPainterPath front = rounded(QRectF(-0.45, -0.18, 0.63, 0.63), 0.1);
    const QPainterPath back = stroked(rounded(QRectF(-0.18, -0.45, 0.63, 0.63), 0.1), 0.12);
    return back.subtracted(front).united(stroked(front, 0.12));
}

QHash<QString, QPainterPath> allSymbols()
{
    return {
        {QStringLiteral("hexagon"), hexagon()},
        {QStringLiteral("hexagon.fill"), hexagonFill()},
        {QStringLiteral("exclamationmark.triangle.fill"), warning()},
        {QStringLiteral("plus.circle.fill"), plusInCircle()},
        {QStringLiteral("trash.fill"), trash()},
        {QStringLiteral("mic.fill"), microphone()},
        {QStringLiteral("headphones"), headphones()},
        {QStringLiteral("minus"), minus()},
        {QStringLiteral("xmark"), cross()},
        {QStringLiteral("square"), square()},
        {QStringLiteral("square.on.square"), twoSquares()},
    };
}

} // namespace

QPainterPath symbolOutline(const QString& name)
{
    static const QHash<QString, QPainterPath> symbols = allSymbols();
    return symbols.value(name);
}

void paintSymbol(
    QPainter& painter, const QString& name, const QPointF& centre, double fontSize,
    const QColor& color)
{
    painter.save();
    painter.translate(centre);
    painter.scale(fontSize, fontSize);
    painter.fillPath(symbolOutline(name), color);
    painter.restore();
}

Symbol::Symbol(QQuickItem* parent)
    : PaintedSurface(parent)
{
    connect(this, &Symbol::lookChanged, this, &Symbol::updateLook);
    updateLook();
}

void Symbol::updateLook()
{
    // Whole points, so that what is aligned by it lies on whole pixels.
    const double extent = std::ceil(symbolExtent(m_fontSize));
    setImplicitSize(extent, extent);
    update();
}

void Symbol::paintSurface(QPainter& painter, const QSizeF& size)
{
    paintSymbol(painter, m_name, QRectF(QPointF(), size).center(), m_fontSize, m_color);
}

} // namespace wingbell

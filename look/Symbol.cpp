#include "look/Symbol.h"

#include "look/Symbols.h"

#include <cmath>

namespace wingbell {

Symbol::Symbol(QQuickItem* parent)
    : PaintedSurface(parent)
{
    constexpr double bodySize = 13.0;
    setFontSize(bodySize);
}

void Symbol::setName(const QString& name)
{
    if (m_name == name) {
        return;
    }
    m_name = name;
    repaint();
    Q_EMIT nameChanged();
}

void Symbol::setFontSize(double fontSize)
{
    if (m_fontSize == fontSize) {
        return;
    }
    m_fontSize = fontSize;
    // Whole points, so that what is aligned by it lies on whole pixels.
    const double extent = std::ceil(symbolExtent(fontSize));
    setImplicitSize(extent, extent);
    repaint();
    Q_EMIT fontSizeChanged();
}

void Symbol::setColor(const QColor& color)
{
    if (m_color == color) {
        return;
    }
    m_color = color;
    repaint();
    Q_EMIT colorChanged();
}

void Symbol::paintSurface(QPainter& painter, const QSizeF& size)
{
    paintSymbol(painter, m_name, QRectF(QPointF(), size).center(), m_fontSize, m_color);
}

} // namespace wingbell

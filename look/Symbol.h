#pragma once

#include "look/PaintedSurface.h"

#include <QColor>
#include <QPainterPath>

namespace wingbell {

/// The outline of the desk's symbol of that name, to be filled, in a font of 1 point: within the
/// square from (-0.6, -0.6) to (0.6, 0.6), the optical centre at the origin. Empty for a name that
/// the desk has no symbol for.
///
/// Names: "hexagon", "hexagon.fill", "exclamationmark.triangle.fill", "plus.circle.fill",
/// "trash.fill", "mic.fill", "headphones", "minus", "xmark", "square", "square.on.square".
[[nodiscard]] QPainterPath symbolOutline(const QString& name);

/// Width and height of a symbol's square in a font of `fontSize` points.
[[nodiscard]] constexpr double symbolExtent(double fontSize)
{
    return 1.2 * fontSize;
}

/// Paints the symbol centred on `centre`, sized as in a font of `fontSize` points.
void paintSymbol(
    QPainter& painter, const QString& name, const QPointF& centre, double fontSize,
    const QColor& color);

/// One of the desk's symbols, by its name, as large as in a font of `fontSize` points. The square
/// around it is its implicit size.
class Symbol : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString name MEMBER m_name NOTIFY lookChanged REQUIRED)
    Q_PROPERTY(double fontSize MEMBER m_fontSize NOTIFY lookChanged)
    Q_PROPERTY(QColor color MEMBER m_color NOTIFY lookChanged)

public:
    explicit Symbol(QQuickItem* parent = nullptr);

Q_SIGNALS:
    void lookChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    void updateLook();

    QString m_name;
    double m_fontSize = 13.0; ///< as the body of the desk's texts
    QColor m_color = Qt::white;
};

} // namespace wingbell

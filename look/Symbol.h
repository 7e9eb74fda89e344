#pragma once

#include "look/PaintedSurface.h"

#include <QColor>

namespace wingbell {

/// One of the desk's symbols, by its name (see symbolOutline), as large as in a font of `fontSize`
/// points. The square around it is its implicit size.
class Symbol : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged REQUIRED)
    Q_PROPERTY(double fontSize READ fontSize WRITE setFontSize NOTIFY fontSizeChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)

public:
    explicit Symbol(QQuickItem* parent = nullptr);

    [[nodiscard]] const QString& name() const { return m_name; }
    void setName(const QString& name);
    [[nodiscard]] double fontSize() const { return m_fontSize; }
    void setFontSize(double fontSize);
    [[nodiscard]] const QColor& color() const { return m_color; }
    void setColor(const QColor& color);

Q_SIGNALS:
    void nameChanged();
    void fontSizeChanged();
    void colorChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    QString m_name;
    double m_fontSize = 0.0;
    QColor m_color = Qt::white;
};

} // namespace wingbell

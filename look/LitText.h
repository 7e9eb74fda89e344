#pragma once

#include "look/PaintedSurface.h"

#include <QFont>

namespace wingbell {

/// One line of heavy lettering filled with lit gold, with a golden glow around it.
class LitText : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)
    Q_PROPERTY(QFont font READ font WRITE setFont NOTIFY fontChanged)

public:
    explicit LitText(QQuickItem* parent = nullptr);

    [[nodiscard]] const QString& text() const { return m_text; }
    void setText(const QString& text);
    [[nodiscard]] const QFont& font() const { return m_font; }
    void setFont(const QFont& font);

Q_SIGNALS:
    void textChanged();
    void fontChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    void measure();

    QString m_text;
    QFont m_font;
};

} // namespace wingbell

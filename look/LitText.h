#pragma once

#include "look/PaintedSurface.h"

#include <QFont>

namespace wingbell {

/// One line of heavy lettering filled with lit gold, with a golden glow around it.
class LitText : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString text MEMBER m_text NOTIFY lookChanged)
    Q_PROPERTY(QFont font MEMBER m_font NOTIFY lookChanged)

public:
    explicit LitText(QQuickItem* parent = nullptr);

Q_SIGNALS:
    void lookChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    QString m_text;
    QFont m_font;
};

} // namespace wingbell

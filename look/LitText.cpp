#include "look/LitText.h"

#include "look/Shadow.h"
#include "look/Theme.h"
#include "look/Typeface.h"

#include <QFontMetricsF>
#include <QPainterPath>

namespace wingbell {

namespace {

Shadow glow()
{
    return {Theme::faded(Theme::gold(), 0.6), 5.0, {}};
}

} // namespace

LitText::LitText(QQuickItem* parent)
    : PaintedSurface(parent)
{
    setReach(glow().reach());
    connect(this, &LitText::lookChanged, this, [this] {
        const QFontMetricsF metrics(m_font);
        setImplicitSize(metrics.horizontalAdvance(m_text), metrics.height());
        update();
    });
}

void LitText::paintSurface(QPainter& painter, const QSizeF& size)
{
    const QPainterPath letters = heavyLetters(m_text, m_font);
    const QRectF frame(QPointF(), size);
    paintShadow(painter, frame, glow(), [&letters](QPainter& shape) {
        shape.fillPath(letters, Qt::black);
    });
    QLinearGradient gold = Theme::litGoldGradient();
    gold.setCoordinateMode(QGradient::LogicalMode);
    gold.setFinalStop(0.0, size.height());
    painter.fillPath(letters, gold);
}

} // namespace wingbell

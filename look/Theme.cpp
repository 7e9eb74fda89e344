#include "look/Theme.h"

namespace wingbell {

QColor Theme::opaque(const Components& components)
{
    return QColor::fromRgbF(
        static_cast<float>(components.red), static_cast<float>(components.green),
        static_cast<float>(components.blue));
}

const QLinearGradient& Theme::litGoldGradient()
{
    static const QLinearGradient gradient = [] {
        QLinearGradient lit(0.0, 0.0, 0.0, 1.0);
        lit.setCoordinateMode(QGradient::ObjectMode);
        lit.setStops({{0.0, steelHi()}, {0.5, gold()}, {1.0, steelHi()}});
        return lit;
    }();
    return gradient;
}

QColor Theme::faded(const QColor& color, double opacity)
{
    QColor result = color;
    result.setAlphaF(static_cast<float>(opacity));
    return result;
}

} // namespace wingbell

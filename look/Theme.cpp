#include "look/Theme.h"

namespace wingbell {

namespace {

QColor opaque(const Theme::Components& components)
{
    return QColor::fromRgbF(
        static_cast<float>(components.red), static_cast<float>(components.green),
        static_cast<float>(components.blue));
}

} // namespace

const QColor& Theme::gold()
{
    static const QColor color = opaque(goldComponents);
    return color;
}

const QColor& Theme::stage()
{
    static const QColor color = opaque(stageComponents);
    return color;
}

const QColor& Theme::live()
{
    static const QColor color = opaque(liveComponents);
    return color;
}

const QColor& Theme::ready()
{
    static const QColor color = opaque(readyComponents);
    return color;
}

const QColor& Theme::steelDeep()
{
    static const QColor color = opaque(steelDeepComponents);
    return color;
}

const QColor& Theme::steelDark()
{
    static const QColor color = opaque(steelDarkComponents);
    return color;
}

const QColor& Theme::steelMid()
{
    static const QColor color = opaque(steelMidComponents);
    return color;
}

const QColor& Theme::steelLight()
{
    static const QColor color = opaque(steelLightComponents);
    return color;
}

const QColor& Theme::steelHi()
{
    static const QColor color = opaque(steelHiComponents);
    return color;
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

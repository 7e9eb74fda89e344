#pragma once

#include <QColor>
#include <QLinearGradient>
#include <QObject>
#include <QQmlEngine>

namespace wingbell {

/// The desk's palette: nine opaque sRGB colours and one gradient. Views that need transparency
/// apply an opacity where they use a colour. The same definition serves C++ and QML.
class Theme : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QColor gold READ gold CONSTANT)
    Q_PROPERTY(QColor stage READ stage CONSTANT)
    Q_PROPERTY(QColor live READ live CONSTANT)
    Q_PROPERTY(QColor ready READ ready CONSTANT)
    Q_PROPERTY(QColor steelDeep READ steelDeep CONSTANT)
    Q_PROPERTY(QColor steelDark READ steelDark CONSTANT)
    Q_PROPERTY(QColor steelMid READ steelMid CONSTANT)
    Q_PROPERTY(QColor steelLight READ steelLight CONSTANT)
    Q_PROPERTY(QColor steelHi READ steelHi CONSTANT)

public:
    /// The exact components, from 0 to 1; QColor keeps 16 bits of each.
    struct Components
    {
        double red;
        double green;
        double blue;

        friend constexpr bool operator==(const Components&, const Components&) = default;
    };

    static constexpr Components goldComponents = {0.87, 0.7, 0.36};
    static constexpr Components stageComponents = {0.06, 0.035, 0.035};
    static constexpr Components liveComponents = {1.0, 0.24, 0.2};
    static constexpr Components readyComponents = {0.3, 0.85, 0.45};
    static constexpr Components steelDeepComponents = {0.03, 0.03, 0.035};
    static constexpr Components steelDarkComponents = {0.1, 0.1, 0.11};
    static constexpr Components steelMidComponents = {0.42, 0.43, 0.46};
    static constexpr Components steelLightComponents = {0.7, 0.72, 0.75};
    static constexpr Components steelHiComponents = {0.93, 0.94, 0.96};

    [[nodiscard]] static QColor gold() { return opaque(goldComponents); }
    [[nodiscard]] static QColor stage() { return opaque(stageComponents); }
    [[nodiscard]] static QColor live() { return opaque(liveComponents); }
    [[nodiscard]] static QColor ready() { return opaque(readyComponents); }
    [[nodiscard]] static QColor steelDeep() { return opaque(steelDeepComponents); }
    [[nodiscard]] static QColor steelDark() { return opaque(steelDarkComponents); }
    [[nodiscard]] static QColor steelMid() { return opaque(steelMidComponents); }
    [[nodiscard]] static QColor steelLight() { return opaque(steelLightComponents); }
    [[nodiscard]] static QColor steelHi() { return opaque(steelHiComponents); }

    /// From the top edge of the filled area to its bottom edge: gold lit from above and below.
    [[nodiscard]] static QLinearGradient litGoldGradient()
    {
        QLinearGradient lit(0.0, 0.0, 0.0, 1.0);
        lit.setCoordinateMode(QGradient::ObjectMode);
        lit.setStops({{0.0, steelHi()}, {0.5, gold()}, {1.0, steelHi()}});
        return lit;
    }

    /// `color` at `opacity` from 0 to 1.
    [[nodiscard]] Q_INVOKABLE static QColor faded(QColor color, double opacity)
    {
        color.setAlphaF(static_cast<float>(opacity));
        return color;
    }

private:
    [[nodiscard]] static QColor opaque(const Components& components)
    {
        return QColor::fromRgbF(
            static_cast<float>(components.red), static_cast<float>(components.green),
            static_cast<float>(components.blue));
    }
};

} // namespace wingbell

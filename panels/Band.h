#pragma once

#include <QMetaType>
#include <QQmlEngine>

#include <limits>

namespace wingbell {

/// What lies between two heights, both included, in the coordinates of whoever it is told to; by
/// default everything. In points.
struct Band
{
    Q_GADGET
    QML_VALUE_TYPE(band)
    Q_PROPERTY(double top MEMBER top)
    Q_PROPERTY(double bottom MEMBER bottom)

public:
    double top = -std::numeric_limits<double>::infinity();
    double bottom = std::numeric_limits<double>::infinity();

    /// The same band as something sees it that stands at `y`.
    [[nodiscard]] Q_INVOKABLE wingbell::Band seenFrom(double y) const
    {
        return {top - y, bottom - y};
    }
    /// Whether something from `from` to `to` reaches into it.
    [[nodiscard]] Q_INVOKABLE bool meets(double from, double to) const
    {
        return from <= bottom && to >= top;
    }

    friend bool operator==(const Band&, const Band&) = default;
};

} // namespace wingbell

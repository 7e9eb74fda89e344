#pragma once

#include <QByteArrayView>

#include <optional>
#include <vector>

namespace wingbell {

/// A part of a session description: what stands before the first "m=" line, or such a line and
/// what stands below it. Views of the bytes that were read.
struct SdpSection
{
    struct Attribute
    {
        QByteArrayView name;
        QByteArrayView value; ///< what stands behind the colon; empty without one
    };

    QByteArrayView media; ///< the value of the "m=" line; empty for the part before the first
    std::vector<Attribute> attributes;

    /// The values of all attributes of that name, in their order.
    [[nodiscard]] std::vector<QByteArrayView> values(QByteArrayView name) const;
};

/// The parts of `sdp`, the one before the first "m=" line always first. Nothing when a line is no
/// line of a session description. Takes any bytes whatever.
[[nodiscard]] std::optional<std::vector<SdpSection>> sdpSections(QByteArrayView sdp);

} // namespace wingbell

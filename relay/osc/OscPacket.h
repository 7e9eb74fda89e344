#pragma once

#include "relay/osc/OscMessage.h"
#include "relay/words/Refusal.h"

#include <QByteArrayView>

#include <cstddef>
#include <variant>
#include <vector>

namespace wingbell {

/// One message of a packet, or why it cannot be read.
using OscElement = std::variant<OscMessage, Refusal>;

/// How many bundles may stand inside one another, and how many messages a packet may hold.
inline constexpr int deepestOscBundle = 8;
inline constexpr std::size_t mostOscMessages = 256;

/// The messages of a datagram in their order, those of bundles among them; time tags are ignored,
/// everything is meant for now. A packet whose bundles are broken or beyond the bounds above is
/// refused as a whole; inside sound bundles a broken message is refused alone. Takes any bytes
/// whatever. Empty only for a bundle of nothing.
[[nodiscard]] std::vector<OscElement> readOscPacket(QByteArrayView packet);

} // namespace wingbell

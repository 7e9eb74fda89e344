#include "relay/link/RtpHistory.h"

#include <algorithm>

namespace wingbell {

void RtpHistory::keep(std::uint16_t sequence, std::span<const std::uint8_t> packet)
{
    m_loss.count(false);
    Entry& entry = m_entries[sequence % capacity];
    entry.size = 0;
    if (packet.size() > maxPacket) {
        return;
    }
    entry.sequence = sequence;
    entry.size = static_cast<std::uint16_t>(packet.size());
    entry.times = 0;
    entry.last = {};
    std::copy(packet.begin(), packet.end(), entry.bytes.begin());
}

std::span<const std::uint8_t> RtpHistory::sendAgain(std::uint16_t sequence, Clock::time_point now)
{
    Entry& entry = m_entries[sequence % capacity];
    if (entry.size == 0 || entry.sequence != sequence || entry.times == maxTimes ||
        (entry.times > 0 && now - entry.last < minInterval)) {
        return {};
    }
    if (entry.times == 0) {
        m_loss.count(true);
    }
    ++entry.times;
    entry.last = now;
    return std::span(entry.bytes).first(entry.size);
}

} // namespace wingbell

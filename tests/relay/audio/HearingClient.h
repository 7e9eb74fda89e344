#pragma once

#include "relay/audio/AudioIo.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct OpusDecoder;

namespace wingbell {

/// Whether a packet of Opus holds CELT alone, as the number of its configuration says.
[[nodiscard]] inline bool isCelt(std::span<const std::uint8_t> packet)
{
    return packet[0] >> 3U >= 16;
}

/// A listener that decodes all that is sent to it, as a browser does.
class HearingClient : public PacketSink
{
public:
    HearingClient();
    ~HearingClient() override;

    HearingClient(const HearingClient&) = delete;
    HearingClient& operator=(const HearingClient&) = delete;

    void send(std::span<const std::uint8_t> packet) override;

    /// All that was heard.
    [[nodiscard]] const std::vector<float>& samples() const { return m_samples; }

    [[nodiscard]] std::size_t packets() const { return m_packets; }

    /// Of the last packet, in bytes.
    [[nodiscard]] std::size_t packetSize() const { return m_packetSize; }

    /// Forgets what was heard, and how many packets there were.
    void clear();

private:
    struct DestroyDecoder
    {
        void operator()(OpusDecoder* decoder) const;
    };

    std::unique_ptr<OpusDecoder, DestroyDecoder> m_decoder;
    std::vector<float> m_samples;
    std::size_t m_packets = 0;
    std::size_t m_packetSize = 0;
};

} // namespace wingbell

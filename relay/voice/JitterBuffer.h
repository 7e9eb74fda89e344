#pragma once

#include "relay/voice/RtpPacket.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace wingbell {

/// Brings one stream of Opus packets into order and says what is to be played next.
///
/// Never waits ahead of time: what has come is played. When nothing is there the time is bridged
/// without passing over a packet, so that one which is only late is still played and the latency
/// grows by itself; if it stays away while later ones come, the bridge has stood for it. When
/// packets come late again and again although later ones were there, the next gap is bridged too.
/// Allocates only when built. Not for several threads at once.
class JitterBuffer
{
public:
    static constexpr std::size_t mostPackets = 64;
    static constexpr std::size_t mostPayload = 1500;

    enum class Action {
        Decode,  ///< the payload
        Recover, ///< the packet before this payload, from what the payload holds of it
        Conceal, ///< a packet that is lost
        Bridge,  ///< time in which nothing is there
    };

    /// What makes the next `samples` samples.
    struct Step
    {
        Action action = Action::Bridge;
        std::span<const std::uint8_t> payload; ///< valid until the next call
        std::size_t samples = 0;
        std::size_t waited = 0; ///< samples bridged before a packet that was only late
    };

    JitterBuffer();

    /// Keeps `packet` until its turn. A packet of another stream, or far from the turn, is taken
    /// for the beginning of a new stream once the one after it has come too. False for what is not
    /// Opus.
    bool insert(const RtpPacket& packet);

    /// Moves on by one step. `bridge` is how many samples a bridge shall have.
    [[nodiscard]] Step next(std::size_t bridge);

    /// Samples from the next packet's turn to the end of the last one kept, lost ones among them.
    [[nodiscard]] std::size_t depth() const;

    /// How much of the depth is wanted, in samples: a packet where many are lost, else nothing.
    [[nodiscard]] std::size_t reserve() const { return m_isLossy ? m_packetSamples : 0; }

    [[nodiscard]] std::uint64_t lost() const { return m_lost; }
    [[nodiscard]] std::uint64_t late() const { return m_late; }

private:
    struct Slot
    {
        bool isFilled = false;
        std::uint16_t size = 0;
        std::uint32_t samples = 0;
        std::array<std::uint8_t, mostPayload> payload;
    };

    struct Candidate
    {
        std::uint32_t ssrc = 0;
        std::uint16_t next = 0;
    };

    [[nodiscard]] Slot& slotOf(std::uint16_t sequence);
    void place(const RtpPacket& packet, std::uint32_t samples);
    void begin(const RtpPacket& packet);
    [[nodiscard]] bool continuesCandidate(const RtpPacket& packet) const;
    [[nodiscard]] std::size_t packetsMissing();
    void endTurn(bool wasThere);
    void passOver(std::size_t packets);
    void noteLate(int distance);
    void passOverWhatWasBridged();
    void passOverEmptyPackets();
    [[nodiscard]] Step decode();

    std::vector<Slot> m_slots;
    bool m_hasBegun = false;
    std::uint32_t m_ssrc = 0;
    std::uint16_t m_expected = 0; ///< whose turn it is
    std::uint16_t m_last = 0;     ///< the furthest one kept; of meaning while any is
    std::size_t m_kept = 0;
    std::size_t m_keptSamples = 0;
    std::size_t m_packetSamples;    ///< of the latest packet; taken for a lost one's
    std::size_t m_bridged = 0;      ///< samples since the last packet that was there
    std::uint64_t m_passedOver = 0; ///< for each of the last turns a bit, the last one's lowest
    float m_lossShare = 0;          ///< of the last few hundred turns
    bool m_isLossy = false;
    std::size_t m_turnsSinceLate;
    bool m_shallWait = false; ///< at the next gap
    std::optional<Candidate> m_candidate;
    std::uint64_t m_lost = 0;
    std::uint64_t m_late = 0;
};

} // namespace wingbell

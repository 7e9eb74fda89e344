#pragma once

#include "relay/audio/LossShare.h"
#include "relay/audio/RtpPacket.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace wingbell {

/// An adaptive jitter buffer: puts one stream of Opus packets in order and says what to play next.
///
/// It never delays ahead of time: what has arrived is played. On an underrun, when nothing is
/// there, the time is concealed without giving up the next packet: if that is only late it is still
/// played, and the delay has grown by itself. If it stays away while later ones arrive, the
/// concealment has stood in for it. If packets keep coming out of order, the next gap is concealed
/// as well, so that the delay grows enough for them. Allocates only when built. Not thread-safe.
class JitterBuffer
{
public:
    static constexpr std::size_t maxPackets = 64;
    static constexpr std::size_t maxPayload = 1500; ///< bytes

    enum class Action {
        Decode,          ///< the payload
        Recover,         ///< the lost packet before this payload, from its forward error correction
        ConcealLoss,     ///< a lost packet
        ConcealUnderrun, ///< time for which nothing has arrived
    };

    /// What makes the next `samples` samples.
    struct Step
    {
        Action action = Action::ConcealUnderrun;
        std::span<const std::uint8_t> payload; ///< valid until the next call
        std::size_t samples = 0;
        std::size_t underrun = 0; ///< samples concealed before a packet that was only late
    };

    JitterBuffer();

    /// Keeps `packet` until its playout slot. A packet of another stream, or far from the current
    /// slot, starts a new stream once its successor has arrived too. Returns false if the payload
    /// is not Opus.
    bool insert(const RtpPacket& packet);

    /// Keeps the copy of a packet that came with a later one (RED). It never starts a stream:
    /// insert that later one first.
    void insertCopy(const RtpPacket& packet);

    /// Moves on by one step. An underrun is concealed for `underrunSamples`.
    [[nodiscard]] Step next(std::size_t underrunSamples);

    /// Samples from the current playout slot to the end of the last packet kept, lost ones
    /// included.
    [[nodiscard]] std::size_t depth() const;

    /// How much of the depth to keep, in samples: one packet while many are lost, so that the next
    /// one's error correction can be used; otherwise nothing.
    [[nodiscard]] std::size_t targetDelay() const { return m_loss.isHigh() ? m_packetSamples : 0; }

    /// Packets that were not there in their playout slot.
    [[nodiscard]] std::uint64_t lost() const { return m_lost; }
    /// Packets that arrived after their playout slot.
    [[nodiscard]] std::uint64_t late() const { return m_late; }

private:
    struct Slot
    {
        bool isFilled = false;
        std::uint8_t payload = 0; ///< its place in m_payloads
        std::uint16_t size = 0;
        std::uint32_t samples = 0;
    };

    using Payload = std::array<std::uint8_t, maxPayload>;

    /// What the next packet of a new stream would be.
    struct Candidate
    {
        std::uint32_t ssrc = 0;
        std::uint16_t next = 0;
    };

    [[nodiscard]] Slot& slotOf(std::uint16_t sequence);
    [[nodiscard]] std::span<const std::uint8_t> payloadOf(const Slot& slot) const;
    void place(const RtpPacket& packet, std::uint32_t samples);
    void clear(Slot& slot);
    void begin(const RtpPacket& packet);
    [[nodiscard]] bool continuesCandidate(const RtpPacket& packet) const;
    [[nodiscard]] std::size_t packetsMissing();
    void endSlot(bool wasFilled);
    void skip(std::size_t packets);
    void noteLatePacket(int distance);
    void skipWhatWasConcealed();
    void skipEmptyPackets();
    [[nodiscard]] Step decode();

    std::vector<Slot> m_slots; ///< a ring: a packet's slot is the remainder of its number
    // The place that was freed last is used first, so that few are ever touched and take memory.
    std::unique_ptr<Payload[]> m_payloads;
    std::vector<std::uint8_t> m_freePayloads; ///< a stack

    bool m_hasBegun = false;
    std::uint32_t m_ssrc = 0;
    std::uint16_t m_expected = 0; ///< the number of the current playout slot
    std::uint16_t m_last = 0;     ///< the highest number kept; valid while m_kept > 0
    std::size_t m_kept = 0;
    std::size_t m_keptSamples = 0;
    std::size_t m_packetSamples; ///< of the latest packet; a lost one is taken to be as long
    std::size_t m_underrun = 0;  ///< samples concealed since the last packet that was there
    std::uint64_t m_skipped = 0; ///< one bit for each of the last slots, the latest one's lowest
    LossShare m_loss;            ///< of slots
    std::size_t m_slotsSinceLate;
    bool m_waitsAtNextGap = false;
    std::optional<Candidate> m_candidate;
    std::uint64_t m_lost = 0;
    std::uint64_t m_late = 0;
};

} // namespace wingbell

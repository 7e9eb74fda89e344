#include "relay/voice/JitterBuffer.h"

#include "relay/voice/AudioFormat.h"

#include <opus.h>

#include <algorithm>

namespace wingbell {

namespace {

/// A packet this far from the turn, or farther, is not near.
constexpr int far = static_cast<int>(JitterBuffer::mostPackets);

/// Longer losses are not made up packet by packet: nothing intelligible would come of it.
constexpr std::size_t longestConcealment = sampleRate / 10;

/// A packet that comes after a longer time was not late: its sender had paused.
constexpr std::size_t longestWait = sampleRate;

/// Packets that come late twice within this many turns do not do so by chance.
constexpr std::size_t lateTogether = 100;

/// Many are lost from the first share on, until no more than the second are.
constexpr float lossy = 0.05F;
constexpr float hardlyLossy = 0.02F;
constexpr float turnsRemembered = 256;

/// How many samples a payload holds; none for an empty one, which only keeps a connection open.
std::optional<std::uint32_t> samplesOf(std::span<const std::uint8_t> payload)
{
    if (payload.empty()) {
        return 0;
    }
    if (payload.size() > JitterBuffer::mostPayload) {
        return std::nullopt;
    }
    const int samples = opus_packet_get_nb_samples(
        payload.data(), static_cast<opus_int32>(payload.size()), sampleRate);
    if (samples <= 0) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(samples);
}

/// How far `sequence` is ahead of `from`; less than nothing when it is behind.
int ahead(std::uint16_t sequence, std::uint16_t from)
{
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(sequence - from));
}

} // namespace

JitterBuffer::JitterBuffer()
    : m_slots(mostPackets)
    , m_packetSamples(mostTickSamples)
    , m_turnsSinceLate(lateTogether)
{
}

JitterBuffer::Slot& JitterBuffer::slotOf(std::uint16_t sequence)
{
    return m_slots[sequence % mostPackets];
}

bool JitterBuffer::insert(const RtpPacket& packet)
{
    const std::optional<std::uint32_t> samples = samplesOf(packet.payload);
    if (!samples) {
        return false;
    }
    if (!m_hasBegun) {
        begin(packet);
    }
    const int distance = ahead(packet.sequence, m_expected);
    const bool isNear = distance >= -far && distance < far;
    if (packet.ssrc == m_ssrc && isNear && distance >= 0) {
        m_candidate.reset();
        place(packet, *samples);
        return true;
    }
    if (continuesCandidate(packet)) {
        begin(packet);
        place(packet, *samples);
        return true;
    }
    if (packet.ssrc == m_ssrc && isNear) {
        noteLate(distance);
        return true;
    }
    m_candidate = Candidate{packet.ssrc, static_cast<std::uint16_t>(packet.sequence + 1)};
    return true;
}

void JitterBuffer::place(const RtpPacket& packet, std::uint32_t samples)
{
    Slot& slot = slotOf(packet.sequence);
    if (slot.isFilled) {
        return; // the same packet again: all that are kept lie within one round of the slots
    }
    slot.isFilled = true;
    slot.samples = samples;
    slot.size = static_cast<std::uint16_t>(packet.payload.size());
    std::copy(packet.payload.begin(), packet.payload.end(), slot.payload.begin());
    if (m_kept == 0 || ahead(packet.sequence, m_last) > 0) {
        m_last = packet.sequence;
    }
    ++m_kept;
    m_keptSamples += samples;
    if (samples != 0) {
        m_packetSamples = samples;
    }
}

void JitterBuffer::begin(const RtpPacket& packet)
{
    for (Slot& slot : m_slots) {
        slot.isFilled = false;
    }
    m_candidate.reset();
    m_hasBegun = true;
    m_ssrc = packet.ssrc;
    m_expected = packet.sequence;
    m_kept = 0;
    m_keptSamples = 0;
    m_bridged = 0;
    m_passedOver = 0;
    m_lossShare = 0;
    m_isLossy = false;
    m_turnsSinceLate = lateTogether;
    m_shallWait = false;
}

/// `distance`: to a turn that is over, from -1 down.
void JitterBuffer::noteLate(int distance)
{
    const std::uint64_t turn = std::uint64_t{1} << static_cast<unsigned>(-1 - distance);
    if ((m_passedOver & turn) == 0) {
        return; // the same packet again
    }
    m_passedOver &= ~turn;
    ++m_late;
    m_shallWait = m_turnsSinceLate < lateTogether;
    m_turnsSinceLate = 0;
}

void JitterBuffer::endTurn(bool wasThere)
{
    ++m_expected;
    ++m_turnsSinceLate;
    m_passedOver = m_passedOver << 1U | (wasThere ? 0U : 1U);
    m_lossShare += ((wasThere ? 0.0F : 1.0F) - m_lossShare) / turnsRemembered;
    m_isLossy = m_lossShare > (m_isLossy ? hardlyLossy : lossy);
}

bool JitterBuffer::continuesCandidate(const RtpPacket& packet) const
{
    return m_candidate && m_candidate->ssrc == packet.ssrc && m_candidate->next == packet.sequence;
}

/// How many are missing before the first one kept, of which there must be one.
std::size_t JitterBuffer::packetsMissing()
{
    std::size_t missing = 0;
    while (!slotOf(static_cast<std::uint16_t>(m_expected + missing)).isFilled) {
        ++missing;
    }
    return missing;
}

void JitterBuffer::passOver(std::size_t packets)
{
    m_lost += packets;
    for (; packets > 0; --packets) {
        endTurn(false);
    }
}

void JitterBuffer::passOverWhatWasBridged()
{
    // Half a packet's time decides, for what is bridged need not be whole packets.
    const std::size_t recoverable = m_isLossy ? 1 : 0;
    for (std::size_t missing = packetsMissing();
         missing > recoverable && m_bridged >= std::max<std::size_t>(m_packetSamples / 2, 1);
         --missing) {
        passOver(1);
        m_bridged -= std::min(m_bridged, m_packetSamples);
    }
}

void JitterBuffer::passOverEmptyPackets()
{
    while (m_kept > 0 && slotOf(m_expected).isFilled && slotOf(m_expected).samples == 0) {
        slotOf(m_expected).isFilled = false;
        --m_kept;
        endTurn(true);
    }
}

JitterBuffer::Step JitterBuffer::decode()
{
    Slot& slot = slotOf(m_expected);
    slot.isFilled = false;
    --m_kept;
    m_keptSamples -= slot.samples;
    endTurn(true);
    const std::size_t waited = m_bridged > longestWait ? 0 : m_bridged;
    m_bridged = 0;
    return {Action::Decode, std::span(slot.payload).first(slot.size), slot.samples, waited};
}

JitterBuffer::Step JitterBuffer::next(std::size_t bridge)
{
    passOverEmptyPackets();
    if (m_kept > 0) {
        passOverWhatWasBridged();
        passOverEmptyPackets();
    }
    const std::size_t missing = m_kept == 0 ? 0 : packetsMissing();
    if (m_kept == 0 || (missing > 0 && m_shallWait)) {
        m_shallWait = false;
        m_bridged += bridge;
        return {Action::Bridge, {}, bridge, 0};
    }
    if (missing == 0) {
        return decode();
    }
    m_bridged = 0;
    if (missing == 1) {
        passOver(1);
        const Slot& slot = slotOf(m_expected);
        return {Action::Recover, std::span(slot.payload).first(slot.size), m_packetSamples, 0};
    }
    const bool isTooLong = missing * m_packetSamples > longestConcealment;
    passOver(isTooLong ? missing : 1);
    return {Action::Conceal, {}, m_packetSamples, 0};
}

std::size_t JitterBuffer::depth() const
{
    if (m_kept == 0) {
        return 0;
    }
    const auto turns = static_cast<std::size_t>(ahead(m_last, m_expected)) + 1;
    return m_keptSamples + (turns - m_kept) * m_packetSamples;
}

} // namespace wingbell

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
    ++m_received;
    if (!m_hasBegun) {
        begin(packet);
    }
    const int distance = ahead(packet.sequence, m_expected);
    const bool isNear = distance >= -far && distance < far;
    if (packet.ssrc != m_ssrc || !isNear) {
        if (!continuesCandidate(packet)) {
            return true;
        }
        begin(packet);
    } else if (distance < 0) {
        ++m_late;
        return true;
    }
    m_candidate.reset();
    place(packet, *samples);
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
    m_hasBegun = true;
    m_ssrc = packet.ssrc;
    m_expected = packet.sequence;
    m_kept = 0;
    m_keptSamples = 0;
    m_bridged = 0;
}

bool JitterBuffer::continuesCandidate(const RtpPacket& packet)
{
    const bool continues =
        m_candidate && m_candidate->ssrc == packet.ssrc && m_candidate->next == packet.sequence;
    m_candidate = Candidate{packet.ssrc, static_cast<std::uint16_t>(packet.sequence + 1)};
    return continues;
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
    m_expected = static_cast<std::uint16_t>(m_expected + packets);
    m_lost += packets;
}

void JitterBuffer::passOverWhatWasBridged()
{
    // Half a packet's time decides, for what is bridged need not be whole packets.
    for (std::size_t missing = packetsMissing();
         missing > 0 && m_bridged >= std::max<std::size_t>(m_packetSamples / 2, 1); --missing) {
        passOver(1);
        m_bridged -= std::min(m_bridged, m_packetSamples);
    }
}

void JitterBuffer::passOverEmptyPackets()
{
    while (m_kept > 0 && slotOf(m_expected).isFilled && slotOf(m_expected).samples == 0) {
        slotOf(m_expected).isFilled = false;
        --m_kept;
        ++m_expected;
    }
}

JitterBuffer::Step JitterBuffer::decode()
{
    Slot& slot = slotOf(m_expected);
    slot.isFilled = false;
    --m_kept;
    m_keptSamples -= slot.samples;
    ++m_expected;
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
    if (m_kept == 0) {
        m_bridged += bridge;
        return {Action::Bridge, {}, bridge, 0};
    }
    const std::size_t missing = packetsMissing();
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

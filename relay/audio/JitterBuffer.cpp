#include "relay/audio/JitterBuffer.h"

#include "relay/audio/AudioIo.h"

#include <opus.h>

#include <algorithm>
#include <numeric>

namespace wingbell {

namespace {

/// A packet this far from the current playout slot, or farther, is not near.
constexpr int far = static_cast<int>(JitterBuffer::maxPackets);

/// Longer losses are skipped, not concealed packet by packet: that would not be intelligible.
constexpr std::size_t maxConcealment = sampleRate / 10;

/// After a longer underrun the packet was not late: its sender had paused.
constexpr std::size_t maxUnderrun = sampleRate;

/// Two late packets within this many slots are not late by chance.
constexpr std::size_t latePacketWindow = 100;

/// How many samples a payload holds; 0 for an empty one, which only keeps a connection open.
/// Returns nullopt if it is not Opus.
std::optional<std::uint32_t> samplesOf(std::span<const std::uint8_t> payload)
{
    if (payload.empty()) {
        return 0;
    }
    if (payload.size() > JitterBuffer::maxPayload) {
        return std::nullopt;
    }
    const int samples = opus_packet_get_nb_samples(
        payload.data(), static_cast<opus_int32>(payload.size()), sampleRate);
    if (samples <= 0) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(samples);
}

} // namespace

JitterBuffer::JitterBuffer()
    : m_slots(maxPackets)
    , m_payloads(std::make_unique_for_overwrite<Payload[]>(maxPackets))
    , m_freePayloads(maxPackets)
    , m_packetSamples(maxCycleSamples)
    , m_slotsSinceLate(latePacketWindow)
{
    std::iota(m_freePayloads.rbegin(), m_freePayloads.rend(), std::uint8_t{0});
}

JitterBuffer::Slot& JitterBuffer::slotOf(std::uint16_t sequence)
{
    return m_slots[sequence % maxPackets];
}

std::span<const std::uint8_t> JitterBuffer::payloadOf(const Slot& slot) const
{
    return std::span(m_payloads[slot.payload]).first(slot.size);
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
        noteLatePacket(distance);
        return true;
    }
    m_candidate = Candidate{packet.ssrc, static_cast<std::uint16_t>(packet.sequence + 1)};
    return true;
}

void JitterBuffer::insertCopy(const RtpPacket& packet)
{
    const std::optional<std::uint32_t> samples = samplesOf(packet.payload);
    const int distance = ahead(packet.sequence, m_expected);
    if (!samples || !m_hasBegun || packet.ssrc != m_ssrc || distance < -far || distance >= far) {
        return;
    }
    if (distance >= 0) {
        place(packet, *samples);
    } else {
        noteLatePacket(distance);
    }
}

void JitterBuffer::place(const RtpPacket& packet, std::uint32_t samples)
{
    Slot& slot = slotOf(packet.sequence);
    if (slot.isFilled) {
        return; // a duplicate: all packets kept lie within one round of the ring
    }
    slot.isFilled = true;
    slot.samples = samples;
    slot.size = static_cast<std::uint16_t>(packet.payload.size());
    slot.payload = m_freePayloads.back();
    m_freePayloads.pop_back();
    std::copy(packet.payload.begin(), packet.payload.end(), m_payloads[slot.payload].begin());
    if (m_kept == 0 || ahead(packet.sequence, m_last) > 0) {
        m_last = packet.sequence;
    }
    ++m_kept;
    m_keptSamples += samples;
    if (samples != 0) {
        m_packetSamples = samples;
    }
}

/// The payload stays until the next packet is placed.
void JitterBuffer::clear(Slot& slot)
{
    slot.isFilled = false;
    m_freePayloads.push_back(slot.payload);
    --m_kept;
    m_keptSamples -= slot.samples;
}

void JitterBuffer::begin(const RtpPacket& packet)
{
    for (Slot& slot : m_slots) {
        if (slot.isFilled) {
            clear(slot);
        }
    }
    m_candidate.reset();
    m_hasBegun = true;
    m_ssrc = packet.ssrc;
    m_expected = packet.sequence;
    m_underrun = 0;
    m_skipped = 0;
    m_loss.reset();
    m_slotsSinceLate = latePacketWindow;
    m_waitsAtNextGap = false;
}

/// `distance`: to a slot that has been played, from -1 down.
void JitterBuffer::noteLatePacket(int distance)
{
    const std::uint64_t slot = std::uint64_t{1} << static_cast<unsigned>(-1 - distance);
    if ((m_skipped & slot) == 0) {
        return; // a duplicate
    }
    m_skipped &= ~slot;
    ++m_late;
    m_waitsAtNextGap = m_slotsSinceLate < latePacketWindow;
    m_slotsSinceLate = 0;
}

void JitterBuffer::endSlot(bool wasFilled)
{
    ++m_expected;
    ++m_slotsSinceLate;
    m_skipped = m_skipped << 1U | (wasFilled ? 0U : 1U);
    m_loss.count(!wasFilled);
}

bool JitterBuffer::continuesCandidate(const RtpPacket& packet) const
{
    return m_candidate && m_candidate->ssrc == packet.ssrc && m_candidate->next == packet.sequence;
}

/// How many packets are missing before the first one kept. There must be one.
std::size_t JitterBuffer::packetsMissing()
{
    std::size_t missing = 0;
    while (!slotOf(static_cast<std::uint16_t>(m_expected + missing)).isFilled) {
        ++missing;
    }
    return missing;
}

void JitterBuffer::skip(std::size_t packets)
{
    m_lost += packets;
    for (; packets > 0; --packets) {
        endSlot(false);
    }
}

void JitterBuffer::skipWhatWasConcealed()
{
    // Half a packet's time decides, because an underrun need not last whole packets.
    const std::size_t recoverable = m_loss.isHigh() ? 1 : 0;
    for (std::size_t missing = packetsMissing();
         missing > recoverable && m_underrun >= std::max<std::size_t>(m_packetSamples / 2, 1);
         --missing) {
        skip(1);
        m_underrun -= std::min(m_underrun, m_packetSamples);
    }
}

void JitterBuffer::skipEmptyPackets()
{
    while (m_kept > 0 && slotOf(m_expected).isFilled && slotOf(m_expected).samples == 0) {
        clear(slotOf(m_expected));
        endSlot(true);
    }
}

JitterBuffer::Step JitterBuffer::decode()
{
    Slot& slot = slotOf(m_expected);
    clear(slot);
    endSlot(true);
    const std::size_t underrun = m_underrun > maxUnderrun ? 0 : m_underrun;
    m_underrun = 0;
    return {Action::Decode, payloadOf(slot), slot.samples, underrun};
}

JitterBuffer::Step JitterBuffer::next(std::size_t underrunSamples)
{
    skipEmptyPackets();
    if (m_kept > 0) {
        skipWhatWasConcealed();
        skipEmptyPackets();
    }
    const std::size_t missing = m_kept == 0 ? 0 : packetsMissing();
    if (m_kept == 0 || (missing > 0 && m_waitsAtNextGap)) {
        m_waitsAtNextGap = false;
        m_underrun += underrunSamples;
        return {Action::ConcealUnderrun, {}, underrunSamples, 0};
    }
    if (missing == 0) {
        return decode();
    }
    m_underrun = 0;
    if (missing == 1) {
        skip(1);
        const Slot& slot = slotOf(m_expected);
        return {Action::Recover, payloadOf(slot), m_packetSamples, 0};
    }
    const bool isTooLong = missing * m_packetSamples > maxConcealment;
    skip(isTooLong ? missing : 1);
    return {Action::ConcealLoss, {}, m_packetSamples, 0};
}

std::size_t JitterBuffer::depth() const
{
    if (m_kept == 0) {
        return 0;
    }
    const auto slots = static_cast<std::size_t>(ahead(m_last, m_expected)) + 1;
    return m_keptSamples + (slots - m_kept) * m_packetSamples;
}

} // namespace wingbell

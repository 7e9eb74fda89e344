#include "relay/audio/AudioIo.h"
#include "relay/audio/JitterBuffer.h"
#include "relay/audio/OpusReceiver.h"
#include "relay/audio/RedPayload.h"
#include "relay/audio/RtpPacket.h"
#include "tests/fuzz/Check.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

using namespace wingbell;

namespace {

/// An Opus packet holds 120 ms at most.
constexpr std::size_t maxPacketSamples = std::size_t{sampleRate} * 120 / 1000;

using Bytes = std::span<const std::uint8_t>;

/// Takes up to `count` bytes off `rest`.
Bytes take(Bytes& rest, std::size_t count)
{
    const Bytes taken = rest.first(std::min(count, rest.size()));
    rest = rest.subspan(taken.size());
    return taken;
}

void checkStep(const JitterBuffer::Step& step)
{
    const bool hasPayload =
        step.action == JitterBuffer::Action::Decode || step.action == JitterBuffer::Action::Recover;
    check(step.payload.size() <= JitterBuffer::maxPayload, "a payload is bounded");
    check(hasPayload || step.payload.empty(), "only what is there is decoded");
    check(step.samples > 0 && step.samples <= maxPacketSamples, "a step moves on, and not too far");
}

/// What a stranger does to a participant: packets, and time that passes between them.
class Stranger
{
public:
    void send(Bytes bytes)
    {
        const auto packet = readRtpPacket(bytes);
        if (!packet) {
            return;
        }
        check(packet->payloadType < 128, "a payload type has seven bits");
        check(
            packet->payload.empty() ||
                (packet->payload.data() >= bytes.data() &&
                 packet->payload.data() + packet->payload.size() <= bytes.data() + bytes.size()),
            "a payload lies within its packet");
        OpusPackets packets;
        const bool isOpus = readOpusPackets(*packet, packets);
        check(
            (isOpus && m_buffer.insert(packets.newest)) == m_receiver.insert(*packet),
            "both take the same packets");
        for (const RtpPacket& copy : packets.older()) {
            m_buffer.insertCopy(copy);
        }
        check(
            m_buffer.depth() <= JitterBuffer::maxPackets * maxPacketSamples,
            "no more is kept than there is room for");
    }

    void listen()
    {
        checkStep(m_buffer.next(m_sound.size()));
        m_receiver.play(m_sound);
        check(
            std::all_of(
                m_sound.begin(), m_sound.end(), [](float sample) { return std::isfinite(sample); }),
            "sound is made of numbers");
    }

    void discard()
    {
        checkStep(m_buffer.next(m_sound.size()));
        m_receiver.discard(m_sound.size());
    }

private:
    JitterBuffer m_buffer;
    OpusReceiver m_receiver;
    std::array<float, maxCycleSamples> m_sound = {};
};

} // namespace

/// The input is a row of steps: a byte that says how long a packet follows, or, above all lengths,
/// that a cycle passes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::uint8_t heardTick = 0xFF;
    constexpr std::uint8_t unheardTick = 0xFE;
    constexpr int maxSteps = 500; // decoding takes time, and a fuzzer lives on speed
    Stranger stranger;
    Bytes rest(data, size);
    for (int step = 0; step < maxSteps && !rest.empty(); ++step) {
        const std::uint8_t kind = take(rest, 1).front();
        if (kind == heardTick) {
            stranger.listen();
        } else if (kind == unheardTick) {
            stranger.discard();
        } else {
            stranger.send(take(rest, kind));
        }
    }
    return 0;
}

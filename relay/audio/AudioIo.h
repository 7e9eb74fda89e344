#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace wingbell {

// The audio format of a room, and the interfaces through which audio enters and leaves it.

/// All audio is mono, in 32-bit float samples from -1 to 1, at this rate in Hz.
inline constexpr int sampleRate = 48000;

/// The maximum length of a mixer cycle, 20 ms, in samples; also what an ordinary Opus packet holds.
inline constexpr std::size_t maxCycleSamples = 960;

/// Audio that is played once, from beginning to end: an announcement.
class AudioSource
{
public:
    virtual ~AudioSource() = default;

    /// Fills the beginning of `samples` with what comes next and returns how many samples that
    /// were. Fewer than asked for: there are no more at the moment. Called on the mixer thread;
    /// must not block.
    [[nodiscard]] virtual std::size_t read(std::span<float> samples) = 0;

    /// True when no more samples will come. Any thread.
    [[nodiscard]] virtual bool isFinished() const = 0;
};

/// Takes RTP packets of Opus from one participant; any bytes are safe. To be called on one thread
/// at a time; never waits.
using RtpReceiver = std::function<void(std::span<const std::uint8_t> packet)>;

/// Where the encoded mix for one listener goes.
class PacketSink
{
public:
    virtual ~PacketSink() = default;

    /// Takes one Opus packet, of one mixer cycle. Called on the mixer thread once a cycle while the
    /// listener is in the room; must not block, and must not keep `packet`.
    virtual void send(std::span<const std::uint8_t> packet) = 0;
};

} // namespace wingbell

#pragma once

#include "relay/audio/OpusReceiver.h"
#include "tests/relay/audio/TalkingClient.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace wingbell {

/// A talker, a network and a receiver, all in simulated time.
class SimulatedLine
{
public:
    /// How long the network takes for a packet, counted from the first, in samples; nothing when it
    /// is lost.
    using Delay = std::function<std::optional<double>(std::size_t packet)>;

    /// `pace`: how fast the talker's clock goes, in the receiver's time.
    SimulatedLine(TalkingClient& talker, OpusReceiver& receiver, Delay delay, double pace = 1);

    /// Lets `seconds` pass while the receiver is heard, or not.
    void listen(double seconds, std::size_t samplesPerCycle = maxCycleSamples);
    void pass(double seconds, std::size_t samplesPerCycle = maxCycleSamples);

    /// All that was heard, from the beginning; silence while it was not.
    [[nodiscard]] const std::vector<float>& heard() const { return m_heard; }

private:
    void sendUntil(double now);
    void deliverUntil(double now);

    TalkingClient& m_talker;
    OpusReceiver& m_receiver;
    Delay m_delay;
    double m_pace;
    std::size_t m_sent = 0;
    std::multimap<double, std::vector<std::uint8_t>> m_underway;
    std::vector<float> m_heard;
};

/// As many samples always.
[[nodiscard]] SimulatedLine::Delay steadyDelay(double samples);

/// Silence but for a mark of 20 ms at the beginning of each second.
[[nodiscard]] TalkingClient::Sound marks();

/// How many samples after its beginning at the talker each of the marks was heard.
[[nodiscard]] std::vector<double>
latenciesOfMarks(const std::vector<float>& heard, double pace = 1);

} // namespace wingbell

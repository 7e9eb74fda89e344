#include "tests/relay/audio/SimulatedLine.h"

#include "relay/audio/RtpPacket.h"

#include <cmath>
#include <span>
#include <utility>

namespace wingbell {

SimulatedLine::SimulatedLine(
    TalkingClient& talker, OpusReceiver& receiver, Delay delay, double pace)
    : m_talker(talker)
    , m_receiver(receiver)
    , m_delay(std::move(delay))
    , m_pace(pace)
{
}

void SimulatedLine::sendUntil(double now)
{
    const auto length = static_cast<double>(m_talker.samplesPerPacket());
    for (;;) {
        // A packet leaves when its last sample has been spoken.
        const double leaves = static_cast<double>(m_sent + 1) * length / m_pace;
        if (leaves > now) {
            return;
        }
        std::vector<std::uint8_t> packet = m_talker.next();
        if (const std::optional<double> delay = m_delay(m_sent)) {
            m_underway.emplace(leaves + *delay, std::move(packet));
        }
        ++m_sent;
    }
}

void SimulatedLine::deliverUntil(double now)
{
    while (!m_underway.empty() && m_underway.begin()->first <= now) {
        if (const auto packet = readRtpPacket(m_underway.begin()->second)) {
            m_receiver.insert(*packet);
        }
        m_underway.erase(m_underway.begin());
    }
}

void SimulatedLine::listen(double seconds, std::size_t samplesPerCycle)
{
    const std::size_t end = m_heard.size() + static_cast<std::size_t>(seconds * sampleRate);
    while (m_heard.size() < end) {
        const std::size_t begin = m_heard.size();
        sendUntil(static_cast<double>(begin));
        deliverUntil(static_cast<double>(begin));
        m_heard.resize(begin + samplesPerCycle);
        m_receiver.play(std::span(m_heard).subspan(begin));
    }
}

void SimulatedLine::pass(double seconds, std::size_t samplesPerCycle)
{
    const std::size_t end = m_heard.size() + static_cast<std::size_t>(seconds * sampleRate);
    while (m_heard.size() < end) {
        const std::size_t begin = m_heard.size();
        sendUntil(static_cast<double>(begin));
        deliverUntil(static_cast<double>(begin));
        m_heard.resize(begin + samplesPerCycle);
        m_receiver.discard(samplesPerCycle);
    }
}

SimulatedLine::Delay steadyDelay(double samples)
{
    return [samples](std::size_t) {
        return samples;
    };
}

TalkingClient::Sound marks()
{
    return [sound = tone(1000, 0.6)](std::size_t sample) {
        const std::size_t within = sample % sampleRate;
        return within < maxCycleSamples ? sound(within) : 0.0F;
    };
}

std::vector<double> latenciesOfMarks(const std::vector<float>& heard, double pace)
{
    std::vector<double> latencies;
    std::size_t quiet = sampleRate;
    for (std::size_t sample = 0; sample < heard.size(); ++sample) {
        if (std::fabs(heard[sample]) < 0.1F) {
            ++quiet;
            continue;
        }
        if (quiet > sampleRate / 10) {
            const auto time = static_cast<double>(sample);
            const double mark = std::floor(time * pace / sampleRate);
            latencies.push_back(time - mark * sampleRate / pace);
        }
        quiet = 0;
    }
    return latencies;
}

} // namespace wingbell

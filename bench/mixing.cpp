// What a mixer cycle costs in time, and a participant in memory: printed, for a person to judge.
// All hear one channel, on which some of them speak.
#include "relay/audio/AudioIo.h"
#include "relay/audio/MixEncoder.h"
#include "relay/audio/Room.h"

#include <opus.h>

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <numbers>
#include <span>
#include <vector>

using namespace wingbell;

namespace {

using Packet = std::vector<std::uint8_t>;

constexpr std::size_t rtpHeader = 12;

class NoSink : public PacketSink
{
public:
    void send(std::span<const std::uint8_t>) override {}
};

/// Four seconds of something like a participant: a pitch of its own with overtones, in syllables.
std::vector<Packet> speech(int speaker, int samplesPerCycle)
{
    int error = OPUS_OK;
    const std::unique_ptr<OpusEncoder, decltype(&opus_encoder_destroy)> encoder(
        opus_encoder_create(sampleRate, 1, OPUS_APPLICATION_VOIP, &error), &opus_encoder_destroy);
    if (!encoder) {
        std::fprintf(stderr, "No encoder: %s\n", opus_strerror(error));
        std::exit(EXIT_FAILURE);
    }
    opus_encoder_ctl(encoder.get(), OPUS_SET_BITRATE(32000));
    opus_encoder_ctl(encoder.get(), OPUS_SET_INBAND_FEC(1));
    opus_encoder_ctl(encoder.get(), OPUS_SET_PACKET_LOSS_PERC(10));
    constexpr double turn = 2 * std::numbers::pi;
    std::vector<Packet> packets;
    std::vector<float> samples(static_cast<std::size_t>(samplesPerCycle));
    for (int sample = 0; sample < 4 * sampleRate; ++sample) {
        const double time = static_cast<double>(sample) / sampleRate;
        const double phase = turn * (100 + 7 * speaker) * time - 30 * std::cos(turn * time);
        double sum = 0;
        for (int overtone = 1; overtone < 20; ++overtone) {
            sum += std::sin(overtone * phase) / overtone;
        }
        const auto place = static_cast<std::size_t>(sample % samplesPerCycle);
        samples[place] = static_cast<float>(0.1 * sum * (1.2 - std::cos(turn * 3 * time)));
        if (place + 1 < samples.size()) {
            continue;
        }
        Packet packet(1500);
        const int size = opus_encode_float(
            encoder.get(), samples.data(), samplesPerCycle, packet.data() + rtpHeader,
            static_cast<int>(packet.size() - rtpHeader));
        packet[0] = 0x80;
        packet[1] = 111;
        packet.resize(rtpHeader + static_cast<std::size_t>(std::max(size, 0)));
        packets.push_back(std::move(packet));
    }
    return packets;
}

/// The time that this thread has worked, in microseconds; what others do meanwhile is left out.
double worked()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return 1e6 * static_cast<double>(time.tv_sec) + 1e-3 * static_cast<double>(time.tv_nsec);
}

double median(std::vector<double>& times)
{
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

/// What the encoding of one packet of two tones costs, in microseconds.
double encoding(std::size_t samplesPerCycle)
{
    MixEncoder encoder(samplesPerCycle);
    std::vector<double> times;
    std::vector<float> samples(samplesPerCycle);
    for (std::size_t cycle = 0; cycle < 1000; ++cycle) {
        for (std::size_t index = 0; index < samples.size(); ++index) {
            const auto place = static_cast<double>(cycle * samples.size() + index);
            samples[index] =
                static_cast<float>(0.3 * std::sin(0.05 * place) + 0.2 * std::sin(0.013 * place));
        }
        const double begin = worked();
        (void)encoder.encode(samples);
        times.push_back(worked() - begin);
    }
    return median(times);
}

/// Resident, in kilobytes.
double memory()
{
    std::ifstream file("/proc/self/statm");
    double pages = 0;
    file >> pages >> pages;
    return pages * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
}

enum class Levels { Equal, Different };

struct Crowd
{
    std::size_t size = 0;
    std::size_t talking = 0;
    Levels levels = Levels::Equal;
};

/// Some participants of a room, all of whom send.
class Crew
{
public:
    Crew(const Crowd& crowd, std::size_t samplesPerCycle)
        : m_room(1, samplesPerCycle)
    {
        const ChannelSet all = ChannelSet::all(1);
        for (std::size_t client = 0; client < crowd.size; ++client) {
            m_ids.push_back(m_room.join(all, all, std::make_shared<NoSink>()).value());
            m_room.setTalk(m_ids.back(), client < crowd.talking ? all : ChannelSet(1));
            if (crowd.levels == Levels::Different) {
                m_room.setLevels(m_ids.back(), {1 - static_cast<float>(client) / 400});
            }
        }
        for (int speaker = 0; speaker < 8; ++speaker) {
            m_spoken.push_back(speech(speaker, static_cast<int>(samplesPerCycle)));
        }
    }

    /// Returns how long the cycle took, in microseconds.
    double runCycle()
    {
        for (std::size_t client = 0; client < m_ids.size(); ++client) {
            // Not all the same syllable at once.
            std::vector<Packet>& spoken = m_spoken[client % m_spoken.size()];
            Packet& packet = spoken[(m_cycle + 13 * client) % spoken.size()];
            packet[2] = static_cast<std::uint8_t>(m_cycle >> 8U);
            packet[3] = static_cast<std::uint8_t>(m_cycle);
            m_room.receiver(m_ids[client])(packet);
        }
        ++m_cycle;
        const double begin = worked();
        m_room.runCycle();
        return worked() - begin;
    }

private:
    Room m_room;
    std::vector<ParticipantId> m_ids;
    std::vector<std::vector<Packet>> m_spoken;
    std::size_t m_cycle = 0;
};

/// Prints the median and the longest of 300 cycles, and how many encodings that is.
void measure(const Crowd& crowd, std::size_t samplesPerCycle)
{
    Crew crew(crowd, samplesPerCycle);
    std::vector<double> times;
    for (std::size_t cycle = 0; cycle < 300; ++cycle) {
        times.push_back(crew.runCycle());
    }
    const double typical = median(times);
    const double period = 1e6 * static_cast<double>(samplesPerCycle) / sampleRate;
    std::printf(
        "%3zu people, %2zu talking, %-9s levels %3.0f ms  median %7.0f us  longest %7.0f us  "
        "%5.1f %% of a core  %6.2f encodings\n",
        crowd.size, crowd.talking, crowd.levels == Levels::Equal ? "equal" : "different",
        period / 1000, typical, times.back(), 100 * typical / period,
        typical / encoding(samplesPerCycle));
}

/// Prints what a participant costs once all of it has been in use.
void measureMemory()
{
    constexpr std::size_t count = 250;
    const Crowd crowd{count, 8, Levels::Different};
    // The memory that is used once for all comes first.
    Crew few({1, 1, Levels::Equal}, maxCycleSamples);
    const double before = memory();
    Crew crew(crowd, maxCycleSamples);
    for (int cycle = 0; cycle < 200; ++cycle) {
        crew.runCycle();
    }
    std::printf(
        "%zu people take %.0f KB each\n", count, (memory() - before) / static_cast<double>(count));
}

} // namespace

int main()
{
    measureMemory();
    for (const std::size_t samplesPerCycle : {960U, 480U}) {
        std::printf("one encoding: %.0f us\n", encoding(samplesPerCycle));
        for (const std::size_t count : {2U, 8U, 16U, 32U, 64U}) {
            measure({count, count, Levels::Equal}, samplesPerCycle);
        }
        for (const std::size_t count : {64U, 250U}) {
            measure({count, 0, Levels::Equal}, samplesPerCycle);
            measure({count, 8, Levels::Equal}, samplesPerCycle);
            measure({count, 8, Levels::Different}, samplesPerCycle);
        }
    }
    return EXIT_SUCCESS;
}

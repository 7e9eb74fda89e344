// What a cycle costs, by how many are there: printed, for a person to judge. All speak into one
// channel and hear it, or all are there and no key is pressed.
#include "relay/audio/AudioIo.h"
#include "relay/audio/Room.h"

#include <opus.h>

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
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

/// The median and the longest of a thousand cycles.
void measure(std::size_t count, bool isTalking, std::size_t samplesPerCycle)
{
    Room room(1, samplesPerCycle);
    const ChannelSet all = ChannelSet::all(1);
    std::vector<ParticipantId> ids;
    std::vector<std::vector<Packet>> spoken;
    for (std::size_t client = 0; client < count; ++client) {
        ids.push_back(room.join(all, all, std::make_shared<NoSink>()).value());
        room.setTalk(ids.back(), isTalking ? all : ChannelSet(1));
        spoken.push_back(
            client < 8 ? speech(static_cast<int>(client), static_cast<int>(samplesPerCycle))
                       : spoken[client % 8]);
    }
    std::vector<double> times;
    for (std::size_t cycle = 0; cycle < 1000; ++cycle) {
        for (std::size_t client = 0; client < count; ++client) {
            // Not all the same syllable at once.
            Packet& packet = spoken[client][(cycle + 13 * client) % spoken[client].size()];
            packet[2] = static_cast<std::uint8_t>(cycle >> 8U);
            packet[3] = static_cast<std::uint8_t>(cycle);
            room.receive(ids[client], packet);
        }
        const double begin = worked();
        room.runCycle();
        times.push_back(worked() - begin);
    }
    std::sort(times.begin(), times.end());
    const double median = times[times.size() / 2];
    const double period = 1e6 * static_cast<double>(samplesPerCycle) / sampleRate;
    std::printf(
        "%2zu %-8s %3.0f ms  median %7.0f us  longest %7.0f us  %5.1f %% of a core\n", count,
        isTalking ? "talking" : "silent", period / 1000, median, times.back(),
        100 * median / period);
}

} // namespace

int main()
{
    for (const std::size_t samplesPerCycle : {960U, 480U}) {
        for (const bool isTalking : {true, false}) {
            for (const std::size_t count : {2U, 8U, 16U, 32U, 64U}) {
                measure(count, isTalking, samplesPerCycle);
            }
        }
    }
    return EXIT_SUCCESS;
}

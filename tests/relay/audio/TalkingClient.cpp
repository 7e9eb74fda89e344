#include "tests/relay/audio/TalkingClient.h"

#include <opus.h>

#include <cmath>
#include <numbers>
#include <stdexcept>
#include <utility>

namespace wingbell {

void TalkingClient::DestroyEncoder::operator()(OpusEncoder* encoder) const
{
    opus_encoder_destroy(encoder);
}

TalkingClient::TalkingClient(
    Sound sound, std::size_t samplesPerPacket, std::uint32_t ssrc, std::uint16_t sequence)
    : m_sound(std::move(sound))
    , m_samplesPerPacket(samplesPerPacket)
    , m_ssrc(ssrc)
    , m_sequence(sequence)
{
    int error = OPUS_OK;
    m_encoder.reset(opus_encoder_create(sampleRate, 1, OPUS_APPLICATION_VOIP, &error));
    if (!m_encoder) {
        throw std::runtime_error(opus_strerror(error));
    }
    opus_encoder_ctl(m_encoder.get(), OPUS_SET_BITRATE(32000));
    opus_encoder_ctl(m_encoder.get(), OPUS_SET_COMPLEXITY(1));
    opus_encoder_ctl(m_encoder.get(), OPUS_SET_INBAND_FEC(1));
    opus_encoder_ctl(m_encoder.get(), OPUS_SET_PACKET_LOSS_PERC(10));
}

TalkingClient::~TalkingClient() = default;

std::vector<std::uint8_t> TalkingClient::next()
{
    std::vector<float> samples(m_samplesPerPacket);
    for (float& sample : samples) {
        sample = m_sound(m_sample++);
    }
    std::vector<std::uint8_t> payload(1500);
    const int size = opus_encode_float(
        m_encoder.get(), samples.data(), static_cast<int>(samples.size()), payload.data(),
        static_cast<opus_int32>(payload.size()));
    if (size < 0) {
        throw std::runtime_error(opus_strerror(size));
    }
    payload.resize(static_cast<std::size_t>(size));
    const auto end = static_cast<std::uint32_t>(m_sample);
    if (m_copies == 0) {
        return rtpPacket(m_sequence++, payload, m_ssrc, end);
    }
    std::vector<std::uint8_t> red(payload.size() + RedWriter::maxOverhead);
    red.resize(m_red.write(payload, m_copies, red));
    m_red.keep(payload, static_cast<std::uint32_t>(m_samplesPerPacket));
    return rtpPacket(m_sequence++, red, m_ssrc, end, redPayloadType);
}

TalkingClient::Sound tone(double hertz, double level)
{
    return [hertz, level](std::size_t sample) {
        const double time = static_cast<double>(sample) / sampleRate;
        return static_cast<float>(level * std::sin(2 * std::numbers::pi * hertz * time));
    };
}

TalkingClient::Sound syllables()
{
    return [](std::size_t sample) {
        constexpr double turn = 2 * std::numbers::pi;
        const double time = static_cast<double>(sample) / sampleRate;
        const double phase = turn * 140 * time - 30 / 0.7 * std::cos(turn * 0.7 * time);
        double sum = 0;
        for (int overtone = 1; overtone < 20; ++overtone) {
            sum += std::sin(overtone * phase) / overtone;
        }
        return static_cast<float>(0.12 * sum * (1 - std::cos(turn * 3 * time)));
    };
}

std::vector<std::uint8_t> rtpPacket(
    std::uint16_t sequence, const std::vector<std::uint8_t>& payload, std::uint32_t ssrc,
    std::uint32_t timestamp, std::uint8_t payloadType)
{
    std::vector<std::uint8_t> packet{0x80, payloadType};
    const auto append = [&packet](std::uint32_t value, unsigned bytes) {
        for (unsigned byte = bytes; byte > 0; --byte) {
            packet.push_back(static_cast<std::uint8_t>(value >> (8 * (byte - 1))));
        }
    };
    append(sequence, 2);
    append(timestamp, 4);
    append(ssrc, 4);
    packet.insert(packet.end(), payload.begin(), payload.end());
    return packet;
}

} // namespace wingbell

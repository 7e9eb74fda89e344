#include "relay/audio/MixEncoder.h"

#include "relay/audio/AudioIo.h"
#include "relay/audio/Dsp.h"

#include <opus.h>

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>

namespace wingbell {

namespace {

// More bits sound better and take no more time.
constexpr opus_int32 bitrate = 32000;
constexpr opus_int32 expectedLoss = 10;

// Measured with speech, 20 ms: SILK with complexity 1 takes 150 us a packet; with 2 it takes 270
// and sounds hardly better. CELT with complexity 0 takes 33 us, with 2 it takes 47.
constexpr opus_int32 silkComplexity = 1;
constexpr opus_int32 celtComplexity = 0;

/// Silence is encoded for this long, until nothing of the last sound is left in the decoder.
constexpr std::size_t fadeOutTime = sampleRate / 10;

constexpr std::array<float, maxCycleSamples> silence{};

// Whole packets of digital silence: one CELT frame of 10 or 20 ms.
constexpr std::array<std::uint8_t, 3> silentPacket10{0xf0, 0xff, 0xfe};
constexpr std::array<std::uint8_t, 3> silentPacket20{0xf8, 0xff, 0xfe};

OpusEncoder* createEncoder()
{
    int error = OPUS_OK;
    OpusEncoder* encoder = opus_encoder_create(sampleRate, 1, OPUS_APPLICATION_VOIP, &error);
    if (encoder == nullptr) {
        throw std::bad_alloc();
    }
    return encoder;
}

} // namespace

void MixEncoder::DestroyEncoder::operator()(OpusEncoder* encoder) const
{
    opus_encoder_destroy(encoder);
}

MixEncoder::MixEncoder(std::size_t samplesPerCycle)
    : m_samplesPerCycle(samplesPerCycle)
    , m_encoder(createEncoder())
{
    OpusEncoder* const encoder = m_encoder.get();
    opus_encoder_ctl(encoder, OPUS_SET_MAX_BANDWIDTH(OPUS_BANDWIDTH_WIDEBAND));
    opus_encoder_ctl(encoder, OPUS_SET_BITRATE(bitrate));
    opus_encoder_ctl(encoder, OPUS_SET_PACKET_LOSS_PERC(expectedLoss));
    opus_encoder_ctl(encoder, OPUS_SET_DTX(0));
    applyEffort();
}

void MixEncoder::setEffort(Effort effort)
{
    if (m_effort != effort) {
        m_effort = effort;
        applyEffort();
    }
}

/// At this bit rate Opus takes SILK for voice, and CELT for music without FEC.
void MixEncoder::applyEffort()
{
    const bool isFull = m_effort == Effort::Full;
    OpusEncoder* const encoder = m_encoder.get();
    opus_encoder_ctl(encoder, OPUS_SET_SIGNAL(isFull ? OPUS_SIGNAL_VOICE : OPUS_SIGNAL_MUSIC));
    opus_encoder_ctl(encoder, OPUS_SET_INBAND_FEC(isFull ? 1 : 0));
    opus_encoder_ctl(encoder, OPUS_SET_COMPLEXITY(isFull ? silkComplexity : celtComplexity));
}

void MixEncoder::reset()
{
    opus_encoder_ctl(m_encoder.get(), OPUS_RESET_STATE);
    m_softClipMemory = 0;
    m_silentSamples = 0;
    m_independentSamples = 0;
}

void MixEncoder::continueFrom(const MixEncoder& other)
{
    assert(other.m_samplesPerCycle == m_samplesPerCycle);
    // The state of an encoder may be copied freely, says the documentation of Opus.
    std::memcpy(
        m_encoder.get(), other.m_encoder.get(), static_cast<std::size_t>(opus_encoder_get_size(1)));
    m_effort = other.m_effort;
    m_softClipMemory = other.m_softClipMemory;
    m_silentSamples = other.m_silentSamples;
    m_independentSamples = other.m_independentSamples;
}

void MixEncoder::beginIndependent()
{
    m_independentSamples = maxCycleSamples;
}

std::span<const std::uint8_t> MixEncoder::encode(std::span<float> samples)
{
    assert(samples.size() == m_samplesPerCycle);
    if (hasFadedOut()) {
        // The packets of silence have reset the decoder, so the encoder is reset too.
        reset();
    }
    // Without a peak above 1 it would change nothing, in six times the time of the search here.
    if (m_softClipMemory != 0 || peakOf(samples) > 1) {
        opus_pcm_soft_clip(samples.data(), static_cast<int>(samples.size()), 1, &m_softClipMemory);
    }
    m_silentSamples = 0;
    return encodeAny(samples);
}

std::span<const std::uint8_t> MixEncoder::encodeSilence()
{
    m_softClipMemory = 0;
    if (hasFadedOut()) {
        return silentPacket(m_samplesPerCycle);
    }
    m_silentSamples += m_samplesPerCycle;
    return encodeAny(std::span(silence).first(m_samplesPerCycle));
}

bool MixEncoder::hasFadedOut() const
{
    return m_silentSamples >= fadeOutTime;
}

std::span<const std::uint8_t> MixEncoder::silentPacket(std::size_t samplesPerCycle)
{
    return samplesPerCycle == maxCycleSamples ? silentPacket20 : silentPacket10;
}

std::span<const std::uint8_t> MixEncoder::encodeAny(std::span<const float> samples)
{
    const bool isIndependent = m_independentSamples > 0;
    opus_encoder_ctl(m_encoder.get(), OPUS_SET_PREDICTION_DISABLED(isIndependent ? 1 : 0));
    m_independentSamples -= std::min(m_independentSamples, samples.size());
    const opus_int32 size = opus_encode_float(
        m_encoder.get(), samples.data(), static_cast<int>(samples.size()), m_packet.data(),
        static_cast<opus_int32>(m_packet.size()));
    return std::span(m_packet).first(size > 0 ? static_cast<std::size_t>(size) : 0);
}

} // namespace wingbell

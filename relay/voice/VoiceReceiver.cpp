#include "relay/voice/VoiceReceiver.h"

#include "relay/voice/Splice.h"

#include <opus.h>

#include <algorithm>
#include <cassert>
#include <new>

namespace wingbell {

namespace {

/// What Opus can make up comes in multiples of 2.5 ms.
constexpr std::size_t opusGrain = sampleRate / 400;
constexpr std::size_t longestPacket = std::size_t{sampleRate} * 120 / 1000;

/// What is made up is believable at first, then fades out and is silence.
constexpr std::size_t fadeFrom = std::size_t{sampleRate} * 40 / 1000;
constexpr std::size_t silentFrom = std::size_t{sampleRate} * 100 / 1000;

/// How long a voice takes to come back after silence.
constexpr std::size_t fadeInTime = sampleRate / 200;

/// The most that is taken out at once: what a splice can hide.
constexpr std::size_t mostTrimmed = std::size_t{sampleRate} * 40 / 1000;

constexpr std::size_t roundedUp(std::size_t samples)
{
    return (samples + opusGrain - 1) / opusGrain * opusGrain;
}

/// How loud what is made up still is after `run` samples of it.
float fadedAfter(std::size_t run)
{
    if (run <= fadeFrom) {
        return 1;
    }
    return run >= silentFrom
               ? 0
               : static_cast<float>(silentFrom - run) / static_cast<float>(silentFrom - fadeFrom);
}

OpusDecoder* createDecoder()
{
    int error = OPUS_OK;
    OpusDecoder* decoder = opus_decoder_create(sampleRate, 1, &error);
    if (decoder == nullptr) {
        throw std::bad_alloc();
    }
    return decoder;
}

} // namespace

void VoiceReceiver::DestroyDecoder::operator()(OpusDecoder* decoder) const
{
    opus_decoder_destroy(decoder);
}

VoiceReceiver::VoiceReceiver()
    : m_decoder(createDecoder())
    , m_samples(mostTickSamples + mostTrimmed + longestPacket)
    , m_concealedRun(silentFrom)
{
}

VoiceReceiver::~VoiceReceiver() = default;

void VoiceReceiver::play(std::span<float> out)
{
    assert(out.size() <= mostTickSamples);
    if (!m_isHeard) {
        beginToBeHeard();
    }
    if (m_excess > 0) {
        trim(out.size());
    }
    fill(out.size());
    std::copy_n(m_samples.begin(), out.size(), out.begin());
    drop(out.size());
    passed(out.size());
}

void VoiceReceiver::discard(std::size_t samples)
{
    assert(samples <= mostTickSamples);
    m_isHeard = false;
    while (m_excess > 0 && depth() > 0) {
        fill(std::min(m_excess, mostTickSamples));
        const std::size_t taken = std::min(m_excess, m_length);
        m_length -= taken;
        m_excess -= taken;
        m_trim.trimmed();
    }
    m_excess = 0;
    fill(samples);
    m_length -= samples;
    passed(samples);
}

/// What was let pass unheard left nothing that the decoder could go on from.
void VoiceReceiver::beginToBeHeard()
{
    m_isHeard = true;
    opus_decoder_ctl(m_decoder.get(), OPUS_RESET_STATE);
    std::fill_n(m_samples.begin(), m_length, 0.0F);
    m_concealedRun = silentFrom;
}

/// Takes out what is too much, as far as a splice can hide it.
void VoiceReceiver::trim(std::size_t samples)
{
    const std::size_t most = std::min(m_excess, mostTrimmed);
    m_excess = 0;
    const std::size_t needed = std::max(samples, spliceFade) + most;
    while (m_length < needed && m_buffer.depth() > 0) {
        take(opusGrain);
    }
    if (m_length >= needed) {
        m_length = spliceOut(std::span(m_samples).first(m_length), most);
        m_trim.trimmed();
    }
}

void VoiceReceiver::fill(std::size_t samples)
{
    while (m_length < samples) {
        take(roundedUp(samples - m_length));
    }
}

void VoiceReceiver::take(std::size_t bridge)
{
    const JitterBuffer::Step step = m_buffer.next(bridge);
    if (step.waited > 0) {
        m_trim.grew();
    }
    if (!m_isHeard) {
        m_length += step.samples;
        return;
    }
    if (step.payload.empty()) {
        conceal(step.samples);
        return;
    }
    decode(step);
}

void VoiceReceiver::decode(const JitterBuffer::Step& step)
{
    const std::span<float> room = std::span(m_samples).subspan(m_length).first(step.samples);
    const int decoded = opus_decode_float(
        m_decoder.get(), step.payload.data(), static_cast<opus_int32>(step.payload.size()),
        room.data(), static_cast<int>(room.size()), step.action == JitterBuffer::Action::Recover);
    if (decoded != static_cast<int>(step.samples)) {
        conceal(step.samples);
        return;
    }
    fadeIn(room);
    m_length += step.samples;
}

void VoiceReceiver::conceal(std::size_t samples)
{
    const std::span<float> room = std::span(m_samples).subspan(m_length).first(samples);
    m_length += samples;
    if (m_concealedRun >= silentFrom) {
        std::fill(room.begin(), room.end(), 0.0F);
        return;
    }
    m_concealed += samples;
    const int made = opus_decode_float(
        m_decoder.get(), nullptr, 0, room.data(), static_cast<int>(room.size()), 0);
    if (made != static_cast<int>(samples)) {
        std::fill(room.begin(), room.end(), 0.0F);
    }
    fadeOut(room);
}

void VoiceReceiver::fadeIn(std::span<float> samples)
{
    const float from = fadedAfter(m_concealedRun);
    m_concealedRun = 0;
    if (from == 1) {
        return;
    }
    const std::size_t length = std::min(samples.size(), fadeInTime);
    for (std::size_t index = 0; index < length; ++index) {
        const float share = static_cast<float>(index) / static_cast<float>(length);
        samples[index] *= from + (1 - from) * share;
    }
}

void VoiceReceiver::fadeOut(std::span<float> samples)
{
    for (float& sample : samples) {
        sample *= fadedAfter(m_concealedRun);
        ++m_concealedRun;
    }
}

void VoiceReceiver::drop(std::size_t samples)
{
    const auto begin = m_samples.begin();
    std::copy(
        begin + static_cast<std::ptrdiff_t>(samples), begin + static_cast<std::ptrdiff_t>(m_length),
        begin);
    m_length -= samples;
}

void VoiceReceiver::passed(std::size_t samples)
{
    m_excess = m_trim.played(samples, depth() - std::min(depth(), m_buffer.reserve()));
}

} // namespace wingbell

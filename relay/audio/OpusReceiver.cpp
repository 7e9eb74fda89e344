#include "relay/audio/OpusReceiver.h"

#include "relay/audio/Dsp.h"
#include "relay/audio/RedPayload.h"

#include <opus.h>

#include <algorithm>
#include <cassert>
#include <new>

namespace wingbell {

namespace {

/// Opus conceals in multiples of 2.5 ms.
constexpr std::size_t opusGrain = sampleRate / 400;
constexpr std::size_t maxPacketSamples = std::size_t{sampleRate} * 120 / 1000;

/// Concealment is credible at first, then it fades out to silence.
constexpr std::size_t fadeFrom = std::size_t{sampleRate} * 40 / 1000;
constexpr std::size_t silentFrom = std::size_t{sampleRate} * 100 / 1000;

/// The length of the fade-in after silence.
constexpr std::size_t fadeInTime = sampleRate / 200;

/// The maximum that is removed at once: what the cross-fade can hide.
constexpr std::size_t maxTrim = std::size_t{sampleRate} * 40 / 1000;

constexpr std::size_t maxSamples = maxCycleSamples + maxTrim + maxPacketSamples;

constexpr std::size_t roundedUp(std::size_t samples)
{
    return (samples + opusGrain - 1) / opusGrain * opusGrain;
}

/// The gain after `run` samples of concealment.
float concealmentGain(std::size_t run)
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

void OpusReceiver::DestroyDecoder::operator()(OpusDecoder* decoder) const
{
    opus_decoder_destroy(decoder);
}

OpusReceiver::OpusReceiver()
    : m_decoder(createDecoder())
    , m_memory(std::make_unique_for_overwrite<float[]>(maxSamples))
    , m_samples(m_memory.get(), maxSamples)
    , m_concealedRun(silentFrom)
{
}

bool OpusReceiver::insert(const RtpPacket& packet)
{
    OpusPackets packets;
    if (!readOpusPackets(packet, packets) || !m_buffer.insert(packets.newest)) {
        return false;
    }
    for (const RtpPacket& copy : packets.older()) {
        m_buffer.insertCopy(copy);
    }
    return true;
}

void OpusReceiver::play(std::span<float> out)
{
    assert(out.size() <= maxCycleSamples);
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

void OpusReceiver::discard(std::size_t samples)
{
    assert(samples <= maxCycleSamples);
    m_isHeard = false;
    while (m_excess > 0 && depth() > 0) {
        fill(std::min(m_excess, maxCycleSamples));
        const std::size_t taken = std::min(m_excess, m_length);
        m_length -= taken;
        m_excess -= taken;
        m_delay.trimmed();
    }
    m_excess = 0;
    fill(samples);
    m_length -= samples;
    passed(samples);
}

/// What was dropped unheard has left the decoder without a valid state.
void OpusReceiver::beginToBeHeard()
{
    m_isHeard = true;
    opus_decoder_ctl(m_decoder.get(), OPUS_RESET_STATE);
    std::fill_n(m_samples.begin(), m_length, 0.0F);
    m_concealedRun = silentFrom;
}

/// Removes the excess, as far as the cross-fade can hide it.
void OpusReceiver::trim(std::size_t samples)
{
    const std::size_t wanted = std::min(m_excess, maxTrim);
    m_excess = 0;
    const std::size_t needed = std::max(samples, crossFadeSamples) + wanted;
    while (m_length < needed && m_buffer.depth() > 0) {
        take(opusGrain);
    }
    if (m_length >= needed) {
        m_length = timeStretch(m_samples.first(m_length), wanted);
        m_delay.trimmed();
    }
}

void OpusReceiver::fill(std::size_t samples)
{
    while (m_length < samples) {
        take(roundedUp(samples - m_length));
    }
}

void OpusReceiver::take(std::size_t underrunSamples)
{
    const JitterBuffer::Step step = m_buffer.next(underrunSamples);
    if (step.underrun > 0) {
        m_delay.underrun();
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

void OpusReceiver::decode(const JitterBuffer::Step& step)
{
    const std::span<float> room = m_samples.subspan(m_length).first(step.samples);
    if (m_concealedRun >= silentFrom) { // what was before the silence must not click into this
        opus_decoder_ctl(m_decoder.get(), OPUS_RESET_STATE);
    }
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

void OpusReceiver::conceal(std::size_t samples)
{
    const std::span<float> room = m_samples.subspan(m_length).first(samples);
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

void OpusReceiver::fadeIn(std::span<float> samples)
{
    const float from = concealmentGain(m_concealedRun);
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

void OpusReceiver::fadeOut(std::span<float> samples)
{
    for (float& sample : samples) {
        sample *= concealmentGain(m_concealedRun);
        ++m_concealedRun;
    }
}

void OpusReceiver::drop(std::size_t samples)
{
    const auto begin = m_samples.begin();
    std::copy(
        begin + static_cast<std::ptrdiff_t>(samples), begin + static_cast<std::ptrdiff_t>(m_length),
        begin);
    m_length -= samples;
}

void OpusReceiver::passed(std::size_t samples)
{
    m_excess = m_delay.played(samples, depth() - std::min(depth(), m_buffer.targetDelay()));
}

} // namespace wingbell

#include "tests/relay/audio/HearingClient.h"

#include "relay/audio/AudioIo.h"

#include <opus.h>

#include <array>
#include <stdexcept>

namespace wingbell {

void HearingClient::DestroyDecoder::operator()(OpusDecoder* decoder) const
{
    opus_decoder_destroy(decoder);
}

HearingClient::HearingClient()
{
    int error = OPUS_OK;
    m_decoder.reset(opus_decoder_create(sampleRate, 1, &error));
    if (!m_decoder) {
        throw std::runtime_error(opus_strerror(error));
    }
}

HearingClient::~HearingClient() = default;

void HearingClient::send(std::span<const std::uint8_t> packet)
{
    std::array<float, 5760> decoded{};
    const int count = opus_decode_float(
        m_decoder.get(), packet.data(), static_cast<opus_int32>(packet.size()), decoded.data(),
        static_cast<int>(decoded.size()), 0);
    if (count < 0) {
        throw std::runtime_error(opus_strerror(count));
    }
    m_samples.insert(m_samples.end(), decoded.begin(), decoded.begin() + count);
    ++m_packets;
    m_packetSize = packet.size();
}

void HearingClient::clear()
{
    m_samples.clear();
    m_packets = 0;
}

} // namespace wingbell

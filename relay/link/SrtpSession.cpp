#include "relay/link/SrtpSession.h"

#include <srtp2/srtp.h>

#include <array>

namespace wingbell {

namespace {

/// In packets: more than a second of what a browser sends, however late it comes.
constexpr unsigned long replayWindow = 1024;

srtp_profile_t libraryProfile(SrtpProfile profile)
{
    return profile == SrtpProfile::AeadAes128Gcm ? srtp_profile_aead_aes_128_gcm
                                                 : srtp_profile_aes128_cm_sha1_80;
}

/// The library wants to be made ready once.
bool isLibraryReady()
{
    static const bool ready = srtp_init() == srtp_err_status_ok;
    return ready;
}

/// A context with a stream for each of `sources`; nullptr on failure.
srtp_t makeContext(
    SrtpProfile profile, const std::vector<std::uint8_t>& key,
    std::span<const std::uint32_t> sources)
{
    if (key.size() != srtpKeySize(profile) + srtpSaltSize(profile)) {
        return nullptr;
    }
    std::vector<std::uint8_t> master = key; // the library takes it by a pointer to what may change
    srtp_policy_t policy = {};
    srtp_crypto_policy_set_from_profile_for_rtp(&policy.rtp, libraryProfile(profile));
    srtp_crypto_policy_set_from_profile_for_rtcp(&policy.rtcp, libraryProfile(profile));
    policy.key = master.data();
    policy.window_size = replayWindow;
    // A packet sent again by a NACK is the very same one, so this direction allows repetition.
    policy.allow_repeat_tx = 1;
    srtp_t context = nullptr;
    if (srtp_create(&context, nullptr) != srtp_err_status_ok) {
        return nullptr;
    }
    policy.ssrc.type = ssrc_specific;
    for (const std::uint32_t source : sources) {
        policy.ssrc.value = source;
        if (srtp_add_stream(context, &policy) != srtp_err_status_ok) {
            srtp_dealloc(context);
            return nullptr;
        }
    }
    return context;
}

using Operation = srtp_err_status_t (*)(srtp_t, void*, int*);

std::span<std::uint8_t>
changed(Operation operation, srtp_t context, std::span<std::uint8_t> buffer, std::size_t size)
{
    int length = static_cast<int>(size);
    if (operation(context, buffer.data(), &length) != srtp_err_status_ok || length < 0) {
        return {};
    }
    return buffer.first(static_cast<std::size_t>(length));
}

} // namespace

std::size_t srtpKeySize(SrtpProfile /*profile*/)
{
    return 16;
}

std::size_t srtpSaltSize(SrtpProfile profile)
{
    return profile == SrtpProfile::AeadAes128Gcm ? 12 : 14;
}

std::unique_ptr<SrtpSession> SrtpSession::make(
    const SrtpKeys& keys, std::uint32_t ownSource, std::span<const std::uint32_t> peerSources)
{
    static_assert(maxOverhead >= SRTP_MAX_TRAILER_LEN || maxOverhead >= 20);
    if (!isLibraryReady() || peerSources.size() > maxPeerSources) {
        return nullptr;
    }
    std::unique_ptr<SrtpSession> session(new SrtpSession);
    session->m_outgoing = makeContext(keys.profile, keys.own, std::array{ownSource});
    session->m_incoming = makeContext(keys.profile, keys.peer, peerSources);
    if (session->m_outgoing == nullptr || session->m_incoming == nullptr) {
        return nullptr;
    }
    return session;
}

SrtpSession::~SrtpSession()
{
    for (srtp_t context : {m_outgoing, m_incoming}) {
        if (context != nullptr) {
            srtp_dealloc(context);
        }
    }
}

std::span<std::uint8_t>
SrtpSession::protectRtp(std::span<std::uint8_t> buffer, std::size_t size) const
{
    return buffer.size() < size + maxOverhead ? std::span<std::uint8_t>()
                                              : changed(srtp_protect, m_outgoing, buffer, size);
}

std::span<std::uint8_t>
SrtpSession::protectRtcp(std::span<std::uint8_t> buffer, std::size_t size) const
{
    return buffer.size() < size + maxOverhead
               ? std::span<std::uint8_t>()
               : changed(srtp_protect_rtcp, m_outgoing, buffer, size);
}

std::span<std::uint8_t> SrtpSession::unprotectRtp(std::span<std::uint8_t> packet) const
{
    return changed(srtp_unprotect, m_incoming, packet, packet.size());
}

std::span<std::uint8_t> SrtpSession::unprotectRtcp(std::span<std::uint8_t> packet) const
{
    return changed(srtp_unprotect_rtcp, m_incoming, packet, packet.size());
}

} // namespace wingbell

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

struct srtp_ctx_t_;

namespace wingbell {

/// The protection profiles of DTLS-SRTP that are offered, the preferred one first.
enum class SrtpProfile { AeadAes128Gcm, Aes128CmSha1_80 };

/// Where the master keys of both directions are cut from what DTLS exported.
struct SrtpKeys
{
    SrtpProfile profile = SrtpProfile::AeadAes128Gcm;
    std::vector<std::uint8_t> own;  ///< key and salt of what we send
    std::vector<std::uint8_t> peer; ///< key and salt of what the peer sends
};

/// In bytes.
[[nodiscard]] std::size_t srtpKeySize(SrtpProfile profile);
[[nodiscard]] std::size_t srtpSaltSize(SrtpProfile profile);

/// Encrypts, decrypts and authenticates the RTP and RTCP of one peer (RFC 3711, RFC 7714). Drops
/// what it has seen before (replay window). Not thread-safe. Allocates only when built.
class SrtpSession
{
public:
    /// What is added to a packet at most, in bytes.
    static constexpr std::size_t maxOverhead = 32;
    /// A peer with more sources than that is not one of ours.
    static constexpr std::size_t maxPeerSources = 4;

    /// Takes packets of `peerSources` (SSRC) alone. Returns nullptr if the library refuses, which
    /// takes a lack of memory.
    [[nodiscard]] static std::unique_ptr<SrtpSession>
    make(const SrtpKeys& keys, std::uint32_t ownSource, std::span<const std::uint32_t> peerSources);

    ~SrtpSession();
    SrtpSession(const SrtpSession&) = delete;
    SrtpSession& operator=(const SrtpSession&) = delete;

    /// Protects the packet of `size` bytes in `buffer` in place; the buffer needs `maxOverhead`
    /// more. Returns the protected packet, empty on failure.
    [[nodiscard]] std::span<std::uint8_t>
    protectRtp(std::span<std::uint8_t> buffer, std::size_t size) const;
    [[nodiscard]] std::span<std::uint8_t>
    protectRtcp(std::span<std::uint8_t> buffer, std::size_t size) const;

    /// Unprotects `packet` in place. Returns the plain packet; empty if it is forged, a replay, or
    /// of another source. Any bytes are safe.
    [[nodiscard]] std::span<std::uint8_t> unprotectRtp(std::span<std::uint8_t> packet) const;
    [[nodiscard]] std::span<std::uint8_t> unprotectRtcp(std::span<std::uint8_t> packet) const;

private:
    SrtpSession() = default;

    srtp_ctx_t_* m_outgoing = nullptr;
    srtp_ctx_t_* m_incoming = nullptr;
};

} // namespace wingbell

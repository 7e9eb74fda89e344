#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <netinet/in.h>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace wingbell {

/// What one side of ICE calls itself (RFC 8445).
struct IceCredentials
{
    std::string ufrag;
    std::string password;
};

/// A connectivity check that came from a peer who knows the password: a STUN binding request
/// (RFC 8489) with valid MESSAGE-INTEGRITY.
struct ConnectivityCheck
{
    std::string_view ufrag;     ///< whom it is for; a view of the datagram
    bool nominates = false;     ///< the peer wants this way (USE-CANDIDATE)
    std::uint32_t priority = 0; ///< of the peer's candidate that it was sent from
};

/// Answers connectivity checks as an ICE-lite agent does: it makes none itself and is never the
/// controlling side. Not thread-safe; allocates nothing.
class ConnectivityChecks
{
public:
    static constexpr std::size_t maxResponse = 256;

    /// Gives the password of the one whom the peer calls `ufrag`; empty if there is none.
    using PasswordOf = std::function<std::string_view(std::string_view ufrag)>;

    ConnectivityChecks();
    ~ConnectivityChecks();
    ConnectivityChecks(const ConnectivityChecks&) = delete;
    ConnectivityChecks& operator=(const ConnectivityChecks&) = delete;

    /// What to send back to `source` for `datagram`, and the check if it was a valid one. Nothing
    /// is sent for what is no binding request, or has no valid integrity. Any bytes are safe.
    struct Outcome
    {
        std::optional<ConnectivityCheck> check;
        std::span<const std::uint8_t> response; ///< until the next call; may be empty
    };
    [[nodiscard]] Outcome take(
        std::span<const std::uint8_t> datagram, const sockaddr_in6& source,
        const PasswordOf& passwordOf);

private:
    struct Agent;
    const std::unique_ptr<Agent> m_agent;
    std::array<std::uint8_t, maxResponse> m_response = {};
};

/// Whether a datagram is STUN, DTLS, or RTP or RTCP, by its first byte (RFC 7983).
enum class DatagramKind { Stun, Dtls, Media, Other };
[[nodiscard]] DatagramKind kindOf(std::span<const std::uint8_t> datagram);

} // namespace wingbell

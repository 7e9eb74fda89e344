#include "relay/link/ConnectivityChecks.h"

#include <stun/stunagent.h>
#include <stun/usages/ice.h>

#include <cstring>

namespace wingbell {

namespace {

/// What a check may hold that must be understood; a request with another such attribute is refused.
constexpr std::array<std::uint16_t, 8> knownAttributes = {
    STUN_ATTRIBUTE_USERNAME,        STUN_ATTRIBUTE_MESSAGE_INTEGRITY,
    STUN_ATTRIBUTE_PRIORITY,        STUN_ATTRIBUTE_USE_CANDIDATE,
    STUN_ATTRIBUTE_ICE_CONTROLLING, STUN_ATTRIBUTE_ICE_CONTROLLED,
    STUN_ATTRIBUTE_FINGERPRINT,     0};

/// In the port's address family as the peer sees it: IPv4 over an IPv6 socket is IPv4.
sockaddr_storage plainAddress(const sockaddr_in6& mapped, socklen_t& size)
{
    sockaddr_storage plain = {};
    if (!IN6_IS_ADDR_V4MAPPED(&mapped.sin6_addr)) {
        size = sizeof mapped;
        std::memcpy(&plain, &mapped, size);
        return plain;
    }
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = mapped.sin6_port;
    std::memcpy(&address.sin_addr, mapped.sin6_addr.s6_addr + 12, sizeof address.sin_addr);
    size = sizeof address;
    std::memcpy(&plain, &address, size);
    return plain;
}

/// What the integrity's check needs, and leaves.
struct Validation
{
    const ConnectivityChecks::PasswordOf& passwordOf;
    std::string_view ufrag;
};

/// The user name of a check is the receiver's ufrag, a colon, the sender's.
bool findPassword(
    StunAgent* /*agent*/, StunMessage* /*message*/, std::uint8_t* userName,
    std::uint16_t userNameSize, std::uint8_t** password, std::size_t* passwordSize, void* data)
{
    auto& validation = *static_cast<Validation*>(data);
    const std::string_view name(reinterpret_cast<const char*>(userName), userNameSize);
    validation.ufrag = name.substr(0, name.find(':'));
    const std::string_view found = validation.passwordOf(validation.ufrag);
    // The library only reads it.
    *password = reinterpret_cast<std::uint8_t*>(
        const_cast<char*>(found.data())); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    *passwordSize = found.size();
    return !found.empty();
}

} // namespace

struct ConnectivityChecks::Agent
{
    StunAgent agent = {};
};

ConnectivityChecks::ConnectivityChecks()
    : m_agent(std::make_unique<Agent>())
{
    stun_agent_init(
        &m_agent->agent, knownAttributes.data(), STUN_COMPATIBILITY_RFC5389,
        static_cast<StunAgentUsageFlags>(
            STUN_AGENT_USAGE_SHORT_TERM_CREDENTIALS | STUN_AGENT_USAGE_USE_FINGERPRINT |
            STUN_AGENT_USAGE_FORCE_VALIDATER));
}

ConnectivityChecks::~ConnectivityChecks() = default;

ConnectivityChecks::Outcome ConnectivityChecks::take(
    std::span<const std::uint8_t> datagram, const sockaddr_in6& source,
    const PasswordOf& passwordOf)
{
    StunAgent* const agent = &m_agent->agent;
    Validation validation{passwordOf, {}};
    StunMessage request = {};
    const StunValidationStatus status = stun_agent_validate(
        agent, &request, datagram.data(), datagram.size(), findPassword, &validation);
    if (status != STUN_VALIDATION_SUCCESS || stun_message_get_class(&request) != STUN_REQUEST ||
        stun_message_get_method(&request) != STUN_BINDING) {
        return {};
    }
    socklen_t size = 0;
    const sockaddr_storage address = plainAddress(source, size);
    StunMessage response = {};
    std::size_t length = m_response.size();
    // With the lowest tie-breaker it is always the peer that has to take the controlling role.
    bool isControlling = false;
    const StunUsageIceReturn outcome = stun_usage_ice_conncheck_create_reply(
        agent, &request, &response, m_response.data(), &length, &address, size, &isControlling, 0,
        STUN_USAGE_ICE_COMPATIBILITY_RFC5245);
    Outcome result;
    result.response = std::span(m_response).first(length);
    if (outcome == STUN_USAGE_ICE_RETURN_SUCCESS) {
        result.check = ConnectivityCheck{
            validation.ufrag, stun_usage_ice_conncheck_use_candidate(&request),
            stun_usage_ice_conncheck_priority(&request)};
    }
    return result;
}

DatagramKind kindOf(std::span<const std::uint8_t> datagram)
{
    if (datagram.empty()) {
        return DatagramKind::Other;
    }
    const std::uint8_t first = datagram.front();
    if (first <= 3) {
        return DatagramKind::Stun;
    }
    if (first >= 20 && first <= 63) {
        return DatagramKind::Dtls;
    }
    return first >= 128 && first <= 191 ? DatagramKind::Media : DatagramKind::Other;
}

} // namespace wingbell

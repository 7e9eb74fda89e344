#pragma once

#include <chrono>
#include <cstddef>

namespace wingbell {

/// Why the server rejected a client or its request.
enum class HttpError {
    TooManyConnections,    ///< in all
    TooManyFromOneAddress, ///< connections
    TooManyRequests,       ///< from one address in too short a time
    TooSlow,               ///< with the handshake, with a request, or with reading the response
    NotTls,                ///< what came is neither TLS nor a page's request by plain HTTP
    OscOverTcp,            ///< a cue player that should send over UDP
    Malformed,             ///< not a valid HTTP/1.1 request
    TooLarge,              ///< head or body
    ForeignOrigin,         ///< a page from elsewhere asked
    UnknownHost,           ///< asked by a name that is not this machine's
};

/// How much one client, and all of them, can take of the server. The defaults suit 250 people, each
/// page with a connection for events and one for requests, while others load the page; tests take
/// smaller ones.
struct HttpLimits
{
    std::size_t maxConnections = 800; ///< below the usual limit of 1024 descriptors
    std::size_t maxConnectionsPerAddress = 64;

    std::size_t maxHeadBytes = 16384; ///< of a request's line and header fields together
    std::size_t maxBodyBytes = 65536;

    /// Rate limit of each address, where a new connection counts as a request.
    double requestsPerSecond = 40;
    int requestBurst = 100;

    std::chrono::milliseconds firstRequestTimeout{10000}; ///< from the start, TLS included
    std::chrono::milliseconds requestTimeout{10000};      ///< from its first byte to its last
    std::chrono::milliseconds responseTimeout{60000}; ///< for the client to read a whole response
    std::chrono::milliseconds idleTimeout{60000};     ///< between a response and the next request
    std::chrono::milliseconds stalledTimeout{15000};  ///< while the client reads nothing
    std::chrono::milliseconds closeTimeout{2000};     ///< for the client to close its side as well

    /// While all connections are taken, one that has waited so long without a request gives way
    /// before any other.
    std::chrono::milliseconds givesWayAfter{2000};
};

} // namespace wingbell

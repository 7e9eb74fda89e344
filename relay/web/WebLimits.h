#pragma once

#include <chrono>
#include <cstddef>

namespace wingbell {

/// How much of everything a stranger can have of the web server. The defaults suit a show with some
/// dozens of crew; tests take smaller ones.
struct WebLimits
{
    std::size_t connections = 512;
    std::size_t connectionsFromOneAddress = 64;

    std::size_t headBytes = 16384; ///< of a request's line and header fields together
    std::size_t bodyBytes = 65536;

    /// Requests from one address: so many a second, and so many at once after a pause. A new
    /// connection counts as one.
    double requestsASecond = 40;
    double requestsAtOnce = 100;

    std::chrono::milliseconds firstRequest{10000}; ///< from the connection's start, TLS included
    std::chrono::milliseconds laterRequest{10000}; ///< from its first byte to its last
    std::chrono::milliseconds idle{60000};         ///< between an answer and the next request
    std::chrono::milliseconds stalledWrite{15000}; ///< during which the browser reads nothing
    std::chrono::milliseconds farewell{2000};      ///< for a refused client to read why
};

} // namespace wingbell

#pragma once

namespace wingbell {

/// Why the web server turned somebody away.
enum class WebRefusal {
    TooManyConnections,    ///< in all
    TooManyFromOneAddress, ///< connections
    TooManyRequests,       ///< from one address in too short a time
    TooSlow,               ///< with the handshake, with a request, or with reading the answer
    NotTls,                ///< what came is rubbish; not a browser that rejects the certificate
    Malformed,             ///< no request that HTTP/1.1 allows
    TooLarge,              ///< head or body
    ForeignOrigin,         ///< a page from elsewhere asked
    UnknownHost,           ///< asked by a name that is not this machine's
};

} // namespace wingbell

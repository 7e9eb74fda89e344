#pragma once

#include "relay/web/WebRefusal.h"

#include <QByteArray>

namespace wingbell {

/// Why bytes are no request that is served, and with what they are answered.
struct RequestProblem
{
    int status = 400;
    QByteArray word; ///< for the page: the "error" of the answer
    WebRefusal cause = WebRefusal::Malformed;

    friend bool operator==(const RequestProblem&, const RequestProblem&) = default;
};

} // namespace wingbell

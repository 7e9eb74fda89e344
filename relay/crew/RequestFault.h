#pragma once

#include <QLatin1String>

namespace wingbell {

/// Why a request's body is refused.
enum class RequestFault {
    TooLarge,
    NoJson,     ///< broken, not UTF-8, or more than one value
    NoObject,   ///< JSON, but no object
    WrongType,  ///< a member is of another type than it must be
    Missing,    ///< a member that must be there is not
    Twice,      ///< a member stands there twice
    OutOfRange, ///< a number is
    TooLong,    ///< a text or a list is
    BadAnswer,  ///< a word of an SDP answer is not valid
};

/// The word that the page gets as "error".
[[nodiscard]] QLatin1String wordFor(RequestFault fault);

} // namespace wingbell

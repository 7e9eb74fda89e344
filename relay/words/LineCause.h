#pragma once

#include <cstddef>

namespace wingbell {

/// Why a line is printed. Lines of one cause are counted together, so that a flood of one kind
/// hides no line of another.
enum class LineCause {
    Announced,
    NotSpoken,
    Unreadable,
    UnknownAddress,
    UnknownChannel,
    WrongArguments,
    Blank,
    NotUtf8,
    TooManyAnnouncements,
    Joined,
    Left,
    NeverConnected,
    WrongCode,
    TooManyConnections,
    TooManyRequests,
    TooSlow,
    NotTls,
    MalformedRequest,
    ForeignRequest,
};

inline constexpr std::size_t lineCauseCount = 19;

} // namespace wingbell

#pragma once

#include <cstddef>

namespace wingbell {

/// Why a line is printed. Lines of one cause are counted together, so that a flood of one kind
/// hides no line of another.
enum class LineCause {
    Announced,
    NotSpoken,
    Silenced,
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

inline constexpr std::size_t lineCauseCount = 20;

/// True for what is not done for its sender: the causes that strangers can bring about at will.
[[nodiscard]] constexpr bool isRefusal(LineCause cause)
{
    return (cause >= LineCause::Unreadable && cause <= LineCause::TooManyAnnouncements) ||
           (cause >= LineCause::WrongCode && cause <= LineCause::ForeignRequest);
}

} // namespace wingbell

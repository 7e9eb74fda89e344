#pragma once

#include <cstddef>

namespace wingbell {

/// Why a line is printed. Lines of one cause are counted together, so that a flood of one kind
/// hides no line of another.
enum class LineCause {
    Announced,
    Unreadable,
    UnknownAddress,
    UnknownChannel,
    WrongArguments,
    Blank,
    NotUtf8,
};

inline constexpr std::size_t lineCauseCount = 7;

} // namespace wingbell

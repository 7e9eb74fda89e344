#pragma once

#include <chrono>

namespace wingbell {

/// What came of an attempt to join with a code.
struct CodeVerdict
{
    enum class Kind { Right, Wrong, SlowDown };

    Kind kind = Kind::SlowDown;
    std::chrono::seconds wait{0}; ///< until an attempt is looked at again; only for SlowDown

    friend bool operator==(const CodeVerdict&, const CodeVerdict&) = default;
};

} // namespace wingbell

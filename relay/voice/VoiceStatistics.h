#pragma once

#include <cstddef>
#include <cstdint>

namespace wingbell {

/// What has come of one voice's packets since it joined.
struct VoiceStatistics
{
    std::uint64_t received = 0; ///< packets that could be read, late ones and duplicates among them
    std::uint64_t lost = 0;     ///< packets that were not there when their turn had passed
    std::uint64_t late = 0;     ///< packets that came after their turn had passed
    std::uint64_t concealed = 0; ///< samples made up in place of packets that were not there
    std::size_t depth = 0;       ///< samples waiting to be played after the last tick

    friend bool operator==(const VoiceStatistics&, const VoiceStatistics&) = default;
};

} // namespace wingbell

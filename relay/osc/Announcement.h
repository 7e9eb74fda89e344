#pragma once

#include <QString>

#include <optional>

namespace wingbell {

/// A text that somebody asked to be said.
struct Announcement
{
    std::optional<QString> channel; ///< the one channel it is for; none means every channel
    QString text;                   ///< never blank, without white space around it
    bool cut = false;               ///< true when `text` is only the beginning of what was asked

    friend bool operator==(const Announcement&, const Announcement&) = default;
};

} // namespace wingbell

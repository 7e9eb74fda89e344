#pragma once

#include <QString>

#include <optional>

namespace wingbell {

/// Asks to take a role.
struct JoinRequest
{
    QString code;
    QString role; ///< its key
    bool microphone = false;
    std::optional<QString> replaces; ///< the session that this one follows

    friend bool operator==(const JoinRequest&, const JoinRequest&) = default;
};

} // namespace wingbell

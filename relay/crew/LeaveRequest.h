#pragma once

#include <QString>

namespace wingbell {

/// Ends a session.
struct LeaveRequest
{
    QString session;

    friend bool operator==(const LeaveRequest&, const LeaveRequest&) = default;
};

} // namespace wingbell

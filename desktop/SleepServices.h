#pragma once

#include "bus/BusConnection.h"

#include <QString>

#include <chrono>
#include <vector>

namespace wingbell {

/// A service on a message bus that keeps the computer awake when its method "Inhibit" is called.
struct SleepService
{
    BusConnection::Bus bus = BusConnection::Bus::Session;
    QString name; ///< on the bus
    QString path;
    QString interface;
    /// The arguments of the call; `reason` is for a person to read.
    std::vector<BusValue> (*arguments)(const QString& reason) = nullptr;
    /// The method that takes back the number which the call returned. Empty where the call returns
    /// a descriptor instead, which holds until it is closed.
    QString releaseMethod;
    /// How long a call may take.
    std::chrono::milliseconds timeout = std::chrono::seconds(5);
};

/// The services there may be, in the order in which they are asked.
[[nodiscard]] const std::vector<SleepService>& sleepServices();

} // namespace wingbell

#pragma once

#include "bus/BusConnection.h"
#include "relay/audio/RealTimeThread.h"

#include <chrono>
#include <functional>
#include <vector>

namespace wingbell {

/// Asks RealtimeKit, the service on the system bus that gives real-time priority to threads of
/// ordinary users. Works in the event loop and never waits; the service is launched if need be.
///
/// Before it asks for a thread, it limits how long a thread may run to what the service demands.
class RealtimeKit
{
public:
    using Answered = std::function<void(bool isGranted)>;

    /// Asks for all of `requests`, with lower priorities if the service has a maximum. `answered`
    /// is called once, from the event loop: with true if each thread got it, with false as soon as
    /// that is out of the question. It may destroy this. `timeout` is for each step.
    RealtimeKit(
        std::vector<RealTimeRequest> requests, Answered answered,
        std::chrono::milliseconds timeout = std::chrono::seconds(5));

private:
    void ask(const QString& property, std::function<void(qint64 value)> next);
    void request(qint64 maxPriority);
    void finish(bool isGranted);

    std::vector<RealTimeRequest> m_requests;
    Answered m_answered; ///< empty once it was called
    std::size_t m_granted = 0;
    BusConnection m_bus;
};

} // namespace wingbell

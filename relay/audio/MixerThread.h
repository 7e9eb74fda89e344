#pragma once

#include "relay/audio/RealTimeThread.h"

#include <atomic>
#include <cstdint>

namespace wingbell {

class Room;

/// The deadlines of the mixer cycles, one each period, in nanoseconds of a clock that the caller
/// reads. A late cycle does not delay the next ones.
class CycleClock
{
public:
    /// Further behind than this many cycles, the missed ones are left out instead of caught up
    /// with.
    static constexpr std::int64_t maxCyclesBehind = 5;

    /// The first cycle starts at `now`.
    CycleClock(std::int64_t now, std::int64_t period)
        : m_due(now)
        , m_period(period)
    {
    }

    /// When the next cycle starts.
    [[nodiscard]] std::int64_t due() const { return m_due; }

    /// To be called when a cycle has ended. Returns how many deadlines were missed: its own, which
    /// is the start of the next cycle, and those of the cycles that are left out.
    [[nodiscard]] std::uint64_t ended(std::int64_t now);

private:
    std::int64_t m_due;
    std::int64_t m_period;
};

/// Runs a room's mixer cycles on a thread of its own, from construction to destruction. Sleeps
/// while the room is empty.
///
/// Late cycles are caught up with at once; after a longer pause, when the computer stood still,
/// they are left out.
class MixerThread
{
public:
    /// `room` must outlive this. Throws std::system_error if no thread can be started.
    explicit MixerThread(Room& room);

    /// Waits for the current cycle.
    ~MixerThread();

    MixerThread(const MixerThread&) = delete;
    MixerThread& operator=(const MixerThread&) = delete;

    /// Returns once the first cycle has run. Any thread.
    void waitUntilRunning() const;

    /// How many cycles have run. Any thread.
    [[nodiscard]] std::uint64_t cycles() const { return m_cycles.load(); }

    /// How many cycles ended after the next one was due, or were left out. Any thread.
    [[nodiscard]] std::uint64_t missedDeadlines() const { return m_missedDeadlines.load(); }

    [[nodiscard]] const RealTimeThread& thread() const { return m_thread; }

private:
    void run(RealTimeThread& self);

    Room& m_room;
    std::atomic<std::uint64_t> m_cycles{0};
    std::atomic<std::uint64_t> m_missedDeadlines{0};
    std::atomic<bool> m_isStopping{false};
    RealTimeThread m_thread; ///< last: it uses all the others
};

} // namespace wingbell

#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace wingbell {

class Room;

/// Runs a room's mixer cycles on a thread of its own, from construction to destruction. Sleeps
/// while the room is empty.
///
/// Asks for real-time priority, and goes on without it if that is refused. Late cycles are caught
/// up with at once; after a longer pause, when the computer stood still, they are left out.
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

private:
    void run();

    Room& m_room;
    std::atomic<std::uint64_t> m_cycles{0};
    std::atomic<std::uint64_t> m_missedDeadlines{0};
    std::atomic<bool> m_isStopping{false};
    std::thread m_thread; ///< last: it uses all the others
};

} // namespace wingbell

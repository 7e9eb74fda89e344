#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace wingbell {

class VoiceRoom;

/// Ticks a room at its own pace, on a thread of its own, from construction to destruction; rests
/// while the room is empty.
///
/// Asks for real-time priority and goes on without when that is refused. A tick that comes late is
/// made up for at once; after a longer pause (the computer stood still) the pace begins anew.
class MixingThread
{
public:
    /// `room` must outlive this. Throws std::system_error when no thread can be had.
    explicit MixingThread(VoiceRoom& room);

    /// Waits for the tick under way.
    ~MixingThread();

    MixingThread(const MixingThread&) = delete;
    MixingThread& operator=(const MixingThread&) = delete;

    /// Returns once the first tick has been made. Any thread.
    void waitUntilTicking() const;

    /// How many ticks have been made. Any thread.
    [[nodiscard]] std::uint64_t ticks() const { return m_ticks.load(); }

    /// How many ticks ended only after the next one was due, or were left out. Any thread.
    [[nodiscard]] std::uint64_t missedTicks() const { return m_missedTicks.load(); }

private:
    void run();

    VoiceRoom& m_room;
    std::atomic<std::uint64_t> m_ticks{0};
    std::atomic<std::uint64_t> m_missedTicks{0};
    std::atomic<bool> m_isStopping{false};
    std::thread m_thread; ///< last: it uses all the others
};

} // namespace wingbell

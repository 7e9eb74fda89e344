#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <semaphore>
#include <thread>
#include <vector>

namespace wingbell {

/// Passes what the mixing thread has made on to where it goes, on a thread of its own: whatever
/// takes it may take locks that others hold for a while, and a tick must not wait for those. Rests
/// while there is nothing to pass on.
class SendingThread
{
public:
    /// Something with packets to pass on.
    class Sender
    {
    public:
        virtual ~Sender() = default;

        /// Passes on whatever waits. On the sending thread.
        virtual void sendWaiting() = 0;
    };

    SendingThread();
    /// Waits for the sender at work; no other one is called from then on.
    ~SendingThread();
    SendingThread(const SendingThread&) = delete;
    SendingThread& operator=(const SendingThread&) = delete;

    /// Calls `sender` after each wake() from now on, for as long as it lives. Any thread.
    void add(std::weak_ptr<Sender> sender);

    /// Has every sender called soon. Any thread; never waits.
    void wake();

private:
    using Senders = std::vector<std::shared_ptr<Sender>>;

    void run();
    [[nodiscard]] Senders livingSenders();

    std::mutex m_mutex; ///< for the senders alone
    std::vector<std::weak_ptr<Sender>> m_senders;
    std::atomic<bool> m_isWoken{false};
    std::atomic<bool> m_isOver{false};
    std::binary_semaphore m_wakeUp{0};
    std::thread m_thread; ///< last: it uses all the others
};

} // namespace wingbell

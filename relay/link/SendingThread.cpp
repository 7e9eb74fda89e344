#include "relay/link/SendingThread.h"

#include <algorithm>
#include <pthread.h>

namespace wingbell {

SendingThread::SendingThread()
    : m_thread([this] { run(); })
{
}

SendingThread::~SendingThread()
{
    m_isOver = true;
    wake();
    m_thread.join();
}

void SendingThread::add(std::weak_ptr<Sender> sender)
{
    const std::lock_guard lock(m_mutex);
    m_senders.push_back(std::move(sender));
}

void SendingThread::wake()
{
    if (!m_isWoken.exchange(true)) {
        m_wakeUp.release();
    }
}

void SendingThread::run()
{
    pthread_setname_np(pthread_self(), "sender");
    while (!m_isOver) {
        m_wakeUp.acquire();
        // Cleared before the senders are called, so that a wake() from now on counts again.
        m_isWoken = false;
        for (const std::shared_ptr<Sender>& sender : livingSenders()) {
            sender->sendWaiting();
        }
    }
}

SendingThread::Senders SendingThread::livingSenders()
{
    Senders living;
    const std::lock_guard lock(m_mutex);
    living.reserve(m_senders.size());
    const auto isGone = [&living](const std::weak_ptr<Sender>& weak) {
        std::shared_ptr<Sender> sender = weak.lock();
        if (!sender) {
            return true;
        }
        living.push_back(std::move(sender));
        return false;
    };
    m_senders.erase(std::remove_if(m_senders.begin(), m_senders.end(), isGone), m_senders.end());
    return living;
}

} // namespace wingbell

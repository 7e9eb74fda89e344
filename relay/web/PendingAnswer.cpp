#include "relay/web/PendingAnswer.h"

#include "relay/web/WebConnection.h"

#include <utility>

namespace wingbell {

PendingAnswer::PendingAnswer(std::weak_ptr<WebConnection> connection)
    : m_connection(std::move(connection))
{
}

void PendingAnswer::send(const Answer& answer)
{
    if (const auto connection = takeConnection()) {
        connection->answer(answer);
    }
}

std::shared_ptr<EventSending> PendingAnswer::openEvents()
{
    auto connection = takeConnection();
    if (connection && !connection->isOpen()) {
        connection.reset();
    }
    auto sending = std::make_shared<EventSending>(connection);
    if (connection) {
        connection->openEvents(sending);
    }
    return sending;
}

void PendingAnswer::onGone(std::function<void()> gone)
{
    if (m_isPending) {
        m_gone.set(std::move(gone));
    }
}

std::shared_ptr<WebConnection> PendingAnswer::takeConnection()
{
    m_gone.forget();
    return std::exchange(m_isPending, false) ? m_connection.lock() : nullptr;
}

} // namespace wingbell

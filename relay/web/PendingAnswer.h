#pragma once

#include "relay/web/Answer.h"
#include "relay/web/EventSending.h"
#include "relay/web/GoneCall.h"

#include <functional>
#include <memory>

namespace wingbell {

class WebConnection;

/// What a WebReply and the connection that waits for it share.
class PendingAnswer
{
public:
    explicit PendingAnswer(std::weak_ptr<WebConnection> connection);

    // The reply's side.
    [[nodiscard]] bool isPending() const { return m_isPending; }
    void send(const Answer& answer);
    [[nodiscard]] std::shared_ptr<EventSending> openEvents();
    void onGone(std::function<void()> gone);

    // The connection's side.
    void connectionGone() { m_gone.happen(); }

private:
    /// The connection that waits, once; none where it has gone or has its answer.
    [[nodiscard]] std::shared_ptr<WebConnection> takeConnection();

    std::weak_ptr<WebConnection> m_connection;
    bool m_isPending = true;
    GoneCall m_gone;
};

} // namespace wingbell

#pragma once

#include "relay/web/EventStream.h"
#include "relay/web/WebHeaders.h"

#include <QByteArray>

#include <functional>
#include <memory>

namespace wingbell {

class PendingAnswer;

/// The right, and the duty, to answer one request: at once or later, on the main thread. Move-only.
/// One that is dropped unanswered answers 500. Harmless once the browser has gone.
class WebReply
{
public:
    explicit WebReply(std::shared_ptr<PendingAnswer> answer);
    WebReply(WebReply&&) noexcept = default;
    WebReply& operator=(WebReply&& other) noexcept;
    WebReply(const WebReply&) = delete;
    WebReply& operator=(const WebReply&) = delete;
    ~WebReply();

    /// Answers. The headers that keep a browser safe are added; `headers` may replace them.
    /// Of a handle that has answered before, nothing is sent.
    void send(
        int status, const QByteArray& contentType, const QByteArray& body,
        const WebHeaders& headers = {});

    /// Answers with JSON.
    void sendJson(int status, const QByteArray& json) { send(status, "application/json", json); }

    /// Answers 204, without a body.
    void sendNothing() { send(204, {}, {}); }

    /// Answers with a stream of events, open from now on.
    [[nodiscard]] EventStream openEvents();

    /// Calls `gone` once, from the main loop, never from inside a call of this class, when the
    /// browser goes before it is answered. Only while this handle lives.
    void onGone(std::function<void()> gone);

private:
    std::shared_ptr<PendingAnswer> m_answer;
};

} // namespace wingbell

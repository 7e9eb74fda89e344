#include "relay/web/WebReply.h"

#include "relay/web/PendingAnswer.h"
#include "relay/web/SafeHeaders.h"

#include <utility>

namespace wingbell {

namespace {

void answerAnyhow(const std::shared_ptr<PendingAnswer>& answer)
{
    if (answer && answer->isPending()) {
        answer->send(errorAnswer(500, "failed"));
    }
}

} // namespace

WebReply::WebReply(std::shared_ptr<PendingAnswer> answer)
    : m_answer(std::move(answer))
{
}

WebReply& WebReply::operator=(WebReply&& other) noexcept
{
    if (this != &other) {
        answerAnyhow(m_answer);
        m_answer = std::move(other.m_answer);
    }
    return *this;
}

WebReply::~WebReply()
{
    answerAnyhow(m_answer);
}

void WebReply::send(
    int status, const QByteArray& contentType, const QByteArray& body, const WebHeaders& headers)
{
    if (!m_answer) {
        return;
    }
    WebHeaders all = safeApiHeaders(headers);
    if (!contentType.isEmpty()) {
        all.emplace_back("Content-Type", contentType);
    }
    m_answer->send({status, all, body});
}

EventStream WebReply::openEvents()
{
    return m_answer && m_answer->isPending() ? EventStream(m_answer->openEvents()) : EventStream();
}

void WebReply::onGone(std::function<void()> gone)
{
    if (m_answer) {
        m_answer->onGone(std::move(gone));
    }
}

} // namespace wingbell

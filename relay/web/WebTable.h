#pragma once

#include "relay/web/Answer.h"
#include "relay/web/RequestReader.h"
#include "relay/web/WebHeaders.h"
#include "relay/web/WebRefusal.h"
#include "relay/web/WebReply.h"
#include "relay/web/WebRequest.h"

#include <QByteArray>
#include <QHostAddress>

#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace wingbell {

/// Who answers what: an exact table of paths, and whose questions are answered at all.
class WebTable
{
public:
    using Handler = std::function<void(const WebRequest&, WebReply)>;

    void setHostNames(const std::vector<QByteArray>& names);
    void addPage(
        const QByteArray& path, const QByteArray& contentType, const QByteArray& bytes,
        const WebHeaders& headers);
    void onGet(const QByteArray& path, Handler handler);
    void onPost(const QByteArray& path, Handler handler);

    /// Answers `request`, or has it answered. Returns why not, where it turns somebody away.
    [[nodiscard]] std::optional<WebRefusal>
    serve(RequestReader::Request request, const QHostAddress& peer, WebReply reply) const;

private:
    struct Page
    {
        Answer answer;
        QByteArray tag;
    };
    struct Handlers
    {
        Handler get;
        Handler post;
    };

    static void sendPage(const Page& page, const RequestHead& head, WebReply& reply);
    [[nodiscard]] std::optional<WebRefusal> handOn(
        const Handlers& handlers, RequestReader::Request request, const QHostAddress& peer,
        WebReply reply) const;
    [[nodiscard]] static QByteArray allowed(const Handlers& handlers);
    [[nodiscard]] std::optional<WebRefusal> objection(const RequestHead& head) const;

    std::vector<QByteArray> m_names;
    std::map<QByteArray, Page> m_pages;
    std::map<QByteArray, Handlers> m_handlers;
};

} // namespace wingbell

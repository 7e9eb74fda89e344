#pragma once

#include "relay/web/RequestReader.h"
#include "relay/web/WebRefusal.h"
#include "relay/web/WebReply.h"

#include <QByteArray>
#include <QHostAddress>

namespace wingbell {

class WebConnection;

/// What a connection needs to be told or done. Called from the main loop.
class WebConnectionOwner
{
public:
    virtual ~WebConnectionOwner() = default;

    /// A request came that is whole and within the limits.
    virtual void
    requested(RequestReader::Request request, const QHostAddress& peer, WebReply reply) = 0;

    /// What plain http is answered with.
    [[nodiscard]] virtual QByteArray plainPage() const = 0;

    virtual void refused(WebRefusal cause, const QHostAddress& peer) = 0;

    /// The connection is closed and may be forgotten.
    virtual void ended(WebConnection& connection) = 0;

protected:
    WebConnectionOwner() = default;
    WebConnectionOwner(const WebConnectionOwner&) = default;
    WebConnectionOwner& operator=(const WebConnectionOwner&) = default;
};

} // namespace wingbell

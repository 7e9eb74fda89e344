#pragma once

#include "relay/access/CardKeys.h"
#include "relay/access/CodeGuard.h"
#include "relay/api/CrewRequests.h"
#include "relay/http/Router.h"
#include "relay/sessions/Crew.h"

#include <QTimer>

#include <functional>

namespace wingbell {

/// What the crew's pages ask of the server: the pages themselves, and their requests turned into
/// calls of Crew. Main thread only.
class CrewService
{
public:
    /// Where the crew find the page.
    struct Address
    {
        QStringList urls;    ///< best first; never empty
        QString fingerprint; ///< SHA-256 of the certificate there, as browsers show it
        QString authority;   ///< the same of the desk's authority; empty if it does not vouch
    };

    /// How the crew get here.
    struct Door
    {
        CrewCode code;
        CardKeys keys;
        Address address;
    };

    enum class AccessError { WrongCode, SlowDown, WrongKey };

    /// Called for each code, and each key, that is not accepted.
    using Refused = std::function<void(AccessError, const QHostAddress&)>;

    /// Borrows `show` and `crew`; they and this must outlive `router`, which it prepares.
    CrewService(Router& router, const ShowPatch& show, Crew& crew, Door door, Refused refused);
    Q_DISABLE_COPY_MOVE(CrewService)

    /// Cards made from now on have this one.
    void setAddress(const Address& address) { m_door.address = address; }

private:
    using Clock = Crew::Clock;

    void addPages(Router& router);
    void addRequests(Router& router);
    template <typename Reader, typename Take>
    void onPost(Router& router, const char* path, Reader reader, Take take);
    template <typename Body>
    [[nodiscard]] bool
    mayContinue(const Body& body, const QHostAddress& peer, PendingResponse& response);
    [[nodiscard]] bool
    isAdmitted(const Credential& credential, const QHostAddress& peer, PendingResponse& response);
    [[nodiscard]] QString cardUrl(const QString& role) const;

    void sendRoles(PendingResponse response) const;
    void sendCard(PendingResponse response) const;
    void join(const JoinRequest& request, const QHostAddress& peer, PendingResponse response);
    void openEvents(const HttpRequest& request, PendingResponse response);
    void waitForKeys();

    const ShowPatch& m_show;
    Crew& m_crew;
    Door m_door;
    Refused m_refused;
    CodeGuard m_guard;
    QTimer m_keyTimer;
};

} // namespace wingbell

#pragma once

#include "relay/access/Certificate.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace wingbell {

/// Where browsers find this computer.
struct DeskPlace
{
    CertificateNames names;
    QStringList urls; ///< of the crew's page, best first; never empty
};

/// As it is now, for a show on this port.
[[nodiscard]] DeskPlace deskPlace(quint16 port);

/// True when there are other addresses that the page can be opened by. A network that has only gone
/// does not count: it usually comes back, and with the same address.
[[nodiscard]] bool hasMoved(const DeskPlace& before, const DeskPlace& now);

/// Where browsers find this computer, and how they know that it is the one.
struct DeskIdentity
{
    DeskPlace place;
    QStringList urls;        ///< of the crew's page, those of the theatre's own certificate first
    QStringList hostNames;   ///< all that it is asked for by
    QByteArray pem;          ///< what the server loads. A secret.
    QByteArray authority;    ///< the certificate of the desk's authority (DER)
    QByteArray appleProfile; ///< the same for an iPhone
    QString authorityFingerprint; ///< empty if the authority does not vouch for what is in `pem`
    QStringList remarks;          ///< lines for a person
};

/// With the certificates in `folder`, new ones where those are missing or do not fit. nullopt if
/// OpenSSL fails. To be called while no other server does (StateDirectory::lock()).
[[nodiscard]] std::optional<DeskIdentity>
loadDeskIdentity(const StateDirectory& folder, quint16 port, Certificate::Time now);

} // namespace wingbell

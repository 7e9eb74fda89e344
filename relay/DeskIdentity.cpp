#include "relay/DeskIdentity.h"

#include "relay/access/CertificateAuthority.h"
#include "relay/access/StateDirectory.h"
#include "relay/log/Messages.h"
#include "relay/net/AddressRanking.h"
#include "relay/net/NetworkAddresses.h"

#include <QDateTime>
#include <QSysInfo>
#include <QTimeZone>

#include <algorithm>

namespace wingbell {

DeskPlace deskPlace(quint16 port)
{
    DeskPlace place;
    place.names.hostNames = hostNames(QSysInfo::machineHostName());
    for (const InterfaceAddress& found : rankedAddresses(NetworkAddresses().read())) {
        place.names.addresses.push_back(found.address);
        // A link-local address means nothing without the name of the asking side's interface.
        if (found.address.protocol() == QHostAddress::IPv4Protocol ||
            !found.address.isLinkLocal()) {
            place.urls.append(urlFor(found.address, port));
        }
    }
    for (const QString& name : place.names.hostNames) {
        if (name.endsWith(QLatin1String(".local"))) {
            place.urls.append(urlFor(name, port));
        }
    }
    if (place.urls.isEmpty()) {
        place.urls.append(urlFor(QStringLiteral("localhost"), port));
    }
    return place;
}

bool hasMoved(const DeskPlace& before, const DeskPlace& now)
{
    const std::vector<QHostAddress>& addresses = now.names.addresses;
    const bool hasNetwork =
        std::any_of(addresses.begin(), addresses.end(), [](const QHostAddress& address) {
            return !address.isLoopback();
        });
    return hasNetwork && now.urls != before.urls;
}

std::optional<DeskIdentity>
loadDeskIdentity(const StateDirectory& folder, quint16 port, Certificate::Time now)
{
    DeskIdentity identity;
    identity.place = deskPlace(port);
    identity.urls = identity.place.urls;
    identity.hostNames = identity.place.names.hostNames;
    const auto authority = loadOrCreateAuthority(folder, identity.hostNames, now);
    if (!authority) {
        return std::nullopt;
    }
    identity.authority = authority->authority.der();
    identity.appleProfile = authority->authority.appleProfile();
    const auto remark = [&identity](Message message, const QString& argument) {
        if (!argument.isEmpty()) {
            identity.remarks.append(messageText(message, {argument}));
        }
    };
    remark(Message::NewAuthority, authority->replacedBecause);
    remark(Message::AuthorityNotSaved, authority->notStoredBecause);
    const auto theatres = loadTheatreCertificate(folder, identity.place.names, now);
    if (theatres && *theatres) {
        const TheatreCertificate& own = **theatres;
        const auto until = std::chrono::system_clock::to_time_t(own.validUntil);
        remark(
            Message::TheatreCertificate, QDateTime::fromSecsSinceEpoch(until, QTimeZone::utc())
                                             .toString(QStringLiteral("yyyy-MM-dd")));
        identity.pem = own.pem;
        identity.hostNames += own.hostNames;
        for (qsizetype index = 0; index < own.hostNames.size(); ++index) {
            identity.urls.insert(index, urlFor(own.hostNames.at(index), port));
        }
        return identity;
    }
    remark(Message::TheatreCertificateUnused, theatres ? QString() : theatres.error());
    const auto made =
        loadOrCreateCertificate(folder, authority->authority, identity.place.names, now);
    if (!made) {
        return std::nullopt;
    }
    remark(Message::CertificateNotSaved, made->notStoredBecause);
    remark(Message::NewCertificate, made->newBecause);
    identity.pem = made->certificate.pem();
    identity.authorityFingerprint = authority->authority.fingerprint();
    return identity;
}

} // namespace wingbell

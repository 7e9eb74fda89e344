#include "relay/web/HostCheck.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <optional>

namespace wingbell {

namespace {

bool isAddress(int family, QByteArrayView text)
{
    std::array<unsigned char, sizeof(in6_addr)> address = {};
    return ::inet_pton(family, text.toByteArray().constData(), address.data()) == 1;
}

bool isPort(QByteArrayView text)
{
    return std::all_of(text.begin(), text.end(), [](char character) {
        return character >= '0' && character <= '9';
    });
}

/// True for nothing, or a colon and a port.
bool isPortPart(QByteArrayView text)
{
    return text.isEmpty() || (text.startsWith(':') && isPort(text.sliced(1)));
}

bool isBracketedAddress(QByteArrayView host)
{
    const qsizetype end = host.indexOf(']');
    return end > 0 && isAddress(AF_INET6, host.sliced(1, end - 1)) &&
           isPortPart(host.sliced(end + 1));
}

} // namespace

bool isOwnHost(QByteArrayView host, const std::vector<QByteArray>& names)
{
    if (host.startsWith('[')) {
        return isBracketedAddress(host);
    }
    const qsizetype colon = host.indexOf(':');
    if (colon >= 0 && !isPortPart(host.sliced(colon))) {
        return false;
    }
    QByteArray name = (colon < 0 ? host : host.first(colon)).toByteArray().toLower();
    if (name.endsWith('.')) {
        name.chop(1);
    }
    return name == "localhost" || isAddress(AF_INET, name) ||
           std::find(names.begin(), names.end(), name) != names.end();
}

bool isSameOrigin(QByteArrayView origin, QByteArrayView host)
{
    constexpr QByteArrayView scheme("https://");
    return origin.startsWith(scheme) &&
           origin.sliced(scheme.size()).compare(host, Qt::CaseInsensitive) == 0;
}

} // namespace wingbell

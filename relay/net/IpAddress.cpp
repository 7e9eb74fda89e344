#include "relay/net/IpAddress.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>
#include <span>

namespace wingbell {

namespace {

constexpr std::array<quint8, 12> beforeIpv4 = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};

IpAddress::Ipv6Bytes mapped(const IpAddress::Ipv4Bytes& bytes)
{
    IpAddress::Ipv6Bytes result = {};
    std::copy(beforeIpv4.begin(), beforeIpv4.end(), result.begin());
    std::copy(bytes.begin(), bytes.end(), result.begin() + beforeIpv4.size());
    return result;
}

IpAddress loopbackOfIpv6()
{
    IpAddress::Ipv6Bytes bytes = {};
    bytes.back() = 1;
    return IpAddress(bytes);
}

template <typename Bytes, typename Source> Bytes bytesOf(const Source& source)
{
    static_assert(sizeof(Bytes) == sizeof(Source));
    Bytes bytes = {};
    std::memcpy(bytes.data(), &source, sizeof bytes);
    return bytes;
}

} // namespace

IpAddress::IpAddress(const Ipv4Bytes& bytes)
    : m_bytes(mapped(bytes))
{
}

IpAddress::IpAddress(const Ipv6Bytes& bytes)
    : m_bytes(bytes)
{
}

std::optional<IpAddress> IpAddress::fromSocket(const sockaddr_storage& address)
{
    if (address.ss_family == AF_INET) {
        sockaddr_in four = {};
        std::memcpy(&four, &address, sizeof four);
        return IpAddress(bytesOf<Ipv4Bytes>(four.sin_addr));
    }
    if (address.ss_family == AF_INET6) {
        sockaddr_in6 six = {};
        std::memcpy(&six, &address, sizeof six);
        return IpAddress(bytesOf<Ipv6Bytes>(six.sin6_addr));
    }
    return std::nullopt;
}

std::optional<IpAddress> IpAddress::fromText(const QString& text)
{
    // The functions below would not see what stands behind a zero.
    if (text.contains(QChar::Null)) {
        return std::nullopt;
    }
    const QByteArray utf8 = text.toUtf8();
    in_addr four = {};
    if (::inet_pton(AF_INET, utf8.constData(), &four) == 1) {
        return IpAddress(bytesOf<Ipv4Bytes>(four));
    }
    in6_addr six = {};
    if (::inet_pton(AF_INET6, utf8.constData(), &six) == 1) {
        return IpAddress(bytesOf<Ipv6Bytes>(six));
    }
    return std::nullopt;
}

bool IpAddress::isIpv4() const
{
    return std::equal(beforeIpv4.begin(), beforeIpv4.end(), m_bytes.begin());
}

bool IpAddress::isLoopback() const
{
    return isIpv4() ? m_bytes[12] == 127 : *this == loopbackOfIpv6();
}

bool IpAddress::isUnspecified() const
{
    return *this == IpAddress(Ipv4Bytes{}) || *this == IpAddress(Ipv6Bytes{});
}

bool IpAddress::isMulticast() const
{
    return isIpv4() ? (m_bytes[12] & 0xF0) == 0xE0 : m_bytes[0] == 0xFF;
}

bool IpAddress::isLinkLocal() const
{
    return isIpv4() ? m_bytes[12] == 169 && m_bytes[13] == 254
                    : m_bytes[0] == 0xFE && (m_bytes[1] & 0xC0) == 0x80;
}

bool IpAddress::isPrivate() const
{
    if (!isIpv4()) {
        return (m_bytes[0] & 0xFE) == 0xFC;
    }
    return m_bytes[12] == 10 || (m_bytes[12] == 172 && (m_bytes[13] & 0xF0) == 16) ||
           (m_bytes[12] == 192 && m_bytes[13] == 168);
}

QByteArray IpAddress::bytes() const
{
    const std::span<const quint8> all(m_bytes);
    const std::span<const quint8> own = isIpv4() ? all.subspan(beforeIpv4.size()) : all;
    return {reinterpret_cast<const char*>(own.data()), static_cast<qsizetype>(own.size())};
}

QString IpAddress::text() const
{
    std::array<char, INET6_ADDRSTRLEN> text = {};
    ::inet_ntop(isIpv4() ? AF_INET : AF_INET6, bytes().constData(), text.data(), text.size());
    return QString::fromLatin1(text.data());
}

IpAddress IpAddress::guest() const
{
    if (isIpv4()) {
        return *this;
    }
    constexpr std::size_t networkBytes = 8;
    Ipv6Bytes network = {};
    std::copy_n(m_bytes.begin(), networkBytes, network.begin());
    return IpAddress(network);
}

} // namespace wingbell

#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <array>
#include <optional>
#include <sys/socket.h>

namespace wingbell {

/// An IPv4 or IPv6 address without port and interface. An IPv4 address that comes inside an IPv6
/// one (::ffff:192.168.1.5) is that IPv4 address.
class IpAddress
{
public:
    using Ipv4Bytes = std::array<quint8, 4>;
    using Ipv6Bytes = std::array<quint8, 16>;

    explicit IpAddress(const Ipv4Bytes& bytes);
    explicit IpAddress(const Ipv6Bytes& bytes);

    /// Nothing for an address of any other family.
    [[nodiscard]] static std::optional<IpAddress> fromSocket(const sockaddr_storage& address);

    /// Nothing for anything but a numeric address, without brackets and interface.
    [[nodiscard]] static std::optional<IpAddress> fromText(const QString& text);

    [[nodiscard]] bool isIpv4() const;
    [[nodiscard]] bool isLoopback() const;
    [[nodiscard]] bool isUnspecified() const;
    [[nodiscard]] bool isMulticast() const;
    [[nodiscard]] bool isLinkLocal() const;
    /// Of a network of one's own: 10/8, 172.16/12, 192.168/16 or fc00::/7.
    [[nodiscard]] bool isPrivate() const;

    /// As the network has it: 4 or 16 bytes.
    [[nodiscard]] QByteArray bytes() const;

    /// Without brackets.
    [[nodiscard]] QString text() const;

    /// What one guest of a network can be told by: an IPv4 address itself; of an IPv6 address the
    /// first 64 bits, because a guest may choose the others anew for every connection.
    [[nodiscard]] IpAddress guest() const;

    friend bool operator==(const IpAddress&, const IpAddress&) = default;
    /// An order for maps; it means nothing.
    friend bool operator<(const IpAddress& left, const IpAddress& right)
    {
        return left.m_bytes < right.m_bytes;
    }

private:
    Ipv6Bytes m_bytes; ///< an IPv4 address stands in it as ::ffff:a.b.c.d
};

} // namespace wingbell

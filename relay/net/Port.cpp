#include "relay/net/Port.h"

#include <QProcess>
#include <QRegularExpression>
#include <QStringList>

#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>

namespace wingbell {

namespace {

/// Connections that may wait to be accepted.
constexpr int backlog = 128;

bool setOption(const FileDescriptor& descriptor, int level, int option, int value)
{
    return ::setsockopt(descriptor.get(), level, option, &value, sizeof value) == 0;
}

template <typename Address>
Result<OpenPort, std::error_code> open(PortType type, int family, const Address& address)
{
    const bool listens = type == PortType::Tcp;
    const int kind = listens ? SOCK_STREAM : SOCK_DGRAM;
    FileDescriptor descriptor(::socket(family, kind | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // A restart must not wait for the last run's connections to time out, and of two that listen
    // the second still fails; of two that take datagrams it would not.
    const bool isOpen =
        descriptor.isOpen() && (!listens || setOption(descriptor, SOL_SOCKET, SO_REUSEADDR, 1)) &&
        (family != AF_INET6 || setOption(descriptor, IPPROTO_IPV6, IPV6_V6ONLY, 0)) &&
        ::bind(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
            0 &&
        (!listens || ::listen(descriptor.get(), backlog) == 0);
    if (!isOpen) {
        return failure(std::error_code(errno, std::generic_category()));
    }
    return OpenPort{std::move(descriptor), family == AF_INET6};
}

} // namespace

Result<OpenPort, std::error_code> openPort(PortType type, quint16 port)
{
    sockaddr_in6 both = {};
    both.sin6_family = AF_INET6;
    both.sin6_port = htons(port);
    auto result = open(type, AF_INET6, both);
    if (result || (result.error() != std::errc::address_family_not_supported &&
                   result.error() != std::errc::address_not_available)) {
        return result;
    }
    sockaddr_in ipv4 = {};
    ipv4.sin_family = AF_INET;
    ipv4.sin_port = htons(port);
    return open(type, AF_INET, ipv4);
}

std::optional<PortHolder> firstHolder(QByteArrayView sockets)
{
    static const QRegularExpression user(QStringLiteral(R"re(users:\(\("(.*?)",pid=(\d+),)re"));
    const QRegularExpressionMatch match = user.match(QString::fromUtf8(sockets));
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    return PortHolder{match.captured(1), match.captured(2).toLongLong()};
}

std::optional<PortHolder> portHolder(PortType type, quint16 port)
{
    constexpr int timeoutMs = 1000;
    constexpr qint64 maxOutput = 4096;
    const QString options =
        type == PortType::Udp ? QStringLiteral("-Haunp") : QStringLiteral("-Hltnp");
    QProcess ss;
    ss.setStandardInputFile(QProcess::nullDevice());
    ss.setStandardErrorFile(QProcess::nullDevice());
    ss.start(QStringLiteral("ss"), {options, QStringLiteral("sport = :%1").arg(port)});
    if (!ss.waitForFinished(timeoutMs)) {
        ss.kill();
        ss.waitForFinished();
        return std::nullopt;
    }
    return firstHolder(ss.read(maxOutput));
}

} // namespace wingbell

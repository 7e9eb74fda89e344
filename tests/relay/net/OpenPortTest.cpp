#include "relay/net/Port.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>

using namespace wingbell;

namespace {

/// A client that has connected to `port`; none if the port is closed.
FileDescriptor connected(quint16 port)
{
    FileDescriptor client(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int result =
        ::connect(client.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    return result == 0 ? std::move(client) : FileDescriptor();
}

FileDescriptor connected6(quint16 port)
{
    FileDescriptor client(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(port);
    address.sin6_addr = in6addr_loopback;
    const int result =
        ::connect(client.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    return result == 0 ? std::move(client) : FileDescriptor();
}

OpenPort openListener(quint16 port)
{
    return openPort(PortType::Tcp, port).value();
}

quint16 portOf(const OpenPort& opened)
{
    // The port lies at the same place in both families' addresses.
    sockaddr_in6 address = {};
    socklen_t size = sizeof address;
    ::getsockname(opened.descriptor.get(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin6_port);
}

} // namespace

class OpenPortTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void clientsConnectOverBothFamilies();
    void aPortThatIsListenedOnIsNotShared();
    void aRestartNeedNotWaitForOldConnections();
    void childrenDoNotInheritIt();
};

void OpenPortTest::clientsConnectOverBothFamilies()
{
    const OpenPort opened = openListener(0);
    const quint16 port = portOf(opened);
    QVERIFY(port != 0);
    QVERIFY(connected(port).isOpen());
    QCOMPARE(connected6(port).isOpen(), opened.takesIpv6);
}

void OpenPortTest::aPortThatIsListenedOnIsNotShared()
{
    const OpenPort first = openListener(0);
    const auto second = openPort(PortType::Tcp, portOf(first));
    QVERIFY(!second);
    QCOMPARE(second.error(), std::errc::address_in_use);
}

void OpenPortTest::aRestartNeedNotWaitForOldConnections()
{
    OpenPort first = openListener(0);
    const quint16 port = portOf(first);
    const FileDescriptor client = connected(port);
    FileDescriptor served(::accept4(first.descriptor.get(), nullptr, nullptr, SOCK_CLOEXEC));
    QVERIFY(served.isOpen());
    QVERIFY(served.close()); // the one who closes first keeps the port busy for a minute
    QVERIFY(first.descriptor.close());
    QVERIFY(!connected(port).isOpen());
    const OpenPort second = openListener(port);
    QVERIFY(second.descriptor.isOpen());
    QVERIFY(connected(port).isOpen());
}

void OpenPortTest::childrenDoNotInheritIt()
{
    const OpenPort opened = openListener(0);
    QVERIFY((::fcntl(opened.descriptor.get(), F_GETFD) & FD_CLOEXEC) != 0);
    QVERIFY((::fcntl(opened.descriptor.get(), F_GETFL) & O_NONBLOCK) != 0);
}

WINGBELL_GUILESS_TEST(OpenPortTest)
#include "OpenPortTest.moc"

#include "relay/web/TcpListener.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>

using namespace wingbell;

namespace {

/// A client that has connected to `port`; none where nobody listens.
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

} // namespace

class TcpListenerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void clientsConnectOverBothFamilies();
    void aPortThatIsListenedOnIsNotShared();
    void aRestartNeedNotWaitForOldConnections();
    void aClosedOneTakesNobody();
    void childrenDoNotInheritIt();
};

void TcpListenerTest::clientsConnectOverBothFamilies()
{
    const auto opening = TcpListener::open(0);
    QVERIFY(opening.listener.has_value());
    const quint16 port = opening.listener->port();
    QVERIFY(port != 0);
    QVERIFY(connected(port).isOpen());
    QCOMPARE(connected6(port).isOpen(), opening.listener->takesIpv6());
}

void TcpListenerTest::aPortThatIsListenedOnIsNotShared()
{
    const auto first = TcpListener::open(0);
    const auto second = TcpListener::open(first.listener->port());
    QVERIFY(!second.listener.has_value());
    QCOMPARE(second.error, EADDRINUSE);
}

void TcpListenerTest::aRestartNeedNotWaitForOldConnections()
{
    auto first = TcpListener::open(0);
    const quint16 port = first.listener->port();
    const FileDescriptor client = connected(port);
    FileDescriptor served(::accept4(first.listener->descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
    QVERIFY(served.isOpen());
    QVERIFY(served.close()); // the one who closes first keeps the port busy for a minute
    first.listener->close();
    const auto second = TcpListener::open(port);
    QVERIFY(second.listener.has_value());
    QVERIFY(connected(port).isOpen());
}

void TcpListenerTest::aClosedOneTakesNobody()
{
    auto opening = TcpListener::open(0);
    const quint16 port = opening.listener->port();
    opening.listener->close();
    QVERIFY(!connected(port).isOpen());
    QCOMPARE(opening.listener->port(), quint16(0));
}

void TcpListenerTest::childrenDoNotInheritIt()
{
    const auto opening = TcpListener::open(0);
    QVERIFY((::fcntl(opening.listener->descriptor(), F_GETFD) & FD_CLOEXEC) != 0);
    QVERIFY((::fcntl(opening.listener->descriptor(), F_GETFL) & O_NONBLOCK) != 0);
}

WINGBELL_GUILESS_TEST(TcpListenerTest)
#include "TcpListenerTest.moc"

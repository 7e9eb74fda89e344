#include "relay/link/DtlsConnection.h"

#include "tests/TestProgram.h"

#include <QTest>

#include <deque>

using namespace wingbell;

namespace {

using Bytes = std::vector<std::uint8_t>;
using State = DtlsConnection::State;

/// A server and a client, with a network between them that can lose datagrams.
class Pair
{
public:
    Pair()
        : m_ofServer(DtlsContext::make())
        , m_ofClient(DtlsContext::make())
        , server(*m_ofServer, into(m_toClient))
        , client(*m_ofClient, into(m_toServer))
    {
    }

    [[nodiscard]] QByteArray serverFingerprint() const { return m_ofServer->fingerprint(); }
    [[nodiscard]] QByteArray clientFingerprint() const { return m_ofClient->fingerprint(); }

    void begin()
    {
        server.begin(clientFingerprint(), true);
        client.begin(serverFingerprint(), false);
    }

    void lose()
    {
        m_toServer.clear();
        m_toClient.clear();
    }

    /// Delivers until there is nothing left.
    void deliver()
    {
        while (!m_toServer.empty() || !m_toClient.empty()) {
            pass(m_toServer, server);
            pass(m_toClient, client);
        }
    }

private:
    using Network = std::deque<Bytes>;

    static DtlsConnection::Send into(Network& network)
    {
        return [&network](std::span<const std::uint8_t> datagram) {
            network.emplace_back(datagram.begin(), datagram.end());
        };
    }

    static void pass(Network& network, DtlsConnection& to)
    {
        while (!network.empty()) {
            const Bytes datagram = network.front();
            network.pop_front();
            to.take(datagram);
        }
    }

    Network m_toServer;
    Network m_toClient;
    std::unique_ptr<DtlsContext> m_ofServer;
    std::unique_ptr<DtlsContext> m_ofClient;

public:
    DtlsConnection server;
    DtlsConnection client;
};

} // namespace

class DtlsConnectionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bothEndsGetTheSameKeys();
    void anotherCertificateThanPromisedIsForged();
    void aServerWithAnotherCertificateIsForgedAsWell();
    void theFirstMessageMayComeBeforeTheAnswer();
    void whatIsLostIsSentAgain();
    void theOtherEndLearnsOfTheClosing();
    void rubbishEndsNoConnection();
};

void DtlsConnectionTest::bothEndsGetTheSameKeys()
{
    Pair pair;
    pair.begin();
    pair.deliver();
    QCOMPARE(pair.server.state(), State::Connected);
    QCOMPARE(pair.client.state(), State::Connected);
    const auto ofServer = pair.server.srtpKeys();
    const auto ofClient = pair.client.srtpKeys();
    QVERIFY(ofServer && ofClient);
    QVERIFY(ofServer->profile == SrtpProfile::AeadAes128Gcm);
    QCOMPARE(ofServer->own, ofClient->peer);
    QCOMPARE(ofServer->peer, ofClient->own);
    QVERIFY(ofServer->own != ofServer->peer);
}

void DtlsConnectionTest::anotherCertificateThanPromisedIsForged()
{
    Pair pair;
    pair.server.begin(pair.serverFingerprint(), true);
    pair.client.begin(pair.serverFingerprint(), false);
    pair.deliver();
    QCOMPARE(pair.server.state(), State::Forged);
    QVERIFY(!pair.server.srtpKeys());
    QVERIFY(!pair.client.srtpKeys());
}

void DtlsConnectionTest::aServerWithAnotherCertificateIsForgedAsWell()
{
    Pair pair;
    pair.server.begin(pair.clientFingerprint(), true);
    pair.client.begin(pair.clientFingerprint(), false);
    pair.deliver();
    QCOMPARE(pair.client.state(), State::Forged);
    QVERIFY(!pair.client.srtpKeys());
}

void DtlsConnectionTest::theFirstMessageMayComeBeforeTheAnswer()
{
    Pair pair;
    pair.client.begin(pair.serverFingerprint(), false);
    pair.deliver();
    QCOMPARE(pair.server.state(), State::Handshaking);
    pair.server.begin(pair.clientFingerprint(), true);
    pair.deliver();
    QCOMPARE(pair.server.state(), State::Connected);
}

void DtlsConnectionTest::whatIsLostIsSentAgain()
{
    Pair pair;
    pair.begin();
    for (int losses = 0; losses < 2; ++losses) {
        pair.lose();
        const auto timeout = pair.client.timeout();
        QVERIFY(timeout && *timeout < std::chrono::seconds(1));
        QTest::qWait(static_cast<int>(timeout->count()));
        pair.client.handleTimeout();
    }
    pair.deliver();
    QCOMPARE(pair.server.state(), State::Connected);
    QCOMPARE(pair.client.state(), State::Connected);
    QVERIFY(!pair.client.timeout());
}

void DtlsConnectionTest::theOtherEndLearnsOfTheClosing()
{
    Pair pair;
    pair.begin();
    pair.deliver();
    pair.client.close();
    pair.deliver();
    QCOMPARE(pair.server.state(), State::Closed);
    QVERIFY(!pair.server.srtpKeys());
}

void DtlsConnectionTest::rubbishEndsNoConnection()
{
    Pair pair;
    pair.begin();
    pair.deliver();
    for (std::size_t size = 1; size < 200; ++size) {
        pair.server.take(Bytes(size, 0x16));
    }
    QCOMPARE(pair.server.state(), State::Connected);
}

WINGBELL_GUILESS_TEST(DtlsConnectionTest)
#include "DtlsConnectionTest.moc"

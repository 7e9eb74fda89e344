#include "relay/link/SessionDescription.h"

#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

class SessionDescriptionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theOfferSaysAllThatABrowserNeeds();
};

void SessionDescriptionTest::theOfferSaysAllThatABrowserNeeds()
{
    SessionDescription description;
    description.ice = {"0001abcd", "a password"};
    description.fingerprint = "3F:07";
    description.source = 4711;
    description.port = 47100;
    description.packetMilliseconds = 10;
    description.addresses = {
        QHostAddress(QStringLiteral("192.168.1.5")), QHostAddress(QStringLiteral("fe80::1%eth0"))};
    const QList<QByteArray> lines = description.offer().split('\n');
    for (const char* line :
         {"a=ice-lite\r", "m=audio 9 UDP/TLS/RTP/SAVPF 111 63\r", "a=ice-ufrag:0001abcd\r",
          "a=ice-pwd:a password\r", "a=fingerprint:sha-256 3F:07\r", "a=setup:actpass\r",
          "a=rtcp-mux\r", "a=rtpmap:111 opus/48000/2\r", "a=ptime:10\r",
          "a=rtpmap:63 red/48000/2\r", "a=fmtp:63 111/111\r",
          "a=fmtp:111 minptime=10;useinbandfec=1\r", "a=ssrc:4711 cname:wingbell\r",
          "a=candidate:1 1 udp 2130706431 192.168.1.5 47100 typ host\r",
          "a=candidate:2 1 udp 2130706175 fe80::1 47100 typ host\r"}) {
        QVERIFY2(lines.contains(line), line);
    }
    QCOMPARE(lines.last(), QByteArray());
}

WINGBELL_APPLESS_TEST(SessionDescriptionTest)
#include "SessionDescriptionTest.moc"

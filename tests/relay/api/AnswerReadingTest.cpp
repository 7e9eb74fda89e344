#include "relay/api/AnswerReading.h"
#include "relay/access/Certificate.h"

#include <QCryptographicHash>
#include <QSslCertificate>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

const QByteArray pairs32 = QByteArray("3F:07:").repeated(16).chopped(1);
const QByteArray pairs48 = QByteArray("A0:1B:").repeated(24).chopped(1);
const QByteArray pairs64 = QByteArray("A0:1B:").repeated(32).chopped(1);

QByteArray lines(const QByteArrayList& list)
{
    return list.join("\r\n") + "\r\n";
}

QByteArray chromium()
{
    return lines({
        "v=0",
        "o=- 3417563521842265317 2 IN IP4 127.0.0.1",
        "s=-",
        "t=0 0",
        "a=group:BUNDLE audio0",
        "a=msid-semantic: WMS",
        "m=audio 9 UDP/TLS/RTP/SAVPF 111",
        "c=IN IP4 0.0.0.0",
        "a=rtcp:9 IN IP4 0.0.0.0",
        "a=candidate:2999745851 1 udp 2122260223 192.168.1.20 51234 typ host generation 0",
        "a=ice-ufrag:x+3/",
        "a=ice-pwd:PdQn4gkZ2E+9f/KqTzLm0sYb",
        "a=ice-options:trickle",
        "a=fingerprint:sha-256 " + pairs32,
        "a=setup:active",
        "a=mid:audio0",
        "a=sendrecv",
        "a=msid:- 7c0ec5de-0b5f-4a3c-93b1-0a1f1f4f4a4e",
        "a=rtcp-mux",
        "a=rtpmap:111 opus/48000/2",
        "a=fmtp:111 minptime=10;useinbandfec=1",
        "a=ssrc:3018290164 cname:9f2VnkMTXHJ1Bf7C",
    });
}

QByteArray firefox()
{
    return lines({
        "v=0",
        "o=mozilla...THIS_IS_SDPARTA-115.0 4294967295 0 IN IP4 0.0.0.0",
        "s=-",
        "t=0 0",
        "a=sendrecv",
        "a=fingerprint:sha-256 " + pairs32,
        "a=group:BUNDLE audio0",
        "a=ice-options:trickle",
        "a=msid-semantic:WMS *",
        "m=audio 9 UDP/TLS/RTP/SAVPF 111",
        "c=IN IP4 0.0.0.0",
        "a=recvonly",
        "a=fmtp:111 maxplaybackrate=48000;stereo=1;useinbandfec=1",
        "a=ice-pwd:0f1e2d3c4b5a69788796a5b4c3d2e1f0",
        "a=ice-ufrag:9a8b7c6d",
        "a=mid:audio0",
        "a=rtcp-mux",
        "a=rtpmap:111 opus/48000/2",
        "a=setup:active",
        "a=ssrc:1234567890 cname:{3a4b5c6d-0000-4000-8000-1234567890ab}",
    });
}

QByteArray safari()
{
    return lines({
        "v=0",
        "o=- 5823746152983746152 2 IN IP4 127.0.0.1",
        "s=-",
        "t=0 0",
        "a=group:BUNDLE audio0",
        "a=extmap-allow-mixed",
        "a=msid-semantic: WMS 0b1c2d3e-4f50-4617-8293-a4b5c6d7e8f9",
        "m=audio 9 UDP/TLS/RTP/SAVPF 111",
        "c=IN IP4 0.0.0.0",
        "a=rtcp:9 IN IP4 0.0.0.0",
        "a=ice-ufrag:Zk3P",
        "a=ice-pwd:k9ZQvXbN2mL5rT8wYc1dEfGh",
        "a=fingerprint:sha-256 " + pairs32,
        "a=setup:active",
        "a=mid:audio0",
        "a=sendrecv",
        "a=msid:0b1c2d3e-4f50-4617-8293-a4b5c6d7e8f9 1a2b3c4d-5e6f-4708-9a1b-2c3d4e5f6071",
        "a=rtcp-mux",
        "a=rtcp-rsize",
        "a=rtpmap:111 OPUS/48000/2",
        "a=rtcp-fb:111 transport-cc",
        "a=fmtp:111 minptime=10;useinbandfec=1",
    });
}

MediaAnswer read(const QByteArray& sdp)
{
    const auto reading = readMediaAnswer(sdp);
    const auto* answer = std::get_if<MediaAnswer>(&reading);
    return answer == nullptr ? MediaAnswer() : *answer;
}

/// Why it is refused; empty when it is read.
QString problemOf(const QByteArray& sdp)
{
    const auto reading = readMediaAnswer(sdp);
    const auto* problem = std::get_if<QString>(&reading);
    return problem == nullptr ? QString() : *problem;
}

QByteArray changed(const QByteArray& from, const QByteArray& to)
{
    const QByteArray sdp = chromium();
    return sdp.contains(from) ? QByteArray(sdp).replace(from, to) : QByteArray();
}

/// Reads from a block of memory of exactly that size, so that a sanitizer sees a byte too far.
std::variant<MediaAnswer, QString> readExactly(const QByteArray& sdp)
{
    const auto size = static_cast<std::size_t>(sdp.size());
    const auto memory = std::make_unique<char[]>(size);
    std::copy(sdp.begin(), sdp.end(), memory.get());
    return readMediaAnswer(QByteArrayView(memory.get(), sdp.size()));
}

} // namespace

class AnswerReadingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatChromiumAnswersIsRead();
    void whatFirefoxAnswersIsRead();
    void whatSafariAnswersIsRead();
    void lineFeedsAloneEndLinesToo();
    void whatStandsBeforeTheSectionCountsToo();
    void whatStandsInTheSectionCountsFirst();
    void everyDirectionIsRead_data();
    void everyDirectionIsRead();
    void bothSetupsAreRead();
    void everyStrongHashIsRead_data();
    void everyStrongHashIsRead();
    void ofSeveralFingerprintsTheUsualOneIsTaken();
    void furtherFormatsDoNotMatter();
    void whatDoesNotFitTheOfferIsRefused_data();
    void whatDoesNotFitTheOfferIsRefused();
    void eachNeededLineIsNeeded_data();
    void eachNeededLineIsNeeded();
    void theBoundsOfWordsAreKept();
    void thePlainAnswerHoldsWhatWasRead();
    void thePlainAnswerIsReadAsTheSame_data();
    void thePlainAnswerIsReadAsTheSame();
    void nothingHostileReachesThePlainAnswer();
    void aCertificateIsToldByItsFingerprint();
    void anyBytesMayCome();
};

void AnswerReadingTest::whatChromiumAnswersIsRead()
{
    QCOMPARE(problemOf(chromium()), QString());
    QVERIFY(
        read(chromium()) == (MediaAnswer{
                                "x+3/", "PdQn4gkZ2E+9f/KqTzLm0sYb", "sha-256", pairs32,
                                MediaAnswer::Setup::Active, MediaAnswer::Direction::SendReceive}));
}

void AnswerReadingTest::whatFirefoxAnswersIsRead()
{
    QCOMPARE(problemOf(firefox()), QString());
    QVERIFY(
        read(firefox()) == (MediaAnswer{
                               "9a8b7c6d", "0f1e2d3c4b5a69788796a5b4c3d2e1f0", "sha-256", pairs32,
                               MediaAnswer::Setup::Active, MediaAnswer::Direction::ReceiveOnly}));
}

void AnswerReadingTest::whatSafariAnswersIsRead()
{
    QCOMPARE(problemOf(safari()), QString());
    QVERIFY(
        read(safari()) == (MediaAnswer{
                              "Zk3P", "k9ZQvXbN2mL5rT8wYc1dEfGh", "sha-256", pairs32,
                              MediaAnswer::Setup::Active, MediaAnswer::Direction::SendReceive}));
}

void AnswerReadingTest::lineFeedsAloneEndLinesToo()
{
    const QByteArray sdp = QByteArray(firefox()).replace("\r\n", "\n");
    QVERIFY(read(sdp) == read(firefox()));
    QVERIFY(read(sdp.chopped(1)) == read(firefox()));
}

void AnswerReadingTest::whatStandsBeforeTheSectionCountsToo()
{
    const QByteArrayList words = {
        "a=ice-ufrag:x+3/\r\n", "a=ice-pwd:PdQn4gkZ2E+9f/KqTzLm0sYb\r\n",
        "a=fingerprint:sha-256 " + pairs32 + "\r\n", "a=setup:active\r\n", "a=sendrecv\r\n"};
    QByteArray sdp = chromium();
    for (const QByteArray& word : words) {
        QVERIFY(sdp.contains(word));
        const QByteArray moved = word + "m=audio";
        sdp.replace(word, QByteArray()).replace("m=audio", moved);
    }
    QVERIFY(read(sdp) == read(chromium()));
}

void AnswerReadingTest::whatStandsInTheSectionCountsFirst()
{
    const QByteArray sdp = changed(
        "m=audio", "a=inactive\r\na=ice-ufrag:other\r\na=ice-pwd:other\r\na=setup:passive\r\n"
                   "a=fingerprint:sha-256 broken\r\nm=audio");
    QVERIFY(read(sdp) == read(chromium()));
}

void AnswerReadingTest::everyDirectionIsRead_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<int>("direction");
    const auto row = [](const char* line, MediaAnswer::Direction direction) {
        QTest::newRow(line) << QByteArray(line) << static_cast<int>(direction);
    };
    row("a=sendrecv\r\n", MediaAnswer::Direction::SendReceive);
    row("a=sendonly\r\n", MediaAnswer::Direction::SendOnly);
    row("a=recvonly\r\n", MediaAnswer::Direction::ReceiveOnly);
    row("a=inactive\r\n", MediaAnswer::Direction::Inactive);
    row("", MediaAnswer::Direction::SendReceive);
}

void AnswerReadingTest::everyDirectionIsRead()
{
    QFETCH(QByteArray, line);
    const QByteArray sdp = changed("a=sendrecv\r\n", line);
    QCOMPARE(problemOf(sdp), QString());
    QTEST(static_cast<int>(read(sdp).direction), "direction");
}

void AnswerReadingTest::bothSetupsAreRead()
{
    QVERIFY(read(chromium()).setup == MediaAnswer::Setup::Active);
    QVERIFY(read(changed("setup:active", "setup:passive")).setup == MediaAnswer::Setup::Passive);
}

void AnswerReadingTest::everyStrongHashIsRead_data()
{
    QTest::addColumn<QByteArray>("told");
    QTest::addColumn<QByteArray>("hash");
    QTest::addColumn<QByteArray>("pairs");
    QTest::newRow("256") << "sha-256 " + pairs32 << QByteArray("sha-256") << pairs32;
    QTest::newRow("384") << "sha-384 " + pairs48 << QByteArray("sha-384") << pairs48;
    QTest::newRow("512") << "sha-512 " + pairs64 << QByteArray("sha-512") << pairs64;
    QTest::newRow("other case") << "SHA-256 " + pairs32.toLower() << QByteArray("sha-256")
                                << pairs32;
}

void AnswerReadingTest::everyStrongHashIsRead()
{
    QFETCH(QByteArray, told);
    const MediaAnswer answer = read(changed("sha-256 " + pairs32, told));
    QTEST(answer.fingerprintHash, "hash");
    QTEST(answer.fingerprint, "pairs");
}

void AnswerReadingTest::ofSeveralFingerprintsTheUsualOneIsTaken()
{
    const QByteArray usual = "a=fingerprint:sha-256 " + pairs32;
    const QByteArray weak = "a=fingerprint:sha-1 " + pairs32.first(59);
    const QByteArray strong = "a=fingerprint:sha-512 " + pairs64;
    const QByteArray all = weak + "\r\n" + strong + "\r\n" + usual;
    QCOMPARE(read(changed(usual, all)).fingerprintHash, QByteArray("sha-256"));
}

void AnswerReadingTest::furtherFormatsDoNotMatter()
{
    const QByteArray sdp = changed("SAVPF 111", "SAVPF 0 111 63 9");
    QVERIFY(read(sdp) == read(chromium()));
}

void AnswerReadingTest::whatDoesNotFitTheOfferIsRefused_data()
{
    QTest::addColumn<QByteArray>("sdp");
    QTest::addColumn<QString>("problem");
    const auto row = [](const char* name, const QByteArray& sdp, const char* problem) {
        QTest::newRow(name) << sdp << QString::fromLatin1(problem);
    };
    const QByteArray section = "m=audio 9 UDP/TLS/RTP/SAVPF 111";
    row("empty", {}, "it is no session description");
    row("other text", "hello", "it is no session description");
    row("other version", changed("v=0", "v=1"), "it is no session description");
    row("blank first", "\r\n" + chromium(), "it is no session description");
    row("blank inside", changed("s=-\r\n", "s=-\r\n\r\n"), "it is no session description");
    row("no line", changed("s=-", "session"), "it is no session description");
    row("capital", changed("s=-", "S=-"), "it is no session description");
    row("too long", chromium() + "a=x:" + QByteArray(32768, 'x'),
        "it is longer than an answer can be");
    row("no section", "v=0\r\ns=-\r\n", "it has not one section but 0");
    row("two sections", chromium() + section + "\r\n", "it has not one section but 2");
    row("video", changed("m=audio", "m=video"), "its section is not one of audio");
    row("short section", changed(section, "m=audio 9"), "its section is not one of audio");
    row("no format", changed(section, "m=audio 9 UDP/TLS/RTP/SAVPF"),
        "its section is not one of audio");
    row("declined", changed("audio 9", "audio 0"), "it declines the voice");
    row("unprotected", changed("UDP/TLS/RTP/SAVPF", "RTP/AVP"), "it wants another protocol");
    row("data", changed(section, "m=audio 9 UDP/DTLS/SCTP webrtc-datachannel"),
        "it wants another protocol");
    row("other format", changed("SAVPF 111", "SAVPF 0"), "it does not take Opus as it was offered");
    row("format 1111", changed("SAVPF 111", "SAVPF 1111"),
        "it does not take Opus as it was offered");
    row("other codec", changed("111 opus/48000/2", "111 PCMU/8000"),
        "it does not take Opus as it was offered");
    row("two ports", changed("a=rtcp-mux\r\n", ""), "it wants a port of its own for reports");
    row("user twice", changed("a=ice-ufrag:x+3/", "a=ice-ufrag:x+3/\r\na=ice-ufrag:abcd"),
        "it has not one sound ice-ufrag");
    row("user of other characters", changed("ufrag:x+3/", "ufrag:x-3/"),
        "it has not one sound ice-ufrag");
    row("user with space", changed("ufrag:x+3/", "ufrag:x+3/ "), "it has not one sound ice-ufrag");
    row("user with return", changed("ufrag:x+3/", "ufrag:x+3/\r"),
        "it has not one sound ice-ufrag");
    row("user with zero", changed("ufrag:x+3/", QByteArray("ufrag:x+3/\0", 11)),
        "it has not one sound ice-ufrag");
    row("weak fingerprint", changed("sha-256 " + pairs32, "sha-1 " + pairs32.first(59)),
        "it has no fingerprint of a kind that can be checked");
    row("no digits", changed("sha-256 " + pairs32, "sha-256"),
        "it has no fingerprint of a kind that can be checked");
    row("short fingerprint", changed(pairs32, pairs32.chopped(3)), "its fingerprint is broken");
    row("long fingerprint", changed(pairs32, pairs32 + ":00"), "its fingerprint is broken");
    row("digits of another hash", changed("sha-256 " + pairs32, "sha-512 " + pairs32),
        "its fingerprint is broken");
    row("no colons", changed(pairs32, QByteArray(pairs32).replace(':', '-')),
        "its fingerprint is broken");
    row("no hexadecimal", changed(pairs32, QByteArray(pairs32).replace('F', 'G')),
        "its fingerprint is broken");
    row("undecided", changed("setup:active", "setup:actpass"),
        "it does not say who of both begins");
    row("held", changed("setup:active", "setup:holdconn"), "it does not say who of both begins");
    row("two directions", changed("a=sendrecv", "a=sendrecv\r\na=recvonly"),
        "it gives two directions");
}

void AnswerReadingTest::whatDoesNotFitTheOfferIsRefused()
{
    QFETCH(QByteArray, sdp);
    QTEST(problemOf(sdp), "problem");
}

void AnswerReadingTest::eachNeededLineIsNeeded_data()
{
    QTest::addColumn<QByteArray>("begin");
    for (const char* begin :
         {"v=0", "m=audio", "a=ice-ufrag", "a=ice-pwd", "a=fingerprint", "a=setup", "a=rtcp-mux",
          "a=rtpmap"}) {
        QTest::newRow(begin) << QByteArray(begin);
    }
}

void AnswerReadingTest::eachNeededLineIsNeeded()
{
    QFETCH(QByteArray, begin);
    QByteArrayList rest;
    for (const QByteArray& line : chromium().chopped(2).split('\n')) {
        if (!line.startsWith(begin)) {
            rest.append(line);
        }
    }
    QCOMPARE(rest.size(), qsizetype{21});
    QVERIFY(!problemOf(rest.join('\n')).isEmpty());
}

void AnswerReadingTest::theBoundsOfWordsAreKept()
{
    const auto user = [](qsizetype size) {
        return problemOf(changed("ufrag:x+3/", "ufrag:" + QByteArray(size, 'a')));
    };
    QVERIFY(!user(0).isEmpty());
    QVERIFY(!user(3).isEmpty());
    QCOMPARE(user(4), QString());
    QCOMPARE(user(256), QString());
    QVERIFY(!user(257).isEmpty());
    const auto password = [](qsizetype size) {
        return problemOf(changed("pwd:PdQn4gkZ2E+9f/KqTzLm0sYb", "pwd:" + QByteArray(size, 'a')));
    };
    QVERIFY(!password(21).isEmpty());
    QCOMPARE(password(22), QString());
    QCOMPARE(password(256), QString());
    QVERIFY(!password(257).isEmpty());
}

void AnswerReadingTest::thePlainAnswerHoldsWhatWasRead()
{
    QCOMPARE(
        canonicalAnswer(read(firefox()), "audio0"),
        lines({
            "v=0",
            "o=- 1 1 IN IP4 0.0.0.0",
            "s=-",
            "t=0 0",
            "a=group:BUNDLE audio0",
            "m=audio 9 UDP/TLS/RTP/SAVPF 111",
            "c=IN IP4 0.0.0.0",
            "a=mid:audio0",
            "a=ice-ufrag:9a8b7c6d",
            "a=ice-pwd:0f1e2d3c4b5a69788796a5b4c3d2e1f0",
            "a=fingerprint:sha-256 " + pairs32,
            "a=setup:active",
            "a=recvonly",
            "a=rtcp-mux",
            "a=rtpmap:111 opus/48000/2",
            "a=fmtp:111 minptime=10;useinbandfec=1",
        }));
}

void AnswerReadingTest::thePlainAnswerIsReadAsTheSame_data()
{
    QTest::addColumn<QByteArray>("sdp");
    QTest::newRow("Chromium") << chromium();
    QTest::newRow("Firefox") << firefox();
    QTest::newRow("Safari") << safari();
    QTest::newRow("passive, sending")
        << changed("setup:active", "setup:passive").replace("sendrecv", "sendonly");
    QTest::newRow("inactive") << changed("sendrecv", "inactive");
    QTest::newRow("another hash") << changed("sha-256 " + pairs32, "sha-384 " + pairs48.toLower());
}

void AnswerReadingTest::thePlainAnswerIsReadAsTheSame()
{
    QFETCH(QByteArray, sdp);
    QCOMPARE(problemOf(sdp), QString());
    QVERIFY(read(canonicalAnswer(read(sdp), "0")) == read(sdp));
}

void AnswerReadingTest::nothingHostileReachesThePlainAnswer()
{
    const QByteArray hostile = changed(
        "a=sendrecv", "a=sendrecv\r\na=candidate:1 1 udp 1 203.0.113.9 9 typ host\r\n"
                      "a=fmtp:111 x-google-start-bitrate=999999\r\na=extmap:1 evil\r\nb=AS:1\r\n"
                      "a=rid:1 send\r\na=simulcast:send 1\r\nk=clear:x");
    QCOMPARE(canonicalAnswer(read(hostile), "audio0"), canonicalAnswer(read(chromium()), "audio0"));
    QVERIFY(!canonicalAnswer(read(hostile), "audio0").contains("candidate"));
}

void AnswerReadingTest::aCertificateIsToldByItsFingerprint()
{
    const Certificate::Time now{1'700'000'000s};
    const QByteArray pem = Certificate::make({}, now)->pem();
    const QByteArray other = Certificate::make({}, now)->pem();
    const QSslCertificate certificate(pem.mid(pem.indexOf("-----BEGIN CERTIFICATE")));
    const auto answerWith = [&certificate](const QByteArray& hash, auto method) {
        return read(
            changed("sha-256 " + pairs32, hash + ' ' + certificate.digest(method).toHex(':')));
    };
    for (const MediaAnswer& answer :
         {answerWith("sha-256", QCryptographicHash::Sha256),
          answerWith("sha-384", QCryptographicHash::Sha384),
          answerWith("sha-512", QCryptographicHash::Sha512)}) {
        QVERIFY(isCertificateOf(answer, pem));
        QVERIFY(!isCertificateOf(answer, other));
        QVERIFY(!isCertificateOf(answer, {}));
        QVERIFY(!isCertificateOf(answer, "no certificate"));
    }
    QVERIFY(!isCertificateOf(read(chromium()), pem));
}

void AnswerReadingTest::anyBytesMayCome()
{
    const QByteArray sound = chromium();
    for (qsizetype length = 0; length <= sound.size(); ++length) {
        (void)readExactly(sound.first(length));
    }
    for (qsizetype at = 0; at < sound.size(); ++at) {
        for (const int byte : {0x00, 0x0A, 0x0D, 0x20, 0x3A, 0x3D, 0x6D, 0xFF}) {
            QByteArray bytes = sound;
            bytes[at] = static_cast<char>(byte);
            const auto reading = readExactly(bytes);
            if (const auto* answer = std::get_if<MediaAnswer>(&reading)) {
                QVERIFY(read(canonicalAnswer(*answer, "0")) == *answer);
            }
        }
    }
}

QTEST_APPLESS_MAIN(AnswerReadingTest)
#include "AnswerReadingTest.moc"

#include "relay/http/RequestReader.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <random>

using namespace wingbell;

namespace {

constexpr std::size_t headLimit = 300;
constexpr std::size_t bodyLimit = 50;

const QByteArray start = "POST /x HTTP/1.1\r\nHost: desk\r\n";

QByteArray chunked(const QByteArray& body)
{
    return start + QByteArray("Transfer-Encoding: chunked\r\n\r\n") + body;
}

/// What became of bytes: bodies and the status of an error, in order.
QByteArrayList outcome(RequestReader& reader)
{
    QByteArrayList all;
    for (;;) {
        const auto reading = reader.next();
        if (!reading) {
            return all << QByteArray::number(reading.error().status);
        }
        if (!*reading) {
            return all;
        }
        all << (*reading)->path + QByteArray(":") + (*reading)->body;
    }
}

/// True when more bytes are needed.
bool isWaiting(RequestReader& reader)
{
    const auto reading = reader.next();
    return reading && !*reading;
}

QByteArrayList outcomeOf(const QByteArray& bytes)
{
    RequestReader reader(headLimit, bodyLimit);
    reader.append(bytes);
    return outcome(reader);
}

/// The same bytes, one at a time.
QByteArrayList slowOutcomeOf(const QByteArray& bytes)
{
    RequestReader reader(headLimit, bodyLimit);
    QByteArrayList all;
    for (const char byte : bytes) {
        reader.append(QByteArrayView(&byte, 1));
        const QByteArrayList some = outcome(reader);
        all << some;
        if (!some.isEmpty() && !some.last().startsWith('/')) {
            return all;
        }
    }
    return all;
}

} // namespace

Q_DECLARE_METATYPE(wingbell::PlainRequest)

class RequestReaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bytesBecomeRequests_data();
    void bytesBecomeRequests();
    void anIncompleteRequestIsWaitedFor_data();
    void anIncompleteRequestIsWaitedFor();
    void nothingHasBegunBetweenTwoRequests();
    void aHeadAsLongAsAllowedIsRead();
    void anEndlessHeadIsAnErrorBeforeItsEnd();
    void anEndlessBodyIsAnErrorBeforeItsEnd();
    void aClientThatExpectsContinueIsToldToGoOnOnce();
    void rubbishIsReadTheSameInWhateverPieces();
    void theBeginningTellsWhatItIs_data();
    void theBeginningTellsWhatItIs();
    void thePathOfAPlainRequestIsRead();
};

void RequestReaderTest::bytesBecomeRequests_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArrayList>("expected");
    const QByteArray get = "GET /a HTTP/1.1\r\nHost: desk\r\n\r\n";
    const QByteArray three = start + QByteArray("Content-Length: 3\r\n\r\nabc");
    QTest::newRow("one") << get << QByteArrayList{"/a:"};
    QTest::newRow("with a body") << three << QByteArrayList{"/x:abc"};
    QTest::newRow("several") << (get + three + get) << QByteArrayList{"/a:", "/x:abc", "/a:"};
    QTest::newRow("empty body") << (start + QByteArray("Content-Length: 0\r\n\r\n") + get)
                                << QByteArrayList{"/x:", "/a:"};
    QTest::newRow("chunks") << (chunked("3\r\nabc\r\nA\r\n0123456789\r\n0\r\n\r\n") + get)
                            << QByteArrayList{"/x:abc0123456789", "/a:"};
    QTest::newRow("no chunks") << (chunked("0\r\n\r\n") + get) << QByteArrayList{"/x:", "/a:"};
    QTest::newRow("chunk with leading zeros")
        << chunked("00000003\r\nabc\r\n0\r\n\r\n") << QByteArrayList{"/x:abc"};
    QTest::newRow("body as long as allowed")
        << (start + QByteArray("Content-Length: 50\r\n\r\n") + QByteArray(50, 'x'))
        << QByteArrayList{QByteArray("/x:") + QByteArray(50, 'x')};
    QTest::newRow("body too long")
        << (start + QByteArray("Content-Length: 51\r\n\r\n")) << QByteArrayList{"413"};
    QTest::newRow("body of a length beyond numbers")
        << (start + QByteArray("Content-Length: 99999999999999999999\r\n\r\n"))
        << QByteArrayList{"413"};
    QTest::newRow("chunk too long") << chunked("33\r\n") << QByteArrayList{"413"};
    QTest::newRow("largest chunk") << chunked("ffffffff\r\n") << QByteArrayList{"413"};
    QTest::newRow("chunks too long together")
        << chunked(QByteArray("19\r\n") + QByteArray(25, 'x') + QByteArray("\r\n1a\r\n"))
        << QByteArrayList{"413"};
    QTest::newRow("chunk of a size beyond numbers")
        << chunked("1000000000000000a\r\n") << QByteArrayList{"400"};
    QTest::newRow("chunk with an extension") << chunked("3;a=b\r\n") << QByteArrayList{"400"};
    QTest::newRow("chunk with a sign") << chunked("-3\r\n") << QByteArrayList{"400"};
    QTest::newRow("chunk with 0x") << chunked("0x3\r\n") << QByteArrayList{"400"};
    QTest::newRow("chunk without a size") << chunked("\r\n") << QByteArrayList{"400"};
    QTest::newRow("chunk of another size") << chunked("3\r\nabcd\r\n") << QByteArrayList{"400"};
    QTest::newRow("line feed alone") << chunked("3\nabc\r\n0\r\n\r\n") << QByteArrayList{"400"};
    QTest::newRow("a field at the end")
        << chunked("0\r\nHost: desk\r\n\r\n") << QByteArrayList{"400"};
    QTest::newRow("endless size") << chunked(QByteArray(40, '0')) << QByteArrayList{"400"};
    QTest::newRow("nothing after an error")
        << (QByteArray("rubbish\r\n\r\n") + get) << QByteArrayList{"400"};
}

void RequestReaderTest::bytesBecomeRequests()
{
    QFETCH(QByteArray, bytes);
    QTEST(outcomeOf(bytes), "expected");
    QTEST(slowOutcomeOf(bytes), "expected");
}

void RequestReaderTest::anIncompleteRequestIsWaitedFor_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("first byte") << QByteArray("G");
    QTest::newRow("no empty line") << start;
    QTest::newRow("half an empty line") << (start + QByteArray("\r"));
    QTest::newRow("half a body") << (start + QByteArray("Content-Length: 3\r\n\r\nab"));
    QTest::newRow("no chunk yet") << chunked("");
    QTest::newRow("half a size") << chunked("3");
    QTest::newRow("half a chunk") << chunked("3\r\nab");
    QTest::newRow("no end of the last chunk") << chunked("0\r\n");
}

void RequestReaderTest::anIncompleteRequestIsWaitedFor()
{
    QFETCH(QByteArray, bytes);
    RequestReader reader(headLimit, bodyLimit);
    reader.append(bytes);
    QVERIFY(isWaiting(reader));
    QVERIFY(reader.hasBegun());
}

void RequestReaderTest::nothingHasBegunBetweenTwoRequests()
{
    RequestReader reader(headLimit, bodyLimit);
    QVERIFY(!reader.hasBegun());
    reader.append("GET / HTTP/1.1\r\nHost: desk\r\n\r\n");
    QVERIFY(reader.next().value().has_value());
    QVERIFY(!reader.hasBegun());
}

void RequestReaderTest::aHeadAsLongAsAllowedIsRead()
{
    QByteArray head = "GET / HTTP/1.1\r\nHost: desk\r\nX: ";
    head.append(static_cast<qsizetype>(headLimit) - head.size(), 'x');
    QCOMPARE(outcomeOf(head + QByteArray("\r\n\r\n")), QByteArrayList{"/:"});
    QCOMPARE(outcomeOf(head + QByteArray("x\r\n\r\n")), QByteArrayList{"431"});
}

void RequestReaderTest::anEndlessHeadIsAnErrorBeforeItsEnd()
{
    QCOMPARE(outcomeOf(QByteArray(headLimit + 1, 'G')), QByteArrayList{"431"});
    QCOMPARE(outcomeOf(start + QByteArray("A: b\r\n").repeated(100)), QByteArrayList{"431"});
}

void RequestReaderTest::anEndlessBodyIsAnErrorBeforeItsEnd()
{
    QCOMPARE(outcomeOf(chunked(QByteArray("1\r\nx\r\n").repeated(51))), QByteArrayList{"413"});
}

void RequestReaderTest::aClientThatExpectsContinueIsToldToGoOnOnce()
{
    RequestReader reader(headLimit, bodyLimit);
    QVERIFY(!reader.takeContinue());
    reader.append(QByteArray(start).append("Expect: 100-continue\r\nContent-Length: 1\r\n\r\n"));
    QVERIFY(isWaiting(reader));
    QVERIFY(reader.takeContinue());
    QVERIFY(!reader.takeContinue());
    reader.append("x");
    QVERIFY(reader.next().value().has_value());
}

void RequestReaderTest::rubbishIsReadTheSameInWhateverPieces()
{
    std::mt19937 random(20240607);
    const QByteArray sound =
        chunked("3\r\nabc\r\n0\r\n\r\n") + start + QByteArray("Content-Length: 3\r\n\r\nabc");
    const QByteArray odd("\r\n\0 :;0159afFx-\t?/", 18);
    for (int round = 0; round < 5000; ++round) {
        QByteArray bytes = sound;
        for (auto changes = random() % 4; changes > 0; --changes) {
            const auto at = static_cast<qsizetype>(random() % static_cast<unsigned>(bytes.size()));
            const char other = odd.at(static_cast<qsizetype>(random() % 18));
            if (random() % 2 == 0) {
                bytes[at] = other;
            } else {
                bytes.insert(at, other);
            }
        }
        QVERIFY2(outcomeOf(bytes) == slowOutcomeOf(bytes), bytes.toPercentEncoding().constData());
    }
}

void RequestReaderTest::theBeginningTellsWhatItIs_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<PlainRequest>("expected");
    QTest::newRow("nothing") << QByteArray() << PlainRequest::Incomplete;
    QTest::newRow("a letter") << QByteArray("G") << PlainRequest::Incomplete;
    QTest::newRow("no end yet") << QByteArray("GET / HTTP/1.1\r\nHost: desk\r\n")
                                << PlainRequest::Incomplete;
    QTest::newRow("page") << QByteArray("GET / HTTP/1.1\r\nHost: desk\r\n\r\n")
                          << PlainRequest::Get;
    QTest::newRow("page by hand") << QByteArray("GET /\n\n") << PlainRequest::Get;
    QTest::newRow("head") << QByteArray("HEAD / HTTP/1.1\r\n\r\n") << PlainRequest::Head;
    QTest::newRow("endless page") << QByteArray("GET /").append(maxPlainRequestBytes - 5, 'x')
                                  << PlainRequest::Get;
    QTest::newRow("post") << QByteArray("POST / HTTP/1.1\r\n\r\n") << PlainRequest::Other;
    QTest::newRow("small letters") << QByteArray("get /") << PlainRequest::Other;
    QTest::newRow("another shell") << QByteArray("SSH-2.0-x\r\n") << PlainRequest::Other;
    QTest::newRow("OSC after its length")
        << QByteArray("\0\0\0\x10/wingbell/say", 18) << PlainRequest::Osc;
    QTest::newRow("a bundle after its length")
        << QByteArray("\0\0\1\0#bundle", 11) << PlainRequest::Osc;
    QTest::newRow("a length alone") << QByteArray("\0\0\0\x10", 4) << PlainRequest::Incomplete;
    QTest::newRow("half a length") << QByteArray("\0\0", 2) << PlainRequest::Incomplete;
    QTest::newRow("something else after a length")
        << QByteArray("\0\0\0\x10x", 5) << PlainRequest::Other;
    QTest::newRow("OSC in SLIP") << QByteArray("\xc0/wingbell/say") << PlainRequest::Osc;
    QTest::newRow("a bundle in SLIP") << QByteArray("\xc0#bundle") << PlainRequest::Osc;
    QTest::newRow("SLIP alone") << QByteArray("\xc0") << PlainRequest::Incomplete;
    QTest::newRow("something else in SLIP") << QByteArray("\xc0x") << PlainRequest::Other;
    QTest::newRow("no letter") << QByteArray("\1\0", 2) << PlainRequest::Other;
    QTest::newRow("a longer word") << QByteArray("GETTING /\r\n\r\n") << PlainRequest::Other;
}

void RequestReaderTest::theBeginningTellsWhatItIs()
{
    QFETCH(QByteArray, bytes);
    QTEST(readPlainRequest(bytes), "expected");
}

void RequestReaderTest::thePathOfAPlainRequestIsRead()
{
    QCOMPARE(
        plainRequestPath("GET /authority.crt HTTP/1.1\r\nHost: desk\r\n\r\n"), "/authority.crt");
    QCOMPARE(plainRequestPath("HEAD /a?b=/c HTTP/1.1\r\n\r\n"), "/a");
    QCOMPARE(plainRequestPath("GET /\n\n"), "/");
    QCOMPARE(plainRequestPath("GET \n\n"), "");
    QCOMPARE(plainRequestPath("GET /x"), "");
}

WINGBELL_GUILESS_TEST(RequestReaderTest)
#include "RequestReaderTest.moc"

#include "relay/audio/RedPayload.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <algorithm>
#include <memory>
#include <vector>

using namespace wingbell;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t packetTime = 960;

/// A packet of Opus of 20 ms, known by its mark.
Bytes opus(std::uint8_t mark)
{
    return {0xF8, mark};
}

/// The header of a copy that begins `age` samples earlier.
Bytes copyHeader(std::uint32_t age, std::uint32_t size, std::uint8_t type = 0x80 | 111)
{
    const std::uint32_t rest = (age << 10U) | size;
    return {
        type, static_cast<std::uint8_t>(rest >> 16U), static_cast<std::uint8_t>(rest >> 8U),
        static_cast<std::uint8_t>(rest)};
}

Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// What a payload holds: the sequence number and the mark of each packet, "9:a 10:b"; "-" if it
/// cannot be read. Reads from a block of memory of exactly that size, so that a sanitizer sees a
/// byte too far.
QString read(const Bytes& payload, std::uint8_t type = redPayloadType)
{
    const auto memory = std::make_unique<std::uint8_t[]>(payload.size());
    std::copy(payload.begin(), payload.end(), memory.get());
    OpusPackets packets;
    if (!readOpusPackets({type, 10, 5000, 7, {memory.get(), payload.size()}}, packets)) {
        return QStringLiteral("-");
    }
    QStringList words;
    const auto add = [&words](const RtpPacket& packet) {
        const QChar mark =
            packet.payload.size() == 2 ? QChar(char16_t{packet.payload[1]}) : QChar(u'?');
        words.append(QString::number(packet.sequence) + u':' + mark);
    };
    for (const RtpPacket& copy : packets.older()) {
        add(copy);
    }
    add(packets.newest);
    return words.join(u' ');
}

/// What a writer makes of the last of `packets`, after those before it.
Bytes written(const std::vector<Bytes>& packets, std::size_t copies)
{
    RedWriter writer;
    for (std::size_t place = 0; place + 1 < packets.size(); ++place) {
        writer.keep(packets[place], packetTime);
    }
    Bytes out(packets.back().size() + RedWriter::maxOverhead);
    out.resize(writer.write(packets.back(), copies, out));
    return out;
}

} // namespace

class RedPayloadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void plainOpusIsOnePacket();
    void aPacketComesWithCopiesOfThoseBefore();
    void whatIsWrittenIsAsTheProtocolHasIt();
    void atTheBeginningThereAreFewerCopies();
    void noMoreCopiesAreWrittenThanAskedFor();
    void aLongPacketIsNotCopied();
    void copiesThatDoNotFollowEachOtherAreLeftOut();
    void theTimeOfACopyIsItsOwn();
    void whatIsNotOpusIsRefused();
    void noBytesAreReadPastTheEnd();
};

void RedPayloadTest::plainOpusIsOnePacket()
{
    QCOMPARE(read(opus('a'), opusPayloadType), QStringLiteral("10:a"));
}

void RedPayloadTest::aPacketComesWithCopiesOfThoseBefore()
{
    QCOMPARE(read(written({opus('a'), opus('b'), opus('c')}, 2)), QStringLiteral("8:a 9:b 10:c"));
}

void RedPayloadTest::whatIsWrittenIsAsTheProtocolHasIt()
{
    QCOMPARE(
        written({opus('a'), opus('b'), opus('c')}, 2), copyHeader(2 * packetTime, 2) +
                                                           copyHeader(packetTime, 2) + Bytes{111} +
                                                           opus('a') + opus('b') + opus('c'));
}

void RedPayloadTest::atTheBeginningThereAreFewerCopies()
{
    QCOMPARE(read(written({opus('a')}, 2)), QStringLiteral("10:a"));
    QCOMPARE(read(written({opus('a'), opus('b')}, 2)), QStringLiteral("9:a 10:b"));
}

void RedPayloadTest::noMoreCopiesAreWrittenThanAskedFor()
{
    const std::vector<Bytes> packets = {opus('a'), opus('b'), opus('c'), opus('d')};
    QCOMPARE(read(written(packets, 1)), QStringLiteral("9:c 10:d"));
    QCOMPARE(read(written(packets, 9)), QStringLiteral("8:b 9:c 10:d"));
}

void RedPayloadTest::aLongPacketIsNotCopied()
{
    Bytes tooLong(RedWriter::maxCopy + 1, 'x');
    tooLong.front() = 0xF8;
    QCOMPARE(read(written({opus('a'), tooLong, opus('c')}, 2)), QStringLiteral("10:c"));
    QCOMPARE(read(written({tooLong, opus('b'), opus('c')}, 2)), QStringLiteral("9:b 10:c"));
    Bytes longest(RedWriter::maxCopy, 'x');
    longest.front() = 0xF8;
    QCOMPARE(
        written({longest, longest, longest}, 2).size(), longest.size() + RedWriter::maxOverhead);
}

void RedPayloadTest::copiesThatDoNotFollowEachOtherAreLeftOut()
{
    const Bytes newest = Bytes{111} + opus('a') + opus('b');
    QCOMPARE(read(copyHeader(2 * packetTime, 2) + newest), QStringLiteral("10:b"));
    QCOMPARE(read(copyHeader(0, 2) + newest), QStringLiteral("10:b"));
    QCOMPARE(
        read(copyHeader(3 * packetTime, 2) + copyHeader(packetTime, 2) + newest + opus('c')),
        QStringLiteral("9:b 10:c"));
    // An empty copy has no time.
    QCOMPARE(read(copyHeader(packetTime, 0) + Bytes{111} + opus('b')), QStringLiteral("10:b"));
}

void RedPayloadTest::theTimeOfACopyIsItsOwn()
{
    const Bytes payload = written({opus('a'), opus('b')}, 1);
    OpusPackets packets;
    QVERIFY(readOpusPackets({redPayloadType, 0, 100, 7, payload}, packets));
    QCOMPARE(packets.older().front().timestamp, 100 - packetTime);
    QCOMPARE(packets.older().front().sequence, std::uint16_t{0xFFFF});
    QCOMPARE(packets.older().front().ssrc, 7U);
}

void RedPayloadTest::whatIsNotOpusIsRefused()
{
    const QString refused = QStringLiteral("-");
    QCOMPARE(read(opus('a'), 0), refused);
    QCOMPARE(read({}), refused);
    QCOMPARE(read(Bytes{110} + opus('a')), refused);
    QCOMPARE(read(copyHeader(packetTime, 2, 0x80 | 110) + Bytes{111} + opus('a')), refused);
    Bytes tooMany;
    for (std::size_t copy = 0; copy <= OpusPackets::maxCopies; ++copy) {
        tooMany = tooMany + copyHeader(packetTime, 0);
    }
    QCOMPARE(read(tooMany + Bytes{111} + opus('a')), refused);
}

void RedPayloadTest::noBytesAreReadPastTheEnd()
{
    Bytes payload = written({opus('a'), opus('b'), opus('c')}, 2);
    while (payload.size() > 13) {
        payload.pop_back();
        QVERIFY(read(payload) != QStringLiteral("-")); // a shorter newest packet
    }
    while (!payload.empty()) {
        payload.pop_back();
        QCOMPARE(read(payload), QStringLiteral("-"));
    }
}

WINGBELL_APPLESS_TEST(RedPayloadTest)
#include "RedPayloadTest.moc"

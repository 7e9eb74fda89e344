#include "relay/audio/RtpPacket.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

using namespace wingbell;

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes header(std::uint8_t first = 0x80, std::uint8_t second = 111)
{
    return {first, second, 0x12, 0x34, 0xde, 0xad, 0xbe, 0xef, 0xca, 0xfe, 0xba, 0xbe};
}

Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// The payload, read from a block of memory of exactly that size, so that a sanitizer sees a byte
/// too far; a lone 0xee when nothing can be read.
Bytes payloadOf(const Bytes& packet)
{
    const auto memory = std::make_unique<std::uint8_t[]>(packet.size());
    std::copy(packet.begin(), packet.end(), memory.get());
    const auto read = readRtpPacket({memory.get(), packet.size()});
    return read ? Bytes(read->payload.begin(), read->payload.end()) : Bytes{0xee};
}

const Bytes unreadable{0xee};

} // namespace

class RtpPacketTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theFieldsAreRead();
    void anEmptyPayloadIsOne();
    void contributingSourcesAreLeftOut();
    void aHeaderExtensionIsLeftOut();
    void paddingIsLeftOut();
    void allTogetherAreLeftOut();
    void whatIsCutShortIsNoPacket();
    void anotherVersionIsNoPacket();
    void controlPacketsAreNotTaken();
    void anyBytesAreSafe();
};

void RtpPacketTest::theFieldsAreRead()
{
    const Bytes bytes = header(0x80, 0x80 | 111) + Bytes{1, 2, 3};
    const auto packet = readRtpPacket(bytes);
    QVERIFY(packet);
    QCOMPARE(int(packet->payloadType), 111);
    QCOMPARE(packet->sequence, std::uint16_t{0x1234});
    QCOMPARE(packet->timestamp, std::uint32_t{0xdeadbeef});
    QCOMPARE(packet->ssrc, std::uint32_t{0xcafebabe});
    QCOMPARE(payloadOf(bytes), (Bytes{1, 2, 3}));
}

void RtpPacketTest::anEmptyPayloadIsOne()
{
    QCOMPARE(payloadOf(header()), Bytes());
}

void RtpPacketTest::contributingSourcesAreLeftOut()
{
    QCOMPARE(payloadOf(header(0x82) + Bytes(8, 9) + Bytes{7}), Bytes{7});
    QCOMPARE(payloadOf(header(0x82) + Bytes(7, 9)), unreadable);
}

void RtpPacketTest::aHeaderExtensionIsLeftOut()
{
    const Bytes extension{0xbe, 0xde, 0, 1, 0x10, 0xff, 0, 0};
    QCOMPARE(payloadOf(header(0x90) + extension + Bytes{7}), Bytes{7});
    QCOMPARE(payloadOf(header(0x90) + Bytes{0xbe, 0xde, 0, 0}), Bytes());
    QCOMPARE(payloadOf(header(0x90) + Bytes{0xbe, 0xde, 0}), unreadable);
    QCOMPARE(payloadOf(header(0x90) + Bytes{0xbe, 0xde, 0, 1, 1, 2, 3}), unreadable);
    QCOMPARE(payloadOf(header(0x90) + Bytes{0xbe, 0xde, 0xff, 0xff}), unreadable);
}

void RtpPacketTest::paddingIsLeftOut()
{
    QCOMPARE(payloadOf(header(0xa0) + Bytes{7, 0, 0, 3}), Bytes{7});
    QCOMPARE(payloadOf(header(0xa0) + Bytes{0, 0, 3}), Bytes());
    QCOMPARE(payloadOf(header(0xa0) + Bytes{7, 0}), unreadable);
    QCOMPARE(payloadOf(header(0xa0) + Bytes{7, 3}), unreadable);
    QCOMPARE(payloadOf(header(0xa0)), unreadable);
}

void RtpPacketTest::allTogetherAreLeftOut()
{
    const Bytes behind = Bytes(4, 9) + Bytes{0, 0, 0, 1, 8, 8, 8, 8} + Bytes{5, 6} + Bytes{0, 2};
    QCOMPARE(payloadOf(header(0xb1) + behind), (Bytes{5, 6}));
}

void RtpPacketTest::whatIsCutShortIsNoPacket()
{
    for (std::size_t size = 0; size < 12; ++size) {
        Bytes bytes = header();
        bytes.resize(size);
        QCOMPARE(payloadOf(bytes), unreadable);
    }
}

void RtpPacketTest::anotherVersionIsNoPacket()
{
    QCOMPARE(payloadOf(header(0x40)), unreadable);
    QCOMPARE(payloadOf(header(0xc0)), unreadable);
}

void RtpPacketTest::controlPacketsAreNotTaken()
{
    QCOMPARE(payloadOf(header(0x80, 200)), unreadable);
    QCOMPARE(payloadOf(header(0x80, 192)), unreadable);
    QCOMPARE(payloadOf(header(0x80, 223)), unreadable);
    QCOMPARE(payloadOf(header(0x80, 224)), Bytes());
}

void RtpPacketTest::anyBytesAreSafe()
{
    std::mt19937 random(4711);
    int readable = 0;
    for (int round = 0; round < 50000; ++round) {
        Bytes bytes(random() % 40);
        std::generate(
            bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random()); });
        if (!bytes.empty()) {
            bytes[0] = static_cast<std::uint8_t>((bytes[0] & 0x3fU) | 0x80U);
        }
        const Bytes payload = payloadOf(bytes);
        readable += payload != unreadable ? 1 : 0;
        QVERIFY(payload == unreadable || payload.size() + 12 <= bytes.size());
    }
    QVERIFY(readable > 1000);
}

WINGBELL_APPLESS_TEST(RtpPacketTest)
#include "RtpPacketTest.moc"

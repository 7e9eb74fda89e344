#include "relay/audio/PacketRing.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <algorithm>
#include <optional>
#include <thread>
#include <vector>

using namespace wingbell;

namespace {

constexpr std::size_t maxPackets = 16;

std::vector<std::uint8_t> packetOf(std::uint8_t content, std::size_t size = 3)
{
    return std::vector<std::uint8_t>(size, content);
}

std::optional<std::uint8_t> taken(PacketRing& ring)
{
    const std::span<const std::uint8_t> first = ring.first();
    if (first.empty()) {
        return std::nullopt;
    }
    const std::uint8_t content = first.back();
    ring.removeFirst();
    return content;
}

} // namespace

class PacketRingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void packetsComeOutInTheirOrder();
    void whatComesWhileItIsFullIsDropped();
    void theLargestPacketFitsAndALargerOneDoesNot();
    void anotherThreadGetsEveryPacketWhole();
};

void PacketRingTest::packetsComeOutInTheirOrder()
{
    PacketRing ring(maxPackets);
    QVERIFY(ring.first().empty());
    QVERIFY(ring.put(packetOf(1)));
    QVERIFY(ring.put(packetOf(2)));
    QCOMPARE(taken(ring), std::optional<std::uint8_t>(1));
    QCOMPARE(taken(ring), std::optional<std::uint8_t>(2));
    QCOMPARE(taken(ring), std::nullopt);
}

void PacketRingTest::whatComesWhileItIsFullIsDropped()
{
    PacketRing ring(maxPackets);
    for (std::size_t count = 0; count < maxPackets; ++count) {
        QVERIFY(ring.put(packetOf(static_cast<std::uint8_t>(count))));
    }
    QVERIFY(!ring.put(packetOf(99)));
    QCOMPARE(taken(ring), std::optional<std::uint8_t>(0));
    QVERIFY(ring.put(packetOf(100)));
    for (std::size_t count = 1; count < maxPackets; ++count) {
        QCOMPARE(taken(ring), std::optional(static_cast<std::uint8_t>(count)));
    }
    QCOMPARE(taken(ring), std::optional<std::uint8_t>(100));
}

void PacketRingTest::theLargestPacketFitsAndALargerOneDoesNot()
{
    PacketRing ring(maxPackets);
    QVERIFY(ring.put(packetOf(7, PacketRing::maxPacketSize)));
    QCOMPARE(ring.first().size(), PacketRing::maxPacketSize);
    QVERIFY(!ring.put(packetOf(7, PacketRing::maxPacketSize + 1)));
    QVERIFY(!ring.put({}));
}

void PacketRingTest::anotherThreadGetsEveryPacketWhole()
{
    constexpr int count = 20000;
    PacketRing ring(maxPackets);
    std::thread writer([&ring] {
        for (int number = 0; number < count;) {
            const auto content = static_cast<std::uint8_t>(number);
            number +=
                ring.put(packetOf(content, 1 + static_cast<std::size_t>(number) % 100)) ? 1 : 0;
        }
    });
    int wrong = 0;
    for (int number = 0; number < count;) {
        const std::span<const std::uint8_t> packet = ring.first();
        if (packet.empty()) {
            continue;
        }
        const std::vector<std::uint8_t> expected =
            packetOf(static_cast<std::uint8_t>(number), 1 + static_cast<std::size_t>(number) % 100);
        wrong += std::equal(packet.begin(), packet.end(), expected.begin(), expected.end()) ? 0 : 1;
        ring.removeFirst();
        ++number;
    }
    writer.join();
    QCOMPARE(wrong, 0);
}

WINGBELL_APPLESS_TEST(PacketRingTest)
#include "PacketRingTest.moc"

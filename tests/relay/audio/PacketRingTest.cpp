#include "relay/audio/PacketRing.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <algorithm>
#include <optional>
#include <thread>
#include <vector>

using namespace wingbell;

namespace {

constexpr std::size_t capacity = 4096;

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
    PacketRing ring(capacity);
    QVERIFY(ring.first().empty());
    QVERIFY(ring.put(packetOf(1)));
    QVERIFY(ring.put(packetOf(2)));
    QCOMPARE(taken(ring), std::optional<std::uint8_t>(1));
    QCOMPARE(taken(ring), std::optional<std::uint8_t>(2));
    QCOMPARE(taken(ring), std::nullopt);
}

void PacketRingTest::whatComesWhileItIsFullIsDropped()
{
    constexpr std::size_t size = 100;
    PacketRing ring(capacity);
    std::uint8_t count = 0;
    while (ring.put(packetOf(count, size))) {
        ++count;
    }
    QVERIFY(count >= capacity / (size + 6));
    QVERIFY(count <= capacity / size);
    QCOMPARE(taken(ring), std::optional<std::uint8_t>(0));
    QVERIFY(ring.put(packetOf(count, size)));
    for (std::uint8_t number = 1; number <= count; ++number) {
        QCOMPARE(taken(ring), std::optional(number));
    }
    QCOMPARE(taken(ring), std::nullopt);
}

void PacketRingTest::theLargestPacketFitsAndALargerOneDoesNot()
{
    PacketRing ring(capacity);
    // Wherever in the ring it begins.
    for (std::size_t begin = 0; begin < capacity; begin += 4) {
        QVERIFY(ring.put(packetOf(7, PacketRing::maxPacketSize)));
        QCOMPARE(ring.first().size(), PacketRing::maxPacketSize);
        ring.removeFirst();
        QVERIFY(ring.put(packetOf(8, 1)));
        QCOMPARE(taken(ring), std::optional<std::uint8_t>(8));
    }
    QVERIFY(!ring.put(packetOf(7, PacketRing::maxPacketSize + 1)));
    QVERIFY(!ring.put({}));
}

void PacketRingTest::anotherThreadGetsEveryPacketWhole()
{
    constexpr int count = 20000;
    PacketRing ring(capacity);
    std::thread writer([&ring] {
        for (int number = 0; number < count;) {
            const auto content = static_cast<std::uint8_t>(number);
            number +=
                ring.put(packetOf(content, 1 + static_cast<std::size_t>(number) % 300)) ? 1 : 0;
        }
    });
    int wrong = 0;
    for (int number = 0; number < count;) {
        const std::span<const std::uint8_t> packet = ring.first();
        if (packet.empty()) {
            continue;
        }
        const std::vector<std::uint8_t> expected =
            packetOf(static_cast<std::uint8_t>(number), 1 + static_cast<std::size_t>(number) % 300);
        wrong += std::equal(packet.begin(), packet.end(), expected.begin(), expected.end()) ? 0 : 1;
        ring.removeFirst();
        ++number;
    }
    writer.join();
    QCOMPARE(wrong, 0);
}

WINGBELL_APPLESS_TEST(PacketRingTest)
#include "PacketRingTest.moc"

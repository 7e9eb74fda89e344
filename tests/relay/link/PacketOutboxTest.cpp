#include "relay/link/PacketOutbox.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <algorithm>
#include <optional>
#include <thread>
#include <vector>

using namespace wingbell;

namespace {

std::vector<std::uint8_t> packetOf(std::uint8_t content, std::size_t size = 3)
{
    return std::vector<std::uint8_t>(size, content);
}

std::optional<std::uint8_t> taken(PacketOutbox& outbox)
{
    const std::span<const std::uint8_t> first = outbox.first();
    if (first.empty()) {
        return std::nullopt;
    }
    const std::uint8_t content = first.back();
    outbox.removeFirst();
    return content;
}

} // namespace

class PacketOutboxTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void packetsComeOutInTheirOrder();
    void whatComesWhileItIsFullIsDropped();
    void theLargestPacketFitsAndALargerOneDoesNot();
    void anotherThreadGetsEveryPacketWhole();
};

void PacketOutboxTest::packetsComeOutInTheirOrder()
{
    PacketOutbox outbox;
    QVERIFY(outbox.first().empty());
    QVERIFY(outbox.put(packetOf(1)));
    QVERIFY(outbox.put(packetOf(2)));
    QCOMPARE(taken(outbox), std::optional<std::uint8_t>(1));
    QCOMPARE(taken(outbox), std::optional<std::uint8_t>(2));
    QCOMPARE(taken(outbox), std::nullopt);
}

void PacketOutboxTest::whatComesWhileItIsFullIsDropped()
{
    PacketOutbox outbox;
    for (std::size_t count = 0; count < PacketOutbox::mostPackets; ++count) {
        QVERIFY(outbox.put(packetOf(static_cast<std::uint8_t>(count))));
    }
    QVERIFY(!outbox.put(packetOf(99)));
    QCOMPARE(taken(outbox), std::optional<std::uint8_t>(0));
    QVERIFY(outbox.put(packetOf(100)));
}

void PacketOutboxTest::theLargestPacketFitsAndALargerOneDoesNot()
{
    PacketOutbox outbox;
    QVERIFY(outbox.put(packetOf(7, PacketOutbox::largestPacket)));
    QCOMPARE(outbox.first().size(), PacketOutbox::largestPacket);
    QVERIFY(!outbox.put(packetOf(7, PacketOutbox::largestPacket + 1)));
    QVERIFY(!outbox.put({}));
}

void PacketOutboxTest::anotherThreadGetsEveryPacketWhole()
{
    constexpr int count = 20000;
    PacketOutbox outbox;
    std::thread writer([&outbox] {
        for (int number = 0; number < count;) {
            const auto content = static_cast<std::uint8_t>(number);
            number +=
                outbox.put(packetOf(content, 1 + static_cast<std::size_t>(number) % 100)) ? 1 : 0;
        }
    });
    int wrong = 0;
    for (int number = 0; number < count;) {
        const std::span<const std::uint8_t> packet = outbox.first();
        if (packet.empty()) {
            continue;
        }
        const std::vector<std::uint8_t> expected =
            packetOf(static_cast<std::uint8_t>(number), 1 + static_cast<std::size_t>(number) % 100);
        wrong += std::equal(packet.begin(), packet.end(), expected.begin(), expected.end()) ? 0 : 1;
        outbox.removeFirst();
        ++number;
    }
    writer.join();
    QCOMPARE(wrong, 0);
}

WINGBELL_APPLESS_TEST(PacketOutboxTest)
#include "PacketOutboxTest.moc"

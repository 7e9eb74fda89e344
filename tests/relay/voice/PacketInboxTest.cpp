#include "relay/voice/PacketInbox.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <cstdint>
#include <thread>
#include <vector>

using namespace wingbell;

namespace {

bool put(PacketInbox& inbox, std::uint16_t sequence, const std::vector<std::uint8_t>& payload)
{
    RtpPacket packet;
    packet.sequence = sequence;
    packet.ssrc = 7;
    packet.payload = payload;
    return inbox.put(packet);
}

} // namespace

class PacketInboxTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void packetsComeOutAsTheyWerePutIn();
    void whatDoesNotFitIsDropped();
    void aPacketThatIsTooLargeIsDropped();
    void severalThreadsMayPutWhileOneTakes();
};

void PacketInboxTest::packetsComeOutAsTheyWerePutIn()
{
    PacketInbox inbox;
    QVERIFY(!inbox.first());
    for (std::uint16_t sequence = 0; sequence < 200; ++sequence) {
        std::vector<std::uint8_t> payload(sequence, static_cast<std::uint8_t>(sequence));
        QVERIFY(put(inbox, sequence, payload));
        const auto packet = inbox.first();
        QVERIFY(packet);
        QCOMPARE(packet->sequence, sequence);
        QCOMPARE(packet->ssrc, std::uint32_t{7});
        QVERIFY(std::equal(
            packet->payload.begin(), packet->payload.end(), payload.begin(), payload.end()));
        inbox.removeFirst();
        QVERIFY(!inbox.first());
    }
}

void PacketInboxTest::whatDoesNotFitIsDropped()
{
    PacketInbox inbox;
    for (std::uint16_t sequence = 0; sequence < PacketInbox::mostPackets; ++sequence) {
        QVERIFY(put(inbox, sequence, {1}));
    }
    QVERIFY(!put(inbox, 1000, {1}));
    QCOMPARE(inbox.first()->sequence, std::uint16_t{0});
    inbox.removeFirst();
    QVERIFY(put(inbox, 2000, {1}));
    for (std::size_t count = 1; count < PacketInbox::mostPackets; ++count) {
        QCOMPARE(inbox.first()->sequence, static_cast<std::uint16_t>(count));
        inbox.removeFirst();
    }
    QCOMPARE(inbox.first()->sequence, std::uint16_t{2000});
}

void PacketInboxTest::aPacketThatIsTooLargeIsDropped()
{
    PacketInbox inbox;
    QVERIFY(put(inbox, 1, std::vector<std::uint8_t>(1500, 1)));
    QVERIFY(!put(inbox, 2, std::vector<std::uint8_t>(1501, 1)));
}

void PacketInboxTest::severalThreadsMayPutWhileOneTakes()
{
    constexpr std::uint16_t each = 5000;
    constexpr std::size_t threads = 3;
    PacketInbox inbox;
    std::vector<std::thread> putting;
    for (std::size_t thread = 0; thread < threads; ++thread) {
        putting.emplace_back([&inbox, thread] {
            for (std::uint16_t sequence = 0; sequence < each; ++sequence) {
                const auto mark = static_cast<std::uint8_t>(thread);
                const std::vector<std::uint8_t> payload(
                    1 + sequence % 100U, static_cast<std::uint8_t>(mark + sequence));
                RtpPacket packet;
                packet.sequence = sequence;
                packet.ssrc = mark;
                packet.payload = payload;
                while (!inbox.put(packet)) {
                    std::this_thread::yield();
                }
            }
        });
    }
    std::array<std::uint16_t, threads> next{};
    bool isWhole = true;
    for (std::size_t taken = 0; taken < threads * each;) {
        const auto packet = inbox.first();
        if (!packet) {
            std::this_thread::yield();
            continue;
        }
        isWhole =
            isWhole && packet->sequence == next.at(packet->ssrc) &&
            packet->payload.size() == 1 + packet->sequence % 100U &&
            std::all_of(packet->payload.begin(), packet->payload.end(), [&](std::uint8_t byte) {
                return byte == static_cast<std::uint8_t>(packet->ssrc + packet->sequence);
            });
        ++next.at(packet->ssrc);
        inbox.removeFirst();
        ++taken;
    }
    for (std::thread& thread : putting) {
        thread.join();
    }
    QVERIFY(isWhole);
    QVERIFY(!inbox.first());
}

WINGBELL_APPLESS_TEST(PacketInboxTest)
#include "PacketInboxTest.moc"

#include "relay/audio/JitterBuffer.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <random>
#include <vector>

using namespace wingbell;

namespace {

using Action = JitterBuffer::Action;

constexpr std::size_t cycle = 960;

// The first byte of an Opus packet tells how long it is.
constexpr std::uint8_t of20ms = 0xf8;
constexpr std::uint8_t of10ms = 0xf0;
constexpr std::uint8_t of2point5ms = 0xe0;
constexpr std::uint8_t of60ms = 0x18;

/// What the second byte is, is what a step is known by.
bool insert(
    JitterBuffer& buffer, int sequence, std::uint8_t mark = 0, std::uint8_t length = of20ms,
    std::uint32_t ssrc = 1)
{
    const std::vector<std::uint8_t> payload{length, mark};
    RtpPacket packet;
    packet.sequence = static_cast<std::uint16_t>(sequence);
    packet.ssrc = ssrc;
    packet.payload = payload;
    return buffer.insert(packet);
}

void insertCopy(JitterBuffer& buffer, int sequence, std::uint8_t mark, std::uint32_t ssrc = 1)
{
    const std::vector<std::uint8_t> payload{of20ms, mark};
    RtpPacket packet;
    packet.sequence = static_cast<std::uint16_t>(sequence);
    packet.ssrc = ssrc;
    packet.payload = payload;
    buffer.insertCopy(packet);
}

bool insertPayload(JitterBuffer& buffer, int sequence, const std::vector<std::uint8_t>& payload)
{
    RtpPacket packet;
    packet.sequence = static_cast<std::uint16_t>(sequence);
    packet.ssrc = 1;
    packet.payload = payload;
    return buffer.insert(packet);
}

/// The step in a word: D, R or C and the mark of its payload, U for an underrun.
QByteArray next(JitterBuffer& buffer)
{
    const JitterBuffer::Step step = buffer.next(cycle);
    const QByteArray mark =
        step.payload.size() == 2 ? QByteArray::number(int(step.payload[1])) : QByteArray();
    switch (step.action) {
    case Action::Decode:
        return 'D' + mark;
    case Action::Recover:
        return 'R' + mark;
    case Action::ConcealLoss:
        return "C";
    case Action::ConcealUnderrun:
        return "U";
    }
    return {};
}

/// As many steps with a space between.
QByteArray steps(JitterBuffer& buffer, int count)
{
    QByteArrayList words;
    for (int step = 0; step < count; ++step) {
        words.append(next(buffer));
    }
    return words.join(' ');
}

} // namespace

class JitterBufferTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anUnderrunIsConcealed();
    void packetsComeOutInOrder();
    void numbersMayWrapAround();
    void theSamePacketTwiceCountsOnce();
    void aLatePacketIsStillPlayedAndTellsHowLongItWasWaitedFor();
    void anUnderrunStandsForALostPacket();
    void aLongUnderrunStandsForAsManyPackets();
    void halfAPacketsUnderrunStandsForIt();
    void aSingleLossIsRecoveredFromTheNextPacket();
    void severalLossesAreConcealedButTheLastIsRecovered();
    void aLongLossIsConcealedOnce();
    void aPacketAfterItsTurnIsLate();
    void thatTheSameCameAgainIsNotLate();
    void whenPacketsComeLateAgainTheNextGapIsWaitedFor();
    void whereManyAreLostTheTargetDelayIsOnePacket();
    void aCopyStandsForALostPacket();
    void aCopyThatComesTooLateIsLate();
    void copiesStartNoStream();
    void aPauseIsNoUnderrun();
    void depthCountsLostPacketsToo();
    void depthGoesBySamples();
    void emptyPacketsTakeNoTime();
    void anEmptyPacketBehindALossIsNoSound();
    void anotherStreamIsTakenAfterTwoPacketsThatAgree();
    void aStrayPacketOfAnotherStreamChangesNothing();
    void twoStreamsAtOnceDoNotTakeTurns();
    void aFarJumpIsTakenAfterTwoPacketsThatAgree();
    void whatIsKeptIsBounded();
    void whatIsNoOpusIsRefused();
    void anyPacketsAreSafe();
};

void JitterBufferTest::anUnderrunIsConcealed()
{
    JitterBuffer buffer;
    const JitterBuffer::Step step = buffer.next(480);
    QCOMPARE(step.action, Action::ConcealUnderrun);
    QCOMPARE(step.samples, std::size_t{480});
    QVERIFY(step.payload.empty());
    QCOMPARE(buffer.depth(), std::size_t{0});
    QCOMPARE(buffer.lost(), std::uint64_t{0});
}

void JitterBufferTest::packetsComeOutInOrder()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    insert(buffer, 12, 12);
    insert(buffer, 13, 13);
    insert(buffer, 11, 11);
    QCOMPARE(steps(buffer, 5), QByteArray("D10 D11 D12 D13 U"));
    QCOMPARE(buffer.lost(), std::uint64_t{0});
}

void JitterBufferTest::numbersMayWrapAround()
{
    JitterBuffer buffer;
    insert(buffer, 65534, 1);
    insert(buffer, 0, 3);
    insert(buffer, 65535, 2);
    insert(buffer, 1, 4);
    QCOMPARE(buffer.depth(), 4 * cycle);
    QCOMPARE(steps(buffer, 4), QByteArray("D1 D2 D3 D4"));
}

void JitterBufferTest::theSamePacketTwiceCountsOnce()
{
    JitterBuffer buffer;
    insert(buffer, 10, 1);
    insert(buffer, 10, 2);
    QCOMPARE(buffer.depth(), cycle);
    QCOMPARE(steps(buffer, 2), QByteArray("D1 U"));
}

void JitterBufferTest::aLatePacketIsStillPlayedAndTellsHowLongItWasWaitedFor()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    QCOMPARE(steps(buffer, 3), QByteArray("D10 U U"));
    insert(buffer, 11, 11);
    const JitterBuffer::Step step = buffer.next(cycle);
    QCOMPARE(step.action, Action::Decode);
    QCOMPARE(step.underrun, 2 * cycle);
    insert(buffer, 12, 12);
    QCOMPARE(buffer.next(cycle).underrun, std::size_t{0});
    QCOMPARE(buffer.lost(), std::uint64_t{0});
    QCOMPARE(buffer.late(), std::uint64_t{0});
}

void JitterBufferTest::anUnderrunStandsForALostPacket()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    QCOMPARE(steps(buffer, 2), QByteArray("D10 U"));
    insert(buffer, 12, 12);
    const JitterBuffer::Step step = buffer.next(cycle);
    QCOMPARE(step.action, Action::Decode);
    QCOMPARE(step.underrun, std::size_t{0});
    QCOMPARE(buffer.lost(), std::uint64_t{1});
}

void JitterBufferTest::aLongUnderrunStandsForAsManyPackets()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    QCOMPARE(steps(buffer, 3), QByteArray("D10 U U"));
    insert(buffer, 14, 14);
    insert(buffer, 15, 15);
    QCOMPARE(steps(buffer, 3), QByteArray("R14 D14 D15"));
    QCOMPARE(buffer.lost(), std::uint64_t{3});
}

void JitterBufferTest::halfAPacketsUnderrunStandsForIt()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    QCOMPARE(next(buffer), QByteArray("D10"));
    QCOMPARE(buffer.next(cycle / 2 - 120).action, Action::ConcealUnderrun);
    insert(buffer, 12, 12);
    QCOMPARE(next(buffer), QByteArray("R12"));
    QCOMPARE(next(buffer), QByteArray("D12"));
    QCOMPARE(buffer.next(cycle / 2).action, Action::ConcealUnderrun);
    insert(buffer, 14, 14);
    QCOMPARE(next(buffer), QByteArray("D14"));
}

void JitterBufferTest::aSingleLossIsRecoveredFromTheNextPacket()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    insert(buffer, 12, 12);
    QCOMPARE(next(buffer), QByteArray("D10"));
    const JitterBuffer::Step step = buffer.next(480);
    QCOMPARE(step.action, Action::Recover);
    QCOMPARE(step.samples, cycle);
    QCOMPARE(int(step.payload[1]), 12);
    QCOMPARE(next(buffer), QByteArray("D12"));
    QCOMPARE(buffer.lost(), std::uint64_t{1});
}

void JitterBufferTest::severalLossesAreConcealedButTheLastIsRecovered()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    insert(buffer, 14, 14);
    QCOMPARE(steps(buffer, 5), QByteArray("D10 C C R14 D14"));
    QCOMPARE(buffer.lost(), std::uint64_t{3});
}

void JitterBufferTest::aLongLossIsConcealedOnce()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    insert(buffer, 30, 30);
    QCOMPARE(steps(buffer, 3), QByteArray("D10 C D30"));
    QCOMPARE(buffer.lost(), std::uint64_t{19});
}

void JitterBufferTest::aPacketAfterItsTurnIsLate()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    insert(buffer, 12, 12);
    QCOMPARE(steps(buffer, 3), QByteArray("D10 R12 D12"));
    insert(buffer, 11, 11);
    QCOMPARE(buffer.late(), std::uint64_t{1});
    QCOMPARE(next(buffer), QByteArray("U"));
}

void JitterBufferTest::thatTheSameCameAgainIsNotLate()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    insert(buffer, 12, 12);
    QCOMPARE(steps(buffer, 3), QByteArray("D10 R12 D12"));
    insert(buffer, 10, 10);
    insert(buffer, 12, 12);
    QCOMPARE(buffer.late(), std::uint64_t{0});
    insert(buffer, 11, 11);
    insert(buffer, 11, 11);
    QCOMPARE(buffer.late(), std::uint64_t{1});
}

void JitterBufferTest::whenPacketsComeLateAgainTheNextGapIsWaitedFor()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    insert(buffer, 12, 12);
    QCOMPARE(steps(buffer, 3), QByteArray("D10 R12 D12"));
    insert(buffer, 11, 11);
    insert(buffer, 14, 14);
    QCOMPARE(steps(buffer, 2), QByteArray("R14 D14"));
    insert(buffer, 13, 13);
    insert(buffer, 16, 16);
    QCOMPARE(next(buffer), QByteArray("U"));
    insert(buffer, 15, 15);
    QCOMPARE(buffer.next(cycle).underrun, cycle);
    QCOMPARE(next(buffer), QByteArray("D16"));
    insert(buffer, 18, 18);
    QCOMPARE(steps(buffer, 2), QByteArray("R18 D18"));
    QCOMPARE(buffer.late(), std::uint64_t{2});
}

void JitterBufferTest::whereManyAreLostTheTargetDelayIsOnePacket()
{
    JitterBuffer buffer;
    insert(buffer, 0, 1);
    QCOMPARE(steps(buffer, 2), QByteArray("D1 U"));
    // Every fifth is lost. At first an underrun stands for it, then it is recovered once, and from
    // then on each in its slot.
    QByteArray all;
    for (int packet = 2; packet < 201; ++packet) {
        if (packet % 5 != 1) {
            insert(buffer, packet, 1);
        }
        all += next(buffer);
    }
    QCOMPARE(buffer.targetDelay(), cycle);
    QVERIFY(all.startsWith("D1D1D1D1UD1D1D1D1U"));
    QVERIFY2(all.endsWith("D1D1D1D1R1D1D1D1"), all);
    QCOMPARE(all.count("U") + all.count("R1"), 39 + 1); // one underrun and one recovered
    QVERIFY(all.count("U") < 20);
    QCOMPARE(buffer.depth(), cycle);
    // In good times nothing is kept any more.
    for (int packet = 201; packet < 901; ++packet) {
        insert(buffer, packet, 1);
        QCOMPARE(next(buffer), QByteArray("D1"));
    }
    QCOMPARE(buffer.targetDelay(), std::size_t{0});
}

void JitterBufferTest::aCopyStandsForALostPacket()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    insert(buffer, 12, 12);
    insertCopy(buffer, 11, 11);
    insertCopy(buffer, 12, 99);
    QCOMPARE(steps(buffer, 4), QByteArray("D10 D11 D12 U"));
    QCOMPARE(buffer.lost(), std::uint64_t{0});
}

void JitterBufferTest::aCopyThatComesTooLateIsLate()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    insert(buffer, 12, 12);
    QCOMPARE(steps(buffer, 3), QByteArray("D10 R12 D12"));
    insert(buffer, 13, 13);
    insertCopy(buffer, 12, 12);
    insertCopy(buffer, 11, 11);
    QCOMPARE(steps(buffer, 1), QByteArray("D13"));
    QCOMPARE(buffer.late(), std::uint64_t{1});
}

void JitterBufferTest::copiesStartNoStream()
{
    JitterBuffer buffer;
    insertCopy(buffer, 9, 9);
    QCOMPARE(steps(buffer, 1), QByteArray("U"));
    insert(buffer, 10, 10);
    insertCopy(buffer, 9, 9);
    QCOMPARE(steps(buffer, 1), QByteArray("D10"));
    // Another stream begins after two of its packets, whatever copies come with them.
    insert(buffer, 500, 1, of20ms, 2);
    insertCopy(buffer, 499, 2, 2);
    insert(buffer, 501, 3, of20ms, 2);
    insertCopy(buffer, 500, 1, 2);
    QCOMPARE(steps(buffer, 2), QByteArray("D3 U"));
}

void JitterBufferTest::aPauseIsNoUnderrun()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    QCOMPARE(next(buffer), QByteArray("D10"));
    for (int second = 0; second < 51; ++second) {
        QCOMPARE(next(buffer), QByteArray("U"));
    }
    insert(buffer, 11, 11);
    QCOMPARE(buffer.next(cycle).underrun, std::size_t{0});
}

void JitterBufferTest::depthCountsLostPacketsToo()
{
    JitterBuffer buffer;
    insert(buffer, 10);
    insert(buffer, 13);
    QCOMPARE(buffer.depth(), 4 * cycle);
    QCOMPARE(next(buffer), QByteArray("D0"));
    QCOMPARE(buffer.depth(), 3 * cycle);
}

void JitterBufferTest::depthGoesBySamples()
{
    JitterBuffer buffer;
    insert(buffer, 10, 1, of60ms);
    insert(buffer, 11, 2, of10ms);
    insert(buffer, 12, 3, of2point5ms);
    QCOMPARE(buffer.depth(), std::size_t{2880 + 480 + 120});
    QCOMPARE(buffer.next(cycle).samples, std::size_t{2880});
    QCOMPARE(buffer.next(cycle).samples, std::size_t{480});
    QCOMPARE(buffer.next(cycle).samples, std::size_t{120});
    QCOMPARE(buffer.depth(), std::size_t{0});
}

void JitterBufferTest::emptyPacketsTakeNoTime()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    insertPayload(buffer, 11, {});
    insertPayload(buffer, 12, {});
    insert(buffer, 13, 13);
    insertPayload(buffer, 14, {});
    QCOMPARE(steps(buffer, 3), QByteArray("D10 D13 U"));
    insert(buffer, 15, 15);
    QCOMPARE(next(buffer), QByteArray("D15"));
    QCOMPARE(buffer.lost(), std::uint64_t{0});
}

void JitterBufferTest::anEmptyPacketBehindALossIsNoSound()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    insertPayload(buffer, 12, {});
    QCOMPARE(steps(buffer, 3), QByteArray("D10 R U"));
}

void JitterBufferTest::anotherStreamIsTakenAfterTwoPacketsThatAgree()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    insert(buffer, 11, 11);
    insert(buffer, 5000, 1, of20ms, 2);
    QCOMPARE(buffer.depth(), 2 * cycle);
    insert(buffer, 5001, 2, of20ms, 2);
    insert(buffer, 5002, 3, of20ms, 2);
    QCOMPARE(steps(buffer, 3), QByteArray("D2 D3 U"));
}

void JitterBufferTest::aStrayPacketOfAnotherStreamChangesNothing()
{
    JitterBuffer buffer;
    insert(buffer, 10, 10);
    insert(buffer, 11, 99, of20ms, 2);
    insert(buffer, 9000, 99);
    insert(buffer, 11, 11);
    insert(buffer, 4000, 99, of20ms, 2);
    insert(buffer, 4002, 99, of20ms, 2);
    insert(buffer, 4001, 99, of20ms, 3);
    QCOMPARE(steps(buffer, 3), QByteArray("D10 D11 U"));
}

void JitterBufferTest::twoStreamsAtOnceDoNotTakeTurns()
{
    JitterBuffer buffer;
    for (int packet = 0; packet < 50; ++packet) {
        insert(buffer, packet, 1);
        insert(buffer, packet + 1000, 2, of20ms, 2);
        QCOMPARE(next(buffer), QByteArray("D1"));
    }
}

void JitterBufferTest::aFarJumpIsTakenAfterTwoPacketsThatAgree()
{
    for (const int far : {10 + 64, 20000, 50000, 10 - 65}) {
        JitterBuffer buffer;
        insert(buffer, 10, 10);
        insert(buffer, far, 1);
        insert(buffer, far + 1, 2);
        QCOMPARE(steps(buffer, 2), QByteArray("D2 U"));
    }
}

void JitterBufferTest::whatIsKeptIsBounded()
{
    JitterBuffer buffer;
    for (int packet = 0; packet < 10000; ++packet) {
        insert(buffer, packet);
        QVERIFY(buffer.depth() <= JitterBuffer::maxPackets * cycle);
    }
    QVERIFY(buffer.depth() > 0);
}

void JitterBufferTest::whatIsNoOpusIsRefused()
{
    JitterBuffer buffer;
    QVERIFY(!insertPayload(buffer, 10, {0xfb}));       // no count of frames
    QVERIFY(!insertPayload(buffer, 10, {0x1b, 0x3f})); // 63 frames of 60 ms
    QVERIFY(!insertPayload(buffer, 10, {0xfb, 0x00})); // no frames
    QVERIFY(!insertPayload(buffer, 10, std::vector<std::uint8_t>(1501, 0xf8)));
    QVERIFY(insertPayload(buffer, 10, std::vector<std::uint8_t>(1500, 0xf8)));
}

void JitterBufferTest::anyPacketsAreSafe()
{
    std::mt19937 random(815);
    JitterBuffer buffer;
    std::uint64_t kept = 0;
    for (int round = 0; round < 200000; ++round) {
        const bool isNear = random() % 20 != 0;
        const int near = round + static_cast<int>(random() % 90);
        const int sequence = isNear ? near : static_cast<int>(random() % 65536);
        std::vector<std::uint8_t> payload(random() % 4);
        for (std::uint8_t& byte : payload) {
            byte = static_cast<std::uint8_t>(random());
        }
        kept += insertPayload(buffer, sequence, payload) ? 1U : 0U;
        QVERIFY(buffer.depth() <= std::size_t{64} * 5760);
        const std::size_t before = buffer.depth();
        const JitterBuffer::Step step = buffer.next(120);
        QVERIFY(step.samples > 0 && step.samples <= 5760);
        QVERIFY(before > 0 || step.action == Action::ConcealUnderrun || step.payload.empty());
    }
    QVERIFY(kept > 1000);
}

WINGBELL_APPLESS_TEST(JitterBufferTest)
#include "JitterBufferTest.moc"

#include "relay/link/RtpHistory.h"

#include "tests/TestProgram.h"

#include <QTest>

#include <vector>

using namespace wingbell;
using namespace std::chrono_literals;

class RtpHistoryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_history = {}; }
    void aKeptPacketIsSentAgainAsItWas();
    void onlyTheLastPacketsAreKept();
    void aPacketIsNotSentAgainTooSoonOrTooOften();
    void aPacketThatIsTooLongIsNotKept();
    void whatIsAskedForCountsAsLostOnce();
    void numbersMayWrapAround();

private:
    using Bytes = std::vector<std::uint8_t>;

    static Bytes packet(std::uint16_t sequence)
    {
        return {static_cast<std::uint8_t>(sequence >> 8U), static_cast<std::uint8_t>(sequence), 7};
    }

    Bytes again(std::uint16_t sequence)
    {
        const auto found = m_history.sendAgain(sequence, m_now);
        return {found.begin(), found.end()};
    }

    RtpHistory m_history;
    RtpHistory::Clock::time_point m_now{1000s};
};

void RtpHistoryTest::aKeptPacketIsSentAgainAsItWas()
{
    m_history.keep(100, packet(100));
    m_history.keep(101, packet(101));
    QCOMPARE(again(100), packet(100));
    QCOMPARE(again(101), packet(101));
    QVERIFY(again(102).empty());
}

void RtpHistoryTest::onlyTheLastPacketsAreKept()
{
    for (std::uint16_t sequence = 0; sequence <= RtpHistory::capacity; ++sequence) {
        m_history.keep(sequence, packet(sequence));
    }
    QVERIFY(again(0).empty());
    QCOMPARE(again(1), packet(1));
}

void RtpHistoryTest::aPacketIsNotSentAgainTooSoonOrTooOften()
{
    m_history.keep(5, packet(5));
    for (int time = 0; time < RtpHistory::maxTimes; ++time) {
        QCOMPARE(again(5), packet(5));
        m_now += RtpHistory::minInterval - 1ms;
        QVERIFY(again(5).empty());
        m_now += 1ms;
    }
    QVERIFY(again(5).empty());
}

void RtpHistoryTest::aPacketThatIsTooLongIsNotKept()
{
    m_history.keep(6, Bytes(RtpHistory::maxPacket, 1));
    QCOMPARE(again(6), Bytes(RtpHistory::maxPacket, 1));
    m_history.keep(6 + RtpHistory::capacity, Bytes(RtpHistory::maxPacket + 1, 1));
    QVERIFY(again(6 + RtpHistory::capacity).empty());
    QVERIFY(again(6).empty()); // its place was taken
}

void RtpHistoryTest::whatIsAskedForCountsAsLostOnce()
{
    const auto keepAndAsk = [this](std::uint16_t first, std::uint16_t distance, int times) {
        for (std::uint16_t number = 0; number < 1000; ++number) {
            const auto sequence = static_cast<std::uint16_t>(first + number);
            m_history.keep(sequence, packet(sequence));
            for (int time = 0; number % distance == 0 && time < times; ++time) {
                m_now += RtpHistory::minInterval;
                (void)again(sequence);
            }
        }
    };
    keepAndAsk(0, 10, 3);
    QVERIFY(m_history.loss().isHigh());
    QVERIFY(m_history.loss().value() < 0.12F);
    keepAndAsk(1000, 100, 3);
    QVERIFY(!m_history.loss().isHigh());
}

void RtpHistoryTest::numbersMayWrapAround()
{
    m_history.keep(65535, packet(65535));
    m_history.keep(0, packet(0));
    QCOMPARE(again(65535), packet(65535));
    QCOMPARE(again(0), packet(0));
}

WINGBELL_APPLESS_TEST(RtpHistoryTest)
#include "RtpHistoryTest.moc"

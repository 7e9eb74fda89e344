#include "relay/link/MissingPackets.h"

#include "tests/TestProgram.h"

#include <QTest>

#include <vector>

using namespace wingbell;
using namespace std::chrono_literals;

class MissingPacketsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_missing = {}; }
    void nothingIsMissingOfAWholeStream();
    void aGapIsAskedForAtOnceAndAgain();
    void whatHasComeIsNotAskedForAgain();
    void aLongGapIsNotAskedFor();
    void ofManyTheLatestAreAskedFor();
    void anotherStreamStartsFromItsOwnFirstPacket();
    void whatComesAsACopyIsNotAskedFor();
    void aPacketIsAskedForAsSoonAsItIsOverdueWhileManyAreLost();
    void aPacketThatIsOnlyLateIsNotAskedForWithoutLoss();
    void aSenderThatPausesIsNotAskedForever();
    void numbersMayWrapAround();

private:
    using Numbers = std::vector<std::uint16_t>;

    void received(const Numbers& numbers)
    {
        for (const std::uint16_t number : numbers) {
            received(number);
        }
    }

    void received(std::uint16_t number, std::size_t copies = 0, std::uint32_t source = 7)
    {
        RtpPacket packet;
        packet.sequence = number;
        packet.timestamp = number * 960U;
        packet.ssrc = source;
        m_missing.received(packet, copies, m_now);
    }

    /// Lets a fifth of the packets be lost.
    std::uint16_t loseMany()
    {
        std::uint16_t number = 0;
        for (; number <= 100; ++number) {
            m_now += packetTime;
            if (number % 5 != 1) {
                received(number);
            }
            (void)due();
        }
        return --number;
    }

    static constexpr auto packetTime = 20ms;

    Numbers due()
    {
        const auto numbers = m_missing.due(m_now);
        return {numbers.begin(), numbers.end()};
    }

    MissingPackets m_missing;
    MissingPackets::Clock::time_point m_now{1000s};
};

void MissingPacketsTest::nothingIsMissingOfAWholeStream()
{
    received({10, 11, 12, 12, 11, 13});
    QCOMPARE(due(), Numbers{});
}

void MissingPacketsTest::aGapIsAskedForAtOnceAndAgain()
{
    received({10, 13});
    QCOMPARE(due(), (Numbers{11, 12}));
    QCOMPARE(due(), Numbers{});
    for (int request = 1; request < MissingPackets::maxRequests; ++request) {
        m_now += MissingPackets::interval;
        QCOMPARE(due(), (Numbers{11, 12}));
    }
    m_now += MissingPackets::interval;
    QCOMPARE(due(), Numbers{});
}

void MissingPacketsTest::whatHasComeIsNotAskedForAgain()
{
    received({10, 13});
    QCOMPARE(due(), (Numbers{11, 12}));
    received({11, 15});
    QCOMPARE(due(), Numbers{14});
    m_now += MissingPackets::interval;
    QCOMPARE(due(), (Numbers{12, 14}));
}

void MissingPacketsTest::aLongGapIsNotAskedFor()
{
    received({10, 12, static_cast<std::uint16_t>(14 + MissingPackets::maxMissing)});
    QCOMPARE(due(), Numbers{});
}

void MissingPacketsTest::ofManyTheLatestAreAskedFor()
{
    Numbers everySecond;
    Numbers latest;
    for (std::uint16_t number = 10; number < 50; number += 2) {
        everySecond.push_back(number);
        latest.push_back(static_cast<std::uint16_t>(number - 1));
    }
    received(everySecond);
    QCOMPARE(due(), Numbers(latest.end() - MissingPackets::maxMissing, latest.end()));
}

void MissingPacketsTest::anotherStreamStartsFromItsOwnFirstPacket()
{
    received({10, 12});
    received(100, 0, 8);
    QCOMPARE(m_missing.source(), 8U);
    QCOMPARE(due(), Numbers{});
    received(102, 0, 8);
    QCOMPARE(due(), Numbers{101});
}

void MissingPacketsTest::whatComesAsACopyIsNotAskedFor()
{
    received(10);
    received(13, 1);
    QCOMPARE(due(), Numbers{11});
    received(14, 3);
    m_now += MissingPackets::interval;
    QCOMPARE(due(), Numbers{});
}

void MissingPacketsTest::aPacketIsAskedForAsSoonAsItIsOverdueWhileManyAreLost()
{
    const auto last = loseMany();
    const auto overdue = m_now + packetTime + MissingPackets::tolerance;
    QCOMPARE(m_missing.nextDue(), overdue);
    m_now = overdue - 1ms;
    QCOMPARE(due(), Numbers{});
    m_now = overdue;
    const auto next = static_cast<std::uint16_t>(last + 1);
    QCOMPARE(due(), Numbers{next});
    QCOMPARE(m_missing.nextDue(), overdue + MissingPackets::interval);
    received(next);
    QCOMPARE(m_missing.nextDue(), overdue + packetTime + MissingPackets::tolerance);
}

void MissingPacketsTest::aPacketThatIsOnlyLateIsNotAskedForWithoutLoss()
{
    for (std::uint16_t number = 0; number < 100; ++number) {
        received(number);
        m_now += packetTime;
    }
    QCOMPARE(m_missing.nextDue(), MissingPackets::Clock::time_point::max());
    m_now += 1s;
    QCOMPARE(due(), Numbers{});
}

void MissingPacketsTest::aSenderThatPausesIsNotAskedForever()
{
    const auto last = loseMany();
    std::size_t asked = 0;
    for (int millisecond = 0; millisecond < 1000; ++millisecond) {
        m_now += 1ms;
        asked += due().size();
    }
    QCOMPARE(
        asked, static_cast<std::size_t>(MissingPackets::maxOverdue * MissingPackets::maxRequests));
    QCOMPARE(m_missing.nextDue(), MissingPackets::Clock::time_point::max());
    received(static_cast<std::uint16_t>(last + 1)); // it goes on where it was
    QCOMPARE(due(), Numbers{});
}

void MissingPacketsTest::numbersMayWrapAround()
{
    received({65534, 1});
    QCOMPARE(due(), (Numbers{65535, 0}));
    received(65535);
    m_now += MissingPackets::interval;
    QCOMPARE(due(), Numbers{0});
}

WINGBELL_APPLESS_TEST(MissingPacketsTest)
#include "MissingPacketsTest.moc"

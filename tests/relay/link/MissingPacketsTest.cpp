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
    void numbersMayWrapAround();

private:
    using Numbers = std::vector<std::uint16_t>;

    void received(const Numbers& numbers)
    {
        for (const std::uint16_t number : numbers) {
            m_missing.received(7, number);
        }
    }

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
    m_missing.received(8, 100);
    QCOMPARE(m_missing.source(), 8U);
    QCOMPARE(due(), Numbers{});
    m_missing.received(8, 102);
    QCOMPARE(due(), Numbers{101});
}

void MissingPacketsTest::numbersMayWrapAround()
{
    received({65534, 1});
    QCOMPARE(due(), (Numbers{65535, 0}));
    received({65535});
    m_now += MissingPackets::interval;
    QCOMPARE(due(), Numbers{0});
}

WINGBELL_APPLESS_TEST(MissingPacketsTest)
#include "MissingPacketsTest.moc"

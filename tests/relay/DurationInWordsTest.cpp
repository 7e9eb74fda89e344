#include "relay/log/DurationInWords.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace std::chrono_literals;
using wingbell::durationInWords;

class DurationInWordsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void saysHoursMinutesAndSeconds();
    void leavesOutWhatIsNone();
    void roundsDown();
};

void DurationInWordsTest::saysHoursMinutesAndSeconds()
{
    QCOMPARE(durationInWords(192s), QStringLiteral("3 minutes 12 seconds"));
    QCOMPARE(durationInWords(1h + 1min + 1s), QStringLiteral("1 hour 1 minute 1 second"));
    QCOMPARE(durationInWords(30h + 59min + 59s), QStringLiteral("30 hours 59 minutes 59 seconds"));
}

void DurationInWordsTest::leavesOutWhatIsNone()
{
    QCOMPARE(durationInWords(2s), QStringLiteral("2 seconds"));
    QCOMPARE(durationInWords(1min), QStringLiteral("1 minute"));
    QCOMPARE(durationInWords(2h + 5s), QStringLiteral("2 hours 5 seconds"));
}

void DurationInWordsTest::roundsDown()
{
    QCOMPARE(durationInWords(1999ms), QStringLiteral("1 second"));
    QCOMPARE(durationInWords(999ms), QStringLiteral("less than a second"));
    QCOMPARE(durationInWords(0ms), QStringLiteral("less than a second"));
    QCOMPARE(durationInWords(-5s), QStringLiteral("less than a second"));
}

WINGBELL_APPLESS_TEST(DurationInWordsTest)
#include "DurationInWordsTest.moc"

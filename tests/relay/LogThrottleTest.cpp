#include "relay/log/LogThrottle.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <array>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

using Clock = LogThrottle::Clock;
using Held = std::vector<LogThrottle::Held>;

constexpr Clock::time_point start{1000s};
constexpr LogEvent announced = LogEvent::Announced;
constexpr LogEvent other = LogEvent::UnknownAddress;

/// How many of `lines` lines at `now` are let through.
int admitted(LogThrottle& throttle, int lines, Clock::time_point now, LogEvent of = announced)
{
    int count = 0;
    for (int line = 0; line < lines; ++line) {
        count += throttle.admit(of, now) ? 1 : 0;
    }
    return count;
}

} // namespace

class LogThrottleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void threeLinesASecondPass();
    void nothingIsDueWhileNothingIsHeldBack();
    void theNumberHeldBackIsDueASecondLater();
    void noLinePassesBeforeTheNumberIsTold();
    void noSecondSeesMoreThanThreeLines();
    void aFloodIsToldEverySecond();
    void eventsAreCountedApart();
    void allRejectionsTogetherAreBounded();
    void aRejectionHeldBackByOthersIsCounted();
    void rejectionsHoldBackNothingElse();
    void everythingIsDueAtTheEndOfTime();
};

void LogThrottleTest::threeLinesASecondPass()
{
    LogThrottle throttle;
    QCOMPARE(admitted(throttle, 3, start), 3);
    QCOMPARE(admitted(throttle, 3, start + 1s), 3);
}

void LogThrottleTest::nothingIsDueWhileNothingIsHeldBack()
{
    LogThrottle throttle;
    QVERIFY(!throttle.nextDue());
    QCOMPARE(admitted(throttle, 3, start), 3);
    QVERIFY(!throttle.nextDue());
    QCOMPARE(throttle.takeDue(start + 5s), Held());
}

void LogThrottleTest::theNumberHeldBackIsDueASecondLater()
{
    LogThrottle throttle;
    QCOMPARE(admitted(throttle, 10, start), 3);
    QCOMPARE(throttle.nextDue().value(), start + 1s);
    QCOMPARE(throttle.takeDue(start + 999ms), Held());
    QCOMPARE(throttle.takeDue(start + 1s), (Held{{announced, 7}}));
    QVERIFY(!throttle.nextDue());
    QCOMPARE(throttle.takeDue(start + 2s), Held());
}

void LogThrottleTest::noLinePassesBeforeTheNumberIsTold()
{
    LogThrottle throttle;
    QCOMPARE(admitted(throttle, 4, start), 3);
    QCOMPARE(admitted(throttle, 1, start + 5s), 0);
    QCOMPARE(throttle.takeDue(start + 5s), (Held{{announced, 2}}));
    QCOMPARE(admitted(throttle, 1, start + 5s), 1);
}

void LogThrottleTest::noSecondSeesMoreThanThreeLines()
{
    LogThrottle throttle;
    QCOMPARE(admitted(throttle, 1, start), 1);
    QCOMPARE(admitted(throttle, 2, start + 900ms), 2);
    QCOMPARE(admitted(throttle, 2, start + 1100ms), 1);
    QCOMPARE(throttle.takeDue(start + 2100ms), (Held{{announced, 1}}));
}

void LogThrottleTest::aFloodIsToldEverySecond()
{
    LogThrottle throttle;
    quint64 passed = 0;
    quint64 told = 0;
    int numbers = 0;
    for (auto now = start; now < start + 10s; now += 1ms) {
        for (const LogThrottle::Held& held : throttle.takeDue(now)) {
            told += held.lines;
            ++numbers;
        }
        passed += throttle.admit(announced, now) ? 1U : 0U;
    }
    told += throttle.takeDue(start + 20s).at(0).lines;
    QCOMPARE(passed + told, quint64{10000});
    QCOMPARE(passed, quint64{30});
    QCOMPARE(numbers, 9);
}

void LogThrottleTest::eventsAreCountedApart()
{
    LogThrottle throttle;
    QCOMPARE(admitted(throttle, 5, start), 3);
    QCOMPARE(admitted(throttle, 4, start + 100ms, other), 3);
    QCOMPARE(throttle.nextDue().value(), start + 1s);
    QCOMPARE(throttle.takeDue(start + 1s), (Held{{announced, 2}}));
    QCOMPARE(throttle.nextDue().value(), start + 1100ms);
    QCOMPARE(throttle.takeDue(start + 2s), (Held{{other, 1}}));
}

void LogThrottleTest::allRejectionsTogetherAreBounded()
{
    constexpr std::array rejections = {
        LogEvent::UnreadablePacket,     LogEvent::UnknownAddress, LogEvent::UnknownChannel,
        LogEvent::WrongArguments,       LogEvent::BlankText,      LogEvent::NotUtf8,
        LogEvent::TooManyAnnouncements, LogEvent::WrongCode,      LogEvent::NotTls,
        LogEvent::MalformedRequest};
    constexpr int seconds = 60;
    LogThrottle throttle;
    int lines = 0;
    quint64 counted = 0;
    quint64 sent = 0;
    for (auto now = start; now < start + std::chrono::seconds(seconds); now += 10ms) {
        for (const LogThrottle::Held& held : throttle.takeDue(now)) {
            counted += held.lines;
            ++lines;
        }
        for (const LogEvent rejection : rejections) {
            const bool passes = throttle.admit(rejection, now);
            lines += passes ? 1 : 0;
            counted += passes ? 1U : 0U;
            ++sent;
        }
    }
    QVERIFY2(lines <= 10 + seconds, qPrintable(QString::number(lines)));
    QVERIFY2(lines >= seconds, qPrintable(QString::number(lines)));
    const Held last = throttle.takeDue(Clock::time_point::max());
    QVERIFY(last.size() <= rejections.size());
    for (const LogThrottle::Held& held : last) {
        counted += held.lines;
    }
    QCOMPARE(counted, sent);
}

void LogThrottleTest::aRejectionHeldBackByOthersIsCounted()
{
    LogThrottle throttle;
    for (const LogEvent rejection :
         {LogEvent::BlankText, LogEvent::NotUtf8, LogEvent::UnreadablePacket, LogEvent::NotTls}) {
        (void)admitted(throttle, 3, start, rejection);
    }
    // The four of them have used up what may come at once.
    QCOMPARE(admitted(throttle, 1, start, other), 0);
    QVERIFY(throttle.nextDue());
    quint64 counted = 0;
    for (auto now = start; now <= start + 5s; now += 100ms) {
        for (const LogThrottle::Held& held : throttle.takeDue(now)) {
            counted += held.event == other ? held.lines : 0;
        }
    }
    QCOMPARE(counted, quint64{1});
    QVERIFY(!throttle.nextDue());
}

void LogThrottleTest::rejectionsHoldBackNothingElse()
{
    LogThrottle throttle;
    for (int round = 0; round < 100; ++round) {
        (void)admitted(throttle, 3, start, LogEvent::NotTls);
        (void)admitted(throttle, 3, start, LogEvent::BlankText);
        (void)admitted(throttle, 3, start, LogEvent::NotUtf8);
        (void)admitted(throttle, 3, start, LogEvent::WrongCode);
    }
    QCOMPARE(admitted(throttle, 3, start, LogEvent::Joined), 3);
    QCOMPARE(admitted(throttle, 3, start), 3);
}

void LogThrottleTest::everythingIsDueAtTheEndOfTime()
{
    LogThrottle throttle;
    QCOMPARE(admitted(throttle, 4, start), 3);
    QCOMPARE(admitted(throttle, 4, start, LogEvent::NotUtf8), 3);
    QCOMPARE(
        throttle.takeDue(Clock::time_point::max()), (Held{{announced, 1}, {LogEvent::NotUtf8, 1}}));
}

WINGBELL_APPLESS_TEST(LogThrottleTest)
#include "LogThrottleTest.moc"

#include "relay/words/LineLimiter.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <array>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

using Clock = LineLimiter::Clock;
using Held = std::vector<LineLimiter::Held>;

constexpr Clock::time_point start{1000s};
constexpr LineCause cause = LineCause::Announced;
constexpr LineCause other = LineCause::UnknownAddress;

/// How many of `lines` lines at `now` are let through.
int admitted(LineLimiter& limiter, int lines, Clock::time_point now, LineCause of = cause)
{
    int count = 0;
    for (int line = 0; line < lines; ++line) {
        count += limiter.admit(of, now) ? 1 : 0;
    }
    return count;
}

} // namespace

class LineLimiterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void threeLinesASecondPass();
    void nothingIsDueWhileNothingIsHeldBack();
    void theNumberHeldBackIsDueASecondLater();
    void noLinePassesBeforeTheNumberIsTold();
    void noSecondSeesMoreThanThreeLines();
    void aFloodIsToldEverySecond();
    void causesAreCountedApart();
    void allRefusalsTogetherAreBounded();
    void aRefusalHeldBackByOthersIsCounted();
    void refusalsHoldBackNothingElse();
    void everythingIsDueAtTheEndOfTime();
};

void LineLimiterTest::threeLinesASecondPass()
{
    LineLimiter limiter;
    QCOMPARE(admitted(limiter, 3, start), 3);
    QCOMPARE(admitted(limiter, 3, start + 1s), 3);
}

void LineLimiterTest::nothingIsDueWhileNothingIsHeldBack()
{
    LineLimiter limiter;
    QVERIFY(!limiter.nextDue());
    QCOMPARE(admitted(limiter, 3, start), 3);
    QVERIFY(!limiter.nextDue());
    QCOMPARE(limiter.takeDue(start + 5s), Held());
}

void LineLimiterTest::theNumberHeldBackIsDueASecondLater()
{
    LineLimiter limiter;
    QCOMPARE(admitted(limiter, 10, start), 3);
    QCOMPARE(limiter.nextDue().value(), start + 1s);
    QCOMPARE(limiter.takeDue(start + 999ms), Held());
    QCOMPARE(limiter.takeDue(start + 1s), (Held{{cause, 7}}));
    QVERIFY(!limiter.nextDue());
    QCOMPARE(limiter.takeDue(start + 2s), Held());
}

void LineLimiterTest::noLinePassesBeforeTheNumberIsTold()
{
    LineLimiter limiter;
    QCOMPARE(admitted(limiter, 4, start), 3);
    QCOMPARE(admitted(limiter, 1, start + 5s), 0);
    QCOMPARE(limiter.takeDue(start + 5s), (Held{{cause, 2}}));
    QCOMPARE(admitted(limiter, 1, start + 5s), 1);
}

void LineLimiterTest::noSecondSeesMoreThanThreeLines()
{
    LineLimiter limiter;
    QCOMPARE(admitted(limiter, 1, start), 1);
    QCOMPARE(admitted(limiter, 2, start + 900ms), 2);
    QCOMPARE(admitted(limiter, 2, start + 1100ms), 1);
    QCOMPARE(limiter.takeDue(start + 2100ms), (Held{{cause, 1}}));
}

void LineLimiterTest::aFloodIsToldEverySecond()
{
    LineLimiter limiter;
    quint64 passed = 0;
    quint64 told = 0;
    int numbers = 0;
    for (auto now = start; now < start + 10s; now += 1ms) {
        for (const LineLimiter::Held& held : limiter.takeDue(now)) {
            told += held.lines;
            ++numbers;
        }
        passed += limiter.admit(cause, now) ? 1U : 0U;
    }
    told += limiter.takeDue(start + 20s).at(0).lines;
    QCOMPARE(passed + told, quint64{10000});
    QCOMPARE(passed, quint64{30});
    QCOMPARE(numbers, 9);
}

void LineLimiterTest::causesAreCountedApart()
{
    LineLimiter limiter;
    QCOMPARE(admitted(limiter, 5, start), 3);
    QCOMPARE(admitted(limiter, 4, start + 100ms, other), 3);
    QCOMPARE(limiter.nextDue().value(), start + 1s);
    QCOMPARE(limiter.takeDue(start + 1s), (Held{{cause, 2}}));
    QCOMPARE(limiter.nextDue().value(), start + 1100ms);
    QCOMPARE(limiter.takeDue(start + 2s), (Held{{other, 1}}));
}

void LineLimiterTest::allRefusalsTogetherAreBounded()
{
    constexpr std::array refusals = {
        LineCause::Unreadable,           LineCause::UnknownAddress, LineCause::UnknownChannel,
        LineCause::WrongArguments,       LineCause::Blank,          LineCause::NotUtf8,
        LineCause::TooManyAnnouncements, LineCause::WrongCode,      LineCause::NotTls,
        LineCause::MalformedRequest};
    constexpr int seconds = 60;
    LineLimiter limiter;
    int lines = 0;
    quint64 counted = 0;
    quint64 sent = 0;
    for (auto now = start; now < start + std::chrono::seconds(seconds); now += 10ms) {
        for (const LineLimiter::Held& held : limiter.takeDue(now)) {
            counted += held.lines;
            ++lines;
        }
        for (const LineCause refusal : refusals) {
            const bool passes = limiter.admit(refusal, now);
            lines += passes ? 1 : 0;
            counted += passes ? 1U : 0U;
            ++sent;
        }
    }
    QVERIFY2(lines <= 10 + seconds, qPrintable(QString::number(lines)));
    QVERIFY2(lines >= seconds, qPrintable(QString::number(lines)));
    const Held last = limiter.takeDue(Clock::time_point::max());
    QVERIFY(last.size() <= refusals.size());
    for (const LineLimiter::Held& held : last) {
        counted += held.lines;
    }
    QCOMPARE(counted, sent);
}

void LineLimiterTest::aRefusalHeldBackByOthersIsCounted()
{
    LineLimiter limiter;
    for (const LineCause refusal :
         {LineCause::Blank, LineCause::NotUtf8, LineCause::Unreadable, LineCause::NotTls}) {
        (void)admitted(limiter, 3, start, refusal);
    }
    // The four of them have used up what may come at once.
    QCOMPARE(admitted(limiter, 1, start, other), 0);
    QVERIFY(limiter.nextDue());
    quint64 counted = 0;
    for (auto now = start; now <= start + 5s; now += 100ms) {
        for (const LineLimiter::Held& held : limiter.takeDue(now)) {
            counted += held.cause == other ? held.lines : 0;
        }
    }
    QCOMPARE(counted, quint64{1});
    QVERIFY(!limiter.nextDue());
}

void LineLimiterTest::refusalsHoldBackNothingElse()
{
    LineLimiter limiter;
    for (int round = 0; round < 100; ++round) {
        (void)admitted(limiter, 3, start, LineCause::NotTls);
        (void)admitted(limiter, 3, start, LineCause::Blank);
        (void)admitted(limiter, 3, start, LineCause::NotUtf8);
        (void)admitted(limiter, 3, start, LineCause::WrongCode);
    }
    QCOMPARE(admitted(limiter, 3, start, LineCause::Joined), 3);
    QCOMPARE(admitted(limiter, 3, start), 3);
}

void LineLimiterTest::everythingIsDueAtTheEndOfTime()
{
    LineLimiter limiter;
    QCOMPARE(admitted(limiter, 4, start), 3);
    QCOMPARE(admitted(limiter, 4, start, LineCause::NotUtf8), 3);
    QCOMPARE(
        limiter.takeDue(Clock::time_point::max()), (Held{{cause, 1}, {LineCause::NotUtf8, 1}}));
}

WINGBELL_APPLESS_TEST(LineLimiterTest)
#include "LineLimiterTest.moc"

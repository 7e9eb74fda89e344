#include "relay/crew/CodeGuard.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <vector>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

using Clock = CodeGuard::Clock;
using Kind = CodeVerdict::Kind;

constexpr Clock::time_point start{100000s};
const QString right = QStringLiteral("482913");
const QString wrong = QStringLiteral("000000");

QHostAddress ip(const QString& text)
{
    return QHostAddress(text);
}

/// A different IPv4 address for every number.
QHostAddress guest(int number)
{
    return QHostAddress(0x0A000000U + static_cast<quint32>(number));
}

const QHostAddress somebody = guest(1);

CodeGuard guard()
{
    return CodeGuard(CrewCode::fromText(right).value());
}

/// How many wrong codes of one address are looked at in `duration`, tried as early as may be.
int checkedOf(CodeGuard& guard, const QHostAddress& from, Clock::duration duration)
{
    int checked = 0;
    for (auto now = start; now < start + duration;) {
        const CodeVerdict verdict = guard.check(from, wrong, now);
        checked += verdict.kind == Kind::Wrong ? 1 : 0;
        now += verdict.wait;
    }
    return checked;
}

std::vector<int> waitsOf(CodeGuard& guard, const QHostAddress& from, int count)
{
    std::vector<int> waits;
    auto now = start;
    for (int round = 0; round < count; ++round) {
        if (guard.check(from, wrong, now).kind != Kind::Wrong) {
            return {};
        }
        const CodeVerdict next = guard.check(from, wrong, now);
        if (next.kind != Kind::SlowDown) {
            return {};
        }
        waits.push_back(static_cast<int>(next.wait.count()));
        now += next.wait;
    }
    return waits;
}

} // namespace

class CodeGuardTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theRightCodeIsRight();
    void fiveWrongCodesAreFree();
    void thenTheWaitDoublesUpToAMinute();
    void whileWaitingEvenTheRightCodeIsNotLookedAt();
    void theWaitIsToldInWholeSecondsNeverNone();
    void attemptsWhileWaitingDoNotProlongIt();
    void aRightCodeTakesBackOneWrongCodeOnly();
    void afterAQuietTimeAllBeginsAnew();
    void addressesWaitApart();
    void anIpv6NetworkWaitsAsOne();
    void nobodyOnTheSameNetworkMakesAKnownAddressWait();
    void aKnownAddressThatGuessesWaitsToo();
    void aNightOfGuessingFromOneAddressStaysWithinTheOdds();
    void aNightOfGuessingFromManyAddressesStaysWithinTheOdds();
    void oneGuesserLeavesRoomForNewcomers();
    void guessersWithManyAddressesLeaveRoomForNewcomers();
    void aKnownAddressIsLetInWhateverTheOthersGuess();
    void whenAllIsUsedUpANewcomerIsToldToWait();
    void rightCodesUseUpNothing();
    void memoryIsBounded();
    void anAddressThatWaitsIsNotForgottenForAnother();
};

void CodeGuardTest::theRightCodeIsRight()
{
    CodeGuard guard = ::guard();
    QCOMPARE(guard.check(somebody, right, start), CodeVerdict{Kind::Right});
    QCOMPARE(guard.check(somebody, right, start), CodeVerdict{Kind::Right});
    QCOMPARE(guard.check(somebody, {}, start), CodeVerdict{Kind::Wrong});
}

void CodeGuardTest::fiveWrongCodesAreFree()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 5; ++attempt) {
        QCOMPARE(guard.check(somebody, wrong, start), CodeVerdict{Kind::Wrong});
    }
    QCOMPARE(guard.check(somebody, right, start), CodeVerdict{Kind::Right});
}

void CodeGuardTest::thenTheWaitDoublesUpToAMinute()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 5; ++attempt) {
        QCOMPARE(guard.check(somebody, wrong, start), CodeVerdict{Kind::Wrong});
    }
    QCOMPARE(waitsOf(guard, somebody, 9), (std::vector<int>{1, 2, 4, 8, 16, 32, 60, 60, 60}));
}

void CodeGuardTest::whileWaitingEvenTheRightCodeIsNotLookedAt()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 6; ++attempt) {
        QCOMPARE(guard.check(somebody, wrong, start), CodeVerdict{Kind::Wrong});
    }
    QCOMPARE(guard.check(somebody, right, start), (CodeVerdict{Kind::SlowDown, 1s}));
    QCOMPARE(guard.check(somebody, right, start + 999ms), (CodeVerdict{Kind::SlowDown, 1s}));
    QCOMPARE(guard.check(somebody, right, start + 1s), CodeVerdict{Kind::Right});
}

void CodeGuardTest::theWaitIsToldInWholeSecondsNeverNone()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 6; ++attempt) {
        (void)guard.check(somebody, wrong, start);
    }
    (void)guard.check(somebody, wrong, start + 1s);
    QCOMPARE(guard.check(somebody, wrong, start + 1s), (CodeVerdict{Kind::SlowDown, 2s}));
    QCOMPARE(guard.check(somebody, wrong, start + 1100ms), (CodeVerdict{Kind::SlowDown, 2s}));
    QCOMPARE(guard.check(somebody, wrong, start + 2s), (CodeVerdict{Kind::SlowDown, 1s}));
    QCOMPARE(guard.check(somebody, wrong, start + 3s - 1ns), (CodeVerdict{Kind::SlowDown, 1s}));
}

void CodeGuardTest::attemptsWhileWaitingDoNotProlongIt()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 6; ++attempt) {
        (void)guard.check(somebody, wrong, start);
    }
    for (int attempt = 0; attempt < 1000; ++attempt) {
        QCOMPARE(guard.check(somebody, wrong, start).kind, Kind::SlowDown);
    }
    QCOMPARE(guard.check(somebody, right, start + 1s).kind, Kind::Right);
}

void CodeGuardTest::aRightCodeTakesBackOneWrongCodeOnly()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 5; ++attempt) {
        (void)guard.check(somebody, wrong, start);
    }
    QCOMPARE(guard.check(somebody, right, start).kind, Kind::Right);
    QCOMPARE(guard.check(somebody, wrong, start).kind, Kind::Wrong);
    QCOMPARE(guard.check(somebody, wrong, start).kind, Kind::Wrong);
    QCOMPARE(guard.check(somebody, wrong, start), (CodeVerdict{Kind::SlowDown, 1s}));
}

void CodeGuardTest::afterAQuietTimeAllBeginsAnew()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 6; ++attempt) {
        (void)guard.check(somebody, wrong, start);
    }
    const auto almost = start + 30min - 1ns;
    QCOMPARE(guard.check(somebody, wrong, almost).kind, Kind::Wrong);
    QCOMPARE(guard.check(somebody, wrong, almost).kind, Kind::SlowDown);
    for (int attempt = 0; attempt < 5; ++attempt) {
        QCOMPARE(guard.check(somebody, wrong, almost + 30min).kind, Kind::Wrong);
    }
}

void CodeGuardTest::addressesWaitApart()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 6; ++attempt) {
        (void)guard.check(somebody, wrong, start);
    }
    QCOMPARE(guard.check(somebody, right, start).kind, Kind::SlowDown);
    QCOMPARE(guard.check(guest(2), right, start).kind, Kind::Right);
}

void CodeGuardTest::anIpv6NetworkWaitsAsOne()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 6; ++attempt) {
        const QHostAddress from = ip(QStringLiteral("2001:db8::%1").arg(attempt + 1));
        QCOMPARE(guard.check(from, wrong, start).kind, Kind::Wrong);
    }
    QCOMPARE(guard.check(ip(QStringLiteral("2001:db8::99")), wrong, start).kind, Kind::SlowDown);
    QCOMPARE(guard.check(ip(QStringLiteral("2001:db8:0:1::1")), wrong, start).kind, Kind::Wrong);
}

void CodeGuardTest::nobodyOnTheSameNetworkMakesAKnownAddressWait()
{
    CodeGuard guard = ::guard();
    const QHostAddress known = ip(QStringLiteral("fd00::1"));
    const QHostAddress guesser = ip(QStringLiteral("fd00::2"));
    QCOMPARE(guard.check(known, right, start).kind, Kind::Right);
    (void)checkedOf(guard, guesser, 5min);
    QCOMPARE(guard.check(guesser, right, start + 5min).kind, Kind::SlowDown);
    QCOMPARE(guard.check(known, right, start + 5min).kind, Kind::Right);
}

void CodeGuardTest::aKnownAddressThatGuessesWaitsToo()
{
    CodeGuard guard = ::guard();
    QCOMPARE(guard.check(somebody, right, start).kind, Kind::Right);
    for (int attempt = 0; attempt < 6; ++attempt) {
        QCOMPARE(guard.check(somebody, wrong, start).kind, Kind::Wrong);
    }
    QCOMPARE(guard.check(somebody, right, start).kind, Kind::SlowDown);
}

void CodeGuardTest::aNightOfGuessingFromOneAddressStaysWithinTheOdds()
{
    CodeGuard guard = ::guard();
    QVERIFY(checkedOf(guard, somebody, 12h) <= 731);
    CodeGuard other = ::guard();
    QCOMPARE(other.check(somebody, right, start).kind, Kind::Right);
    const int checked = checkedOf(other, somebody, 12h);
    QVERIFY2(checked <= 731 && checked > 700, qPrintable(QString::number(checked)));
}

void CodeGuardTest::aNightOfGuessingFromManyAddressesStaysWithinTheOdds()
{
    CodeGuard guard = ::guard();
    int checked = 0;
    int next = 0;
    for (auto now = start; now < start + 12h; now += 1s) {
        for (int attempt = 0; attempt < 5; ++attempt) {
            checked += guard.check(guest(next++ % 3000), wrong, now).kind == Kind::Wrong ? 1 : 0;
        }
    }
    QVERIFY2(checked <= 7300 && checked > 5000, qPrintable(QString::number(checked)));
}

void CodeGuardTest::oneGuesserLeavesRoomForNewcomers()
{
    CodeGuard guard = ::guard();
    (void)checkedOf(guard, somebody, 12h);
    QCOMPARE(guard.check(guest(2), wrong, start + 12h).kind, Kind::Wrong);
    QCOMPARE(guard.check(guest(2), right, start + 12h).kind, Kind::Right);
}

void CodeGuardTest::guessersWithManyAddressesLeaveRoomForNewcomers()
{
    CodeGuard guard = ::guard();
    auto now = start;
    for (; now < start + 1h; now += 1s) {
        for (int number = 0; number < 40; ++number) {
            (void)guard.check(guest(number), wrong, now);
        }
    }
    QCOMPARE(guard.check(guest(0), right, now).kind, Kind::SlowDown);
    QCOMPARE(guard.check(guest(1000), right, now).kind, Kind::Right);
    QCOMPARE(guard.check(guest(1001), wrong, now).kind, Kind::Wrong);
}

void CodeGuardTest::aKnownAddressIsLetInWhateverTheOthersGuess()
{
    CodeGuard guard = ::guard();
    QCOMPARE(guard.check(guest(1000000), right, start).kind, Kind::Right);
    for (int number = 0; number < 5000; ++number) {
        (void)guard.check(guest(number), wrong, start);
    }
    QCOMPARE(guard.check(guest(1000000), wrong, start).kind, Kind::Wrong);
    QCOMPARE(guard.check(guest(1000000), right, start).kind, Kind::Right);
}

void CodeGuardTest::whenAllIsUsedUpANewcomerIsToldToWait()
{
    CodeGuard guard = ::guard();
    for (int number = 0; number < 60; ++number) {
        QCOMPARE(guard.check(guest(number), wrong, start).kind, Kind::Wrong);
    }
    QCOMPARE(guard.check(guest(60), right, start), (CodeVerdict{Kind::SlowDown, 10s}));
    QCOMPARE(guard.check(guest(60), right, start + 10s).kind, Kind::Right);
}

void CodeGuardTest::rightCodesUseUpNothing()
{
    CodeGuard guard = ::guard();
    for (int number = 0; number < 1000; ++number) {
        QCOMPARE(guard.check(guest(number), right, start).kind, Kind::Right);
    }
    for (int number = 2000; number < 2060; ++number) {
        QCOMPARE(guard.check(guest(number), wrong, start).kind, Kind::Wrong);
    }
}

void CodeGuardTest::memoryIsBounded()
{
    CodeGuard guard = ::guard();
    auto now = start;
    for (int number = 0; number < 3000; ++number, now += 10s) {
        QCOMPARE(guard.check(guest(number), right, now).kind, Kind::Right);
        QCOMPARE(guard.check(guest(100000 + number), wrong, now).kind, Kind::Wrong);
        QVERIFY(guard.remembered() <= 2 * CodeGuard::mostAddresses);
    }
    QCOMPARE(guard.remembered(), 2 * CodeGuard::mostAddresses);
}

void CodeGuardTest::anAddressThatWaitsIsNotForgottenForAnother()
{
    CodeGuard guard = ::guard();
    auto now = start;
    int other = 1000;
    // One goes on guessing while new addresses come and go; each must find its count again.
    int checked = 0;
    for (int round = 0; round < 3000; ++round, now += 10s) {
        checked += guard.check(somebody, wrong, now).kind == Kind::Wrong ? 1 : 0;
        (void)guard.check(guest(other++), wrong, now);
    }
    QCOMPARE(guard.remembered(), CodeGuard::mostAddresses);
    QVERIFY2(checked < 5 + 7 + 3000 / 6 + 1, qPrintable(QString::number(checked)));
}

WINGBELL_APPLESS_TEST(CodeGuardTest)
#include "CodeGuardTest.moc"

#include "relay/access/CodeGuard.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <vector>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

using Clock = CodeGuard::Clock;

enum class Kind { Right, Wrong, SlowDown };

struct Verdict
{
    Kind kind = Kind::Right;
    std::chrono::seconds wait{0};

    friend bool operator==(const Verdict&, const Verdict&) = default;
};

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

const QHostAddress client = guest(1);

CodeGuard guard()
{
    return CodeGuard(CrewCode::fromText(right).value());
}

Verdict
tried(CodeGuard& guard, const QHostAddress& from, const QString& code, Clock::time_point now)
{
    const auto checked = guard.check(from, code, now);
    if (checked) {
        return {Kind::Right, 0s};
    }
    const CodeError error = checked.error();
    return {error.kind == CodeError::Kind::Wrong ? Kind::Wrong : Kind::SlowDown, error.wait};
}

/// How many wrong codes of one address are looked at in `duration`, tried as early as may be.
int checkedOf(CodeGuard& guard, const QHostAddress& from, Clock::duration duration)
{
    int checked = 0;
    for (auto now = start; now < start + duration;) {
        const Verdict verdict = tried(guard, from, wrong, now);
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
        if (tried(guard, from, wrong, now).kind != Kind::Wrong) {
            return {};
        }
        const Verdict next = tried(guard, from, wrong, now);
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
    void afterAQuietTimeTheCountStartsFromZero();
    void addressesWaitApart();
    void anIpv6NetworkWaitsAsOne();
    void noOtherOnTheSameNetworkMakesAKnownAddressWait();
    void aKnownAddressThatGuessesWaitsToo();
    void aNightOfGuessingFromOneAddressStaysWithinTheOdds();
    void aNightOfGuessingFromManyAddressesStaysWithinTheOdds();
    void oneGuesserLeavesRoomForNewcomers();
    void guessersWithManyAddressesLeaveRoomForNewcomers();
    void aKnownAddressIsLetInWhateverTheOthersGuess();
    void whenAllIsUsedUpANewcomerIsToldToWait();
    void rightCodesUseUpNothing();
    void ofManyAddressesTheQuietestIsForgotten();
    void anAddressThatWaitsIsNotForgottenForAnother();
};

void CodeGuardTest::theRightCodeIsRight()
{
    CodeGuard guard = ::guard();
    QCOMPARE(tried(guard, client, right, start), Verdict{Kind::Right});
    QCOMPARE(tried(guard, client, right, start), Verdict{Kind::Right});
    QCOMPARE(tried(guard, client, {}, start), Verdict{Kind::Wrong});
}

void CodeGuardTest::fiveWrongCodesAreFree()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 5; ++attempt) {
        QCOMPARE(tried(guard, client, wrong, start), Verdict{Kind::Wrong});
    }
    QCOMPARE(tried(guard, client, right, start), Verdict{Kind::Right});
}

void CodeGuardTest::thenTheWaitDoublesUpToAMinute()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 5; ++attempt) {
        QCOMPARE(tried(guard, client, wrong, start), Verdict{Kind::Wrong});
    }
    QCOMPARE(waitsOf(guard, client, 9), (std::vector<int>{1, 2, 4, 8, 16, 32, 60, 60, 60}));
}

void CodeGuardTest::whileWaitingEvenTheRightCodeIsNotLookedAt()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 6; ++attempt) {
        QCOMPARE(tried(guard, client, wrong, start), Verdict{Kind::Wrong});
    }
    QCOMPARE(tried(guard, client, right, start), (Verdict{Kind::SlowDown, 1s}));
    QCOMPARE(tried(guard, client, right, start + 999ms), (Verdict{Kind::SlowDown, 1s}));
    QCOMPARE(tried(guard, client, right, start + 1s), Verdict{Kind::Right});
}

void CodeGuardTest::theWaitIsToldInWholeSecondsNeverNone()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 6; ++attempt) {
        (void)tried(guard, client, wrong, start);
    }
    (void)tried(guard, client, wrong, start + 1s);
    QCOMPARE(tried(guard, client, wrong, start + 1s), (Verdict{Kind::SlowDown, 2s}));
    QCOMPARE(tried(guard, client, wrong, start + 1100ms), (Verdict{Kind::SlowDown, 2s}));
    QCOMPARE(tried(guard, client, wrong, start + 2s), (Verdict{Kind::SlowDown, 1s}));
    QCOMPARE(tried(guard, client, wrong, start + 3s - 1ns), (Verdict{Kind::SlowDown, 1s}));
}

void CodeGuardTest::attemptsWhileWaitingDoNotProlongIt()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 6; ++attempt) {
        (void)tried(guard, client, wrong, start);
    }
    for (int attempt = 0; attempt < 1000; ++attempt) {
        QCOMPARE(tried(guard, client, wrong, start).kind, Kind::SlowDown);
    }
    QCOMPARE(tried(guard, client, right, start + 1s).kind, Kind::Right);
}

void CodeGuardTest::aRightCodeTakesBackOneWrongCodeOnly()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 5; ++attempt) {
        (void)tried(guard, client, wrong, start);
    }
    QCOMPARE(tried(guard, client, right, start).kind, Kind::Right);
    QCOMPARE(tried(guard, client, wrong, start).kind, Kind::Wrong);
    QCOMPARE(tried(guard, client, wrong, start).kind, Kind::Wrong);
    QCOMPARE(tried(guard, client, wrong, start), (Verdict{Kind::SlowDown, 1s}));
}

void CodeGuardTest::afterAQuietTimeTheCountStartsFromZero()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 6; ++attempt) {
        (void)tried(guard, client, wrong, start);
    }
    const auto almost = start + 30min - 1ns;
    QCOMPARE(tried(guard, client, wrong, almost).kind, Kind::Wrong);
    QCOMPARE(tried(guard, client, wrong, almost).kind, Kind::SlowDown);
    for (int attempt = 0; attempt < 5; ++attempt) {
        QCOMPARE(tried(guard, client, wrong, almost + 30min).kind, Kind::Wrong);
    }
}

void CodeGuardTest::addressesWaitApart()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 6; ++attempt) {
        (void)tried(guard, client, wrong, start);
    }
    QCOMPARE(tried(guard, client, right, start).kind, Kind::SlowDown);
    QCOMPARE(tried(guard, guest(2), right, start).kind, Kind::Right);
}

void CodeGuardTest::anIpv6NetworkWaitsAsOne()
{
    CodeGuard guard = ::guard();
    for (int attempt = 0; attempt < 6; ++attempt) {
        const QHostAddress from = ip(QStringLiteral("2001:db8::%1").arg(attempt + 1));
        QCOMPARE(tried(guard, from, wrong, start).kind, Kind::Wrong);
    }
    QCOMPARE(tried(guard, ip(QStringLiteral("2001:db8::99")), wrong, start).kind, Kind::SlowDown);
    QCOMPARE(tried(guard, ip(QStringLiteral("2001:db8:0:1::1")), wrong, start).kind, Kind::Wrong);
}

void CodeGuardTest::noOtherOnTheSameNetworkMakesAKnownAddressWait()
{
    CodeGuard guard = ::guard();
    const QHostAddress known = ip(QStringLiteral("fd00::1"));
    const QHostAddress guesser = ip(QStringLiteral("fd00::2"));
    QCOMPARE(tried(guard, known, right, start).kind, Kind::Right);
    (void)checkedOf(guard, guesser, 5min);
    QCOMPARE(tried(guard, guesser, right, start + 5min).kind, Kind::SlowDown);
    QCOMPARE(tried(guard, known, right, start + 5min).kind, Kind::Right);
}

void CodeGuardTest::aKnownAddressThatGuessesWaitsToo()
{
    CodeGuard guard = ::guard();
    QCOMPARE(tried(guard, client, right, start).kind, Kind::Right);
    for (int attempt = 0; attempt < 6; ++attempt) {
        QCOMPARE(tried(guard, client, wrong, start).kind, Kind::Wrong);
    }
    QCOMPARE(tried(guard, client, right, start).kind, Kind::SlowDown);
}

void CodeGuardTest::aNightOfGuessingFromOneAddressStaysWithinTheOdds()
{
    CodeGuard guard = ::guard();
    QVERIFY(checkedOf(guard, client, 12h) <= 731);
    CodeGuard other = ::guard();
    QCOMPARE(tried(other, client, right, start).kind, Kind::Right);
    const int checked = checkedOf(other, client, 12h);
    QVERIFY2(checked <= 731 && checked > 700, qPrintable(QString::number(checked)));
}

void CodeGuardTest::aNightOfGuessingFromManyAddressesStaysWithinTheOdds()
{
    CodeGuard guard = ::guard();
    int checked = 0;
    int next = 0;
    for (auto now = start; now < start + 12h; now += 1s) {
        for (int attempt = 0; attempt < 5; ++attempt) {
            checked += tried(guard, guest(next++ % 3000), wrong, now).kind == Kind::Wrong ? 1 : 0;
        }
    }
    QVERIFY2(checked <= 7300 && checked > 5000, qPrintable(QString::number(checked)));
}

void CodeGuardTest::oneGuesserLeavesRoomForNewcomers()
{
    CodeGuard guard = ::guard();
    (void)checkedOf(guard, client, 12h);
    QCOMPARE(tried(guard, guest(2), wrong, start + 12h).kind, Kind::Wrong);
    QCOMPARE(tried(guard, guest(2), right, start + 12h).kind, Kind::Right);
}

void CodeGuardTest::guessersWithManyAddressesLeaveRoomForNewcomers()
{
    CodeGuard guard = ::guard();
    auto now = start;
    for (; now < start + 1h; now += 1s) {
        for (int number = 0; number < 40; ++number) {
            (void)tried(guard, guest(number), wrong, now);
        }
    }
    QCOMPARE(tried(guard, guest(0), right, now).kind, Kind::SlowDown);
    QCOMPARE(tried(guard, guest(1000), right, now).kind, Kind::Right);
    QCOMPARE(tried(guard, guest(1001), wrong, now).kind, Kind::Wrong);
}

void CodeGuardTest::aKnownAddressIsLetInWhateverTheOthersGuess()
{
    CodeGuard guard = ::guard();
    QCOMPARE(tried(guard, guest(1000000), right, start).kind, Kind::Right);
    for (int number = 0; number < 5000; ++number) {
        (void)tried(guard, guest(number), wrong, start);
    }
    QCOMPARE(tried(guard, guest(1000000), wrong, start).kind, Kind::Wrong);
    QCOMPARE(tried(guard, guest(1000000), right, start).kind, Kind::Right);
}

void CodeGuardTest::whenAllIsUsedUpANewcomerIsToldToWait()
{
    CodeGuard guard = ::guard();
    for (int number = 0; number < 60; ++number) {
        QCOMPARE(tried(guard, guest(number), wrong, start).kind, Kind::Wrong);
    }
    QCOMPARE(tried(guard, guest(60), right, start), (Verdict{Kind::SlowDown, 10s}));
    QCOMPARE(tried(guard, guest(60), right, start + 10s).kind, Kind::Right);
}

void CodeGuardTest::rightCodesUseUpNothing()
{
    CodeGuard guard = ::guard();
    for (int number = 0; number < 1000; ++number) {
        QCOMPARE(tried(guard, guest(number), right, start).kind, Kind::Right);
    }
    for (int number = 2000; number < 2060; ++number) {
        QCOMPARE(tried(guard, guest(number), wrong, start).kind, Kind::Wrong);
    }
}

void CodeGuardTest::ofManyAddressesTheQuietestIsForgotten()
{
    for (const int others : {1023, 1024}) {
        CodeGuard guard = ::guard();
        QCOMPARE(tried(guard, client, right, start).kind, Kind::Right);
        for (int attempt = 0; attempt < 5; ++attempt) {
            QCOMPARE(tried(guard, client, wrong, start).kind, Kind::Wrong);
        }
        for (int number = 0; number < others; ++number) {
            QCOMPARE(tried(guard, guest(1000 + number), right, start + 1s).kind, Kind::Right);
        }
        QCOMPARE(tried(guard, client, wrong, start + 1s).kind, Kind::Wrong);
        // Waits only while its five wrong codes before are remembered.
        QCOMPARE(
            tried(guard, client, wrong, start + 1s).kind,
            others < 1024 ? Kind::SlowDown : Kind::Wrong);
    }
}

void CodeGuardTest::anAddressThatWaitsIsNotForgottenForAnother()
{
    CodeGuard guard = ::guard();
    auto now = start;
    int other = 1000;
    // One goes on guessing while new addresses come and go; each must find its count again.
    int checked = 0;
    for (int round = 0; round < 3000; ++round, now += 10s) {
        checked += tried(guard, client, wrong, now).kind == Kind::Wrong ? 1 : 0;
        (void)tried(guard, guest(other++), wrong, now);
    }
    QVERIFY2(checked < 5 + 7 + 3000 / 6 + 1, qPrintable(QString::number(checked)));
}

WINGBELL_APPLESS_TEST(CodeGuardTest)
#include "CodeGuardTest.moc"

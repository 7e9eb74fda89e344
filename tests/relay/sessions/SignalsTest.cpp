#include "relay/sessions/Signals.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;
using namespace std::chrono_literals;
using Kind = Signals::LightKind;

namespace {

constexpr std::size_t channelCount = 3;
constexpr Signals::Person caller = 1;
constexpr Signals::Person listener = 2;
const Signals::Clock::time_point start{1h};

ChannelSet only(std::size_t channel)
{
    ChannelSet set(channelCount);
    set.insert(channel);
    return set;
}

Signals::Acknowledged aCall()
{
    return {true, Kind::Standby, {}};
}

} // namespace

class SignalsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aCallIsOnItsChannelUntilItsCallerEndsIt();
    void aChannelThatIsCalledKeepsItsCall();
    void aCallEndsByItself();
    void aCallThatAllHaveAnsweredIsShownABitLonger();
    void aLightReplacesTheOneBefore();
    void standbyStaysAndGoEndsByItself();
    void clearEndsCallsAndLights();
    void eachPersonAcknowledgesOnce();
    void aCallerDoesNotAnswerItself();
    void whoComesBackNeedNotAnswerAgain();
};

void SignalsTest::aCallIsOnItsChannelUntilItsCallerEndsIt()
{
    Signals signals(channelCount);
    signals.call(only(1), QStringLiteral("Caller"), caller, start);
    QVERIFY(!signals.callOn(0));
    QCOMPARE(signals.callOn(1)->from, QStringLiteral("Caller"));
    QVERIFY(!signals.endCall(1, listener));
    QVERIFY(!signals.endCall(0, caller));
    QVERIFY(signals.endCall(1, caller));
    QVERIFY(signals.isEmpty());
}

void SignalsTest::aChannelThatIsCalledKeepsItsCall()
{
    Signals signals(channelCount);
    signals.call(only(1), QStringLiteral("Caller"), caller, start);
    (void)signals.acknowledgeCall(1, listener);
    signals.call(ChannelSet::all(channelCount), {}, std::nullopt, start + 1s);
    QCOMPARE(signals.callOn(1)->from, QStringLiteral("Caller"));
    QVERIFY(signals.callOn(1)->acknowledged.contains(listener));
    QVERIFY(signals.callOn(0) && signals.callOn(2));
}

void SignalsTest::aCallEndsByItself()
{
    Signals signals(channelCount);
    signals.call(only(0), {}, std::nullopt, start);
    QVERIFY(!signals.expire(start + Signals::maxCallTime - 1ms));
    QVERIFY(signals.expire(start + Signals::maxCallTime));
    QVERIFY(signals.isEmpty());
}

void SignalsTest::aCallThatAllHaveAnsweredIsShownABitLonger()
{
    Signals signals(channelCount);
    signals.call(only(0), {}, std::nullopt, start);
    signals.answered(0, start + 1s);
    signals.answered(0, start + 5s);
    QVERIFY(!signals.expire(start + 1s + Signals::answeredTime - 1ms));
    QVERIFY(signals.expire(start + 1s + Signals::answeredTime));
}

void SignalsTest::aLightReplacesTheOneBefore()
{
    Signals signals(channelCount);
    signals.show(only(0), Kind::Standby, QStringLiteral("LX 12"), start);
    (void)signals.acknowledgeLight(0, listener);
    signals.show(only(0), Kind::Go, QStringLiteral("LX 13"), start);
    QCOMPARE(signals.lightOn(0)->text, QStringLiteral("LX 13"));
    QVERIFY(signals.lightOn(0)->kind == Kind::Go);
    QVERIFY(signals.lightOn(0)->acknowledged.empty());
}

void SignalsTest::standbyStaysAndGoEndsByItself()
{
    Signals signals(channelCount);
    signals.show(only(0), Kind::Standby, {}, start);
    signals.show(only(1), Kind::Go, {}, start);
    QVERIFY(!signals.expire(start + Signals::goTime - 1ms));
    QVERIFY(signals.expire(start + Signals::goTime));
    QVERIFY(!signals.lightOn(1));
    QVERIFY(!signals.expire(start + 10h));
    QVERIFY(signals.lightOn(0).has_value());
}

void SignalsTest::clearEndsCallsAndLights()
{
    Signals signals(channelCount);
    signals.show(ChannelSet::all(channelCount), Kind::Standby, {}, start);
    signals.call(only(0), {}, std::nullopt, start);
    signals.clear(only(0));
    QVERIFY(!signals.callOn(0) && !signals.lightOn(0) && signals.lightOn(1));
}

void SignalsTest::eachPersonAcknowledgesOnce()
{
    Signals signals(channelCount);
    QVERIFY(!signals.acknowledgeCall(0, listener) && !signals.acknowledgeLight(0, listener));
    signals.call(only(0), {}, std::nullopt, start);
    signals.show(only(0), Kind::Standby, QStringLiteral("LX 12"), start);
    QCOMPARE(signals.acknowledgeCall(0, listener), std::optional(aCall()));
    QVERIFY(signals.lightOn(0)->acknowledged.empty()); // answering a call says nothing of the light
    const Signals::Acknowledged light = {false, Kind::Standby, QStringLiteral("LX 12")};
    QCOMPARE(signals.acknowledgeLight(0, listener), std::optional(light));
    QVERIFY(!signals.acknowledgeCall(0, listener) && !signals.acknowledgeLight(0, listener));
    QCOMPARE(signals.acknowledgeLight(0, caller), std::optional(light));
}

void SignalsTest::aCallerDoesNotAnswerItself()
{
    Signals signals(channelCount);
    signals.call(only(0), QStringLiteral("Caller"), caller, start);
    QVERIFY(!signals.acknowledgeCall(0, caller));
    QCOMPARE(signals.acknowledgeCall(0, listener), std::optional(aCall()));
}

void SignalsTest::whoComesBackNeedNotAnswerAgain()
{
    constexpr Signals::Person after = 7;
    Signals signals(channelCount);
    signals.call(only(0), QStringLiteral("Caller"), caller, start);
    signals.show(only(1), Kind::Standby, {}, start);
    (void)signals.acknowledgeCall(0, listener);
    (void)signals.acknowledgeLight(1, listener);
    signals.replace(listener, after);
    QVERIFY(!signals.acknowledgeCall(0, after));
    QVERIFY(!signals.acknowledgeLight(1, after));
    signals.replace(caller, 8);
    QVERIFY(signals.endCall(0, 8));
}

WINGBELL_APPLESS_TEST(SignalsTest)
#include "SignalsTest.moc"

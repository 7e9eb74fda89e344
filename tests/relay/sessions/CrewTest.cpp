#include "relay/sessions/Crew.h"
#include "tests/TestProgram.h"

#include "tests/relay/audio/TalkingClient.h"

#include <QTest>

#include <list>

using namespace wingbell;
using namespace std::chrono_literals;
using Clock = Crew::Clock;

namespace {

/// A link without any network, which does as the test says.
class FakeLink final : public MediaLink
{
public:
    [[nodiscard]] QByteArray offer() const override { return "v=0\r\n"; }
    void takeAnswer(const MediaAnswer& taken, RtpReceiver to) override
    {
        answer = taken;
        receiver = std::move(to);
    }
    [[nodiscard]] State state() const override { return now; }
    void close() override { isClosed = true; }
    void send(std::span<const std::uint8_t> /*packet*/) override {}

    RtpReceiver receiver;
    MediaAnswer answer;
    State now = State::Waiting;
    bool isClosed = false;
};

/// Keeps what a page was told, also when the page's end of it is gone.
struct Told
{
    std::vector<DeskEvent> desks;
    int beats = 0;
    std::chrono::milliseconds retryWindow{0};
    int unheards = 0;
    std::vector<std::vector<int>> reminders; ///< the channels of each
    QStringList announcements;
    std::vector<quint64> closings;
    std::optional<Goodbye> goodbye;
    std::optional<std::chrono::milliseconds> handedOver;
};

class FakeEvents final : public PageEvents
{
public:
    explicit FakeEvents(Told& told)
        : m_told(told)
    {
    }

    void desk(const DeskEvent& desk) override { m_told.desks.push_back(desk); }
    void heartbeat(std::chrono::milliseconds retryWindow) override
    {
        ++m_told.beats;
        m_told.retryWindow = retryWindow;
    }
    void unheard() override { ++m_told.unheards; }
    void forgotten(const std::vector<int>& channels) override
    {
        m_told.reminders.push_back(channels);
    }
    void announcement(const QString& text) override { m_told.announcements.append(text); }
    void keysClosed(quint64 count) override { m_told.closings.push_back(count); }
    void goodbye(Goodbye reason) override { m_told.goodbye = reason; }
    void handedOver(std::chrono::milliseconds retryAfter) override
    {
        m_told.handedOver = retryAfter;
    }

private:
    Told& m_told;
};

class FakeObserver final : public CrewObserver
{
public:
    void joined(const QString& role, const QString& address, bool microphone) override
    {
        lines.append(QStringLiteral("joined %1 %2%3")
                         .arg(role, address, microphone ? QString() : QStringLiteral(" mute")));
    }
    void returned(const QString& role, const QString& address) override
    {
        lines.append(QStringLiteral("returned %1 %2").arg(role, address));
    }
    void left(const QString& role, const QString& address, Departure why) override
    {
        lines.append(QStringLiteral("left %1 %2 %3").arg(role, address).arg(static_cast<int>(why)));
    }
    void
    keptKeysOn(const QString& role, const QStringList& channels, std::chrono::minutes time) override
    {
        lines.append(QStringLiteral("%1 kept %2 on for %3 min")
                         .arg(role, channels.join(QLatin1Char(' ')))
                         .arg(time.count()));
    }

    void called(const QString& role, const QString& channel) override
    {
        lines.append(QStringLiteral("%1 calls on %2").arg(role, channel));
    }

    QStringList lines;
};

ShowFile hamlet()
{
    const auto list = [](const char* names) {
        return QString::fromUtf8(names).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    };
    ShowFile show;
    show.channels = list("Main Tech Stage");
    show.roles = {
        Role{{}, QStringLiteral("Caller"), list("Main Tech"), list("Main Tech Stage")},
        Role{{}, QStringLiteral("Lights"), list("Tech"), list("Tech")},
        Role{{}, QStringLiteral("Usher"), {}, list("Stage")}};
    return show;
}

SdpAnswer answerWith(const QByteArray& direction)
{
    const QByteArray fingerprint = QByteArray("AB:").repeated(32).chopped(1);
    return {"abcd", "abcdefghijklmnopqrstuv", fingerprint, "active", direction, {4711}, true};
}

} // namespace

class CrewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void aJoinIsToldOnceTheSoundFlows();
    void aMemberWithoutAMicrophoneIsToldSo();
    void allSeeWhoTalksWhereButNotThemselves();
    void twoOnOneRoleSeeEachOther();
    void manyKeysAtOnceAreShownTogether();
    void keysBeyondTheRoleDoNothing();
    void anOlderStateThatComesLateIsIgnored();
    void aStateWithoutASessionIsRefused();
    void keysAreReleasedWhenThePageIsSilent();
    void aMemberThatNeverConnectsIsRemoved();
    void aMemberWithoutASignOfLifeIsRemoved();
    void aBrokenLinkIsGivenTimeToComeBack();
    void aPageThatHangsUpAndSaysNothingMoreHasLeft();
    void aForgedCertificateEndsTheSessionAtOnce();
    void joiningAgainReplacesTheSessionBefore();
    void comingBackAtTheSecondTryIsComingBackToo();
    void leavingIsToldAndStopsTheKeys();
    void leavingBeforeConnectingIsNotTold();
    void aFullCrewTakesNoMore();
    void tooManyConnectingHaveToWait();
    void whoConnectsForLongGivesWayToTheNext();
    void theNetworkThatConnectsMostGivesWay();
    void thoseWhoHaveToWaitComeAgainOneAfterTheOther();
    void aSessionThatCannotBeReplacedNowStays();
    void theFirstRetriesOfACrewAreSpreadByItsSize();
    void withoutALinkThereIsNothingLeft();
    void aPageIsToldThatItsMicrophoneIsNotHeard();
    void whoForgetsAKeyIsReminded();
    void whoForgetsAKeyIsToldToTheConsole();
    void whoSpeaksIsNotReminded();
    void whoSpeaksAfterAReminderIsRemindedAgainMuchLater();
    void whoTapsAgainHasAnsweredTheReminder();
    void whoReleasesTheKeyIsNotReminded();
    void aReminderThatMayBeLostIsSentAgain();
    void announcementsShowOnTheirChannels();
    void anAnnouncementIsReadByThoseWhoHearIt();
    void theDeskClosesTheKeysOfOneMember();
    void theDeskClosesEveryKey();
    void aStatePostedBeforeThePageKnewOpensNoKeyAgain();
    void aClosingThatMayBeLostIsToldAgain();
    void theDeskSeesWhoIsThereAndWhoseKeysAreOpen();
    void theDeskSeesWhenAMemberWasLastHeard();
    void aCallReachesThoseWhoListenThere();
    void theCallerSeesWhoHasAnswered();
    void aCallToWhichAllHaveAnsweredEnds();
    void callsOfOneMemberAreLimited();
    void whoComesBackIsNotCalledAgain();
    void aLightIsShownToThoseWhoListenAndAcknowledged();
    void acknowledgementsAreToldOnce();
    void aChannelBeyondTheRoleCallsAndAcknowledgesNothing();
    void theDeskSeesCallsAndLightsWithTheirAnswers();
    void goingOffAirSaysGoodbyeToAll();
    void handingOverTellsEachPageATimeOfItsOwnToJoinAgain();
    void aHeartbeatComesEveryTwoSeconds();
    void theLinkLearnsWhatItNeedsOfTheAnswer();

private:
    /// Joins, with its link connected at once, and returns the session.
    QString join(std::size_t role, const QString& replaces = {});
    QString ask(std::size_t role, const QString& replaces = {});
    void press(const QString& session, std::vector<int> talk, quint64 closings = 0);
    [[nodiscard]] std::vector<std::size_t> openKeysOf(std::size_t member) const;
    bool call(const QString& session, int channel, bool on = true);
    void answer(const QString& session, int channel);
    void acknowledge(const QString& session, int channel);
    [[nodiscard]] ChannelSet channel(const QString& name) const { return m_show.setOf(name); }
    void pass(std::chrono::seconds time);
    void speak(std::size_t link);
    Told& listenTo(const QString& session);

    ShowFile m_file = hamlet();
    ShowPatch m_show{m_file};
    std::unique_ptr<Room> m_room;
    FakeObserver m_observer;
    std::vector<std::shared_ptr<FakeLink>> m_links;
    std::list<Told> m_told;
    std::unique_ptr<Crew> m_crew;
    Clock::time_point m_now;
    quint64 m_number = 0;
    std::optional<TalkingClient> m_talker;
    QStringList m_sessions; ///< of those who have connected
};

void CrewTest::init()
{
    m_room = std::make_unique<Room>(3, 960);
    m_observer = {};
    m_links.clear();
    m_told.clear();
    m_number = 0;
    m_sessions.clear();
    m_talker.emplace(syllables());
    m_now = Clock::time_point(1h);
    m_crew = std::make_unique<Crew>(
        m_show, *m_room,
        [this] {
            m_links.push_back(std::make_shared<FakeLink>());
            return m_links.back();
        },
        m_observer);
}

void CrewTest::cleanup()
{
    m_crew.reset();
}

QString CrewTest::ask(std::size_t role, const QString& replaces)
{
    const QHostAddress address(QStringLiteral("10.0.0.%1").arg(m_links.size() + 1));
    return m_crew->join({role, true, replaces, address}, m_now).value().session;
}

QString CrewTest::join(std::size_t role, const QString& replaces)
{
    QString session = ask(role, replaces);
    if (!m_crew->takeAnswer(session, answerWith("sendrecv"), m_now)) {
        return {};
    }
    m_links.back()->now = MediaLink::State::Connected;
    m_sessions.append(session);
    m_crew->checkTimeouts(m_now);
    return session;
}

void CrewTest::press(const QString& session, std::vector<int> talk, quint64 closings)
{
    StateRequest state;
    state.session = session;
    state.number = ++m_number;
    state.talk = std::move(talk);
    state.levels = {1, 1, 1};
    state.closings = closings;
    m_now += Crew::keyIntervalPerMember * Crew::maxMembers; // shown at once
    QVERIFY(m_crew->takeState(state, m_now));
}

/// Time passes, while the pages stay there.
void CrewTest::pass(std::chrono::seconds time)
{
    for (const Clock::time_point end = m_now + time; m_now < end;) {
        m_now += 1s;
        for (const QString& session : m_sessions) {
            StateRequest state;
            state.session = session;
            (void)m_crew->takeState(state, m_now); // an old one, as its number is 0
        }
        m_crew->checkTimeouts(m_now);
    }
}

/// A few syllables come by that link.
void CrewTest::speak(std::size_t link)
{
    for (int cycle = 0; cycle < 50; ++cycle) {
        m_links.at(link)->receiver(m_talker->next());
        m_room->runCycle();
    }
    m_crew->checkTimeouts(m_now);
}

Told& CrewTest::listenTo(const QString& session)
{
    Told& told = m_told.emplace_back();
    if (!m_crew->takeEvents(session, std::make_unique<FakeEvents>(told), m_now)) {
        qFatal("the session takes no events");
    }
    return told;
}

void CrewTest::aJoinIsToldOnceTheSoundFlows()
{
    (void)ask(0);
    m_crew->checkTimeouts(m_now);
    QCOMPARE(m_observer.lines, QStringList());
    m_links.back()->now = MediaLink::State::Connected;
    m_crew->checkTimeouts(m_now);
    m_crew->checkTimeouts(m_now);
    QCOMPARE(m_observer.lines, QStringList(QStringLiteral("joined Caller 10.0.0.1")));
}

void CrewTest::aMemberWithoutAMicrophoneIsToldSo()
{
    const QString session = ask(2);
    QVERIFY(m_crew->takeAnswer(session, answerWith("recvonly"), m_now));
    m_links.back()->now = MediaLink::State::Connected;
    m_crew->checkTimeouts(m_now);
    QCOMPARE(m_observer.lines, QStringList(QStringLiteral("joined Usher 10.0.0.1 mute")));
}

void CrewTest::allSeeWhoTalksWhereButNotThemselves()
{
    const QString caller = join(0);
    const QString lights = join(1);
    Told& callers = listenTo(caller);
    Told& lightss = listenTo(lights);
    press(caller, {1});
    QCOMPARE(lightss.desks.back().channels.at(0).talking, QStringList(QStringLiteral("Caller")));
    QCOMPARE(callers.desks.size(), std::size_t{1}); // nothing new for itself
    press(lights, {0});
    QCOMPARE(callers.desks.back().channels.at(1).talking, QStringList(QStringLiteral("Lights")));
    QCOMPARE(callers.desks.back().channels.at(0).talking, QStringList());
    press(caller, {});
    QCOMPARE(lightss.desks.back().channels.at(0).talking, QStringList());
}

void CrewTest::twoOnOneRoleSeeEachOther()
{
    const QString first = join(1);
    const QString second = join(1);
    QCOMPARE(m_crew->present(1), std::size_t{2});
    Told& told = listenTo(second);
    press(first, {0});
    QCOMPARE(told.desks.back().channels.at(0).talking, QStringList(QStringLiteral("Lights")));
}

void CrewTest::manyKeysAtOnceAreShownTogether()
{
    const QString caller = join(0);
    const QString lights = join(1);
    Told& told = listenTo(lights);
    press(caller, {1});
    QCOMPARE(told.desks.size(), std::size_t{2}); // the one that a page gets at first, and the key
    QCOMPARE(m_crew->keysDue(), std::nullopt);
    const Clock::time_point shown = m_now;
    for (const std::vector<int>& talk : {std::vector<int>{}, {1}, {}}) {
        StateRequest state;
        state.session = caller;
        state.number = ++m_number;
        state.talk = talk;
        QVERIFY(m_crew->takeState(state, m_now));
    }
    QCOMPARE(m_crew->keysDue(), std::optional(shown + 2 * Crew::keyIntervalPerMember));
    m_crew->checkTimeouts(shown + 2 * Crew::keyIntervalPerMember - 1us);
    QCOMPARE(told.desks.size(), std::size_t{2});
    m_crew->checkTimeouts(shown + 2 * Crew::keyIntervalPerMember);
    QCOMPARE(told.desks.size(), std::size_t{3});
    QCOMPARE(told.desks.back().channels.at(0).talking, QStringList());
    QCOMPARE(m_crew->keysDue(), std::nullopt);
}

void CrewTest::keysBeyondTheRoleDoNothing()
{
    const QString caller = join(0);
    const QString usher = join(2);
    Told& told = listenTo(caller);
    press(usher, {0, 1, 7});
    QCOMPARE(told.desks.size(), std::size_t{1});
}

void CrewTest::anOlderStateThatComesLateIsIgnored()
{
    const QString caller = join(0);
    const QString lights = join(1);
    Told& told = listenTo(lights);
    StateRequest state;
    state.session = caller;
    state.number = 5;
    QVERIFY(m_crew->takeState(state, m_now));
    state.number = 4;
    state.talk = {1};
    QVERIFY(m_crew->takeState(state, m_now));
    QCOMPARE(told.desks.size(), std::size_t{1});
}

void CrewTest::aStateWithoutASessionIsRefused()
{
    StateRequest state;
    state.session = QStringLiteral("0123");
    state.number = 1;
    QVERIFY(!m_crew->takeState(state, m_now));
    QVERIFY(!m_crew->takeAnswer(state.session, answerWith("sendrecv"), m_now));
    QVERIFY(!m_crew->takeEvents(state.session, nullptr, m_now));
    m_crew->leave(state.session);
    QCOMPARE(m_observer.lines, QStringList());
}

void CrewTest::keysAreReleasedWhenThePageIsSilent()
{
    const QString caller = join(0);
    const QString lights = join(1);
    Told& told = listenTo(lights);
    press(caller, {1});
    m_now += Crew::keyTimeout - 1ms;
    m_crew->checkTimeouts(m_now);
    QCOMPARE(told.desks.back().channels.at(0).talking.size(), 1);
    m_now += 1ms;
    m_crew->checkTimeouts(m_now);
    QCOMPARE(told.desks.back().channels.at(0).talking.size(), 0);
    press(caller, {1});
    QCOMPARE(told.desks.back().channels.at(0).talking.size(), 1);
}

void CrewTest::aMemberThatNeverConnectsIsRemoved()
{
    const QString session = ask(0);
    m_now += Crew::connectTimeout - 1ms;
    m_crew->checkTimeouts(m_now);
    QVERIFY(m_crew->has(session));
    m_now += 1ms;
    m_crew->checkTimeouts(m_now);
    QVERIFY(!m_crew->has(session));
    QVERIFY(m_links.back()->isClosed);
    QCOMPARE(m_observer.lines, QStringList(QStringLiteral("left Caller 10.0.0.1 2")));
}

void CrewTest::aMemberWithoutASignOfLifeIsRemoved()
{
    const QString session = join(0);
    Told& told = listenTo(session);
    m_now += Crew::silenceTimeout;
    m_crew->checkTimeouts(m_now);
    QVERIFY(!m_crew->has(session));
    QCOMPARE(told.goodbye, std::optional(Goodbye::Silent));
    QVERIFY(m_links.back()->isClosed);
    QCOMPARE(m_observer.lines.constLast(), QStringLiteral("left Caller 10.0.0.1 1"));
}

void CrewTest::aBrokenLinkIsGivenTimeToComeBack()
{
    const QString session = join(0);
    m_links.back()->now = MediaLink::State::Lost;
    m_crew->checkTimeouts(m_now);
    QVERIFY(m_crew->has(session));
    m_now += Crew::keyTimeout;
    m_crew->checkTimeouts(m_now);
    QVERIFY(!m_crew->has(session));
    QCOMPARE(m_observer.lines.constLast(), QStringLiteral("left Caller 10.0.0.1 3"));
}

void CrewTest::aPageThatHangsUpAndSaysNothingMoreHasLeft()
{
    const QString session = join(0);
    m_links.back()->now = MediaLink::State::HungUp;
    m_now += Crew::hungUpTimeout - 1ms;
    m_crew->checkTimeouts(m_now);
    QVERIFY(m_crew->has(session));
    m_now += 1ms;
    m_crew->checkTimeouts(m_now);
    QVERIFY(!m_crew->has(session));
    QCOMPARE(m_observer.lines.constLast(), QStringLiteral("left Caller 10.0.0.1 0"));
}

void CrewTest::aForgedCertificateEndsTheSessionAtOnce()
{
    const QString session = join(0);
    m_links.back()->now = MediaLink::State::Forged;
    m_crew->checkTimeouts(m_now);
    QVERIFY(!m_crew->has(session));
    QVERIFY(m_links.back()->isClosed);
    QCOMPARE(m_observer.lines.constLast(), QStringLiteral("left Caller 10.0.0.1 4"));
}

void CrewTest::joiningAgainReplacesTheSessionBefore()
{
    const QString before = join(0);
    Told& told = listenTo(before);
    const QString after = join(0, before);
    QVERIFY(!m_crew->has(before));
    QVERIFY(m_crew->has(after));
    QVERIFY(before != after);
    QCOMPARE(told.goodbye, std::optional(Goodbye::Replaced));
    QCOMPARE(m_crew->memberCount(), std::size_t{1});
    QCOMPARE(
        m_observer.lines,
        (QStringList{
            QStringLiteral("joined Caller 10.0.0.1"), QStringLiteral("returned Caller 10.0.0.2")}));
}

void CrewTest::comingBackAtTheSecondTryIsComingBackToo()
{
    const QString first = join(0);
    const QString failed = ask(0, first);
    (void)join(0, failed);
    QCOMPARE(
        m_observer.lines,
        (QStringList{
            QStringLiteral("joined Caller 10.0.0.1"), QStringLiteral("returned Caller 10.0.0.3")}));
}

void CrewTest::leavingIsToldAndStopsTheKeys()
{
    const QString caller = join(0);
    const QString lights = join(1);
    Told& told = listenTo(lights);
    press(caller, {1});
    m_crew->leave(caller);
    QCOMPARE(told.desks.back().channels.at(0).talking, QStringList());
    QVERIFY(m_links.front()->isClosed);
    QCOMPARE(m_observer.lines.constLast(), QStringLiteral("left Caller 10.0.0.1 0"));
    m_crew->leave(caller);
    QCOMPARE(m_observer.lines.size(), 3);
}

void CrewTest::leavingBeforeConnectingIsNotTold()
{
    m_crew->leave(ask(0));
    QCOMPARE(m_observer.lines, QStringList());
    QVERIFY(m_links.back()->isClosed);
}

void CrewTest::aFullCrewTakesNoMore()
{
    QString last;
    for (std::size_t count = 0; count < Crew::maxMembers; ++count) {
        last = join(1);
    }
    const auto outcome = m_crew->join({1, true, {}, {}}, m_now);
    QVERIFY(!outcome && outcome.error() == Crew::JoinError::Full);
    // A member may join again all the same.
    QVERIFY(m_crew->has(join(1, last)));
}

void CrewTest::tooManyConnectingHaveToWait()
{
    for (std::size_t count = 0; count < Crew::maxConnecting; ++count) {
        (void)ask(1);
    }
    const auto outcome = m_crew->join({1, true, {}, {}}, m_now);
    QVERIFY(!outcome && outcome.error() == Crew::JoinError::NotNow);
    m_links.front()->now = MediaLink::State::Connected;
    m_crew->checkTimeouts(m_now);
    QVERIFY(m_crew->has(ask(1)));
}

void CrewTest::whoConnectsForLongGivesWayToTheNext()
{
    const QString first = ask(1);
    Told& told = listenTo(first);
    for (std::size_t count = 1; count < Crew::maxConnecting; ++count) {
        m_now += 1ms;
        (void)ask(1);
    }
    const std::size_t there = m_crew->memberCount();
    m_now += Crew::givesWayAfter - std::chrono::milliseconds(Crew::maxConnecting);
    QVERIFY(!m_crew->join({1, true, {}, {}}, m_now));
    m_now += 1ms;
    QVERIFY(m_crew->has(ask(1)));
    QVERIFY(!m_crew->has(first));
    QCOMPARE(m_crew->memberCount(), there);
    QCOMPARE(told.goodbye, std::optional(Goodbye::Silent));
    QVERIFY(m_links.front()->isClosed);
    QVERIFY(!m_crew->join({1, true, {}, {}}, m_now)); // the others are not so late yet
}

void CrewTest::theNetworkThatConnectsMostGivesWay()
{
    const auto begin = [this](const QString& address) {
        return m_crew->join({1, true, {}, QHostAddress(address)}, m_now).value().session;
    };
    const QString phone = begin(QStringLiteral("192.168.1.5"));
    m_now += 1s;
    QStringList ofOneAddress;
    QStringList ofOthers;
    for (std::size_t count = 1; count < Crew::maxConnecting; ++count) {
        if (count % 3 == 0) {
            ofOneAddress.append(begin(QStringLiteral("10.0.0.9")));
        } else {
            ofOthers.append(begin(QStringLiteral("10.0.0.%1").arg(count + 100)));
        }
    }
    m_now += Crew::givesWayAfter;
    for (const QString& address : {QStringLiteral("192.168.1.6"), QStringLiteral("192.168.1.7")}) {
        QVERIFY(m_crew->has(begin(address)));
    }
    QVERIFY(m_crew->has(phone));
    const auto left = [this](const QStringList& sessions) {
        return std::count_if(sessions.begin(), sessions.end(), [this](const QString& session) {
            return m_crew->has(session);
        });
    };
    QCOMPARE(left(ofOneAddress), ofOneAddress.size() - 2);
    QCOMPARE(left(ofOthers), ofOthers.size());
}

void CrewTest::thoseWhoHaveToWaitComeAgainOneAfterTheOther()
{
    QCOMPARE(m_crew->takeRetryTime(m_now), Crew::minRetry);
    QCOMPARE(m_crew->takeRetryTime(m_now), Crew::minRetry + Crew::joinInterval);
    QCOMPARE(m_crew->takeRetryTime(m_now + 5ms), Crew::minRetry + 2 * Crew::joinInterval - 5ms);
    for (std::size_t count = 0; count < 2 * Crew::maxMembers; ++count) {
        (void)m_crew->takeRetryTime(m_now);
    }
    QCOMPARE(m_crew->takeRetryTime(m_now), Crew::maxRetry);
    QCOMPARE(m_crew->takeRetryTime(m_now + 1h), Crew::minRetry);
}

void CrewTest::aSessionThatCannotBeReplacedNowStays()
{
    const QString before = join(0);
    press(before, {1});
    Told& told = listenTo(join(1));
    for (std::size_t count = 0; count < Crew::maxConnecting; ++count) {
        (void)ask(1);
    }
    const auto outcome = m_crew->join({0, true, before, {}}, m_now);
    QVERIFY(!outcome && outcome.error() == Crew::JoinError::NotNow);
    QVERIFY(m_crew->has(before));
    QVERIFY(!m_links.front()->isClosed);
    QCOMPARE(told.desks.back().channels.at(0).talking, QStringList(QStringLiteral("Caller")));
}

void CrewTest::theFirstRetriesOfACrewAreSpreadByItsSize()
{
    Told& told = listenTo(join(0));
    m_crew->checkTimeouts(m_now + 2s);
    QCOMPARE(told.retryWindow, Crew::joinInterval);
    for (int count = 0; count < 9; ++count) {
        (void)join(1);
    }
    m_crew->checkTimeouts(m_now + 4s);
    QCOMPARE(told.retryWindow, 10 * Crew::joinInterval);
}

void CrewTest::withoutALinkThereIsNothingLeft()
{
    Crew crew(
        m_show, *m_room, [] { return nullptr; }, m_observer);
    const auto outcome = crew.join({1, true, {}, {}}, m_now);
    QVERIFY(!outcome && outcome.error() == Crew::JoinError::NotNow);
    QCOMPARE(crew.memberCount(), std::size_t{0});
}

void CrewTest::aPageIsToldThatItsMicrophoneIsNotHeard()
{
    const QString caller = join(0);
    Told& told = listenTo(caller);
    m_now += 10s;
    press(caller, {0});
    m_crew->checkTimeouts(m_now + 1s);
    QCOMPARE(told.unheards, 0);
    m_crew->checkTimeouts(m_now + 2s);
    QCOMPARE(told.unheards, 1);
    const std::array<std::uint8_t, 15> packet = {0x80, 111, 0, 1, 0,    0,    0,   1,
                                                 0,    0,   0, 1, 0xF8, 0xFF, 0xFE};
    m_links.back()->receiver(packet);
    m_room->runCycle();
    m_crew->checkTimeouts(m_now + 4s);
    QCOMPARE(told.unheards, 1);
}

void CrewTest::whoForgetsAKeyIsReminded()
{
    const QString caller = join(0);
    Told& told = listenTo(caller);
    Told& others = listenTo(join(1));
    press(caller, {0, 1});
    pass(3min - 1s);
    QVERIFY(told.reminders.empty());
    pass(1s);
    QCOMPARE(told.reminders, (std::vector<std::vector<int>>{{0, 1}}));
    pass(10min);
    QCOMPARE(told.reminders.size(), std::size_t{1});
    QVERIFY(others.reminders.empty());
}

void CrewTest::whoForgetsAKeyIsToldToTheConsole()
{
    const QString caller = join(0);
    press(caller, {1});
    pass(4min - 1s);
    QCOMPARE(m_observer.lines.size(), 1); // that it joined
    pass(1s);
    QCOMPARE(m_observer.lines.constLast(), QStringLiteral("Caller kept Tech on for 4 min"));
    speak(0);
    pass(10min);
    QCOMPARE(m_observer.lines.size(), 2);
    press(caller, {});
    press(caller, {0, 1});
    pass(4min);
    QCOMPARE(m_observer.lines.constLast(), QStringLiteral("Caller kept Main Tech on for 4 min"));
}

void CrewTest::whoSpeaksIsNotReminded()
{
    const QString caller = join(0);
    Told& told = listenTo(caller);
    press(caller, {0});
    for (int word = 0; word < 5; ++word) {
        pass(2min);
        speak(0);
    }
    QVERIFY(told.reminders.empty());
    QCOMPARE(m_observer.lines.size(), 1);
}

void CrewTest::whoSpeaksAfterAReminderIsRemindedAgainMuchLater()
{
    const QString caller = join(0);
    Told& told = listenTo(caller);
    press(caller, {0});
    pass(3min);
    speak(0);
    pass(3min - 1s);
    QCOMPARE(told.reminders.size(), std::size_t{1});
    pass(1s);
    QCOMPARE(told.reminders.size(), std::size_t{2});
    QCOMPARE(m_observer.lines.size(), 1);
}

void CrewTest::whoTapsAgainHasAnsweredTheReminder()
{
    const QString caller = join(0);
    Told& told = listenTo(caller);
    press(caller, {0});
    pass(3min);
    press(caller, {});
    press(caller, {0});
    pass(3min - 1s);
    QCOMPARE(told.reminders.size(), std::size_t{1});
    QCOMPARE(m_observer.lines.size(), 1);
    pass(1s);
    QCOMPARE(told.reminders.size(), std::size_t{2});
}

void CrewTest::whoReleasesTheKeyIsNotReminded()
{
    const QString caller = join(0);
    Told& told = listenTo(caller);
    press(caller, {0});
    pass(3min - 1s);
    press(caller, {});
    pass(10min);
    QVERIFY(told.reminders.empty());
    QCOMPARE(m_observer.lines.size(), 1);
}

void CrewTest::aReminderThatMayBeLostIsSentAgain()
{
    const QString caller = join(0);
    Told& before = listenTo(caller);
    press(caller, {0});
    pass(200s);
    Told& after = listenTo(caller);
    QVERIFY(after.reminders.empty());
    pass(1s);
    QCOMPARE(before.reminders.size(), std::size_t{1});
    QCOMPARE(after.reminders.size(), std::size_t{1});
}

void CrewTest::announcementsShowOnTheirChannels()
{
    Told& told = listenTo(join(1));
    m_crew->setAnnouncing(m_show.setOf(QStringLiteral("Tech")));
    QVERIFY(told.desks.back().channels.at(0).announcing);
    m_crew->setAnnouncing(m_show.setOf(QStringLiteral("Main")));
    QVERIFY(!told.desks.back().channels.at(0).announcing);
}

void CrewTest::anAnnouncementIsReadByThoseWhoHearIt()
{
    Told& caller = listenTo(join(0));
    Told& lights = listenTo(join(1));
    const QString text = QStringLiteral("Beginners, please");
    m_crew->announce(text, m_show.setOf(QStringLiteral("Main")));
    QCOMPARE(caller.announcements, QStringList(text));
    QVERIFY(lights.announcements.empty());
    m_crew->announce(text, m_show.setOf({}));
    QCOMPARE(caller.announcements.size(), 2);
    QCOMPARE(lights.announcements, QStringList(text));
}

/// The channels on which the member of that place has keys open, as the desk sees it.
std::vector<std::size_t> CrewTest::openKeysOf(std::size_t member) const
{
    std::vector<std::size_t> channels;
    const std::vector<MemberOverview> seen = m_crew->overview().members;
    for (const MemberOverview::OpenKey& key : seen.at(member).openKeys) {
        channels.push_back(key.channel);
    }
    return channels;
}

void CrewTest::theDeskClosesTheKeysOfOneMember()
{
    const QString caller = join(0);
    const QString lights = join(1);
    Told& callers = listenTo(caller);
    Told& lightss = listenTo(lights);
    press(caller, {0, 1});
    press(lights, {0});
    QCOMPARE(
        m_crew->closeKeys(m_crew->overview().members.at(0).id),
        QStringList(QStringLiteral("Caller")));
    QCOMPARE(callers.closings, std::vector<quint64>{1});
    QCOMPARE(lightss.closings, std::vector<quint64>());
    QCOMPARE(lightss.desks.back().channels.at(0).talking, QStringList());
    QCOMPARE(openKeysOf(0), std::vector<std::size_t>());
    QCOMPARE(openKeysOf(1), std::vector<std::size_t>{1});
    // The mixer hears it no more.
    for (int cycle = 0; cycle < 50; ++cycle) {
        m_links.at(0)->receiver(m_talker->next());
        m_room->runCycle();
    }
    QCOMPARE(m_room->received(m_crew->overview().members.at(0).id).speechCycles, std::uint64_t{0});
    QCOMPARE(m_crew->closeKeys(m_crew->overview().members.at(0).id), QStringList());
    QCOMPARE(m_crew->closeKeys(4711), QStringList());
}

void CrewTest::theDeskClosesEveryKey()
{
    const QString caller = join(0);
    const QString lights = join(1);
    (void)join(2);
    press(caller, {0});
    press(lights, {0});
    QStringList closed = m_crew->closeKeys(std::nullopt);
    closed.sort();
    QCOMPARE(closed, (QStringList{QStringLiteral("Caller"), QStringLiteral("Lights")}));
    QCOMPARE(openKeysOf(0), std::vector<std::size_t>());
    QCOMPARE(openKeysOf(1), std::vector<std::size_t>());
}

void CrewTest::aStatePostedBeforeThePageKnewOpensNoKeyAgain()
{
    const QString caller = join(0);
    press(caller, {0});
    (void)m_crew->closeKeys(std::nullopt);
    press(caller, {0}); // was on its way
    QCOMPARE(openKeysOf(0), std::vector<std::size_t>());
    press(caller, {}, 1);
    press(caller, {0}, 1);
    QCOMPARE(openKeysOf(0), std::vector<std::size_t>{0});
}

void CrewTest::aClosingThatMayBeLostIsToldAgain()
{
    const QString caller = join(0);
    press(caller, {0});
    (void)m_crew->closeKeys(std::nullopt); // while the page has no stream
    QCOMPARE(listenTo(caller).closings, std::vector<quint64>{1});
    press(caller, {}, 1);
    QCOMPARE(listenTo(caller).closings, std::vector<quint64>());
}

void CrewTest::theDeskSeesWhoIsThereAndWhoseKeysAreOpen()
{
    int changes = 0;
    m_crew->onOverviewChanged([&changes] { ++changes; });
    const QString caller = join(0);
    QVERIFY(changes > 0);
    changes = 0;
    press(caller, {1});
    QVERIFY(changes > 0);
    const Clock::time_point opened = m_now;
    pass(3s);
    press(caller, {0, 1});
    const std::vector<MemberOverview> seen = m_crew->overview().members;
    QCOMPARE(seen.size(), std::size_t{1});
    QCOMPARE(seen.at(0).role, std::size_t{0});
    QCOMPARE(seen.at(0).address, QStringLiteral("10.0.0.1"));
    QVERIFY(seen.at(0).isConnected && seen.at(0).hasMicrophone);
    QCOMPARE(openKeysOf(0), (std::vector<std::size_t>{0, 1}));
    QCOMPARE(seen.at(0).openKeys.at(0).since, m_now);
    QCOMPARE(seen.at(0).openKeys.at(1).since, opened);
    m_links.at(0)->now = MediaLink::State::Lost;
    QVERIFY(!m_crew->overview().members.at(0).isConnected);
    changes = 0;
    m_crew->leave(caller);
    QVERIFY(changes > 0);
    QVERIFY(m_crew->overview().members.empty());
}

void CrewTest::theDeskSeesWhenAMemberWasLastHeard()
{
    const QString caller = join(0);
    speak(0); // with its keys closed
    QVERIFY(!m_crew->overview().members.at(0).lastSpeech);
    press(caller, {0});
    QVERIFY(!m_crew->overview().members.at(0).lastSpeech);
    m_now += 1s;
    speak(0);
    QCOMPARE(m_crew->overview().members.at(0).lastSpeech, std::optional(m_now));
}

/// False if the member has called too often.
bool CrewTest::call(const QString& session, int channel, bool on)
{
    return m_crew->takeCall({session, channel, on}, m_now).has_value();
}

/// Acknowledges a call.
void CrewTest::answer(const QString& session, int channel)
{
    QVERIFY(m_crew->takeAcknowledgement({session, channel, true}, m_now));
}

/// Acknowledges a light.
void CrewTest::acknowledge(const QString& session, int channel)
{
    QVERIFY(m_crew->takeAcknowledgement({session, channel, false}, m_now));
}

void CrewTest::aCallReachesThoseWhoListenThere()
{
    const QString caller = join(0);
    const QString lights = join(1);
    const QString usher = join(2);
    Told& lightss = listenTo(lights);
    Told& ushers = listenTo(usher);
    QVERIFY(call(caller, 1)); // Tech
    QCOMPARE(lightss.desks.back().channels.at(0).call->from, QStringLiteral("Caller"));
    QVERIFY(!lightss.desks.back().channels.at(0).call->isMine);
    QVERIFY(!ushers.desks.back().channels.at(0).call);
    QVERIFY(m_observer.lines.contains(QStringLiteral("Caller calls on Tech")));
    answer(lights, 0);
    QVERIFY(lightss.desks.back().channels.at(0).call->isAcknowledged);
    QVERIFY(call(caller, 1, false));
    QVERIFY(!lightss.desks.back().channels.at(0).call);
}

void CrewTest::theCallerSeesWhoHasAnswered()
{
    const QString caller = join(0);
    const QString lights = join(1);
    const QString more = join(1);
    Told& callers = listenTo(caller);
    QVERIFY(call(caller, 1));
    answer(more, 0);
    const DeskEvent::Call seen = callers.desks.back().channels.at(1).call.value();
    QVERIFY(seen.isMine);
    QCOMPARE(seen.called, 2);
    QCOMPARE(seen.answered, QStringList(QStringLiteral("Lights")));
}

void CrewTest::aCallToWhichAllHaveAnsweredEnds()
{
    const QString caller = join(0);
    const QString lights = join(1);
    const QString more = join(1);
    QVERIFY(call(caller, 1));
    answer(lights, 0);
    pass(Signals::answeredTime + 1s);
    QVERIFY(m_crew->overview().channels.at(1).call.has_value());
    m_sessions.removeOne(more);
    m_crew->leave(more); // the only one who has not answered
    pass(Signals::answeredTime + 1s);
    QVERIFY(!m_crew->overview().channels.at(1).call);
    QVERIFY(call(caller, 1));
    pass(Signals::maxCallTime + 1s);
    QVERIFY(!m_crew->overview().channels.at(1).call);
}

void CrewTest::callsOfOneMemberAreLimited()
{
    const QString caller = join(0);
    const QString lights = join(1);
    for (int calls = 0; calls < Crew::callsAtOnce; ++calls) {
        QVERIFY(call(caller, 1));
        QVERIFY(call(caller, 1)); // is being called
        QVERIFY(call(caller, 1, false));
    }
    const auto refused = m_crew->takeCall({caller, 1, true}, m_now);
    QVERIFY(refused.error().error == Crew::CallError::TooMany);
    QCOMPARE(refused.error().wait, Crew::callInterval);
    QVERIFY(!m_crew->overview().channels.at(1).call);
    QVERIFY(call(lights, 0));
    pass(Crew::callInterval);
    QVERIFY(call(caller, 0));
    QVERIFY(
        m_crew->takeCall({QStringLiteral("unknown"), 0, true}, m_now).error().error ==
        Crew::CallError::NoSession);
}

void CrewTest::whoComesBackIsNotCalledAgain()
{
    const QString caller = join(0);
    const QString lights = join(1);
    (void)join(1);
    QVERIFY(call(caller, 1));
    answer(lights, 0);
    const QString again = join(1, lights);
    QVERIFY(listenTo(again).desks.back().channels.at(0).call->isAcknowledged);
    const QString callerAgain = join(0, caller);
    QVERIFY(listenTo(callerAgain).desks.back().channels.at(1).call->isMine);
}

void CrewTest::aLightIsShownToThoseWhoListenAndAcknowledged()
{
    const QString lights = join(1);
    const QString usher = join(2);
    Told& lightss = listenTo(lights);
    Told& ushers = listenTo(usher);
    m_crew->showLight(
        channel(QStringLiteral("Tech")), Signals::LightKind::Standby, QStringLiteral("LX 12"),
        m_now);
    QCOMPARE(
        lightss.desks.back().channels.at(0).light.value(),
        (DeskEvent::Light{false, QStringLiteral("LX 12"), false}));
    QVERIFY(!ushers.desks.back().channels.at(0).light);
    acknowledge(lights, 0);
    QVERIFY(lightss.desks.back().channels.at(0).light->isAcknowledged);
    m_crew->showLight(channel(QStringLiteral("Tech")), Signals::LightKind::Go, {}, m_now);
    QCOMPARE(
        lightss.desks.back().channels.at(0).light.value(), (DeskEvent::Light{true, {}, false}));
    pass(Signals::goTime);
    QVERIFY(!lightss.desks.back().channels.at(0).light);
    m_crew->showLight(channel(QStringLiteral("Tech")), Signals::LightKind::Standby, {}, m_now);
    m_crew->clearSignals(channel(QStringLiteral("Tech")));
    QVERIFY(!lightss.desks.back().channels.at(0).light);
}

void CrewTest::acknowledgementsAreToldOnce()
{
    QStringList told;
    m_crew->onAcknowledged(
        [&told](const QString& role, const QString& name, const Signals::Acknowledged& what) {
            told.append(
                QStringLiteral("%1 %2 %3%4")
                    .arg(role, name, what.text, what.isCall ? QStringLiteral("call") : QString()));
        });
    const QString lights = join(1);
    m_crew->call(channel(QStringLiteral("Tech")), m_now);
    m_crew->showLight(
        channel(QStringLiteral("Tech")), Signals::LightKind::Standby, QStringLiteral("LX 12"),
        m_now);
    for (int times = 0; times < 2; ++times) {
        answer(lights, 0);
        acknowledge(lights, 0);
    }
    QCOMPARE(
        told,
        (QStringList{QStringLiteral("Lights Tech call"), QStringLiteral("Lights Tech LX 12")}));
}

void CrewTest::aChannelBeyondTheRoleCallsAndAcknowledgesNothing()
{
    const QString lights = join(1);
    QVERIFY(call(lights, 1));
    QVERIFY(m_crew->overview().channels.at(1).call == std::nullopt);
    acknowledge(lights, 1);
    QVERIFY(!m_crew->takeAcknowledgement({QStringLiteral("unknown"), 0, true}, m_now));
}

void CrewTest::theDeskSeesCallsAndLightsWithTheirAnswers()
{
    const QString caller = join(0);
    const QString lights = join(1);
    QVERIFY(call(caller, 1));
    m_crew->showLight(
        channel(QStringLiteral("Tech")), Signals::LightKind::Standby, QStringLiteral("LX 12"),
        m_now);
    answer(lights, 0);
    acknowledge(lights, 0);
    const ChannelOverview seen = m_crew->overview().channels.at(1);
    QCOMPARE(seen.call->from, QStringLiteral("Caller"));
    QCOMPARE(seen.call->called, 1);
    QCOMPARE(seen.call->answered, QStringList(QStringLiteral("Lights")));
    QCOMPARE(seen.light->text, QStringLiteral("LX 12"));
    QCOMPARE(seen.light->shown, 2);
    QCOMPARE(seen.light->answered, QStringList(QStringLiteral("Lights")));
}

void CrewTest::goingOffAirSaysGoodbyeToAll()
{
    Told& first = listenTo(join(0));
    Told& second = listenTo(join(1));
    m_crew->goOffAir();
    QCOMPARE(first.goodbye, std::optional(Goodbye::OffAir));
    QCOMPARE(second.goodbye, std::optional(Goodbye::OffAir));
    QVERIFY(m_links.front()->isClosed && m_links.back()->isClosed);
    QCOMPARE(m_crew->memberCount(), std::size_t{0});
}

void CrewTest::handingOverTellsEachPageATimeOfItsOwnToJoinAgain()
{
    Told& first = listenTo(join(0));
    Told& second = listenTo(join(1));
    m_crew->handOver();
    QVERIFY(!first.goodbye && !second.goodbye);
    QCOMPARE(std::min(first.handedOver, second.handedOver), std::optional(Crew::takeOverTime));
    QCOMPARE(
        std::max(first.handedOver, second.handedOver),
        std::optional(Crew::takeOverTime + Crew::joinInterval));
    QVERIFY(m_links.front()->isClosed && m_links.back()->isClosed);
    QCOMPARE(m_crew->memberCount(), std::size_t{0});
}

void CrewTest::aHeartbeatComesEveryTwoSeconds()
{
    Told& told = listenTo(join(0));
    m_crew->checkTimeouts(m_now + 1s);
    QCOMPARE(told.beats, 0);
    m_crew->checkTimeouts(m_now + 2s);
    m_crew->checkTimeouts(m_now + 3s);
    QCOMPARE(told.beats, 1);
    m_crew->checkTimeouts(m_now + 4s);
    QCOMPARE(told.beats, 2);
}

void CrewTest::theLinkLearnsWhatItNeedsOfTheAnswer()
{
    (void)join(0);
    const MediaAnswer& answer = m_links.back()->answer;
    QCOMPARE(answer.fingerprint, answerWith("sendrecv").fingerprint);
    QVERIFY(answer.isActive);
    QCOMPARE(answer.sources, std::vector<quint32>{4711});
    QVERIFY(answer.takesRed);
}

WINGBELL_APPLESS_TEST(CrewTest)
#include "CrewTest.moc"

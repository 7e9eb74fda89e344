#include "relay/sessions/Crew.h"
#include "tests/TestProgram.h"

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
    std::optional<Goodbye> goodbye;
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
    void goodbye(Goodbye reason) override { m_told.goodbye = reason; }

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
    void aForgedCertificateEndsTheSessionAtOnce();
    void joiningAgainReplacesTheSessionBefore();
    void comingBackAtTheSecondTryIsComingBackToo();
    void leavingIsToldAndStopsTheKeys();
    void leavingBeforeConnectingIsNotTold();
    void aFullCrewTakesNoMore();
    void tooManyConnectingHaveToWait();
    void thoseWhoHaveToWaitComeAgainOneAfterTheOther();
    void aSessionThatCannotBeReplacedNowStays();
    void theFirstRetriesOfACrewAreSpreadByItsSize();
    void withoutALinkThereIsNothingLeft();
    void aPageIsToldThatItsMicrophoneIsNotHeard();
    void announcementsShowOnTheirChannels();
    void goingOffAirSaysGoodbyeToAll();
    void aHeartbeatComesEveryTwoSeconds();
    void theLinkLearnsWhatItNeedsOfTheAnswer();

private:
    /// Joins, with its link connected at once, and returns the session.
    QString join(std::size_t role, const QString& replaces = {});
    QString ask(std::size_t role, const QString& replaces = {});
    void press(const QString& session, std::vector<int> talk);
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
};

void CrewTest::init()
{
    m_room = std::make_unique<Room>(3, 960);
    m_observer = {};
    m_links.clear();
    m_told.clear();
    m_number = 0;
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
    const QString address = QStringLiteral("10.0.0.%1").arg(m_links.size() + 1);
    return m_crew->join({role, true, replaces, address}, m_now).value().session;
}

QString CrewTest::join(std::size_t role, const QString& replaces)
{
    QString session = ask(role, replaces);
    if (!m_crew->takeAnswer(session, answerWith("sendrecv"), m_now)) {
        return {};
    }
    m_links.back()->now = MediaLink::State::Connected;
    m_crew->checkTimeouts(m_now);
    return session;
}

void CrewTest::press(const QString& session, std::vector<int> talk)
{
    StateRequest state;
    state.session = session;
    state.number = ++m_number;
    state.talk = std::move(talk);
    state.levels = {1, 1, 1};
    m_now += Crew::keyIntervalPerMember * Crew::maxMembers; // shown at once
    QVERIFY(m_crew->takeState(state, m_now));
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

void CrewTest::announcementsShowOnTheirChannels()
{
    Told& told = listenTo(join(1));
    m_crew->setAnnouncing(m_show.setOf(QStringLiteral("Tech")));
    QVERIFY(told.desks.back().channels.at(0).announcing);
    m_crew->setAnnouncing(m_show.setOf(QStringLiteral("Main")));
    QVERIFY(!told.desks.back().channels.at(0).announcing);
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

#include "relay/speech/AnnouncementPlayer.h"
#include "relay/audio/AudioIo.h"
#include "relay/speech/SpokenSound.h"
#include "tests/TestProgram.h"
#include "tests/fixtures/ChildProcesses.h"
#include "tests/relay/speech/SpeechProgram.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <csignal>
#include <deque>
#include <initializer_list>
#include <memory>
#include <span>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

constexpr std::size_t channelCount = 4;
const SpeechLimits generous = {5min, 10min, 90s};

ChannelSet channels(std::initializer_list<std::size_t> each)
{
    ChannelSet set(channelCount);
    for (const std::size_t channel : each) {
        set.insert(channel);
    }
    return set;
}

/// What the player has handed over and the test has not yet looked at.
template <typename Thing> class Mailbox
{
public:
    void put(Thing thing) { m_things.push_back(std::move(thing)); }

    /// The oldest, waited for; an empty one after a timeout.
    [[nodiscard]] Thing take()
    {
        if (!QTest::qWaitFor([this] { return !m_things.empty(); }, 30000)) {
            return Thing();
        }
        Thing thing = std::move(m_things.front());
        m_things.pop_front();
        return thing;
    }

    [[nodiscard]] bool isEmpty() const { return m_things.empty(); }

private:
    std::deque<Thing> m_things;
};

SpeechResult failed(const QString& reason)
{
    return failure(SpeechError{reason});
}

struct Ended
{
    PendingAnnouncement announcement;
    SpeechResult result;
};

struct Played
{
    std::shared_ptr<AudioSource> sound;
    ChannelSet channels;
};

/// Reads `sound` to its end, as a mixer would, and returns how many samples there were.
std::size_t playOut(AudioSource& sound)
{
    std::vector<float> block(maxCycleSamples);
    std::size_t count = 0;
    while (!sound.isFinished()) {
        const std::size_t read = sound.read(block);
        count += read;
        if (read == 0) {
            QCoreApplication::processEvents();
        }
    }
    return count;
}

} // namespace

class AnnouncementPlayerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { ::signal(SIGPIPE, SIG_IGN); }
    void cleanup();

    void anAnnouncementIsPlayedAndThenTold();
    void oneChannelSpeaksInOrder();
    void differentChannelsSoundAtTheSameTime();
    void aFailureIsToldAndFreesTheChannel();
    void aFailureAmidTheSoundIsToldAfterIt();
    void aMissingProgramIsTold();
    void aSoundThatNobodyKeepsFreesTheChannel();
    void tooManyAreRefused();
    void silenceFadesWhatSoundsAndDropsWhatWaitsOfOneSender();
    void silenceOfAllStopsEverySender();
    void silenceStopsWhatIsStillBeingMade();
    void aLongOneGivesWayOnceAnotherSenderWaits();
    void aLongOneIsPlayedOutWhileNobodyElseWaits();
    void soundIsHeardWhileItIsMade();
    void destroyingItEndsAProgramThatHangs();
    void destroyingItFinishesASoundThatIsBeingMade();
    void destroyingItLeavesWhatWaitsUnsaid();
    void destroyingItAtOnceIsSafe();
    void soundsMayOutliveThePlayer();
    void atRestItSleeps();
    void espeakSpeaksOnSeveralChannels();

private:
    void start(const std::string& program, const SpeechLimits& limits = generous);
    [[nodiscard]] AnnouncementQueue::Offer
    announce(std::uint64_t id, const ChannelSet& set, const std::string& sender = "A")
    {
        return m_player->announce({id, set, "Announcement " + std::to_string(id), sender});
    }

    Mailbox<Played> m_played;
    Mailbox<Ended> m_told;
    std::unique_ptr<AnnouncementPlayer> m_player;
};

void AnnouncementPlayerTest::start(const std::string& program, const SpeechLimits& limits)
{
    m_player = std::make_unique<AnnouncementPlayer>(
        SpeechSynthesizer::Settings{program, "en", limits, false},
        [this](std::shared_ptr<AudioSource> sound, const PendingAnnouncement& announcement) {
            m_played.put({std::move(sound), announcement.channels});
        },
        [this](const PendingAnnouncement& announcement, const SpeechResult& result) {
            m_told.put({announcement, result});
        });
}

void AnnouncementPlayerTest::cleanup()
{
    m_player.reset();
    QVERIFY(childProcesses().isEmpty());
    QVERIFY(m_played.isEmpty());
    QVERIFY(m_told.isEmpty());
}

void AnnouncementPlayerTest::anAnnouncementIsPlayedAndThenTold()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    QVERIFY(announce(7, channels({1, 2})));
    const auto played = m_played.take();
    QVERIFY(played.sound);
    QVERIFY(played.channels == channels({1, 2}));
    QCOMPARE(playOut(*played.sound), std::size_t{4800});
    const auto told = m_told.take();
    QVERIFY(told.announcement == (PendingAnnouncement{7, channels({1, 2}), "Announcement 7", "A"}));
    QCOMPARE(told.result, SpeechResult());
}

void AnnouncementPlayerTest::oneChannelSpeaksInOrder()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    QVERIFY(announce(1, channels({0})));
    QVERIFY(announce(2, channels({0})));
    QVERIFY(announce(3, channels({1})));
    const auto first = m_played.take();
    const auto third = m_played.take();
    QVERIFY(first.sound && third.sound);
    QVERIFY(first.channels == channels({0}));
    // It came after the second one and is heard already: that one waits for the first.
    QVERIFY(third.channels == channels({1}));
    (void)playOut(*third.sound);
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{3});
    QVERIFY(m_played.isEmpty());
    (void)playOut(*first.sound);
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{1});
    const auto second = m_played.take();
    QVERIFY(second.sound);
    QVERIFY(second.channels == channels({0}));
    (void)playOut(*second.sound);
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{2});
}

void AnnouncementPlayerTest::differentChannelsSoundAtTheSameTime()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    std::vector<Played> all;
    for (std::size_t channel = 0; channel < channelCount; ++channel) {
        QVERIFY(announce(channel + 1, channels({channel})));
    }
    for (std::size_t channel = 0; channel < channelCount; ++channel) {
        auto played = m_played.take();
        QVERIFY(played.sound);
        all.push_back(std::move(played));
    }
    std::vector<float> block(maxCycleSamples);
    for (const Played& played : all) {
        QVERIFY(!played.sound->isFinished());
        QVERIFY(played.sound->read(block) > 0);
    }
    // Told as they end, not as they began.
    for (std::size_t channel = channelCount; channel > 0; --channel) {
        (void)playOut(*all.at(channel - 1).sound);
        QCOMPARE(m_told.take().announcement.id, std::uint64_t{channel});
    }
}

void AnnouncementPlayerTest::aFailureIsToldAndFreesTheChannel()
{
    const SpeechProgram program(QStringLiteral("dies"));
    start(program.path());
    for (std::uint64_t id = 1; id <= 3; ++id) {
        QVERIFY(announce(id, ChannelSet::all(channelCount)));
    }
    for (std::uint64_t id = 1; id <= 3; ++id) {
        const auto told = m_told.take();
        QCOMPARE(told.announcement.id, id);
        QCOMPARE(told.result, failed(QStringLiteral("dies was ended by signal 15")));
    }
}

void AnnouncementPlayerTest::aFailureAmidTheSoundIsToldAfterIt()
{
    const SpeechProgram program(QStringLiteral("exits-midway"));
    start(program.path());
    QVERIFY(announce(1, channels({0})));
    QVERIFY(announce(2, channels({1})));
    const Played first = m_played.take();
    const Played second = m_played.take();
    QVERIFY(first.sound && second.sound);
    // The first one's making has failed long since, but it is still to be heard.
    QVERIFY(m_told.isEmpty());
    QCOMPARE(playOut(*first.sound), std::size_t{4800});
    const Ended told = m_told.take();
    QCOMPARE(told.announcement.id, std::uint64_t{1});
    QCOMPARE(told.result, failed(QStringLiteral("exits-midway ended with status 3")));
    QCOMPARE(playOut(*second.sound), std::size_t{4800});
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{2});
}

void AnnouncementPlayerTest::aMissingProgramIsTold()
{
    start("/nowhere/espeak-ng");
    QVERIFY(announce(1, channels({0})));
    const auto told = m_told.take();
    QCOMPARE(told.result, failed(QStringLiteral("espeak-ng is not installed")));
}

void AnnouncementPlayerTest::aSoundThatNobodyKeepsFreesTheChannel()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    QVERIFY(announce(1, channels({0})));
    QVERIFY(announce(2, channels({0})));
    QVERIFY(m_played.take().sound);
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{1});
    QVERIFY(m_played.take().sound);
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{2});
}

void AnnouncementPlayerTest::tooManyAreRefused()
{
    const SpeechProgram program(QStringLiteral("hangs"));
    start(program.path(), {24h, 24h, 90s});
    QVERIFY(announce(1, channels({0})));
    QTRY_VERIFY_WITH_TIMEOUT(!program.calls().isEmpty(), 30000);
    for (std::uint64_t id = 2; id <= 9; ++id) {
        QVERIFY(announce(id, channels({0})));
    }
    QVERIFY(announce(10, channels({0})) == failure(AnnouncementError::TooMany));
    QVERIFY(announce(10, channels({})) == failure(AnnouncementError::NoChannel));
    QVERIFY(announce(10, channels({1})));
}

void AnnouncementPlayerTest::silenceFadesWhatSoundsAndDropsWhatWaitsOfOneSender()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    QVERIFY(announce(1, channels({0}), "A"));
    QVERIFY(announce(11, channels({1}), "B"));
    const auto first = m_played.take();
    const auto other = m_played.take();
    QVERIFY(first.sound && other.sound);
    QVERIFY(announce(2, channels({0}), "A"));
    QVERIFY(announce(12, channels({0}), "B"));
    QCOMPARE(m_player->silence("C"), std::size_t{0});
    QCOMPARE(m_player->silence("A"), std::size_t{2});
    QCOMPARE(m_player->silence("A"), std::size_t{0});
    QVERIFY(playOut(*first.sound) <= maxCycleSamples);
    const auto told = m_told.take();
    QCOMPARE(told.announcement.id, std::uint64_t{1});
    QCOMPARE(told.result, SpeechResult(SpeechEnd::Stopped));
    const auto next = m_played.take();
    QVERIFY(next.sound);
    QCOMPARE(playOut(*next.sound), std::size_t{4800});
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{12});
    QCOMPARE(playOut(*other.sound), std::size_t{4800});
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{11});
}

void AnnouncementPlayerTest::silenceOfAllStopsEverySender()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    QVERIFY(announce(1, channels({0}), "A"));
    const auto first = m_played.take();
    QVERIFY(first.sound);
    QVERIFY(announce(2, channels({0}), "B"));
    QCOMPARE(m_player->silence(), std::size_t{2});
    QCOMPARE(m_player->silence(), std::size_t{0});
    QVERIFY(playOut(*first.sound) <= maxCycleSamples);
    QCOMPARE(m_told.take().result, SpeechResult(SpeechEnd::Stopped));
}

void AnnouncementPlayerTest::silenceStopsWhatIsStillBeingMade()
{
    const SpeechProgram program(QStringLiteral("hangs"));
    start(program.path(), {100ms, 24h, 90s});
    QVERIFY(announce(1, channels({0})));
    QTRY_VERIFY_WITH_TIMEOUT(!program.calls().isEmpty(), 30000);
    QCOMPARE(m_player->silence("A"), std::size_t{1});
    const auto told = m_told.take();
    QCOMPARE(told.announcement.id, std::uint64_t{1});
    QCOMPARE(told.result, SpeechResult(SpeechEnd::Stopped));
}

void AnnouncementPlayerTest::aLongOneGivesWayOnceAnotherSenderWaits()
{
    const SpeechProgram program(QStringLiteral("endless"));
    start(program.path(), {5min, 10min, 5s, 1s});
    QVERIFY(announce(1, channels({0}), "A"));
    const auto first = m_played.take();
    QVERIFY(first.sound);
    QVERIFY(announce(2, channels({0}), "A"));
    QVERIFY(announce(11, channels({0}), "B"));
    // It does not give way before its second is over.
    std::vector<float> samples(sampleRate - 1);
    std::size_t played = 0;
    while (played < samples.size()) {
        QCoreApplication::processEvents();
        played += first.sound->read(std::span(samples).subspan(played));
    }
    const auto& sound = dynamic_cast<const SpokenSound&>(*first.sound);
    QVERIFY(!sound.isToFade());
    QVERIFY(m_told.isEmpty());
    QCOMPARE(first.sound->read(std::span(samples).first(1)), std::size_t{1});
    QTRY_VERIFY_WITH_TIMEOUT(sound.isToFade(), 60000); // all of it is made first
    QVERIFY(playOut(*first.sound) <= maxCycleSamples);
    const auto told = m_told.take();
    QCOMPARE(told.announcement.id, std::uint64_t{1});
    QCOMPARE(told.result, SpeechResult(SpeechEnd::GaveWay));
    const auto next = m_played.take();
    QVERIFY(next.sound);
    QCOMPARE(m_player->silence("A"), std::size_t{1});
    QCOMPARE(playOut(*next.sound), std::size_t{5} * sampleRate);
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{11});
}

void AnnouncementPlayerTest::aLongOneIsPlayedOutWhileNobodyElseWaits()
{
    const SpeechProgram program(QStringLiteral("endless"));
    start(program.path(), {5min, 10min, 3s, 1s});
    QVERIFY(announce(1, channels({0}), "A"));
    const auto first = m_played.take();
    QVERIFY(first.sound);
    QVERIFY(announce(2, channels({0}), "A"));
    QVERIFY(announce(11, channels({1}), "B"));
    QCOMPARE(playOut(*m_played.take().sound), std::size_t{3} * sampleRate);
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{11});
    QCOMPARE(playOut(*first.sound), std::size_t{3} * sampleRate);
    const auto told = m_told.take();
    QCOMPARE(told.announcement.id, std::uint64_t{1});
    QCOMPARE(told.result, SpeechResult(SpeechEnd::Cut));
    QCOMPARE(playOut(*m_played.take().sound), std::size_t{3} * sampleRate);
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{2});
}

void AnnouncementPlayerTest::soundIsHeardWhileItIsMade()
{
    const SpeechProgram program(QStringLiteral("hangs-midway"));
    start(program.path(), {24h, 24h, 90s});
    QVERIFY(announce(1, channels({0})));
    const auto played = m_played.take();
    QVERIFY(played.sound);
    std::vector<float> block(maxCycleSamples);
    QVERIFY(played.sound->read(block) > 0);
    QVERIFY(!played.sound->isFinished());
}

void AnnouncementPlayerTest::destroyingItEndsAProgramThatHangs()
{
    const SpeechProgram program(QStringLiteral("hangs"));
    start(program.path(), {24h, 24h, 90s});
    QVERIFY(announce(1, channels({0})));
    QTRY_VERIFY_WITH_TIMEOUT(!program.calls().isEmpty(), 30000);
    m_player.reset();
    QVERIFY(childProcesses().isEmpty());
}

void AnnouncementPlayerTest::destroyingItFinishesASoundThatIsBeingMade()
{
    const SpeechProgram program(QStringLiteral("hangs-midway"));
    start(program.path(), {24h, 24h, 90s});
    QVERIFY(announce(1, channels({0})));
    const auto played = m_played.take();
    QVERIFY(played.sound);
    m_player.reset();
    QVERIFY(playOut(*played.sound) > 0);
}

void AnnouncementPlayerTest::destroyingItLeavesWhatWaitsUnsaid()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    QVERIFY(announce(1, channels({0})));
    QVERIFY(announce(2, channels({0})));
    const auto played = m_played.take();
    QVERIFY(played.sound);
    m_player.reset();
    (void)playOut(*played.sound);
    QCOMPARE(program.calls().size(), 1);
}

void AnnouncementPlayerTest::destroyingItAtOnceIsSafe()
{
    const SpeechProgram program(QStringLiteral("endless-silence"));
    for (std::uint64_t round = 0; round < 50; ++round) {
        start(program.path(), {24h, 24h, 24h});
        if (round % 2 == 0) {
            QVERIFY(announce(round, channels({0})));
        }
        m_player.reset();
        QVERIFY(childProcesses().isEmpty());
    }
}

void AnnouncementPlayerTest::soundsMayOutliveThePlayer()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    QVERIFY(announce(1, channels({0})));
    auto played = m_played.take();
    QVERIFY(played.sound);
    m_player.reset();
    std::vector<float> block(maxCycleSamples);
    QVERIFY(played.sound->read(block) > 0);
    played.sound.reset();
}

void AnnouncementPlayerTest::atRestItSleeps()
{
#ifdef __x86_64__
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    for (std::uint64_t id = 1; id <= 3; ++id) {
        QVERIFY(announce(id, channels({0})));
        const auto played = m_played.take();
        QVERIFY(played.sound);
        (void)playOut(*played.sound);
        QCOMPARE(m_told.take().announcement.id, id);
    }
    const QString path = QStringLiteral("/proc/self/task/%1/syscall").arg(::gettid());
    const auto systemCall = [&path] {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    };
    if (systemCall().isEmpty()) {
        QSKIP("This kernel does not tell what a thread waits for.");
    }
    // The kernel tells the number of a call and its arguments, the third of which is the timeout:
    // of poll() -1, of ppoll() a null pointer, when there is none.
    const QRegularExpression waiting(
        QStringLiteral("^(7 \\S+ \\S+ 0x[0-9a-f]*ffffffff|271 \\S+ \\S+ 0x0) "));
    QEventLoop loop;
    bool hasSlept = false;
    std::thread watcher([&] {
        const QDeadlineTimer deadline(30s);
        while (!hasSlept && !deadline.hasExpired()) {
            hasSlept = waiting.match(systemCall()).hasMatch();
        }
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
    });
    loop.exec();
    watcher.join();
    QVERIFY(hasSlept);
#else
    QSKIP("How the kernel tells what a thread waits for differs between machines.");
#endif
}

void AnnouncementPlayerTest::espeakSpeaksOnSeveralChannels()
{
    start("espeak-ng");
    for (std::uint64_t id = 0; id < channelCount; ++id) {
        QVERIFY(m_player->announce(
            {id, channels({id}), "Stand by on channel " + std::to_string(id), "A"}));
    }
    std::vector<Played> all;
    for (std::size_t count = 0; count < channelCount; ++count) {
        auto played = m_played.take();
        QVERIFY(played.sound);
        all.push_back(std::move(played));
    }
    for (const Played& played : all) {
        const std::size_t count = playOut(*played.sound);
        QVERIFY2(
            count > sampleRate / 2 && count < std::size_t{5} * sampleRate,
            qPrintable(QString::number(count)));
        const Ended told = m_told.take();
        QVERIFY(told.announcement.channels == played.channels);
        QCOMPARE(told.result, SpeechResult());
    }
}

WINGBELL_GUILESS_TEST(AnnouncementPlayerTest)
#include "AnnouncementPlayerTest.moc"

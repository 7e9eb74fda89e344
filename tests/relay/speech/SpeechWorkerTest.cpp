#include "relay/speech/SpeechWorker.h"
#include "relay/audio/AudioFormat.h"
#include "relay/speech/SpokenSound.h"
#include "tests/TestProgram.h"
#include "tests/fixtures/ChildProcesses.h"
#include "tests/relay/speech/SpeechProgram.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <span>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

constexpr std::size_t channelCount = 4;
const SpeechLimits patient = {5min, 10min, 90s};

ChannelSet channels(std::initializer_list<std::size_t> each)
{
    ChannelSet set(channelCount);
    for (const std::size_t channel : each) {
        set.insert(channel);
    }
    return set;
}

/// What one thread puts in and another one waits for.
template <typename Thing> class Mailbox
{
public:
    void put(Thing thing)
    {
        const std::scoped_lock lock(m_mutex);
        m_things.push_back(std::move(thing));
        m_changed.notify_all();
    }

    /// The oldest; an empty one when much too long none comes.
    [[nodiscard]] Thing take()
    {
        std::unique_lock lock(m_mutex);
        if (!m_changed.wait_for(lock, 30s, [this] { return !m_things.empty(); })) {
            return Thing();
        }
        Thing thing = std::move(m_things.front());
        m_things.pop_front();
        return thing;
    }

    [[nodiscard]] bool isEmpty()
    {
        const std::scoped_lock lock(m_mutex);
        return m_things.empty();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Thing> m_things;
};

struct Played
{
    std::shared_ptr<AudioSource> sound;
    ChannelSet channels;
};

/// Reads `sound` to its end, as a mixer would, and returns how many samples there were.
std::size_t playOut(AudioSource& sound)
{
    std::vector<float> tick(maxCycleSamples);
    std::size_t count = 0;
    while (!sound.isFinished()) {
        count += sound.read(tick);
    }
    return count;
}

} // namespace

class SpeechWorkerTest : public QObject
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
    void silenceStopsWhatIsStillBeingMade();
    void aLongOneGivesWayOnceAnotherSenderWaits();
    void aLongOneIsPlayedOutWhileNobodyElseWaits();
    void soundIsHeardWhileItIsMade();
    void stoppingEndsAProgramThatHangs();
    void stoppingFinishesASoundThatIsBeingMade();
    void stoppingLeavesWhatWaitsUnsaid();
    void stoppingAtOnceIsSafe();
    void soundsMayOutliveTheWorker();
    void atRestItSleeps();
    void espeakSpeaksOnSeveralChannels();

private:
    void start(const std::string& program, const SpeechLimits& limits = patient);
    [[nodiscard]] Admission
    announce(std::uint64_t id, const ChannelSet& set, const std::string& sender = "A")
    {
        return m_worker->announce({id, set, "Announcement " + std::to_string(id), sender})
            .admission;
    }

    Mailbox<Played> m_played;
    Mailbox<SpeechReport> m_told;
    std::atomic<pid_t> m_thread = 0;
    std::unique_ptr<SpeechWorker> m_worker;
};

void SpeechWorkerTest::start(const std::string& program, const SpeechLimits& limits)
{
    m_worker = std::make_unique<SpeechWorker>(
        SpeechSynthesizer::Settings{program, "en", limits, false},
        [this](std::shared_ptr<AudioSource> sound, const ChannelSet& set) {
            m_thread = ::gettid();
            m_played.put({std::move(sound), set});
        },
        [this](const SpeechReport& report) { m_told.put(report); });
}

void SpeechWorkerTest::cleanup()
{
    m_worker.reset();
    QVERIFY(childProcesses().isEmpty());
    QVERIFY(m_played.isEmpty());
    QVERIFY(m_told.isEmpty());
}

void SpeechWorkerTest::anAnnouncementIsPlayedAndThenTold()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    QCOMPARE(announce(7, channels({1, 2})), Admission::Admitted);
    const auto played = m_played.take();
    QVERIFY(played.sound);
    QVERIFY(played.channels == channels({1, 2}));
    QCOMPARE(playOut(*played.sound), std::size_t{4800});
    const auto told = m_told.take();
    QVERIFY(told.announcement == (PendingAnnouncement{7, channels({1, 2}), "Announcement 7", "A"}));
    QCOMPARE(told.result, SpeechResult());
}

void SpeechWorkerTest::oneChannelSpeaksInOrder()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    QCOMPARE(announce(1, channels({0})), Admission::Admitted);
    QCOMPARE(announce(2, channels({0})), Admission::Admitted);
    QCOMPARE(announce(3, channels({1})), Admission::Admitted);
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

void SpeechWorkerTest::differentChannelsSoundAtTheSameTime()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    std::vector<Played> all;
    for (std::size_t channel = 0; channel < channelCount; ++channel) {
        QCOMPARE(announce(channel + 1, channels({channel})), Admission::Admitted);
    }
    for (std::size_t channel = 0; channel < channelCount; ++channel) {
        auto played = m_played.take();
        QVERIFY(played.sound);
        all.push_back(std::move(played));
    }
    std::vector<float> tick(maxCycleSamples);
    for (const Played& played : all) {
        QVERIFY(!played.sound->isFinished());
        QVERIFY(played.sound->read(tick) > 0);
    }
    // Told as they end, not as they began.
    for (std::size_t channel = channelCount; channel > 0; --channel) {
        (void)playOut(*all.at(channel - 1).sound);
        QCOMPARE(m_told.take().announcement.id, std::uint64_t{channel});
    }
}

void SpeechWorkerTest::aFailureIsToldAndFreesTheChannel()
{
    const SpeechProgram program(QStringLiteral("dies"));
    start(program.path());
    for (std::uint64_t id = 1; id <= 3; ++id) {
        QCOMPARE(announce(id, ChannelSet::all(channelCount)), Admission::Admitted);
    }
    for (std::uint64_t id = 1; id <= 3; ++id) {
        const auto told = m_told.take();
        QCOMPARE(told.announcement.id, id);
        QCOMPARE(told.result.end, SpeechEnd::Failed);
        QCOMPARE(told.result.reason, QStringLiteral("dies was ended by signal 15"));
    }
}

void SpeechWorkerTest::aFailureAmidTheSoundIsToldAfterIt()
{
    const SpeechProgram program(QStringLiteral("exits-midway"));
    start(program.path());
    QCOMPARE(announce(1, channels({0})), Admission::Admitted);
    QCOMPARE(announce(2, channels({1})), Admission::Admitted);
    const Played first = m_played.take();
    const Played second = m_played.take();
    QVERIFY(first.sound && second.sound);
    // The first one's making has failed long since, but it is still to be heard.
    QVERIFY(m_told.isEmpty());
    QCOMPARE(playOut(*first.sound), std::size_t{4800});
    const SpeechReport told = m_told.take();
    QCOMPARE(told.announcement.id, std::uint64_t{1});
    QCOMPARE(told.result.reason, QStringLiteral("exits-midway ended with status 3"));
    QCOMPARE(playOut(*second.sound), std::size_t{4800});
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{2});
}

void SpeechWorkerTest::aMissingProgramIsTold()
{
    start("/nowhere/espeak-ng");
    QCOMPARE(announce(1, channels({0})), Admission::Admitted);
    const auto told = m_told.take();
    QCOMPARE(told.result.end, SpeechEnd::Failed);
    QCOMPARE(told.result.reason, QStringLiteral("espeak-ng is not installed"));
}

void SpeechWorkerTest::aSoundThatNobodyKeepsFreesTheChannel()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    QCOMPARE(announce(1, channels({0})), Admission::Admitted);
    QCOMPARE(announce(2, channels({0})), Admission::Admitted);
    QVERIFY(m_played.take().sound);
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{1});
    QVERIFY(m_played.take().sound);
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{2});
}

void SpeechWorkerTest::tooManyAreRefused()
{
    const SpeechProgram program(QStringLiteral("hangs"));
    start(program.path(), {24h, 24h, 90s});
    QCOMPARE(announce(1, channels({0})), Admission::Admitted);
    while (program.calls().isEmpty()) {
        std::this_thread::yield();
    }
    for (std::uint64_t id = 2; id <= 9; ++id) {
        QCOMPARE(announce(id, channels({0})), Admission::Admitted);
    }
    QCOMPARE(announce(10, channels({0})), Admission::TooMany);
    QCOMPARE(announce(10, channels({})), Admission::NoChannel);
    QCOMPARE(announce(10, channels({1})), Admission::Admitted);
}

void SpeechWorkerTest::silenceFadesWhatSoundsAndDropsWhatWaitsOfOneSender()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    QCOMPARE(announce(1, channels({0}), "A"), Admission::Admitted);
    QCOMPARE(announce(11, channels({1}), "B"), Admission::Admitted);
    const auto first = m_played.take();
    const auto other = m_played.take();
    QVERIFY(first.sound && other.sound);
    QCOMPARE(announce(2, channels({0}), "A"), Admission::Admitted);
    QCOMPARE(announce(12, channels({0}), "B"), Admission::Admitted);
    QCOMPARE(m_worker->silence("C"), std::size_t{0});
    QCOMPARE(m_worker->silence("A"), std::size_t{2});
    QCOMPARE(m_worker->silence("A"), std::size_t{0});
    QVERIFY(playOut(*first.sound) <= maxCycleSamples);
    const auto told = m_told.take();
    QCOMPARE(told.announcement.id, std::uint64_t{1});
    QCOMPARE(told.result.end, SpeechEnd::Stopped);
    const auto next = m_played.take();
    QVERIFY(next.sound);
    QCOMPARE(playOut(*next.sound), std::size_t{4800});
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{12});
    QCOMPARE(playOut(*other.sound), std::size_t{4800});
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{11});
}

void SpeechWorkerTest::silenceStopsWhatIsStillBeingMade()
{
    const SpeechProgram program(QStringLiteral("hangs"));
    start(program.path(), {100ms, 24h, 90s});
    QCOMPARE(announce(1, channels({0})), Admission::Admitted);
    while (program.calls().isEmpty()) {
        std::this_thread::yield();
    }
    QCOMPARE(m_worker->silence("A"), std::size_t{1});
    const auto told = m_told.take();
    QCOMPARE(told.announcement.id, std::uint64_t{1});
    QCOMPARE(told.result, (SpeechResult{SpeechEnd::Stopped, {}}));
}

void SpeechWorkerTest::aLongOneGivesWayOnceAnotherSenderWaits()
{
    const SpeechProgram program(QStringLiteral("endless"));
    start(program.path(), {5min, 10min, 5s, 1s});
    QCOMPARE(announce(1, channels({0}), "A"), Admission::Admitted);
    const auto first = m_played.take();
    QVERIFY(first.sound);
    QCOMPARE(announce(2, channels({0}), "A"), Admission::Admitted);
    QCOMPARE(announce(11, channels({0}), "B"), Admission::Admitted);
    // It does not give way before its second is over.
    std::vector<float> samples(sampleRate - 1);
    std::size_t played = 0;
    while (played < samples.size()) {
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
    QCOMPARE(told.result.end, SpeechEnd::GaveWay);
    const auto next = m_played.take();
    QVERIFY(next.sound);
    QCOMPARE(m_worker->silence("A"), std::size_t{1});
    QCOMPARE(playOut(*next.sound), std::size_t{5} * sampleRate);
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{11});
}

void SpeechWorkerTest::aLongOneIsPlayedOutWhileNobodyElseWaits()
{
    const SpeechProgram program(QStringLiteral("endless"));
    start(program.path(), {5min, 10min, 3s, 1s});
    QCOMPARE(announce(1, channels({0}), "A"), Admission::Admitted);
    const auto first = m_played.take();
    QVERIFY(first.sound);
    QCOMPARE(announce(2, channels({0}), "A"), Admission::Admitted);
    QCOMPARE(announce(11, channels({1}), "B"), Admission::Admitted);
    QCOMPARE(playOut(*m_played.take().sound), std::size_t{3} * sampleRate);
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{11});
    QCOMPARE(playOut(*first.sound), std::size_t{3} * sampleRate);
    const auto told = m_told.take();
    QCOMPARE(told.announcement.id, std::uint64_t{1});
    QCOMPARE(told.result.end, SpeechEnd::Cut);
    QCOMPARE(playOut(*m_played.take().sound), std::size_t{3} * sampleRate);
    QCOMPARE(m_told.take().announcement.id, std::uint64_t{2});
}

void SpeechWorkerTest::soundIsHeardWhileItIsMade()
{
    const SpeechProgram program(QStringLiteral("hangs-midway"));
    start(program.path(), {24h, 24h, 90s});
    QCOMPARE(announce(1, channels({0})), Admission::Admitted);
    const auto played = m_played.take();
    QVERIFY(played.sound);
    std::vector<float> tick(maxCycleSamples);
    QVERIFY(played.sound->read(tick) > 0);
    QVERIFY(!played.sound->isFinished());
}

void SpeechWorkerTest::stoppingEndsAProgramThatHangs()
{
    const SpeechProgram program(QStringLiteral("hangs"));
    start(program.path(), {24h, 24h, 90s});
    QCOMPARE(announce(1, channels({0})), Admission::Admitted);
    while (program.calls().isEmpty()) {
        std::this_thread::yield();
    }
    m_worker->stop();
    QVERIFY(childProcesses().isEmpty());
    m_worker->stop();
}

void SpeechWorkerTest::stoppingFinishesASoundThatIsBeingMade()
{
    const SpeechProgram program(QStringLiteral("hangs-midway"));
    start(program.path(), {24h, 24h, 90s});
    QCOMPARE(announce(1, channels({0})), Admission::Admitted);
    const auto played = m_played.take();
    QVERIFY(played.sound);
    m_worker->stop();
    QVERIFY(playOut(*played.sound) > 0);
}

void SpeechWorkerTest::stoppingLeavesWhatWaitsUnsaid()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    QCOMPARE(announce(1, channels({0})), Admission::Admitted);
    QCOMPARE(announce(2, channels({0})), Admission::Admitted);
    const auto played = m_played.take();
    QVERIFY(played.sound);
    m_worker->stop();
    (void)playOut(*played.sound);
    QCOMPARE(announce(3, channels({1})), Admission::Admitted);
    QCOMPARE(program.calls().size(), 1);
}

void SpeechWorkerTest::stoppingAtOnceIsSafe()
{
    const SpeechProgram program(QStringLiteral("endless-silence"));
    for (std::uint64_t round = 0; round < 50; ++round) {
        start(program.path(), {24h, 24h, 24h});
        if (round % 2 == 0) {
            QCOMPARE(announce(round, channels({0})), Admission::Admitted);
        }
        m_worker.reset();
        QVERIFY(childProcesses().isEmpty());
    }
}

void SpeechWorkerTest::soundsMayOutliveTheWorker()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    QCOMPARE(announce(1, channels({0})), Admission::Admitted);
    auto played = m_played.take();
    QVERIFY(played.sound);
    m_worker.reset();
    std::vector<float> tick(maxCycleSamples);
    QVERIFY(played.sound->read(tick) > 0);
    played.sound.reset();
}

void SpeechWorkerTest::atRestItSleeps()
{
#ifdef __x86_64__
    // What the kernel says of a waiting poll(): its number and its arguments, the third of which is
    // how long to wait at most; all bits set is for ever.
    const QRegularExpression waiting(QStringLiteral("^7 \\S+ \\S+ 0x[0-9a-f]*ffffffff "));
    const SpeechProgram program(QStringLiteral("speaks"));
    start(program.path());
    for (std::uint64_t id = 1; id <= 3; ++id) {
        QCOMPARE(announce(id, channels({0})), Admission::Admitted);
        const auto played = m_played.take();
        QVERIFY(played.sound);
        (void)playOut(*played.sound);
        QCOMPARE(m_told.take().announcement.id, id);
    }
    const QString folder = QStringLiteral("/proc/self/task/%1/").arg(m_thread.load());
    const auto text = [&folder](const QString& name) {
        QFile file(folder + name);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    };
    if (text(QStringLiteral("syscall")).isEmpty()) {
        QSKIP("This kernel does not tell what a thread waits for.");
    }
    QTRY_VERIFY(waiting.match(text(QStringLiteral("syscall"))).hasMatch());
#else
    QSKIP("How the kernel tells what a thread waits for differs between machines.");
#endif
}

void SpeechWorkerTest::espeakSpeaksOnSeveralChannels()
{
    start("espeak-ng");
    for (std::uint64_t id = 0; id < channelCount; ++id) {
        QCOMPARE(
            m_worker
                ->announce({id, channels({id}), "Stand by on channel " + std::to_string(id), "A"})
                .admission,
            Admission::Admitted);
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
        const SpeechReport told = m_told.take();
        QVERIFY(told.announcement.channels == played.channels);
        QCOMPARE(told.result, SpeechResult());
    }
}

WINGBELL_GUILESS_TEST(SpeechWorkerTest)
#include "SpeechWorkerTest.moc"

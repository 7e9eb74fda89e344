#include "relay/audio/MixerThread.h"
#include "tests/TestProgram.h"

#include "relay/audio/AudioIo.h"
#include "relay/audio/Room.h"
#include "tests/relay/audio/HearingClient.h"
#include "tests/relay/audio/TalkingClient.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

using namespace wingbell;

namespace {

/// Counts its packets and lets others wait for them.
class CountingSink : public PacketSink
{
public:
    void send(std::span<const std::uint8_t> packet) override
    {
        const std::lock_guard lock(m_mutex);
        m_packets += packet.empty() ? 0 : 1;
        m_hasMore.notify_all();
    }

    void waitFor(int packets)
    {
        std::unique_lock lock(m_mutex);
        m_hasMore.wait(lock, [&] { return m_packets >= packets; });
    }

    [[nodiscard]] int packets()
    {
        const std::lock_guard lock(m_mutex);
        return m_packets;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_hasMore;
    int m_packets = 0;
};

/// Holds up the first packet until it is told to go on.
class SlowSink : public PacketSink
{
public:
    void send(std::span<const std::uint8_t>) override
    {
        m_isSending = true;
        m_isSending.notify_all();
        m_mayGoOn.wait(false);
        m_hasSent = true;
    }

    void waitUntilSending() const { m_isSending.wait(false); }
    [[nodiscard]] bool hasSent() const { return m_hasSent; }
    void goOn()
    {
        m_mayGoOn = true;
        m_mayGoOn.notify_all();
    }

private:
    std::atomic<bool> m_isSending{false};
    std::atomic<bool> m_mayGoOn{false};
    std::atomic<bool> m_hasSent{false};
};

/// A hundred cycles of noise.
class Noise : public AudioSource
{
public:
    std::size_t read(std::span<float> samples) override
    {
        const std::size_t count = std::min<std::size_t>(samples.size(), m_left);
        std::fill_n(samples.begin(), count, 0.1F);
        m_left -= count;
        return count;
    }

    [[nodiscard]] bool isFinished() const override { return m_left == 0; }

private:
    std::atomic<std::size_t> m_left{std::size_t{100} * 480};
};

} // namespace

class MixerThreadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aCycleHasRunOnceItIsSaidToRun();
    void everyListenerGetsAPacketEachCycle();
    void noCycleRunsAfterItsEnd();
    void anEmptyRoomIsWaitedInUntilAParticipantJoins();
    void anEmptyRoomIsWaitedInUntilSomethingIsAnnounced();
    void wakingEndsTheWaitingForGood();
    void aRoomIsEmptyOnlyWhenWhoLeftHasFadedOut();
    void cyclesRunAgainAfterARest();
    void leavingWaitsForAPacketThatIsJustBeingSent();
    void theRoomMayBeUsedFromManyThreadsWhileCyclesRun();
};

void MixerThreadTest::aCycleHasRunOnceItIsSaidToRun()
{
    Room room(1, 480);
    const MixerThread mixer(room);
    mixer.waitUntilRunning();
    QVERIFY(mixer.cycles() > 0);
}

void MixerThreadTest::everyListenerGetsAPacketEachCycle()
{
    Room room(1, 480);
    const auto sink = std::make_shared<CountingSink>();
    QVERIFY(room.join(ChannelSet(1), ChannelSet(1), sink));
    {
        const MixerThread mixer(room);
        sink->waitFor(10);
        QVERIFY(mixer.cycles() >= 9);
    }
}

void MixerThreadTest::noCycleRunsAfterItsEnd()
{
    Room room(1, 480);
    const auto sink = std::make_shared<CountingSink>();
    QVERIFY(room.join(ChannelSet(1), ChannelSet(1), sink));
    {
        const MixerThread mixer(room);
        sink->waitFor(3);
    }
    const int packets = sink->packets();
    room.runCycle(); // by hand: no thread runs cycles
    QCOMPARE(sink->packets(), packets + 1);
}

void MixerThreadTest::anEmptyRoomIsWaitedInUntilAParticipantJoins()
{
    Room room(1, 480);
    std::thread waiting([&] { static_cast<void>(room.waitWhileEmpty()); });
    // Whether it waits already or only looks afterwards: the room is no longer empty.
    const auto id = room.join(ChannelSet(1), ChannelSet(1), std::make_shared<CountingSink>());
    waiting.join();
    QVERIFY(id);
    QVERIFY(!room.waitWhileEmpty());
}

void MixerThreadTest::anEmptyRoomIsWaitedInUntilSomethingIsAnnounced()
{
    Room room(1, 480);
    std::thread waiting([&] { static_cast<void>(room.waitWhileEmpty()); });
    QVERIFY(room.announce(std::make_shared<Noise>(), ChannelSet::all(1)));
    waiting.join();
    QVERIFY(!room.waitWhileEmpty());
    for (int cycle = 0; cycle < 100; ++cycle) {
        room.runCycle();
        QVERIFY(!room.waitWhileEmpty());
    }
}

void MixerThreadTest::wakingEndsTheWaitingForGood()
{
    Room room(1, 480);
    std::thread waiting([&] { static_cast<void>(room.waitWhileEmpty()); });
    room.wake();
    waiting.join();
    QVERIFY(!room.waitWhileEmpty());
}

void MixerThreadTest::aRoomIsEmptyOnlyWhenWhoLeftHasFadedOut()
{
    Room room(1, 480);
    const ParticipantId id =
        room.join(ChannelSet(1), ChannelSet(1), std::make_shared<CountingSink>()).value();
    room.runCycle();
    room.leave(id);
    QVERIFY(!room.waitWhileEmpty());
    room.runCycle();
    QVERIFY(!room.waitWhileEmpty());
}

void MixerThreadTest::cyclesRunAgainAfterARest()
{
    Room room(1, 480);
    const MixerThread mixer(room);
    mixer.waitUntilRunning();
    for (int round = 0; round < 5; ++round) {
        const auto sink = std::make_shared<CountingSink>();
        const ParticipantId id = room.join(ChannelSet(1), ChannelSet(1), sink).value();
        sink->waitFor(3);
        room.leave(id);
    }
    QVERIFY(mixer.cycles() >= 15);
}

void MixerThreadTest::leavingWaitsForAPacketThatIsJustBeingSent()
{
    Room room(1, 480);
    const auto sink = std::make_shared<SlowSink>();
    const ParticipantId id = room.join(ChannelSet(1), ChannelSet(1), sink).value();
    const MixerThread mixer(room);
    sink->waitUntilSending();
    bool hadSent = false;
    std::thread leaving([&] {
        room.leave(id);
        hadSent = sink->hasSent();
    });
    sink->goOn();
    leaving.join();
    QVERIFY(hadSent);
    QCOMPARE(sink.use_count(), 1L);
}

void MixerThreadTest::theRoomMayBeUsedFromManyThreadsWhileCyclesRun()
{
    constexpr std::size_t channels = 3;
    constexpr int threads = 4;
    constexpr int rounds = 60;
    Room room(channels, 480);
    // Spoken beforehand: to speak costs more than to mix.
    TalkingClient client(tone(440), 480);
    std::vector<std::vector<std::uint8_t>> spoken(200);
    std::generate(spoken.begin(), spoken.end(), [&] { return client.next(); });

    std::atomic<std::uint64_t> received{0};
    std::atomic<int> failures{0};
    const MixerThread mixer(room);
    std::vector<std::thread> users;
    for (int thread = 0; thread < threads; ++thread) {
        users.emplace_back([&, thread] {
            std::mt19937 random(static_cast<unsigned>(thread));
            for (int round = 0; round < rounds; ++round) {
                const auto sink = std::make_shared<CountingSink>();
                const ChannelSet all = ChannelSet::all(channels);
                const auto id = room.join(all, all, sink);
                if (!id) {
                    ++failures;
                    continue;
                }
                for (int packet = 0; packet < 3; ++packet) {
                    ChannelSet keys(channels);
                    keys.insert(random() % channels);
                    room.setTalk(*id, keys);
                    room.setLevels(*id, {1, static_cast<float>(random() % 2), 0.5F});
                    room.receiver (*id)(spoken[random() % spoken.size()]);
                    sink->waitFor(packet + 1);
                    received += room.received(*id).packets;
                }
                if (round % 10 == 0) {
                    room.announce(std::make_shared<Noise>(), ChannelSet::all(channels));
                }
                room.leave(*id);
                room.leave(*id);
                const int packets = sink->packets();
                std::this_thread::yield();
                failures += sink.use_count() != 1 || sink->packets() != packets ? 1 : 0;
            }
        });
    }
    for (std::thread& user : users) {
        user.join();
    }
    QCOMPARE(failures.load(), 0);
    QVERIFY(received > 0);
    QVERIFY(mixer.cycles() > rounds);
}

WINGBELL_APPLESS_TEST(MixerThreadTest)
#include "MixerThreadTest.moc"

#include "relay/voice/MixingThread.h"

#include "relay/voice/AudioFormat.h"
#include "relay/voice/VoiceRoom.h"
#include "tests/relay/voice/HearingClient.h"
#include "tests/relay/voice/TalkingClient.h"

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

/// A hundred ticks of noise.
class Noise : public SoundSource
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

class MixingThreadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itTicksBeforeItIsSaidTo();
    void everybodyGetsAPacketEachTick();
    void afterItsEndNothingTicks();
    void anEmptyRoomIsWaitedInUntilSomebodyComes();
    void anEmptyRoomIsWaitedInUntilSomethingIsAnnounced();
    void whoeverEndsTheWaitingEndsItForGood();
    void aRoomIsEmptyOnlyWhenWhoLeftHasFadedOut();
    void afterARestItTicksAgain();
    void leavingWaitsForAPacketThatIsJustBeingSent();
    void theRoomMayBeUsedFromManyThreadsWhileItTicks();
};

void MixingThreadTest::itTicksBeforeItIsSaidTo()
{
    VoiceRoom room(1, 480);
    const MixingThread mixer(room);
    mixer.waitUntilTicking();
    QVERIFY(mixer.ticks() > 0);
}

void MixingThreadTest::everybodyGetsAPacketEachTick()
{
    VoiceRoom room(1, 480);
    const auto sink = std::make_shared<CountingSink>();
    QVERIFY(room.join(ChannelSet(1), ChannelSet(1), sink));
    {
        const MixingThread mixer(room);
        sink->waitFor(10);
        QVERIFY(mixer.ticks() >= 9);
    }
}

void MixingThreadTest::afterItsEndNothingTicks()
{
    VoiceRoom room(1, 480);
    const auto sink = std::make_shared<CountingSink>();
    QVERIFY(room.join(ChannelSet(1), ChannelSet(1), sink));
    {
        const MixingThread mixer(room);
        sink->waitFor(3);
    }
    const int packets = sink->packets();
    room.tick(); // by hand: nobody else is at it
    QCOMPARE(sink->packets(), packets + 1);
}

void MixingThreadTest::anEmptyRoomIsWaitedInUntilSomebodyComes()
{
    VoiceRoom room(1, 480);
    std::thread waiting([&] { static_cast<void>(room.waitWhileEmpty()); });
    // Whether it waits already or only looks afterwards: the room is no longer empty.
    const auto id = room.join(ChannelSet(1), ChannelSet(1), std::make_shared<CountingSink>());
    waiting.join();
    QVERIFY(id);
    QVERIFY(!room.waitWhileEmpty());
}

void MixingThreadTest::anEmptyRoomIsWaitedInUntilSomethingIsAnnounced()
{
    VoiceRoom room(1, 480);
    std::thread waiting([&] { static_cast<void>(room.waitWhileEmpty()); });
    QVERIFY(room.announce(std::make_shared<Noise>(), ChannelSet::all(1)));
    waiting.join();
    QVERIFY(!room.waitWhileEmpty());
    for (int tick = 0; tick < 100; ++tick) {
        room.tick();
        QVERIFY(!room.waitWhileEmpty());
    }
}

void MixingThreadTest::whoeverEndsTheWaitingEndsItForGood()
{
    VoiceRoom room(1, 480);
    std::thread waiting([&] { static_cast<void>(room.waitWhileEmpty()); });
    room.wake();
    waiting.join();
    QVERIFY(!room.waitWhileEmpty());
}

void MixingThreadTest::aRoomIsEmptyOnlyWhenWhoLeftHasFadedOut()
{
    VoiceRoom room(1, 480);
    const VoiceId id =
        room.join(ChannelSet(1), ChannelSet(1), std::make_shared<CountingSink>()).value();
    room.tick();
    room.leave(id);
    QVERIFY(!room.waitWhileEmpty());
    room.tick();
    QVERIFY(!room.waitWhileEmpty());
}

void MixingThreadTest::afterARestItTicksAgain()
{
    VoiceRoom room(1, 480);
    const MixingThread mixer(room);
    mixer.waitUntilTicking();
    for (int round = 0; round < 5; ++round) {
        const auto sink = std::make_shared<CountingSink>();
        const VoiceId id = room.join(ChannelSet(1), ChannelSet(1), sink).value();
        sink->waitFor(3);
        room.leave(id);
    }
    QVERIFY(mixer.ticks() >= 15);
}

void MixingThreadTest::leavingWaitsForAPacketThatIsJustBeingSent()
{
    VoiceRoom room(1, 480);
    const auto sink = std::make_shared<SlowSink>();
    const VoiceId id = room.join(ChannelSet(1), ChannelSet(1), sink).value();
    const MixingThread mixer(room);
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

void MixingThreadTest::theRoomMayBeUsedFromManyThreadsWhileItTicks()
{
    constexpr std::size_t channels = 3;
    constexpr int threads = 4;
    constexpr int rounds = 60;
    VoiceRoom room(channels, 480);
    // Spoken beforehand: to speak costs more than to mix.
    TalkingClient client(tone(440), 480);
    std::vector<std::vector<std::uint8_t>> spoken(200);
    std::generate(spoken.begin(), spoken.end(), [&] { return client.next(); });

    std::atomic<std::uint64_t> received{0};
    std::atomic<int> failures{0};
    const MixingThread mixer(room);
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
                    room.receive(*id, spoken[random() % spoken.size()]);
                    sink->waitFor(packet + 1);
                    received += room.receivedPackets(*id);
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
    QVERIFY(mixer.ticks() > rounds);
}

QTEST_APPLESS_MAIN(MixingThreadTest)
#include "MixingThreadTest.moc"

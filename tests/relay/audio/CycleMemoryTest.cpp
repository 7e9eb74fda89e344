#include "relay/audio/Room.h"
#include "tests/TestProgram.h"

#include "tests/relay/audio/TalkingClient.h"

#include <QTest>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

namespace {

std::atomic<int> allocations{0};
std::atomic<int> releases{0};

} // namespace

// All that C++ code of this program allocates and releases comes through here.
void* operator new(std::size_t size)
{
    ++allocations;
    if (void* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    ++releases;
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    ++releases;
    std::free(memory);
}

using namespace wingbell;

namespace {

class NoSink : public PacketSink
{
public:
    void send(std::span<const std::uint8_t>) override {}
};

class Hum : public AudioSource
{
public:
    std::size_t read(std::span<float> samples) override
    {
        for (float& sample : samples) {
            sample = 0.1F;
        }
        return samples.size();
    }

    [[nodiscard]] bool isFinished() const override { return false; }
};

} // namespace

class CycleMemoryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aCycleAllocatesAndReleasesNothing();
};

void CycleMemoryTest::aCycleAllocatesAndReleasesNothing()
{
    constexpr int clients = 4;
    Room room(2, 960);
    std::vector<ParticipantId> ids;
    std::vector<std::unique_ptr<TalkingClient>> talking;
    for (int client = 0; client < clients; ++client) {
        ids.push_back(
            room.join(ChannelSet::all(2), ChannelSet::all(2), std::make_shared<NoSink>()).value());
        talking.push_back(std::make_unique<TalkingClient>(tone(300 + 100 * client)));
    }
    int during = 0;
    for (int cycle = 0; cycle < 200; ++cycle) {
        for (std::size_t client = 0; client < talking.size(); ++client) {
            const std::vector<std::uint8_t> packet = talking[client]->next();
            // At first a burst, later some are lost.
            if (cycle < 10 || cycle % 7 != 0) {
                room.receiver(ids[client])(packet);
            }
        }
        if (cycle % 20 == 0) {
            room.setTalk(ids[1], cycle % 60 == 0 ? ChannelSet::all(2) : ChannelSet(2));
            // It parts from those that hear the same, and joins them again.
            room.setLevels(ids[2], {cycle % 40 == 0 ? 0.5F : 1.0F, 1});
            room.announce(std::make_shared<Hum>(), ChannelSet::all(2));
            room.leave(ids[3]);
            ids[3] = room.join(ChannelSet::all(2), ChannelSet::all(2), std::make_shared<NoSink>())
                         .value();
        }
        if (cycle < 10) {
            continue;
        }
        const int before = allocations + releases;
        room.runCycle();
        during += allocations + releases - before;
    }
    QVERIFY(allocations > 1000 && releases > 1000); // the counting counts
    QCOMPARE(during, 0);
}

WINGBELL_APPLESS_TEST(CycleMemoryTest)
#include "CycleMemoryTest.moc"

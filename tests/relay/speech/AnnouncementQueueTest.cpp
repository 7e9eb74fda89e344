#include "relay/speech/AnnouncementQueue.h"

#include <QTest>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <random>

using namespace wingbell;

namespace {

constexpr std::size_t channelCount = 12;

ChannelSet channels(std::initializer_list<std::size_t> each)
{
    ChannelSet set(channelCount);
    for (const std::size_t channel : each) {
        set.insert(channel);
    }
    return set;
}

PendingAnnouncement announcement(std::uint64_t id, const ChannelSet& set)
{
    return {id, set, "Text " + std::to_string(id)};
}

/// The ids of all that may start now.
std::vector<std::uint64_t> takeAll(AnnouncementQueue& queue)
{
    std::vector<std::uint64_t> ids;
    while (const auto taken = queue.takeStartable()) {
        ids.push_back(taken->id);
    }
    return ids;
}

using Ids = std::vector<std::uint64_t>;

} // namespace

class AnnouncementQueueTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itHandsOutWhatItWasGiven();
    void oneChannelSpeaksInOrder();
    void differentChannelsSpeakAtTheSameTime();
    void oneForEveryChannelWaitsForAllOfThem();
    void aLaterOneDoesNotOvertakeOneThatWaits();
    void finishingAnUnknownOneChangesNothing();
    void oneForNoChannelIsRefused();
    void aChannelTakesOnlySoManyWaiting();
    void oneForEveryChannelNeedsRoomOnEachOfThem();
    void soManyMayWaitAltogether();
    void whateverComesEachChannelKeepsItsOrder();
};

void AnnouncementQueueTest::itHandsOutWhatItWasGiven()
{
    AnnouncementQueue queue;
    QVERIFY(!queue.takeStartable());
    QVERIFY(queue.offer(announcement(7, channels({1, 3}))) == Admission::Admitted);
    QCOMPARE(queue.waitingCount(), std::size_t{1});
    QVERIFY(queue.takeStartable() == announcement(7, channels({1, 3})));
    QCOMPARE(queue.waitingCount(), std::size_t{0});
    QCOMPARE(queue.speakingCount(), std::size_t{1});
    queue.finished(7);
    QCOMPARE(queue.speakingCount(), std::size_t{0});
}

void AnnouncementQueueTest::oneChannelSpeaksInOrder()
{
    AnnouncementQueue queue;
    for (std::uint64_t id = 1; id <= 3; ++id) {
        QVERIFY(queue.offer(announcement(id, channels({0}))) == Admission::Admitted);
    }
    for (std::uint64_t id = 1; id <= 3; ++id) {
        QVERIFY(takeAll(queue) == Ids({id}));
        queue.finished(id);
    }
    QVERIFY(takeAll(queue).empty());
}

void AnnouncementQueueTest::differentChannelsSpeakAtTheSameTime()
{
    AnnouncementQueue queue;
    (void)queue.offer(announcement(1, channels({0})));
    (void)queue.offer(announcement(2, channels({0})));
    (void)queue.offer(announcement(3, channels({1})));
    QVERIFY(takeAll(queue) == Ids({1, 3}));
    queue.finished(3);
    QVERIFY(takeAll(queue).empty());
    queue.finished(1);
    QVERIFY(takeAll(queue) == Ids({2}));
}

void AnnouncementQueueTest::oneForEveryChannelWaitsForAllOfThem()
{
    AnnouncementQueue queue;
    (void)queue.offer(announcement(1, channels({0})));
    (void)queue.offer(announcement(2, channels({1})));
    (void)queue.offer(announcement(3, ChannelSet::all(channelCount)));
    QVERIFY(takeAll(queue) == Ids({1, 2}));
    queue.finished(1);
    QVERIFY(takeAll(queue).empty());
    queue.finished(2);
    QVERIFY(takeAll(queue) == Ids({3}));
}

void AnnouncementQueueTest::aLaterOneDoesNotOvertakeOneThatWaits()
{
    AnnouncementQueue queue;
    (void)queue.offer(announcement(1, channels({0})));
    (void)queue.offer(announcement(2, channels({0, 1})));
    (void)queue.offer(announcement(3, channels({1, 2})));
    (void)queue.offer(announcement(4, channels({2})));
    (void)queue.offer(announcement(5, channels({3})));
    QVERIFY(takeAll(queue) == Ids({1, 5}));
    queue.finished(1);
    QVERIFY(takeAll(queue) == Ids({2}));
    queue.finished(2);
    QVERIFY(takeAll(queue) == Ids({3}));
    queue.finished(3);
    QVERIFY(takeAll(queue) == Ids({4}));
}

void AnnouncementQueueTest::finishingAnUnknownOneChangesNothing()
{
    AnnouncementQueue queue;
    (void)queue.offer(announcement(1, channels({0})));
    (void)queue.offer(announcement(2, channels({0})));
    queue.finished(1); // it only waits
    QVERIFY(takeAll(queue) == Ids({1}));
    queue.finished(99);
    QVERIFY(takeAll(queue).empty());
    queue.finished(1);
    queue.finished(1);
    QVERIFY(takeAll(queue) == Ids({2}));
}

void AnnouncementQueueTest::oneForNoChannelIsRefused()
{
    AnnouncementQueue queue;
    QVERIFY(queue.offer(announcement(1, channels({}))) == Admission::NoChannel);
    QVERIFY(queue.offer(announcement(1, ChannelSet::all(0))) == Admission::NoChannel);
    QCOMPARE(queue.waitingCount(), std::size_t{0});
}

void AnnouncementQueueTest::aChannelTakesOnlySoManyWaiting()
{
    AnnouncementQueue queue;
    std::uint64_t id = 0;
    for (std::size_t count = 0; count < AnnouncementQueue::mostWaitingOnAChannel; ++count) {
        QVERIFY(queue.offer(announcement(++id, channels({0}))) == Admission::Admitted);
    }
    QVERIFY(queue.offer(announcement(++id, channels({0}))) == Admission::ChannelFull);
    QVERIFY(queue.offer(announcement(++id, channels({1}))) == Admission::Admitted);
    // One that speaks waits no longer.
    QVERIFY(takeAll(queue).front() == 1);
    QVERIFY(queue.offer(announcement(++id, channels({0}))) == Admission::Admitted);
    QVERIFY(queue.offer(announcement(++id, channels({0}))) == Admission::ChannelFull);
}

void AnnouncementQueueTest::oneForEveryChannelNeedsRoomOnEachOfThem()
{
    AnnouncementQueue queue;
    std::uint64_t id = 0;
    for (std::size_t count = 0; count < AnnouncementQueue::mostWaitingOnAChannel; ++count) {
        (void)queue.offer(announcement(++id, channels({5})));
    }
    QVERIFY(
        queue.offer(announcement(++id, ChannelSet::all(channelCount))) == Admission::ChannelFull);
    QVERIFY(queue.offer(announcement(++id, channels({4, 6}))) == Admission::Admitted);
}

void AnnouncementQueueTest::soManyMayWaitAltogether()
{
    AnnouncementQueue queue;
    std::uint64_t id = 0;
    for (std::size_t count = 0; count < AnnouncementQueue::mostWaiting; ++count) {
        QVERIFY(
            queue.offer(announcement(++id, channels({count % channelCount}))) ==
            Admission::Admitted);
    }
    QVERIFY(queue.offer(announcement(++id, channels({11}))) == Admission::QueueFull);
    QVERIFY(queue.takeStartable());
    QVERIFY(queue.offer(announcement(++id, channels({11}))) == Admission::Admitted);
}

void AnnouncementQueueTest::whateverComesEachChannelKeepsItsOrder()
{
    std::mt19937 random(5);
    const auto below = [&random](std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
    };
    AnnouncementQueue queue;
    std::vector<PendingAnnouncement> speaking;
    std::map<std::size_t, std::uint64_t> lastOn;
    std::size_t spoken = 0;
    for (std::uint64_t id = 1; id <= 20000; ++id) {
        ChannelSet set(channelCount);
        for (std::size_t count = below(4); count > 0; --count) {
            set.insert(below(channelCount));
        }
        (void)queue.offer(announcement(id, set));
        while (auto taken = queue.takeStartable()) {
            for (const PendingAnnouncement& other : speaking) {
                QVERIFY(!other.channels.intersects(taken->channels));
            }
            for (std::size_t channel = 0; channel < channelCount; ++channel) {
                if (taken->channels.contains(channel)) {
                    QVERIFY(lastOn[channel] < taken->id);
                    lastOn[channel] = taken->id;
                }
            }
            speaking.push_back(*taken);
        }
        QVERIFY(queue.waitingCount() == 0 || !speaking.empty());
        if (!speaking.empty() && below(2) == 0) {
            const std::size_t place = below(speaking.size());
            queue.finished(speaking.at(place).id);
            speaking.erase(speaking.begin() + static_cast<std::ptrdiff_t>(place));
            ++spoken;
        }
    }
    QVERIFY(spoken > 1000);
}

QTEST_GUILESS_MAIN(AnnouncementQueueTest)
#include "AnnouncementQueueTest.moc"

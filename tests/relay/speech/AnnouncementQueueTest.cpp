#include "relay/speech/AnnouncementQueue.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <array>
#include <initializer_list>
#include <map>
#include <random>
#include <string>
#include <utility>

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

PendingAnnouncement
announcement(std::uint64_t id, const ChannelSet& set, const std::string& sender = "A")
{
    return {id, set, "Text " + std::to_string(id), sender};
}

/// As long a text as is taken.
PendingAnnouncement
longAnnouncement(std::uint64_t id, const ChannelSet& set, const std::string& sender = "A")
{
    return {id, set, std::string(500, 'x'), sender};
}

/// The ids of all that are spoken until nothing waits, one after the other.
std::vector<std::uint64_t> speakAll(AnnouncementQueue& queue)
{
    std::vector<std::uint64_t> ids;
    while (const auto taken = queue.takeStartable()) {
        ids.push_back(taken->id);
        queue.finished(taken->id);
    }
    return ids;
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
    void aSenderHasOnlySoManyWaitingOnAChannel();
    void aSenderHasOnlySoMuchToSayWaitingOnAChannel();
    void oneForEveryChannelNeedsRoomOnEachOfThem();
    void anotherSenderIsNextWhateverTheFirstOneHasWaiting();
    void anotherSenderForEveryChannelIsNextOnEachOfThem();
    void sendersTakeTurns();
    void turnsAreTakenOnEachChannel();
    void newSendersDoNotKeepAnOldOneWaitingForEver();
    void whenTheQueueIsFullTheLargestShareGivesWay();
    void whenTheQueueIsFullTheLargestShareIsRefused();
    void silenceDropsWhatOneSenderHasWaiting();
    void aLongOneIsAwaitedByOtherSendersOnly();
    void whateverComesEachSenderKeepsItsOrder();
};

void AnnouncementQueueTest::itHandsOutWhatItWasGiven()
{
    AnnouncementQueue queue;
    QVERIFY(!queue.takeStartable());
    QVERIFY(queue.offer(announcement(7, channels({1, 3}))).has_value());
    QVERIFY(queue.takeStartable() == announcement(7, channels({1, 3})));
    QVERIFY(!queue.takeStartable());
    queue.finished(7);
}

void AnnouncementQueueTest::oneChannelSpeaksInOrder()
{
    AnnouncementQueue queue;
    for (std::uint64_t id = 1; id <= 3; ++id) {
        QVERIFY(queue.offer(announcement(id, channels({0}))).has_value());
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
    QVERIFY(queue.offer(announcement(1, channels({}))) == failure(AnnouncementError::NoChannel));
    QVERIFY(
        queue.offer(announcement(1, ChannelSet::all(0))) == failure(AnnouncementError::NoChannel));
    QVERIFY(!queue.takeStartable());
}

void AnnouncementQueueTest::aSenderHasOnlySoManyWaitingOnAChannel()
{
    AnnouncementQueue queue;
    std::uint64_t id = 0;
    for (std::size_t count = 0; count < AnnouncementQueue::maxWaitingOfASender; ++count) {
        QVERIFY(queue.offer(announcement(++id, channels({0}))).has_value());
    }
    QVERIFY(queue.offer(announcement(++id, channels({0}))) == failure(AnnouncementError::TooMany));
    QVERIFY(queue.offer(announcement(++id, channels({1}))).has_value());
    QVERIFY(queue.offer(announcement(++id, channels({0}), "B")).has_value());
    // One that speaks waits no longer.
    QVERIFY(takeAll(queue).front() == 1);
    QVERIFY(queue.offer(announcement(++id, channels({0}))).has_value());
    QVERIFY(queue.offer(announcement(++id, channels({0}))) == failure(AnnouncementError::TooMany));
}

void AnnouncementQueueTest::aSenderHasOnlySoMuchToSayWaitingOnAChannel()
{
    AnnouncementQueue queue;
    std::uint64_t id = 0;
    std::chrono::milliseconds waiting{0};
    AnnouncementQueue::Offer last;
    while (last) {
        const PendingAnnouncement next = longAnnouncement(++id, channels({0, 1}));
        last = queue.offer(next);
        waiting += AnnouncementQueue::speakingTime(next.text);
    }
    QVERIFY(last == failure(AnnouncementError::TooMuchToSay));
    QVERIFY(id > 2);
    QVERIFY(waiting > AnnouncementQueue::maxSpeechOfASender);
    QVERIFY(
        queue.offer(longAnnouncement(++id, channels({1}))) ==
        failure(AnnouncementError::TooMuchToSay));
    QVERIFY(queue.offer(longAnnouncement(++id, channels({2}))).has_value());
    QVERIFY(queue.offer(longAnnouncement(++id, channels({1}), "B")).has_value());
    // However long it is, one may always wait.
    PendingAnnouncement veryLong = announcement(++id, channels({3}));
    veryLong.text = std::string(100'000, 'x');
    QVERIFY(queue.offer(veryLong).has_value());
}

void AnnouncementQueueTest::oneForEveryChannelNeedsRoomOnEachOfThem()
{
    AnnouncementQueue queue;
    std::uint64_t id = 0;
    for (std::size_t count = 0; count < AnnouncementQueue::maxWaitingOfASender; ++count) {
        (void)queue.offer(announcement(++id, channels({5})));
    }
    QVERIFY(
        queue.offer(announcement(++id, ChannelSet::all(channelCount))) ==
        failure(AnnouncementError::TooMany));
    QVERIFY(queue.offer(announcement(++id, channels({4, 6}))).has_value());
}

void AnnouncementQueueTest::anotherSenderIsNextWhateverTheFirstOneHasWaiting()
{
    AnnouncementQueue queue;
    std::uint64_t id = 0;
    while (queue.offer(announcement(++id, channels({0}))).has_value()) {
    }
    QVERIFY(takeAll(queue) == Ids({1}));
    QVERIFY(queue.offer(announcement(100, channels({0}), "B")).has_value());
    QVERIFY(takeAll(queue).empty());
    queue.finished(1);
    QVERIFY(takeAll(queue) == Ids({100}));
    queue.finished(100);
    QVERIFY(takeAll(queue) == Ids({2}));
}

void AnnouncementQueueTest::anotherSenderForEveryChannelIsNextOnEachOfThem()
{
    AnnouncementQueue queue;
    std::uint64_t id = 0;
    for (int round = 0; round < 4; ++round) {
        for (std::size_t channel = 0; channel < channelCount; ++channel) {
            (void)queue.offer(announcement(++id, channels({channel})));
        }
    }
    QCOMPARE(takeAll(queue).size(), channelCount);
    (void)queue.offer(announcement(100, ChannelSet::all(channelCount), "B"));
    for (std::uint64_t first = 1; first <= channelCount; ++first) {
        QVERIFY(takeAll(queue).empty());
        queue.finished(first);
    }
    QVERIFY(takeAll(queue) == Ids({100}));
}

void AnnouncementQueueTest::sendersTakeTurns()
{
    AnnouncementQueue queue;
    for (std::uint64_t id = 1; id <= 4; ++id) {
        (void)queue.offer(announcement(id, channels({0}), "A"));
    }
    for (std::uint64_t id = 11; id <= 13; ++id) {
        (void)queue.offer(announcement(id, channels({0}), "B"));
    }
    (void)queue.offer(announcement(21, channels({0}), "C"));
    QVERIFY(speakAll(queue) == Ids({1, 11, 21, 2, 12, 3, 13, 4}));
}

void AnnouncementQueueTest::turnsAreTakenOnEachChannel()
{
    AnnouncementQueue queue;
    for (std::uint64_t id = 1; id <= 5; ++id) {
        (void)queue.offer(announcement(id, channels({0}), "A"));
    }
    for (std::uint64_t id = 11; id <= 13; ++id) {
        (void)queue.offer(announcement(id, channels({1}), "B"));
    }
    (void)queue.offer(announcement(6, channels({1}), "A"));
    // What A has waiting elsewhere does not count on this channel.
    QVERIFY(takeAll(queue) == Ids({1, 11}));
    queue.finished(11);
    QVERIFY(takeAll(queue) == Ids({6}));
}

void AnnouncementQueueTest::newSendersDoNotKeepAnOldOneWaitingForEver()
{
    AnnouncementQueue queue;
    (void)queue.offer(announcement(1, channels({0})));
    (void)queue.offer(announcement(2, ChannelSet::all(channelCount)));
    std::uint64_t id = 100;
    std::size_t turns = 0;
    std::uint64_t spoken = 0;
    while (spoken != 2) {
        ++id;
        (void)queue.offer(announcement(id, channels({0}), std::to_string(id)));
        const auto taken = queue.takeStartable();
        QVERIFY(taken);
        spoken = taken->id;
        queue.finished(spoken);
        QVERIFY(++turns <= AnnouncementQueue::rememberedTurns + 2);
    }
}

void AnnouncementQueueTest::whenTheQueueIsFullTheLargestShareGivesWay()
{
    AnnouncementQueue queue;
    std::uint64_t id = 0;
    while (id < AnnouncementQueue::maxWaiting) {
        ++id;
        const ChannelSet set = channels({id % channelCount});
        QVERIFY(queue.offer(announcement(id, set)).has_value());
    }
    const auto offer = queue.offer(announcement(100, channels({0}), "B"));
    QVERIFY(offer && *offer);
    QCOMPARE((*offer)->id, id);
    QVERIFY(
        queue.offer(announcement(++id, channels({11}))) == failure(AnnouncementError::QueueFull));
    QVERIFY(queue.takeStartable());
    QVERIFY(queue.offer(announcement(++id, channels({11}))).has_value());
}

void AnnouncementQueueTest::whenTheQueueIsFullTheLargestShareIsRefused()
{
    AnnouncementQueue queue;
    for (std::uint64_t id = 1; id <= AnnouncementQueue::maxWaiting; ++id) {
        (void)queue.offer(announcement(id, channels({0}), std::to_string(id)));
    }
    QVERIFY(
        queue.offer(announcement(100, channels({0}), "7")) ==
        failure(AnnouncementError::QueueFull));
    // One of many equal shares gives way, the newest: the oldest have waited the longest time.
    const auto offer = queue.offer(announcement(101, channels({0}), "new"));
    QVERIFY(offer && *offer);
    QCOMPARE((*offer)->id, std::uint64_t{AnnouncementQueue::maxWaiting});
}

void AnnouncementQueueTest::silenceDropsWhatOneSenderHasWaiting()
{
    AnnouncementQueue queue;
    for (std::uint64_t id = 1; id <= 3; ++id) {
        (void)queue.offer(announcement(id, channels({0}), "A"));
    }
    (void)queue.offer(announcement(11, channels({0}), "B"));
    QVERIFY(takeAll(queue) == Ids({1}));
    QCOMPARE(queue.dropWaiting("A"), std::size_t{2});
    QCOMPARE(queue.dropWaiting("A"), std::size_t{0});
    queue.finished(1);
    QVERIFY(takeAll(queue) == Ids({11}));
}

void AnnouncementQueueTest::aLongOneIsAwaitedByOtherSendersOnly()
{
    AnnouncementQueue queue;
    (void)queue.offer(announcement(1, channels({0}), "A"));
    (void)queue.offer(announcement(2, channels({0}), "A"));
    QVERIFY(takeAll(queue) == Ids({1}));
    QVERIFY(!queue.isAwaitedByOthers(1));
    (void)queue.offer(announcement(11, channels({1, 2}), "B"));
    QVERIFY(!queue.isAwaitedByOthers(1));
    (void)queue.offer(announcement(12, channels({0, 3}), "B"));
    QVERIFY(queue.isAwaitedByOthers(1));
    QVERIFY(!queue.isAwaitedByOthers(2));
}

void AnnouncementQueueTest::whateverComesEachSenderKeepsItsOrder()
{
    std::mt19937 random(5);
    const auto below = [&random](std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
    };
    const std::array<std::string, 3> senders = {"A", "B", "C"};
    AnnouncementQueue queue;
    std::vector<PendingAnnouncement> speaking;
    std::map<std::pair<std::string, std::size_t>, std::uint64_t> lastOn;
    std::size_t spoken = 0;
    std::size_t waiting = 0;
    for (std::uint64_t id = 1; id <= 600; ++id) {
        ChannelSet set(channelCount);
        for (std::size_t count = below(4); count > 0; --count) {
            set.insert(below(channelCount));
        }
        const auto offer = queue.offer(announcement(id, set, senders.at(below(senders.size()))));
        waiting += offer && !*offer ? 1 : 0;
        while (auto taken = queue.takeStartable()) {
            for (const PendingAnnouncement& other : speaking) {
                QVERIFY(!other.channels.intersects(taken->channels));
            }
            for (std::size_t channel = 0; channel < channelCount; ++channel) {
                if (taken->channels.contains(channel)) {
                    std::uint64_t& last = lastOn[{taken->sender, channel}];
                    QVERIFY(last < taken->id);
                    last = taken->id;
                }
            }
            speaking.push_back(*taken);
            --waiting;
        }
        QVERIFY(waiting == 0 || !speaking.empty());
        if (!speaking.empty() && below(2) == 0) {
            const std::size_t place = below(speaking.size());
            queue.finished(speaking.at(place).id);
            speaking.erase(speaking.begin() + static_cast<std::ptrdiff_t>(place));
            ++spoken;
        }
    }
    QVERIFY(spoken > 100);
}

WINGBELL_GUILESS_TEST(AnnouncementQueueTest)
#include "AnnouncementQueueTest.moc"

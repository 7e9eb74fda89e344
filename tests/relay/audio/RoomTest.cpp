#include "relay/audio/Room.h"
#include "tests/TestProgram.h"

#include "relay/audio/AudioIo.h"
#include "relay/audio/Mixer.h"
#include "relay/audio/Participant.h"
#include "tests/relay/audio/HearingClient.h"
#include "tests/relay/audio/TalkingClient.h"
#include "tests/relay/audio/Tones.h"

#include <QTest>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

using namespace wingbell;

namespace {

using Channels = std::initializer_list<std::size_t>;

constexpr std::size_t channelCount = 4;

ChannelSet setOf(Channels channels)
{
    ChannelSet set(channelCount);
    for (const std::size_t channel : channels) {
        set.insert(channel);
    }
    return set;
}

/// A participant that talks all the time and hears what the room lets through.
struct Member
{
    Member(Room& its, TalkingClient::Sound sound, Channels mayTalk, Channels mayListen)
        : room(its)
        , talking(std::move(sound), its.samplesPerCycle())
        , id(its.join(setOf(mayTalk), setOf(mayListen), hearing).value())
    {
    }

    void talk(Channels channels) { room.setTalk(id, setOf(channels)); }

    /// How strong a tone was in the last half second.
    [[nodiscard]] double hears(double hertz) const
    {
        return toneLevel(lastOf(hearing->samples(), sampleRate / 2), hertz);
    }

    Room& room;
    TalkingClient talking;
    std::shared_ptr<HearingClient> hearing = std::make_shared<HearingClient>();
    ParticipantId id;
};

using Members = std::initializer_list<Member*>;

/// Everybody speaks, then the room cycles, and so on.
void run(Room& room, Members members, double seconds)
{
    const double cycles = seconds * sampleRate / static_cast<double>(room.samplesPerCycle());
    for (int cycle = 0; cycle < static_cast<int>(cycles); ++cycle) {
        for (Member* member : members) {
            room.receiver(member->id)(member->talking.next());
        }
        room.runCycle();
    }
}

/// A tone for some time.
class Gong : public AudioSource
{
public:
    Gong(double hertz, double level, double seconds)
        : m_sound(tone(hertz, level))
        , m_length(static_cast<std::size_t>(seconds * sampleRate))
    {
    }

    std::size_t read(std::span<float> samples) override
    {
        const std::size_t count = std::min(samples.size(), m_length - m_position);
        for (float& sample : samples.first(count)) {
            sample = m_sound(m_position++);
        }
        return count;
    }

    [[nodiscard]] bool isFinished() const override { return m_position == m_length; }

private:
    TalkingClient::Sound m_sound;
    std::size_t m_length;
    std::size_t m_position = 0;
};

/// Reads as it should not.
class BrokenSound : public AudioSource
{
public:
    std::size_t read(std::span<float> samples) override
    {
        std::fill(samples.begin(), samples.end(), std::numeric_limits<float>::quiet_NaN());
        samples.front() = std::numeric_limits<float>::infinity();
        return samples.size() + 1000;
    }

    [[nodiscard]] bool isFinished() const override { return false; }
};

constexpr double loud = 0.22;  // a tone of 0.3, through Opus twice
constexpr double still = 0.02; // nothing of it but what coding other tones leaves there

} // namespace

class RoomTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everybodyHearsTheOthersAndNeverThemselves_data();
    void everybodyHearsTheOthersAndNeverThemselves();
    void whoDoesNotTalkIsNotHeard();
    void onlySharedChannelsConnect();
    void listeningOnAChannelIsNotTalkingOnIt();
    void twoSharedChannelsDoNotCountTwice();
    void theHighestLevelOfTheSharedChannelsCounts();
    void levelsAreFollowed();
    void levelsThatCannotBeAreBroughtIntoTheirRange();
    void twoOfTheSameRoleHearEachOther();
    void talkBeyondTheRoleIsSilent();
    void listeningBeyondTheRoleIsSilent();
    void pressingAndReleasingTheKeyDoesNotClick();
    void movingTheLevelDoesNotClick();
    void leavingWhileTalkingDoesNotClick();
    void whoHearsNothingGetsSmallPacketsOfSilence();
    void manyLoudTalkersStayWithinBounds();
    void whatIsTooLoudIsBentAndNotCut();
    void anAnnouncementIsHeardOnItsChannelOnly();
    void anAnnouncementIsLetGoOfWhenItHasFinished();
    void announcementsOnSeveralChannelsPlayAtOnce();
    void aLevelOfZeroMutesAnnouncementsToo();
    void announcementsAreBounded();
    void aBrokenSourceDoesNoHarm();
    void participantsAreBounded();
    void whoLeftIsSentNothingAndItsSinkIsFree();
    void aParticipantThatLeftBeforeTheFirstCycleIsGone();
    void idsThatAreGoneAreIgnored();
    void idsAreNotGivenTwice();
    void rubbishIsSafe();
    void thePacketsThatCameAreCounted();
    void speechIntoAnOpenKeyIsNoticed();
    void whatIsUnheardIsNotDecoded();
};

void RoomTest::everybodyHearsTheOthersAndNeverThemselves_data()
{
    QTest::addColumn<int>("samplesPerCycle");
    QTest::newRow("10 ms") << 480;
    QTest::newRow("20 ms") << 960;
}

void RoomTest::everybodyHearsTheOthersAndNeverThemselves()
{
    QFETCH(const int, samplesPerCycle);
    Room room(channelCount, static_cast<std::size_t>(samplesPerCycle));
    Member first(room, tone(500), {0}, {0});
    Member second(room, tone(900), {0}, {0});
    Member third(room, tone(1400), {0}, {0});
    for (Member* member : {&first, &second, &third}) {
        member->talk({0});
    }
    run(room, {&first, &second, &third}, 1);
    QVERIFY(first.hears(500) < still);
    QVERIFY(first.hears(900) > loud);
    QVERIFY(first.hears(1400) > loud);
    QVERIFY(second.hears(500) > loud);
    QVERIFY(second.hears(900) < still);
    QVERIFY(second.hears(1400) > loud);
    QVERIFY(third.hears(500) > loud);
    QVERIFY(third.hears(900) > loud);
    QVERIFY(third.hears(1400) < still);
    QCOMPARE(first.hearing->samples().size(), std::size_t{sampleRate});
}

void RoomTest::whoDoesNotTalkIsNotHeard()
{
    Room room(channelCount, 960);
    Member talker(room, tone(500), {0}, {0});
    Member listener(room, tone(900), {0}, {0});
    run(room, {&talker, &listener}, 1);
    QCOMPARE(loudnessOf(listener.hearing->samples()) < 1e-4, true);
    talker.talk({0});
    run(room, {&talker, &listener}, 1);
    QVERIFY(listener.hears(500) > loud);
    talker.talk({});
    run(room, {&talker, &listener}, 1);
    QVERIFY(listener.hears(500) < still);
}

void RoomTest::onlySharedChannelsConnect()
{
    Room room(channelCount, 960);
    Member talker(room, tone(500), {0, 1, 2}, {});
    Member one(room, tone(900), {}, {1});
    Member other(room, tone(900), {}, {2, 3});
    talker.talk({0, 1});
    run(room, {&talker}, 1);
    QVERIFY(one.hears(500) > loud);
    QVERIFY(other.hears(500) < still);
    talker.talk({2});
    run(room, {&talker}, 1);
    QVERIFY(one.hears(500) < still);
    QVERIFY(other.hears(500) > loud);
}

void RoomTest::listeningOnAChannelIsNotTalkingOnIt()
{
    Room room(channelCount, 960);
    Member listener(room, tone(500), {}, {0});
    Member other(room, tone(900), {0}, {0});
    listener.talk({0});
    other.talk({0});
    run(room, {&listener, &other}, 1);
    QVERIFY(other.hears(500) < still);
    QVERIFY(listener.hears(900) > loud);
}

void RoomTest::twoSharedChannelsDoNotCountTwice()
{
    Room room(channelCount, 960);
    Member talker(room, tone(500), {0, 1, 2}, {});
    Member listener(room, tone(900), {}, {0, 1, 2});
    talker.talk({0});
    run(room, {&talker}, 1);
    const double once = listener.hears(500);
    talker.talk({0, 1, 2});
    run(room, {&talker}, 1);
    QVERIFY(std::fabs(listener.hears(500) - once) < 0.01);
}

void RoomTest::theHighestLevelOfTheSharedChannelsCounts()
{
    Room room(channelCount, 960);
    Member talker(room, tone(500), {0, 1}, {});
    Member listener(room, tone(900), {}, {0, 1, 2});
    room.setLevels(listener.id, {0.25F, 0.5F, 1, 1});
    talker.talk({0, 1});
    run(room, {&talker}, 1);
    QVERIFY(std::fabs(listener.hears(500) - 0.15) < 0.02);
    talker.talk({0});
    run(room, {&talker}, 1);
    QVERIFY(std::fabs(listener.hears(500) - 0.075) < 0.015);
}

void RoomTest::levelsAreFollowed()
{
    Room room(channelCount, 960);
    Member talker(room, tone(500), {0}, {});
    Member listener(room, tone(900), {}, {0});
    talker.talk({0});
    for (const float level : {1.0F, 0.5F, 0.0F, 0.75F}) {
        room.setLevels(listener.id, {level, 0, 0, 0});
        run(room, {&talker}, 1);
        QVERIFY(std::fabs(listener.hears(500) - 0.3 * static_cast<double>(level)) < 0.03);
    }
}

void RoomTest::levelsThatCannotBeAreBroughtIntoTheirRange()
{
    Room room(channelCount, 960);
    Member talker(room, tone(500), {0}, {});
    Member listener(room, tone(900), {}, {0});
    talker.talk({0});
    room.setLevels(listener.id, {1000, 1, 1, 1, 1, 1, 1});
    run(room, {&talker}, 1);
    QVERIFY(std::fabs(listener.hears(500) - 0.3) < 0.03);
    for (const float level : {-1.0F, std::numeric_limits<float>::quiet_NaN()}) {
        room.setLevels(listener.id, {level, 1, 1, 1});
        run(room, {&talker}, 1);
        QVERIFY(listener.hears(500) < still);
        room.setLevels(listener.id, {1});
        run(room, {&talker}, 1);
        QVERIFY(listener.hears(500) > loud);
    }
    room.setLevels(listener.id, {});
    run(room, {&talker}, 1);
    QVERIFY(listener.hears(500) < still);
}

void RoomTest::twoOfTheSameRoleHearEachOther()
{
    Room room(channelCount, 960);
    Member one(room, tone(500), {0, 1}, {0, 1});
    Member same(room, tone(900), {0, 1}, {0, 1});
    one.talk({0, 1});
    same.talk({0, 1});
    run(room, {&one, &same}, 1);
    QVERIFY(one.hears(900) > loud && one.hears(500) < still);
    QVERIFY(same.hears(500) > loud && same.hears(900) < still);
}

void RoomTest::talkBeyondTheRoleIsSilent()
{
    Room room(channelCount, 960);
    Member talker(room, tone(500), {0}, {});
    Member listener(room, tone(900), {}, {1, 2, 3});
    talker.talk({0, 1, 2, 3});
    run(room, {&talker}, 1);
    QVERIFY(listener.hears(500) < still);
    room.setTalk(talker.id, ChannelSet::all(100));
    run(room, {&talker}, 1);
    QVERIFY(listener.hears(500) < still);
}

void RoomTest::listeningBeyondTheRoleIsSilent()
{
    Room room(channelCount, 960);
    Member talker(room, tone(500), {1}, {});
    Member listener(room, tone(900), {}, {0});
    talker.talk({1});
    room.setLevels(listener.id, {1, 1, 1, 1});
    run(room, {&talker}, 1);
    QVERIFY(listener.hears(500) < still);
}

void RoomTest::pressingAndReleasingTheKeyDoesNotClick()
{
    Room room(channelCount, 960);
    // A low tone has small steps: 0.0074 for 113 Hz and 0.5.
    Member talker(room, tone(113, 0.5), {0}, {});
    Member listener(room, tone(900), {}, {0});
    run(room, {&talker}, 0.2);
    for (int round = 0; round < 20; ++round) {
        talker.talk({0});
        run(room, {&talker}, 0.2 + 0.02 * (round % 3));
        talker.talk({});
        run(room, {&talker}, 0.1 + 0.02 * round);
    }
    QVERIFY(loudnessOf(listener.hearing->samples()) > 0.1);
    const double step = largestStep(listener.hearing->samples());
    QVERIFY2(step < 0.03, qPrintable(QString::number(step)));
}

void RoomTest::movingTheLevelDoesNotClick()
{
    Room room(channelCount, 960);
    Member talker(room, tone(113, 0.5), {0}, {});
    Member listener(room, tone(900), {}, {0});
    talker.talk({0});
    std::mt19937 random(3);
    for (int round = 0; round < 40; ++round) {
        room.setLevels(listener.id, {static_cast<float>(random() % 2)});
        run(room, {&talker}, 0.1);
    }
    QVERIFY(loudnessOf(listener.hearing->samples()) > 0.1);
    const double step = largestStep(listener.hearing->samples());
    QVERIFY2(step < 0.03, qPrintable(QString::number(step)));
}

void RoomTest::leavingWhileTalkingDoesNotClick()
{
    Room room(channelCount, 960);
    Member first(room, tone(900), {}, {});
    Member listener(room, tone(900), {}, {0});
    room.leave(first.id);
    run(room, {}, 0.1);
    for (int round = 0; round < 10; ++round) {
        Member talker(room, tone(113, 0.5), {0}, {});
        talker.talk({0});
        // Where in its swing the tone is cut differs from round to round.
        run(room, {&talker}, 0.5 + 0.02 * round);
        room.leave(talker.id);
        // That something else moves at the same time must not bring it back.
        room.setLevels(listener.id, {round % 2 == 0 ? 0.99F : 1.0F});
        run(room, {&talker}, 0.2);
    }
    QVERIFY(loudnessOf(listener.hearing->samples()) > 0.1);
    const double step = largestStep(listener.hearing->samples());
    QVERIFY2(step < 0.03, qPrintable(QString::number(step)));
}

void RoomTest::whoHearsNothingGetsSmallPacketsOfSilence()
{
    Room room(channelCount, 960);
    Member talker(room, tone(500), {0}, {0});
    Member silent(room, [](std::size_t) { return 0.0F; }, {0}, {0});
    talker.talk({0});
    silent.talk({0});
    run(room, {&talker, &silent}, 1);
    QCOMPARE(talker.hearing->packets(), std::size_t{50});
    QCOMPARE(talker.hearing->packetSize(), std::size_t{3});
    QVERIFY(loudnessOf(talker.hearing->samples()) < 1e-4);
    QVERIFY(silent.hears(500) > loud);
}

void RoomTest::manyLoudTalkersStayWithinBounds()
{
    Room room(channelCount, 960);
    Member listener(room, tone(900), {}, {0});
    std::vector<std::unique_ptr<Member>> talkers;
    for (int count = 0; count < 20; ++count) {
        talkers.push_back(std::make_unique<Member>(room, tone(500, 0.9), Channels{0}, Channels{0}));
        talkers.back()->talk({0});
    }
    for (int cycle = 0; cycle < 50; ++cycle) {
        for (const auto& talker : talkers) {
            room.receiver(talker->id)(talker->talking.next());
        }
        room.runCycle();
    }
    // The coding adds a little to what was exactly 1.
    for (const float sample : listener.hearing->samples()) {
        QVERIFY(std::fabs(sample) < 1.4F);
    }
    QVERIFY(listener.hears(500) > 0.9);
}

void RoomTest::whatIsTooLoudIsBentAndNotCut()
{
    Room room(channelCount, 960);
    Member one(room, tone(500, 0.75), {0}, {});
    Member other(room, tone(500, 0.75), {0}, {});
    Member listener(room, tone(900), {}, {0});
    one.talk({0});
    other.talk({0});
    run(room, {&one, &other}, 1);
    // Together they reach 1.5. Cut off at 1, the tone would keep a level of 1.17; bent, 1.08.
    const double level = listener.hears(500);
    QVERIFY2(level > 1.03 && level < 1.12, qPrintable(QString::number(level)));
}

void RoomTest::anAnnouncementIsHeardOnItsChannelOnly()
{
    Room room(channelCount, 960);
    Member one(room, tone(500), {}, {0, 1});
    Member other(room, tone(900), {}, {2, 3});
    QVERIFY(room.announce(std::make_shared<Gong>(700, 0.3, 1), setOf({1})));
    run(room, {}, 0.9);
    QVERIFY(one.hears(700) > loud);
    QVERIFY(other.hears(700) < still);
    run(room, {}, 0.9);
    QVERIFY(one.hears(700) < still);
    QVERIFY(room.announce(std::make_shared<Gong>(700, 0.3, 1), ChannelSet::all(channelCount)));
    run(room, {}, 0.9);
    QVERIFY(one.hears(700) > loud && one.hears(700) < 0.33); // once, not once a channel
    QVERIFY(other.hears(700) > loud);
}

void RoomTest::anAnnouncementIsLetGoOfWhenItHasFinished()
{
    Room room(channelCount, 960);
    Member listener(room, tone(500), {}, {0});
    auto gong = std::make_shared<Gong>(700, 0.3, 0.1);
    const std::weak_ptr<Gong> watched = gong;
    QVERIFY(room.announce(std::move(gong), setOf({0})));
    run(room, {}, 0.09);
    QVERIFY(!watched.expired());
    run(room, {}, 0.06);
    QVERIFY(watched.expired());
    // All of it was heard, and nothing twice: the energy of 0.1 s of a sine of 0.3.
    run(room, {}, 0.2);
    const double loudness = loudnessOf(listener.hearing->samples());
    const double energy =
        loudness * loudness * static_cast<double>(listener.hearing->samples().size());
    QVERIFY2(std::fabs(energy - 216) < 25, qPrintable(QString::number(energy)));
}

void RoomTest::announcementsOnSeveralChannelsPlayAtOnce()
{
    Room room(channelCount, 960);
    Member one(room, tone(500), {}, {0});
    Member both(room, tone(500), {}, {0, 1});
    room.announce(std::make_shared<Gong>(700, 0.3, 1), setOf({0}));
    room.announce(std::make_shared<Gong>(1100, 0.3, 1), setOf({1}));
    run(room, {}, 0.9);
    QVERIFY(one.hears(700) > loud && one.hears(1100) < still);
    QVERIFY(both.hears(700) > loud && both.hears(1100) > loud);
}

void RoomTest::aLevelOfZeroMutesAnnouncementsToo()
{
    Room room(channelCount, 960);
    Member listener(room, tone(500), {}, {0, 1});
    room.setLevels(listener.id, {0, 1});
    room.announce(std::make_shared<Gong>(700, 0.3, 2), setOf({0}));
    run(room, {}, 0.9);
    QVERIFY(listener.hears(700) < still);
    room.setLevels(listener.id, {0.5F, 1});
    run(room, {}, 0.9);
    QVERIFY(std::fabs(listener.hears(700) - 0.15) < 0.03);
}

void RoomTest::announcementsAreBounded()
{
    Room room(channelCount, 960);
    for (std::size_t count = 0; count < Room::maxAnnouncements; ++count) {
        QVERIFY(room.announce(std::make_shared<Gong>(700, 0.3, 0.1), setOf({0})));
    }
    QVERIFY(!room.announce(std::make_shared<Gong>(700, 0.3, 0.1), setOf({0})));
    run(room, {}, 0.2);
    for (std::size_t count = 0; count < Room::maxAnnouncements; ++count) {
        QVERIFY(room.announce(std::make_shared<Gong>(700, 0.3, 0.1), setOf({0})));
    }
    run(room, {}, 0.02);
    QVERIFY(!room.announce(std::make_shared<Gong>(700, 0.3, 0.1), setOf({0})));
}

void RoomTest::aBrokenSourceDoesNoHarm()
{
    Room room(channelCount, 960);
    Member talker(room, tone(500), {0}, {});
    Member one(room, tone(500), {}, {1});
    Member other(room, tone(500), {}, {0});
    talker.talk({0});
    room.announce(std::make_shared<BrokenSound>(), setOf({1}));
    run(room, {&talker}, 1);
    for (const float sample : one.hearing->samples()) {
        QVERIFY(std::isfinite(sample) && std::fabs(sample) < 1.5F);
    }
    QVERIFY(other.hears(500) > loud);
}

void RoomTest::participantsAreBounded()
{
    Room room(channelCount, 960);
    const auto sink = std::make_shared<HearingClient>();
    std::vector<ParticipantId> ids;
    for (std::size_t count = 0; count < Room::maxParticipants; ++count) {
        ids.push_back(room.join(setOf({0}), setOf({0}), sink).value());
    }
    QVERIFY(!room.join(setOf({0}), setOf({0}), sink));
    room.runCycle();
    room.leave(ids.back());
    room.runCycle();
    room.runCycle();
    QVERIFY(room.join(setOf({0}), setOf({0}), sink));
    QVERIFY(!room.join(setOf({0}), setOf({0}), sink));
}

void RoomTest::whoLeftIsSentNothingAndItsSinkIsFree()
{
    Room room(channelCount, 960);
    Member stays(room, tone(500), {0}, {0});
    Member leaves(room, tone(900), {0}, {0});
    stays.talk({0});
    leaves.talk({0});
    run(room, {&stays, &leaves}, 1);
    QVERIFY(stays.hears(900) > loud);
    room.leave(leaves.id);
    QCOMPARE(leaves.hearing.use_count(), 1L);
    const std::size_t packets = leaves.hearing->packets();
    run(room, {&stays, &leaves}, 1);
    QCOMPARE(leaves.hearing->packets(), packets);
    QVERIFY(stays.hears(900) < still);
    QCOMPARE(stays.hearing->packets(), std::size_t{100});
}

void RoomTest::aParticipantThatLeftBeforeTheFirstCycleIsGone()
{
    Room room(channelCount, 960);
    Member member(room, tone(500), {0}, {0});
    room.leave(member.id);
    run(room, {&member}, 0.1);
    QCOMPARE(member.hearing->packets(), std::size_t{0});
    QCOMPARE(member.hearing.use_count(), 1L);
}

void RoomTest::idsThatAreGoneAreIgnored()
{
    Room room(channelCount, 960);
    Member member(room, tone(500), {0}, {0});
    room.leave(member.id);
    for (const ParticipantId id : {member.id, ParticipantId{0}, ParticipantId{4711}}) {
        room.leave(id);
        room.setTalk(id, setOf({0}));
        room.setLevels(id, {1, 1});
        room.receiver(id)(member.talking.next());
        QCOMPARE(room.received(id).packets, std::uint64_t{0});
    }
    room.runCycle();
    QCOMPARE(member.hearing->packets(), std::size_t{0});
}

void RoomTest::idsAreNotGivenTwice()
{
    Room room(channelCount, 960);
    std::vector<ParticipantId> ids;
    for (int round = 0; round < 300; ++round) {
        ids.push_back(room.join(setOf({0}), setOf({0}), std::make_shared<HearingClient>()).value());
        room.leave(ids.back());
        room.runCycle();
        room.runCycle();
    }
    std::sort(ids.begin(), ids.end());
    QVERIFY(std::adjacent_find(ids.begin(), ids.end()) == ids.end());
    QVERIFY(ids.front() > 0);
}

void RoomTest::rubbishIsSafe()
{
    Room room(channelCount, 960);
    Member sender(room, tone(500), {0}, {0});
    Member listener(room, tone(500), {0}, {0});
    Member talker(room, tone(1200), {0}, {0});
    sender.talk({0});
    talker.talk({0});
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        for (int count = 0; count < 5; ++count) {
            std::vector<std::uint8_t> bytes(random() % 2000);
            std::generate(
                bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random()); });
            if (count > 0 && !bytes.empty()) {
                bytes[0] = 0x80;
            }
            room.receiver(sender.id)(bytes);
        }
        room.receiver(talker.id)(talker.talking.next());
        room.runCycle();
    }
    room.leave(sender.id);
    run(room, {&talker}, 1);
    QVERIFY(listener.hears(1200) > loud);
    for (const float sample : listener.hearing->samples()) {
        QVERIFY(std::isfinite(sample));
    }
}

void RoomTest::thePacketsThatCameAreCounted()
{
    Room room(channelCount, 960);
    Member talker(room, tone(500), {0}, {0});
    run(room, {&talker}, 1);
    QCOMPARE(room.received(talker.id).packets, std::uint64_t{50});
    room.receiver(talker.id)(std::vector<std::uint8_t>{0x80, 111, 0});
    static_cast<void>(talker.talking.next());
    room.runCycle();
    run(room, {&talker}, 1);
    QCOMPARE(room.received(talker.id).packets, std::uint64_t{100});
}

void RoomTest::speechIntoAnOpenKeyIsNoticed()
{
    Room room(channelCount, 960);
    Member talker(room, syllables(), {0}, {0});
    const auto speechCycles = [&] {
        const std::uint64_t before = room.received(talker.id).speechCycles;
        run(room, {&talker}, 2);
        return room.received(talker.id).speechCycles - before;
    };
    QCOMPARE(speechCycles(), std::uint64_t{0});
    talker.talk({0});
    QVERIFY(speechCycles() > 20); // although no one listens there
    talker.talk({});
    QVERIFY(speechCycles() < 2);
}

void RoomTest::whatIsUnheardIsNotDecoded()
{
    TalkingClient client(tone(500));
    Participant talker(setOf({}), setOf({}), 960, nullptr);
    Participant listener(setOf({}), setOf({}), 960, nullptr);
    Mixer mixer(2, 960, 2, 1);
    mixer.add(0, talker);
    const auto sounds = [&] {
        for (int cycle = 0; cycle < 10; ++cycle) {
            talker.receive(client.next());
            mixer.runCycle();
        }
        return talker.isSounding();
    };
    QVERIFY(!sounds()); // does not talk
    mixer.add(1, listener);
    mixer.patch(1, {{0, 0}, {1, 0}});
    QVERIFY(!sounds()); // another one listens
    mixer.patch(0, {{1, 0}, {0, 0}});
    QVERIFY(sounds());
    mixer.patch(0, {{0, 1}, {0, 0}});
    QVERIFY(sounds()); // whether it speaks is noticed even if no one listens there
    mixer.patch(0, {{0, 0}, {0, 0}});
    QVERIFY(!sounds());
}

WINGBELL_APPLESS_TEST(RoomTest)
#include "RoomTest.moc"

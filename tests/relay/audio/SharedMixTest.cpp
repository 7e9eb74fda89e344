#include "relay/audio/Room.h"
#include "tests/TestProgram.h"

#include "tests/relay/audio/HearingClient.h"
#include "tests/relay/audio/TalkingClient.h"
#include "tests/relay/audio/Tones.h"

#include <QTest>

#include <algorithm>
#include <cmath>
#include <memory>
#include <set>
#include <vector>

using namespace wingbell;

namespace {

using Packets = std::vector<std::vector<std::uint8_t>>;

constexpr std::size_t channelCount = 2;

/// Decodes its packets, keeps them, and knows where the last one lay: packets of one cycle that
/// come from the same place in memory come from the same encoding.
class Ear : public HearingClient
{
public:
    void send(std::span<const std::uint8_t> packet) override
    {
        HearingClient::send(packet);
        all.emplace_back(packet.begin(), packet.end());
        last = packet.data();
    }

    Packets all;
    const std::uint8_t* last = nullptr;
};

struct Member
{
    ParticipantId id = 0;
    std::shared_ptr<Ear> ear = std::make_shared<Ear>();
    std::unique_ptr<TalkingClient> talking; ///< nullptr: only listens

    /// How strong a tone was in the last half second.
    [[nodiscard]] double hears(double hertz) const
    {
        return toneLevel(lastOf(ear->samples(), sampleRate / 2), hertz);
    }

    /// The packets of the last `count` cycles.
    [[nodiscard]] Packets last(std::size_t count) const
    {
        return {ear->all.end() - static_cast<std::ptrdiff_t>(count), ear->all.end()};
    }
};

/// A room whose members may talk and listen on all channels.
class Hall
{
public:
    explicit Hall(std::size_t samplesPerCycle = 960)
        : m_room(channelCount, samplesPerCycle)
    {
    }

    Member& listener()
    {
        m_members.push_back(std::make_unique<Member>());
        Member& member = *m_members.back();
        const ChannelSet all = ChannelSet::all(channelCount);
        member.id = m_room.join(all, all, member.ear).value();
        return member;
    }

    /// Talks on the first channel.
    Member& talker(TalkingClient::Sound sound)
    {
        Member& member = listener();
        member.talking =
            std::make_unique<TalkingClient>(std::move(sound), m_room.samplesPerCycle());
        ChannelSet first(channelCount);
        first.insert(0);
        m_room.setTalk(member.id, first);
        return member;
    }

    void setLevels(const Member& member, float first, float second = 1)
    {
        m_room.setLevels(member.id, {first, second});
    }

    void stopTalking(const Member& member) { m_room.setTalk(member.id, ChannelSet()); }
    void talkAgain(const Member& member) { m_room.setTalk(member.id, ChannelSet::all(1)); }
    void leave(const Member& member) { m_room.leave(member.id); }

    void announce(std::shared_ptr<AudioSource> source)
    {
        QVERIFY(m_room.announce(std::move(source), ChannelSet::all(channelCount)));
    }

    void run(int cycles)
    {
        for (int cycle = 0; cycle < cycles; ++cycle) {
            for (const auto& member : m_members) {
                if (member->talking) {
                    m_room.receiver(member->id)(member->talking->next());
                }
            }
            m_room.runCycle();
        }
    }

    /// From how many encodings the packets of the last cycle came.
    [[nodiscard]] std::size_t encodings() const
    {
        std::set<const std::uint8_t*> places;
        for (const auto& member : m_members) {
            places.insert(member->ear->last);
        }
        return places.size();
    }

private:
    Room m_room;
    std::vector<std::unique_ptr<Member>> m_members;
};

class Hum : public AudioSource
{
public:
    std::size_t read(std::span<float> samples) override
    {
        for (float& sample : samples) {
            sample = m_sound(m_position++);
        }
        return samples.size();
    }

    [[nodiscard]] bool isFinished() const override { return false; }

private:
    TalkingClient::Sound m_sound = tone(700, 0.3);
    std::size_t m_position = 0;
};

/// Two tones that sound all the time, and a listener that changes to the encoder of the others.
struct Change
{
    explicit Change(std::size_t samplesPerCycle)
        : hall(samplesPerCycle)
    {
        hall.talker(tone(310, 0.3));
        hall.talker(tone(470, 0.2));
        hall.setLevels(changing, 0.5F);
        hall.run(100);
    }

    /// Keeps what is heard from the border on.
    void change(int cycles)
    {
        hall.setLevels(changing, 1);
        hall.run(1); // the ramp
        changing.ear->clear();
        staying.ear->clear();
        hall.run(cycles);
    }

    Hall hall;
    Member& staying = hall.listener();
    Member& also = hall.listener();
    Member& changing = hall.listener();
};

constexpr double loud = 0.22;  // a tone of 0.3, through Opus twice
constexpr double still = 0.02; // nothing of it but what coding other tones leaves there

/// In decibels, how far `heard` is from `wanted`, compared with that.
double errorOf(std::span<const float> heard, std::span<const float> wanted)
{
    std::vector<float> difference(heard.size());
    std::transform(heard.begin(), heard.end(), wanted.begin(), difference.begin(), std::minus());
    return 20 * std::log10(loudnessOf(difference) / loudnessOf(wanted) + 1e-9);
}

} // namespace

class SharedMixTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void equalListenersShareOneEncoding();
    void announcementsAreShared();
    void aTalkerHearsTheOthersWithoutItself();
    void aSilentTalkerMakesNoDifference();
    void theLevelOfASilentChannelMakesNoDifference();
    void aListenerThatChangesItsLevelHearsItsOwnMix();
    void aListenerWithItsLevelBackSharesTheMixAgain();
    void aListenerThatPartsHearsWhatItWouldHaveHeardAlone();
    void aListenerThatPartsDoesNotDisturbTheOthers();
    void aListenerThatLeavesDoesNotDisturbTheOthers();
    void theLargerGroupKeepsItsEncoder();
    void aChangeOfEncoderDoesNotClick_data() { cycles(); }
    void aChangeOfEncoderDoesNotClick();
    void afterAChangeOfEncoderOnlyOnePacketDiffers_data() { cycles(); }
    void afterAChangeOfEncoderOnlyOnePacketDiffers();
    void aNewcomerHearsTheSharedMixWithoutAClick();
    void listenersThatFallSilentTogetherShareTheirSilence();
    void silenceCostsNoEncodingAfterAWhile();
    void soundAfterSilenceIsShared();
    void manyWithDifferentLevelsEachHearTheirOwn();
    void manyMixesAreEncodedAsCelt();

private:
    static void othersAreUndisturbedBy(void (*change)(Hall& hall, const Member& listener));
    static void cycles()
    {
        QTest::addColumn<int>("samples");
        QTest::newRow("10 ms") << 480;
        QTest::newRow("20 ms") << 960;
    }
};

void SharedMixTest::equalListenersShareOneEncoding()
{
    Hall hall;
    hall.talker(tone(500));
    const Member& one = hall.listener();
    const Member& other = hall.listener();
    hall.run(50);
    QVERIFY(one.hears(500) > loud);
    QCOMPARE(one.ear->all, other.ear->all);
    QCOMPARE(one.ear->last, other.ear->last);
}

void SharedMixTest::announcementsAreShared()
{
    Hall hall;
    const Member& one = hall.listener();
    const Member& other = hall.listener();
    hall.announce(std::make_shared<Hum>());
    hall.run(50);
    QVERIFY(one.hears(700) > loud);
    QCOMPARE(one.ear->last, other.ear->last);
}

void SharedMixTest::aTalkerHearsTheOthersWithoutItself()
{
    Hall hall;
    const Member& first = hall.talker(tone(500));
    const Member& second = hall.talker(tone(900));
    const Member& listener = hall.listener();
    hall.listener();
    hall.run(50);
    QVERIFY(first.hears(900) > loud && first.hears(500) < still);
    QVERIFY(second.hears(500) > loud && second.hears(900) < still);
    QVERIFY(listener.hears(500) > loud && listener.hears(900) > loud);
    QCOMPARE(hall.encodings(), std::size_t{3});
}

void SharedMixTest::aSilentTalkerMakesNoDifference()
{
    Hall hall;
    hall.talker(tone(500));
    const Member& silent = hall.talker([](std::size_t) { return 0.0F; });
    const Member& listener = hall.listener();
    hall.run(50);
    QVERIFY(silent.hears(500) > loud);
    QCOMPARE(silent.ear->last, listener.ear->last);
}

void SharedMixTest::theLevelOfASilentChannelMakesNoDifference()
{
    Hall hall;
    hall.talker(tone(500));
    const Member& one = hall.listener();
    const Member& other = hall.listener();
    hall.setLevels(other, 1, 0.3F);
    hall.run(50);
    QCOMPARE(one.ear->last, other.ear->last);
}

void SharedMixTest::aListenerThatChangesItsLevelHearsItsOwnMix()
{
    Hall hall;
    hall.talker(tone(500));
    const Member& changing = hall.listener();
    const Member& one = hall.listener();
    const Member& other = hall.listener();
    hall.run(50);
    hall.setLevels(changing, 0.5F);
    hall.run(50);
    QVERIFY(std::fabs(changing.hears(500) - 0.15) < 0.03);
    QVERIFY(one.hears(500) > loud);
    QVERIFY(changing.ear->last != one.ear->last);
    QCOMPARE(one.ear->last, other.ear->last);
}

void SharedMixTest::aListenerWithItsLevelBackSharesTheMixAgain()
{
    Hall hall;
    hall.talker(tone(500));
    const Member& changing = hall.listener();
    const Member& staying = hall.listener();
    hall.run(20);
    hall.setLevels(changing, 0.5F);
    hall.run(20);
    hall.setLevels(changing, 1);
    hall.run(1);
    QVERIFY(changing.ear->last != staying.ear->last); // ramps
    hall.run(20);
    QCOMPARE(changing.last(20), staying.last(20));
    QCOMPARE(changing.ear->last, staying.ear->last);
}

void SharedMixTest::aListenerThatPartsHearsWhatItWouldHaveHeardAlone()
{
    Hall shared;
    Hall alone;
    const Member* changing = nullptr;
    for (Hall* hall : {&shared, &alone}) {
        const Member& first = hall->listener();
        if (hall == &shared) {
            changing = &first;
            hall->listener();
            hall->listener();
        }
        hall->talker(tone(310));
        hall->talker(tone(470));
        hall->run(50);
        hall->setLevels(first, 0.5F);
        hall->run(50);
        if (hall == &alone) {
            QCOMPARE(first.ear->all, changing->ear->all);
        }
    }
}

void SharedMixTest::othersAreUndisturbedBy(void (*change)(Hall& hall, const Member& listener))
{
    Hall hall;
    Hall undisturbed;
    const Member* staying = nullptr;
    for (Hall* each : {&hall, &undisturbed}) {
        const Member& first = each->listener();
        const Member& second = each->listener();
        each->listener();
        each->talker(tone(500));
        each->run(50);
        if (each == &hall) {
            staying = &second;
            change(hall, first);
        }
        each->run(50);
        if (each == &undisturbed) {
            QVERIFY(!second.ear->all.empty());
            QCOMPARE(staying->ear->all, second.ear->all);
        }
    }
}

void SharedMixTest::aListenerThatPartsDoesNotDisturbTheOthers()
{
    othersAreUndisturbedBy(
        [](Hall& hall, const Member& listener) { hall.setLevels(listener, 0.5F); });
}

void SharedMixTest::aListenerThatLeavesDoesNotDisturbTheOthers()
{
    othersAreUndisturbedBy([](Hall& hall, const Member& listener) { hall.leave(listener); });
}

void SharedMixTest::theLargerGroupKeepsItsEncoder()
{
    Hall hall;
    hall.talker(tone(500));
    const Member& first = hall.listener();
    const Member& second = hall.listener();
    hall.listener();
    hall.run(20);
    const std::uint8_t* const before = second.ear->last;
    hall.setLevels(first, 0.5F);
    hall.run(20);
    QCOMPARE(second.ear->last, before);
    hall.setLevels(first, 1);
    hall.run(20);
    QCOMPARE(first.ear->last, before);
}

void SharedMixTest::aChangeOfEncoderDoesNotClick()
{
    QFETCH(const int, samples);
    Change change(static_cast<std::size_t>(samples));
    // The last samples before the border stay.
    change.changing.ear->clear();
    change.hall.setLevels(change.changing, 1);
    change.hall.run(20);
    QCOMPARE(change.changing.ear->last, change.staying.ear->last);
    const double step = largestStep(change.changing.ear->samples());
    change.hall.run(20);
    const double usual = largestStep(lastOf(change.staying.ear->samples(), 9600));
    QVERIFY2(step < 1.1 * usual, qPrintable(QStringLiteral("%1, usually %2").arg(step).arg(usual)));
}

void SharedMixTest::afterAChangeOfEncoderOnlyOnePacketDiffers()
{
    QFETCH(const int, samples);
    Change change(static_cast<std::size_t>(samples));
    change.change(10);
    const auto packet = [&](std::size_t number) {
        const auto size = static_cast<std::size_t>(samples);
        return errorOf(
            std::span(change.changing.ear->samples()).subspan(number * size, size),
            std::span(change.staying.ear->samples()).subspan(number * size, size));
    };
    QVERIFY2(packet(0) < -20, qPrintable(QString::number(packet(0))));
    for (std::size_t number = 1; number < 10; ++number) {
        QVERIFY2(packet(number) < -45, qPrintable(QString::number(packet(number))));
    }
}

void SharedMixTest::aNewcomerHearsTheSharedMixWithoutAClick()
{
    Hall hall;
    hall.talker(tone(310));
    const Member& staying = hall.listener();
    hall.run(100);
    const Member& newcomer = hall.listener();
    staying.ear->clear();
    hall.run(50);
    QCOMPARE(newcomer.ear->last, staying.ear->last);
    const double usual = largestStep(staying.ear->samples());
    QVERIFY(largestStep(newcomer.ear->samples()) < 1.1 * usual);
    QVERIFY(newcomer.hears(310) > loud);
}

void SharedMixTest::listenersThatFallSilentTogetherShareTheirSilence()
{
    Hall hall;
    const Member& talker = hall.talker(tone(500));
    const Member& one = hall.listener();
    const Member& other = hall.listener();
    hall.run(50);
    hall.stopTalking(talker);
    hall.run(2);
    QCOMPARE(one.ear->last, other.ear->last);
    QCOMPARE(one.last(2), other.last(2));
    QVERIFY(one.ear->all.back().size() > 3); // still encoded
}

void SharedMixTest::silenceCostsNoEncodingAfterAWhile()
{
    Hall hall;
    const Member& talker = hall.talker(tone(500));
    const Member& listener = hall.listener();
    const Member& other = hall.listener();
    hall.setLevels(other, 0.5F);
    hall.run(50);
    QCOMPARE(hall.encodings(), std::size_t{3}); // the talker hears nothing
    hall.stopTalking(talker);
    hall.run(10);
    QCOMPARE(hall.encodings(), std::size_t{1});
    QCOMPARE(listener.ear->all.back().size(), std::size_t{3});
    listener.ear->clear();
    hall.run(20);
    QCOMPARE(listener.ear->packets(), std::size_t{20});
    QVERIFY(loudnessOf(listener.ear->samples()) < 1e-4);
}

void SharedMixTest::soundAfterSilenceIsShared()
{
    Hall hall;
    const Member& talker = hall.talker(tone(500));
    const Member& one = hall.listener();
    const Member& other = hall.listener();
    for (const int pause : {1, 2, 3, 10, 30}) {
        hall.run(30);
        QVERIFY(one.hears(500) > still);
        QCOMPARE(one.ear->last, other.ear->last);
        hall.stopTalking(talker);
        hall.run(pause);
        hall.talkAgain(talker);
    }
    // A sine of 500 Hz and 0.3 has steps of 0.02.
    const double step = largestStep(one.ear->samples());
    QVERIFY2(step < 0.03, qPrintable(QString::number(step)));
}

void SharedMixTest::manyWithDifferentLevelsEachHearTheirOwn()
{
    Hall hall;
    std::vector<const Member*> listeners;
    for (int count = 1; count <= 10; ++count) {
        listeners.push_back(&hall.listener());
        hall.setLevels(*listeners.back(), 0.1F * static_cast<float>(count));
    }
    hall.talker(tone(500));
    hall.run(50);
    QCOMPARE(hall.encodings(), std::size_t{11});
    for (std::size_t count = 1; count <= listeners.size(); ++count) {
        const double level = listeners[count - 1]->hears(500);
        QVERIFY2(
            std::fabs(level - 0.03 * static_cast<double>(count)) < 0.03,
            qPrintable(QString::number(level)));
    }
}

void SharedMixTest::manyMixesAreEncodedAsCelt()
{
    Hall hall;
    hall.talker(tone(500));
    std::vector<const Member*> listeners;
    for (int count = 0; count < 25; ++count) {
        listeners.push_back(&hall.listener());
    }
    const auto setLevels = [&](float step) {
        for (std::size_t count = 0; count < listeners.size(); ++count) {
            hall.setLevels(*listeners[count], 1 - step * static_cast<float>(count));
        }
    };
    hall.run(50);
    QVERIFY(!isCelt(listeners[0]->ear->all.back()));
    setLevels(0.01F);
    hall.run(50);
    QCOMPARE(hall.encodings(), std::size_t{26});
    QVERIFY(isCelt(listeners[0]->ear->all.back()));
    QVERIFY(isCelt(listeners[24]->ear->all.back()));
    QVERIFY(listeners[0]->hears(500) > loud);
    setLevels(0);
    hall.run(50);
    QVERIFY(!isCelt(listeners[0]->ear->all.back()));
    QVERIFY(listeners[0]->hears(500) > loud);
}

WINGBELL_APPLESS_TEST(SharedMixTest)
#include "SharedMixTest.moc"

#include "relay/audio/SpeechDetector.h"
#include "tests/TestProgram.h"

#include "relay/audio/AudioIo.h"
#include "relay/audio/Dsp.h"
#include "tests/relay/audio/TalkingClient.h"

#include <QTest>

#include <cmath>
#include <functional>
#include <random>
#include <vector>

using namespace wingbell;

namespace {

using Sound = TalkingClient::Sound;

/// A signal of `sound` at a level in dBFS.
Sound at(float level, const Sound& sound)
{
    std::vector<float> samples;
    for (std::size_t sample = 0; sample < std::size_t{4} * sampleRate; ++sample) {
        samples.push_back(sound(sample));
    }
    const float gain = std::pow(10.0F, (level - levelOf(samples)) / 20);
    return [gain, sound](std::size_t sample) {
        return gain * sound(sample);
    };
}

/// White noise, which repeats itself after two seconds.
Sound noise()
{
    std::minstd_rand random; // NOLINT(cert-msc32-c,cert-msc51-cpp): the same each time
    std::normal_distribution<float> distribution;
    std::vector<float> samples(std::size_t{2} * sampleRate);
    for (float& sample : samples) {
        sample = distribution(random);
    }
    return [samples](std::size_t sample) {
        return samples.at(sample % samples.size());
    };
}

/// What the fans and the mains bring in: a hum, and some noise.
Sound hum()
{
    return [low = tone(100, 0.5), high = tone(300, 0.2), hiss = noise()](std::size_t sample) {
        return low(sample) + high(sample) + 0.05F * hiss(sample);
    };
}

Sound sum(const Sound& one, const Sound& other)
{
    return [one, other](std::size_t sample) {
        return one(sample) + other(sample);
    };
}

Sound silence()
{
    return [](std::size_t /*sample*/) {
        return 0.0F;
    };
}

/// A detector, and the sound that it is given.
class Listening
{
public:
    /// In how many of the cycles of `seconds` it found speech.
    int to(const Sound& sound, int seconds)
    {
        int found = 0;
        for (int cycle = 0; cycle < seconds * sampleRate / int{maxCycleSamples}; ++cycle) {
            for (float& sample : m_samples) {
                sample = sound(m_position++);
            }
            found += m_detector.process(m_samples) ? 1 : 0;
        }
        return found;
    }

private:
    SpeechDetector m_detector;
    std::vector<float> m_samples = std::vector<float>(maxCycleSamples);
    std::size_t m_position = 0;
};

} // namespace

class SpeechDetectorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void speechIsFound_data();
    void speechIsFound();
    void theNoiseOfARoomIsNotSpeech_data();
    void theNoiseOfARoomIsNotSpeech();
    void speechIsFoundInNoise();
    void softSpeechOfAnotherRoomIsNotSpeech();
    void aClickIsNotSpeech();
    void noiseThatComesAndGoesIsNotSpeech();
    void louderNoiseBecomesTheFloorSoon();
};

void SpeechDetectorTest::speechIsFound_data()
{
    QTest::addColumn<float>("level");
    for (const int level : {-15, -25, -35, -45}) {
        QTest::addRow("%d dBFS", level) << static_cast<float>(level);
    }
}

void SpeechDetectorTest::speechIsFound()
{
    QFETCH(const float, level);
    QVERIFY(Listening().to(at(level, syllables()), 2) > 10);
}

void SpeechDetectorTest::theNoiseOfARoomIsNotSpeech_data()
{
    QTest::addColumn<float>("level");
    for (const int level : {-20, -40, -50, -60, -70, -80}) {
        QTest::addRow("%d dBFS", level) << static_cast<float>(level);
    }
}

void SpeechDetectorTest::theNoiseOfARoomIsNotSpeech()
{
    QFETCH(const float, level);
    QCOMPARE(Listening().to(at(level, noise()), 240), 0);
    QCOMPARE(Listening().to(at(level, hum()), 240), 0);
    QCOMPARE(Listening().to(silence(), 1), 0);
}

void SpeechDetectorTest::speechIsFoundInNoise()
{
    Listening listening;
    QCOMPARE(listening.to(at(-45, noise()), 10), 0);
    QVERIFY(listening.to(sum(at(-25, syllables()), at(-45, noise())), 2) > 10);
}

void SpeechDetectorTest::softSpeechOfAnotherRoomIsNotSpeech()
{
    QCOMPARE(Listening().to(at(-60, syllables()), 60), 0);
}

void SpeechDetectorTest::aClickIsNotSpeech()
{
    // One of 40 ms each second.
    const Sound clicks = [](std::size_t sample) {
        return sample % sampleRate < 2 * maxCycleSamples ? 0.3F : 0.0F;
    };
    QCOMPARE(Listening().to(sum(clicks, at(-65, noise())), 60), 0);
}

/// As it does where a phone sends nothing while it takes the room for silent (DTX).
void SpeechDetectorTest::noiseThatComesAndGoesIsNotSpeech()
{
    const Sound some = [steady = at(-45, noise())](std::size_t sample) {
        return sample / sampleRate % 3 == 0 ? steady(sample) : 0.0F;
    };
    QCOMPARE(Listening().to(some, 240), 0);
}

void SpeechDetectorTest::louderNoiseBecomesTheFloorSoon()
{
    Listening listening;
    QCOMPARE(listening.to(at(-60, noise()), 10), 0);
    (void)listening.to(at(-30, noise()), 10); // another room
    QCOMPARE(listening.to(at(-30, noise()), 240), 0);
}

WINGBELL_APPLESS_TEST(SpeechDetectorTest)
#include "SpeechDetectorTest.moc"

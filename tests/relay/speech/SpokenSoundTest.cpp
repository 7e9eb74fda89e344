#include "relay/speech/SpokenSound.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <cmath>
#include <thread>
#include <vector>

using namespace wingbell;

namespace {

/// What every sample of the test is, by its place.
float sampleAt(std::size_t place)
{
    return static_cast<float>(place % 1000) / 1000;
}

std::vector<float> samplesFrom(std::size_t begin, std::size_t count)
{
    std::vector<float> samples(count);
    for (std::size_t place = 0; place < count; ++place) {
        samples[place] = sampleAt(begin + place);
    }
    return samples;
}

bool isAt(std::size_t place, float sample)
{
    return std::abs(sample - sampleAt(place)) < 1.0F / 32767;
}

} // namespace

class SpokenSoundTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatIsWrittenIsReadInOrder();
    void moreThanThereIsAtTheMomentIsNoEnd();
    void samplesBeyondFullScaleAreClipped();
    void readingItsEndFinishesIt();
    void anEndAfterEverythingWasReadFinishesIt();
    void nothingAtAllIsFinishedWithItsEnd();
    void fadingOutEndsItWithoutAClick();
    void fadingOutEndsItAlsoBeforeThereIsAnySound();
    void beyondItsMaximumItTakesNothing();
    void oneThreadWritesWhileAnotherReads();
};

void SpokenSoundTest::whatIsWrittenIsReadInOrder()
{
    SpokenSound sound;
    const std::size_t count = sampleRate * 2 + 77;
    for (std::size_t begin = 0; begin < count; begin += 1001) {
        sound.append(samplesFrom(begin, std::min<std::size_t>(1001, count - begin)));
    }
    std::vector<float> block(maxCycleSamples);
    std::size_t place = 0;
    for (std::size_t taken = sound.read(block); taken > 0; taken = sound.read(block)) {
        for (std::size_t index = 0; index < taken; ++index) {
            QVERIFY(isAt(place, block[index]));
            ++place;
        }
    }
    QCOMPARE(place, count);
}

void SpokenSoundTest::moreThanThereIsAtTheMomentIsNoEnd()
{
    SpokenSound sound;
    std::vector<float> block(10, 7);
    QCOMPARE(sound.read(block), std::size_t{0});
    sound.append(samplesFrom(0, 4));
    QCOMPARE(sound.read(block), std::size_t{4});
    QCOMPARE(block[4], 7.0F);
    QCOMPARE(sound.read(block), std::size_t{0});
    QVERIFY(!sound.isFinished());
    sound.append(samplesFrom(4, 1));
    QCOMPARE(sound.read(block), std::size_t{1});
    QVERIFY(isAt(4, block[0]));
}

void SpokenSoundTest::samplesBeyondFullScaleAreClipped()
{
    SpokenSound sound;
    sound.append(std::vector<float>{2, -2, 1, -1});
    std::vector<float> block(4);
    QCOMPARE(sound.read(block), std::size_t{4});
    QVERIFY(block == std::vector<float>({1, -1, 1, -1}));
}

void SpokenSoundTest::readingItsEndFinishesIt()
{
    SpokenSound sound;
    sound.append(samplesFrom(0, 15));
    sound.end();
    std::vector<float> block(10);
    QCOMPARE(sound.read(block), std::size_t{10});
    QVERIFY(!sound.isFinished());
    QCOMPARE(sound.read(block), std::size_t{5});
    QVERIFY(sound.isFinished());
    QCOMPARE(sound.read(block), std::size_t{0});
}

void SpokenSoundTest::anEndAfterEverythingWasReadFinishesIt()
{
    SpokenSound sound;
    sound.append(samplesFrom(0, 10));
    std::vector<float> block(10);
    QCOMPARE(sound.read(block), std::size_t{10});
    sound.end();
    QVERIFY(sound.isFinished());
}

void SpokenSoundTest::nothingAtAllIsFinishedWithItsEnd()
{
    SpokenSound sound;
    QVERIFY(!sound.isFinished());
    sound.end();
    QVERIFY(sound.isFinished());
}

void SpokenSoundTest::fadingOutEndsItWithoutAClick()
{
    SpokenSound sound;
    sound.append(std::vector<float>(sampleRate, 0.5F));
    std::vector<float> block(maxCycleSamples);
    QCOMPARE(sound.read(block), block.size());
    QCOMPARE(sound.played(), block.size());
    sound.fadeOut();
    QVERIFY(!sound.isFinished());
    QCOMPARE(sound.read(block), block.size());
    float before = 0.5F;
    for (const float sample : block) {
        QVERIFY(sample <= before && before - sample < 0.001F);
        before = sample;
    }
    QCOMPARE(before, 0.0F);
    QVERIFY(sound.isFinished());
    sound.append(std::vector<float>(sampleRate, 0.5F));
    QCOMPARE(sound.read(block), std::size_t{0});
}

void SpokenSoundTest::fadingOutEndsItAlsoBeforeThereIsAnySound()
{
    SpokenSound sound;
    sound.fadeOut();
    std::vector<float> block(maxCycleSamples);
    QCOMPARE(sound.read(block), std::size_t{0});
    QVERIFY(sound.isFinished());
}

void SpokenSoundTest::beyondItsMaximumItTakesNothing()
{
    SpokenSound sound;
    const std::vector<float> second(sampleRate, 0.25F);
    for (std::size_t count = 0; count < SpokenSound::maxSeconds + 3; ++count) {
        sound.append(second);
        sound.append(samplesFrom(0, 1));
    }
    sound.end();
    std::vector<float> block(sampleRate);
    std::size_t read = 0;
    for (std::size_t taken = sound.read(block); taken > 0; taken = sound.read(block)) {
        read += taken;
    }
    QCOMPARE(read, SpokenSound::maxSamples);
    QVERIFY(sound.isFinished());
}

void SpokenSoundTest::oneThreadWritesWhileAnotherReads()
{
    constexpr std::size_t count = sampleRate * 5 + 123;
    for (int round = 0; round < 20; ++round) {
        SpokenSound sound;
        std::thread writer([&sound] {
            for (std::size_t begin = 0; begin < count; begin += 4799) {
                sound.append(samplesFrom(begin, std::min<std::size_t>(4799, count - begin)));
            }
            sound.end();
        });
        std::vector<float> block(maxCycleSamples);
        std::size_t place = 0;
        bool right = true;
        while (!sound.isFinished()) {
            const std::size_t taken = sound.read(block);
            for (std::size_t index = 0; index < taken; ++index) {
                right = right && isAt(place, block[index]);
                ++place;
            }
        }
        writer.join();
        QVERIFY(right);
        QCOMPARE(place, count);
    }
}

WINGBELL_GUILESS_TEST(SpokenSoundTest)
#include "SpokenSoundTest.moc"

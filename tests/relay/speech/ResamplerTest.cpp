#include "relay/speech/Resampler.h"
#include "relay/audio/AudioIo.h"
#include "tests/TestProgram.h"
#include "tests/relay/speech/Tones.h"

#include <QTest>

#include <algorithm>
#include <random>

using namespace wingbell;

namespace {

std::vector<float> resampled(Resampler& resampler, std::span<const float> input)
{
    std::vector<float> output;
    resampler.process(input, output);
    resampler.finish(output);
    return output;
}

std::vector<float> noise(std::size_t count)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<float> level(-1, 1);
    std::vector<float> samples(count);
    std::generate(samples.begin(), samples.end(), [&] { return level(random); });
    return samples;
}

/// Without the beginning and the end, where the sound is switched on and off.
std::span<const float> middle(const std::vector<float>& samples)
{
    return std::span(samples).subspan(2000, samples.size() - 4000);
}

} // namespace

class ResamplerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aToneStaysAndItsImagesGo_data();
    void aToneStaysAndItsImagesGo();
    void aToneComesOutInTimeAndUndistorted_data() { aToneStaysAndItsImagesGo_data(); }
    void aToneComesOutInTimeAndUndistorted();
    void aLevelStaysAtEveryRate_data();
    void aLevelStaysAtEveryRate();
    void theLengthIsThatOfTheInput_data();
    void theLengthIsThatOfTheInput();
    void piecesMakeNoDifference();
    void theSoundComesBeforeItsEnd();
    void soundOfOurOwnRateStaysAsItIs();
};

void ResamplerTest::aToneStaysAndItsImagesGo_data()
{
    QTest::addColumn<int>("rate");
    QTest::addColumn<double>("frequency");
    for (const int rate : {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100}) {
        for (const double part : {0.02, 0.1, 0.25, 0.4, 0.45}) {
            QTest::addRow("%d of %d", static_cast<int>(rate * part), rate) << rate << rate * part;
        }
    }
}

void ResamplerTest::aToneStaysAndItsImagesGo()
{
    QFETCH(int, rate);
    QFETCH(double, frequency);
    Resampler resampler(rate);
    const auto output =
        resampled(resampler, sine(frequency, rate, static_cast<std::size_t>(rate) / 2));
    const auto strength = strengthAt(frequency, sampleRate, middle(output));
    QVERIFY2(std::abs(strength) < 0.1, qPrintable(QString::number(strength)));
    for (int multiple = rate; multiple < sampleRate; multiple += rate) {
        for (const double image : {multiple - frequency, multiple + frequency}) {
            const auto left = strengthAt(image, sampleRate, middle(output));
            // From half our rate on, a frequency is only another name for one below.
            QVERIFY2(
                left < -70 || image >= sampleRate / 2.0,
                qPrintable(QStringLiteral("%1 dB at %2 Hz").arg(left).arg(image)));
        }
    }
}

void ResamplerTest::aToneComesOutInTimeAndUndistorted()
{
    QFETCH(int, rate);
    QFETCH(double, frequency);
    Resampler resampler(rate);
    const auto output =
        resampled(resampler, sine(frequency, rate, static_cast<std::size_t>(rate) / 2));
    const auto expected = sine(frequency, sampleRate, output.size());
    double most = 0;
    for (std::size_t place = 2000; place + 2000 < output.size(); ++place) {
        most = std::max(most, std::abs(static_cast<double>(output[place] - expected[place])));
    }
    QVERIFY2(most < 0.001, qPrintable(QString::number(most)));
}

void ResamplerTest::aLevelStaysAtEveryRate_data()
{
    QTest::addColumn<int>("rate");
    for (const int rate : {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000}) {
        QTest::addRow("%d", rate) << rate;
    }
}

void ResamplerTest::aLevelStaysAtEveryRate()
{
    QFETCH(int, rate);
    Resampler resampler(rate);
    const std::vector<float> level(4000, 0.5F);
    const auto output = resampled(resampler, level);
    for (const float sample : middle(output)) {
        QVERIFY(std::abs(sample - 0.5F) < 1e-5F);
    }
}

void ResamplerTest::theLengthIsThatOfTheInput_data()
{
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("count");
    for (const int rate : {8000, 11025, 22050, 24000, 44100, 48000}) {
        for (const int count : {0, 1, 2, 31, 32, 33, 146, 147, 148, 22050, 100003}) {
            QTest::addRow("%d of %d", count, rate) << rate << count;
        }
    }
}

void ResamplerTest::theLengthIsThatOfTheInput()
{
    QFETCH(int, rate);
    QFETCH(int, count);
    Resampler resampler(rate);
    const auto output =
        resampled(resampler, std::vector<float>(static_cast<std::size_t>(count), 0.1F));
    const auto exact = static_cast<double>(count) * sampleRate / rate;
    QCOMPARE(output.size(), static_cast<std::size_t>(std::ceil(exact)));
}

void ResamplerTest::piecesMakeNoDifference()
{
    const auto input = noise(20000);
    Resampler atOnce(22050);
    const auto whole = resampled(atOnce, input);
    Resampler resampler(22050);
    std::mt19937 random(11);
    std::uniform_int_distribution<std::size_t> length(0, 300);
    std::vector<float> output;
    for (std::size_t begin = 0; begin < input.size();) {
        const std::size_t count = std::min(length(random), input.size() - begin);
        resampler.process(std::span(input).subspan(begin, count), output);
        begin += count;
    }
    resampler.finish(output);
    QVERIFY(output == whole);
}

void ResamplerTest::theSoundComesBeforeItsEnd()
{
    Resampler resampler(22050);
    std::vector<float> output;
    resampler.process(noise(2205), output);
    QVERIFY2(output.size() > 4800 - 144, qPrintable(QString::number(output.size())));
}

void ResamplerTest::soundOfOurOwnRateStaysAsItIs()
{
    const auto input = noise(5000);
    Resampler resampler(sampleRate);
    const auto output = resampled(resampler, input);
    QCOMPARE(output.size(), input.size());
    for (std::size_t place = 0; place < input.size(); ++place) {
        QVERIFY(output[place] == input[place]);
    }
}

WINGBELL_GUILESS_TEST(ResamplerTest)
#include "ResamplerTest.moc"

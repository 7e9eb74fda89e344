#include "relay/audio/TimeStretch.h"
#include "tests/TestProgram.h"

#include "tests/relay/audio/Tones.h"

#include <QTest>

#include <cmath>
#include <numbers>
#include <vector>

using namespace wingbell;

namespace {

std::vector<float> sine(double hertz, std::size_t count)
{
    std::vector<float> samples(count);
    for (std::size_t index = 0; index < count; ++index) {
        const double time = static_cast<double>(index) / 48000;
        samples[index] = static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * hertz * time));
    }
    return samples;
}

} // namespace

class TimeStretchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void betweenHalfAndAllIsTakenOut_data();
    void betweenHalfAndAllIsTakenOut();
    void speechGoesOnWithoutAStep_data();
    void speechGoesOnWithoutAStep();
    void theEndsStayAsTheyWere();
    void fromSilenceTheMostIsTakenOut();
};

void TimeStretchTest::betweenHalfAndAllIsTakenOut_data()
{
    QTest::addColumn<int>("most");
    for (const int most : {240, 333, 480, 960, 1920}) {
        QTest::addRow("%d samples", most) << most;
    }
}

void TimeStretchTest::betweenHalfAndAllIsTakenOut()
{
    QFETCH(const int, most);
    const auto wanted = static_cast<std::size_t>(most);
    for (double hertz = 50; hertz < 2000; hertz *= 1.3) {
        std::vector<float> samples = sine(hertz, 2880);
        const std::size_t left = timeStretch(samples, wanted);
        QVERIFY(left <= samples.size() - wanted / 2);
        QVERIFY(left >= samples.size() - wanted);
    }
}

void TimeStretchTest::speechGoesOnWithoutAStep_data()
{
    QTest::addColumn<double>("hertz");
    for (const int hertz : {120, 200, 333, 440, 1000, 1700}) {
        QTest::addRow("%d Hz", hertz) << static_cast<double>(hertz);
    }
}

void TimeStretchTest::speechGoesOnWithoutAStep()
{
    QFETCH(const double, hertz);
    std::vector<float> samples = sine(hertz, 2880);
    const double step = largestStep(samples);
    const std::size_t left = timeStretch(samples, 960);
    const std::span<const float> stretched = std::span(samples).first(left);
    QVERIFY(largestStep(stretched) < 1.2 * step);
    // Nor does it fall away where the one fades into the other.
    QVERIFY(loudnessOf(stretched.first(crossFadeSamples)) > 0.3);
}

void TimeStretchTest::theEndsStayAsTheyWere()
{
    std::vector<float> samples = sine(440, 2880);
    const std::vector<float> before = samples;
    const std::size_t left = timeStretch(samples, 960);
    QVERIFY(std::fabs(samples[0] - before[0]) < 0.01F);
    for (std::size_t index = crossFadeSamples; index < left; ++index) {
        QCOMPARE(samples[index], before[index + before.size() - left]);
    }
}

void TimeStretchTest::fromSilenceTheMostIsTakenOut()
{
    std::vector<float> samples(2000, 0.0F);
    QCOMPARE(timeStretch(samples, 960), std::size_t{1040});
}

WINGBELL_APPLESS_TEST(TimeStretchTest)
#include "TimeStretchTest.moc"

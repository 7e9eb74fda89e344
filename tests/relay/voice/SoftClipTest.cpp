#include "relay/voice/SoftClip.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <array>
#include <cmath>
#include <limits>

using namespace wingbell;

namespace {

float clipped(float sample)
{
    std::array<float, 1> samples{sample};
    softClip(samples);
    return samples[0];
}

} // namespace

class SoftClipTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ordinaryLevelsStayExactlyAsTheyAre();
    void nothingGoesBeyondOne();
    void louderStaysLouder();
    void theBendHasNoCorner();
    void bothSidesAreAlike();
    void whatIsNoNumberIsSilence();
};

void SoftClipTest::ordinaryLevelsStayExactlyAsTheyAre()
{
    for (float level = -softClipKnee; level <= softClipKnee; level += 0.001F) {
        QCOMPARE(clipped(level), level);
    }
    QCOMPARE(clipped(0.0F), 0.0F);
}

void SoftClipTest::nothingGoesBeyondOne()
{
    for (float level = 0.01F; level < 1e30F; level *= 1.5F) {
        QVERIFY(clipped(level) <= 1.0F);
        QVERIFY(clipped(-level) >= -1.0F);
    }
    QVERIFY(clipped(std::numeric_limits<float>::infinity()) <= 1.0F);
    QVERIFY(clipped(std::numeric_limits<float>::infinity()) > 0.99F);
    QVERIFY(clipped(-std::numeric_limits<float>::infinity()) >= -1.0F);
}

void SoftClipTest::louderStaysLouder()
{
    for (float level = 0; level < 3; level += 0.01F) {
        QVERIFY(clipped(level + 0.01F) > clipped(level));
    }
}

void SoftClipTest::theBendHasNoCorner()
{
    constexpr float step = 0.001F;
    for (float level = 0.5F; level < 2; level += step) {
        const float slope = (clipped(level + step) - clipped(level)) / step;
        const float next = (clipped(level + 2 * step) - clipped(level + step)) / step;
        QVERIFY(slope < 1.001F);
        QVERIFY(std::fabs(next - slope) < 0.01F);
    }
}

void SoftClipTest::bothSidesAreAlike()
{
    for (float level = 0; level < 3; level += 0.01F) {
        QCOMPARE(clipped(-level), -clipped(level));
    }
}

void SoftClipTest::whatIsNoNumberIsSilence()
{
    QCOMPARE(std::fabs(clipped(std::numeric_limits<float>::quiet_NaN())), 0.0F);
}

WINGBELL_APPLESS_TEST(SoftClipTest)
#include "SoftClipTest.moc"

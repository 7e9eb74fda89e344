#include "relay/speech/SilenceTrimmer.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <algorithm>

using namespace wingbell;

using Samples = std::vector<std::int16_t>;

namespace {

Samples trimmed(std::size_t kept, const Samples& input, std::size_t piece)
{
    SilenceTrimmer trimmer(kept);
    Samples output;
    for (std::size_t begin = 0; begin < input.size(); begin += piece) {
        const std::size_t count = std::min(piece, input.size() - begin);
        trimmer.trim(std::span(input).subspan(begin, count), output);
    }
    return output;
}

} // namespace

class SilenceTrimmerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itKeepsOnlyTheLastOfTheSilence();
    void silenceShorterThanThatStays();
    void silenceWithinTheSoundStays();
    void aSoundThatIsSilentToItsEndLeavesNothing();
};

void SilenceTrimmerTest::itKeepsOnlyTheLastOfTheSilence()
{
    const Samples input = {0, 0, 0, 10, -10, 3, 2, 1, 11, 12, 13};
    const Samples expected = {2, 1, 11, 12, 13};
    for (std::size_t piece = 1; piece <= input.size(); ++piece) {
        QVERIFY(trimmed(2, input, piece) == expected);
    }
    QVERIFY(trimmed(0, {0, 0, -11, 0}, 4) == Samples({-11, 0}));
    QVERIFY(trimmed(1, {0, 0, -32768}, 2) == Samples({0, -32768}));
}

void SilenceTrimmerTest::silenceShorterThanThatStays()
{
    QVERIFY(trimmed(9, {1, 2, 300}, 1) == Samples({1, 2, 300}));
    QVERIFY(trimmed(9, {300, 1}, 2) == Samples({300, 1}));
}

void SilenceTrimmerTest::silenceWithinTheSoundStays()
{
    const Samples input = {0, 0, 500, 0, 0, 0, 0, 500, 0, 0};
    for (std::size_t piece = 1; piece <= input.size(); ++piece) {
        QVERIFY(trimmed(0, input, piece) == Samples({500, 0, 0, 0, 0, 500, 0, 0}));
    }
}

void SilenceTrimmerTest::aSoundThatIsSilentToItsEndLeavesNothing()
{
    QVERIFY(trimmed(3, Samples(1000, 10), 7).empty());
}

WINGBELL_GUILESS_TEST(SilenceTrimmerTest)
#include "SilenceTrimmerTest.moc"

#include "relay/speech/LeadingSilence.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <algorithm>

using namespace wingbell;

using Samples = std::vector<std::int16_t>;

namespace {

Samples passed(std::size_t kept, const Samples& input, std::size_t piece)
{
    LeadingSilence silence(kept);
    Samples output;
    for (std::size_t begin = 0; begin < input.size(); begin += piece) {
        const std::size_t count = std::min(piece, input.size() - begin);
        silence.pass(std::span(input).subspan(begin, count), output);
    }
    return output;
}

} // namespace

class LeadingSilenceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itLeavesOutAllButTheLastOfTheSilence();
    void silenceShorterThanThatStays();
    void silenceWithinTheSoundStays();
    void aSoundThatIsSilentToItsEndLeavesNothing();
};

void LeadingSilenceTest::itLeavesOutAllButTheLastOfTheSilence()
{
    const Samples input = {0, 0, 0, 10, -10, 3, 2, 1, 11, 12, 13};
    const Samples expected = {2, 1, 11, 12, 13};
    for (std::size_t piece = 1; piece <= input.size(); ++piece) {
        QVERIFY(passed(2, input, piece) == expected);
    }
    QVERIFY(passed(0, {0, 0, -11, 0}, 4) == Samples({-11, 0}));
    QVERIFY(passed(1, {0, 0, -32768}, 2) == Samples({0, -32768}));
}

void LeadingSilenceTest::silenceShorterThanThatStays()
{
    QVERIFY(passed(9, {1, 2, 300}, 1) == Samples({1, 2, 300}));
    QVERIFY(passed(9, {300, 1}, 2) == Samples({300, 1}));
}

void LeadingSilenceTest::silenceWithinTheSoundStays()
{
    const Samples input = {0, 0, 500, 0, 0, 0, 0, 500, 0, 0};
    for (std::size_t piece = 1; piece <= input.size(); ++piece) {
        QVERIFY(passed(0, input, piece) == Samples({500, 0, 0, 0, 0, 500, 0, 0}));
    }
}

void LeadingSilenceTest::aSoundThatIsSilentToItsEndLeavesNothing()
{
    QVERIFY(passed(3, Samples(1000, 10), 7).empty());
}

WINGBELL_GUILESS_TEST(LeadingSilenceTest)
#include "LeadingSilenceTest.moc"

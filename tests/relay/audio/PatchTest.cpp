#include "relay/audio/Patch.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <cmath>
#include <limits>

using namespace wingbell;

namespace {

using Numbers = std::vector<float>;

ChannelSet setOf(std::size_t count, std::initializer_list<std::size_t> channels)
{
    ChannelSet set(count);
    for (const std::size_t channel : channels) {
        set.insert(channel);
    }
    return set;
}

} // namespace

class PatchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aChannelIsOpenWhenWantedAndAllowed();
    void setsOfAnotherSizeAreReadAsFarAsTheyGo();
    void levelsAreBroughtIntoTheirRange();
    void levelsHaveSteps();
    void channelsThatAreNotAllowedAreSilent();
    void theHighestLevelOfASharedChannelCounts();
};

void PatchTest::aChannelIsOpenWhenWantedAndAllowed()
{
    QCOMPARE(openChannels(setOf(4, {0, 1}), setOf(4, {1, 2}), 4), (Numbers{0, 1, 0, 0}));
}

void PatchTest::setsOfAnotherSizeAreReadAsFarAsTheyGo()
{
    QCOMPARE(openChannels(setOf(2, {1}), ChannelSet::all(100), 3), (Numbers{0, 1, 0}));
    QCOMPARE(openChannels(ChannelSet(), ChannelSet::all(3), 3), (Numbers{0, 0, 0}));
}

void PatchTest::levelsAreBroughtIntoTheirRange()
{
    constexpr float infinite = std::numeric_limits<float>::infinity();
    constexpr float noNumber = std::numeric_limits<float>::quiet_NaN();
    const Numbers levels{0.5F, 2, -1, infinite, -infinite, noNumber};
    QCOMPARE(allowedLevels(levels, ChannelSet::all(8), 8), (Numbers{0.5F, 1, 0, 1, 0, 0, 0, 0}));
    QCOMPARE(allowedLevels(levels, ChannelSet::all(2), 2), (Numbers{0.5F, 1}));
}

void PatchTest::levelsHaveSteps()
{
    const auto level = [](float wanted) {
        return allowedLevels({wanted}, ChannelSet::all(1), 1).front();
    };
    QCOMPARE(level(0.7001F), level(0.7F));
    QVERIFY(level(0.703F) != level(0.7F));
    // As a slider of twenty steps, squared and rounded, has them.
    for (int step = 1; step < 20; ++step) {
        const double exact = step * step / 400.0;
        const double rounded = std::round(exact * 1000) / 1000;
        QCOMPARE(level(static_cast<float>(rounded)), static_cast<float>(exact));
    }
}

void PatchTest::channelsThatAreNotAllowedAreSilent()
{
    QCOMPARE(allowedLevels({1, 1, 1}, setOf(3, {1}), 3), (Numbers{0, 1, 0}));
}

void PatchTest::theHighestLevelOfASharedChannelCounts()
{
    QCOMPARE(gainBetween({1, 1, 0}, {0.25F, 0.5F, 1}), 0.5F);
    QCOMPARE(gainBetween({0, 0, 1}, {1, 1, 0}), 0.0F);
    QCOMPARE(gainBetween({}, {}), 0.0F);
}

WINGBELL_APPLESS_TEST(PatchTest)
#include "PatchTest.moc"

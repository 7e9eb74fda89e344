#include "relay/link/SourceLimit.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <array>

using namespace wingbell;

namespace {

std::array<std::uint8_t, 12> soundFrom(std::uint8_t source)
{
    return {0x80, 111, 0, 1, 0, 0, 0, 2, 0, 0, 0, source};
}

std::array<std::uint8_t, 8> reportFrom(std::uint8_t source)
{
    return {0x80, 200, 0, 1, 0, 0, 0, source};
}

} // namespace

class SourceLimitTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theFirstSourcesMaySendOn();
    void oneSourceMoreIsNotLetThrough();
    void soundAndReportsOfOneSourceCountOnce();
    void aPacketTooShortForASourceIsNotLetThrough();
};

void SourceLimitTest::theFirstSourcesMaySendOn()
{
    SourceLimit limit;
    for (int round = 0; round < 2; ++round) {
        for (std::uint8_t source = 0; source < SourceLimit::mostSources; ++source) {
            QVERIFY(limit.admits(soundFrom(source)));
        }
    }
}

void SourceLimitTest::oneSourceMoreIsNotLetThrough()
{
    SourceLimit limit;
    for (std::uint8_t source = 0; source < SourceLimit::mostSources; ++source) {
        QVERIFY(limit.admits(soundFrom(source)));
    }
    QVERIFY(!limit.admits(soundFrom(SourceLimit::mostSources)));
    QVERIFY(!limit.admits(reportFrom(SourceLimit::mostSources)));
    QVERIFY(limit.admits(soundFrom(0)));
}

void SourceLimitTest::soundAndReportsOfOneSourceCountOnce()
{
    SourceLimit limit;
    for (std::uint8_t source = 0; source < SourceLimit::mostSources; ++source) {
        QVERIFY(limit.admits(reportFrom(source)));
        QVERIFY(limit.admits(soundFrom(source)));
    }
}

void SourceLimitTest::aPacketTooShortForASourceIsNotLetThrough()
{
    SourceLimit limit;
    QVERIFY(!limit.admits({}));
    const auto sound = soundFrom(1);
    const auto report = reportFrom(1);
    QVERIFY(!limit.admits(std::span(sound).first(11)));
    QVERIFY(!limit.admits(std::span(report).first(7)));
}

WINGBELL_APPLESS_TEST(SourceLimitTest)
#include "SourceLimitTest.moc"

#include "relay/audio/MixEncoder.h"
#include "tests/TestProgram.h"

#include "tests/relay/audio/HearingClient.h"
#include "tests/relay/audio/TalkingClient.h"
#include "tests/relay/audio/Tones.h"

#include <QTest>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

using namespace wingbell;

class MixEncoderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aToneComesThrough_data() { cycles(); }
    void aToneComesThrough();
    void aPacketHoldsOneCycle_data() { cycles(); }
    void aPacketHoldsOneCycle();
    void silenceBecomesSilenceAndSmall_data() { cycles(); }
    void silenceBecomesSilenceAndSmall();
    void soundAndSilenceFollowEachOtherWithoutAClick_data() { cycles(); }
    void soundAndSilenceFollowEachOtherWithoutAClick();
    void withLowEffortItEncodesCeltAndNothingClicks_data() { cycles(); }
    void withLowEffortItEncodesCeltAndNothingClicks();
    void whatIsNotTooLoudStaysAsItIs();
    void whatIsTooLoudIsBentSoftly();
    void whatIsNoNumberIsSilence();

private:
    static void cycles()
    {
        QTest::addColumn<int>("samples");
        QTest::newRow("10 ms") << 480;
        QTest::newRow("20 ms") << 960;
    }
};

namespace {

/// Speaks a tone for `count` cycles from `cycle` on, which begins and ends softly.
void speak(MixEncoder& encoder, HearingClient& client, std::size_t samples, std::size_t count)
{
    const TalkingClient::Sound sound = tone(440, 0.5);
    const std::size_t length = count * samples;
    std::vector<float> packet(samples);
    for (std::size_t sample = 0; sample < length; ++sample) {
        const std::size_t edge = std::min<std::size_t>({sample, length - sample, 960});
        packet[sample % samples] = sound(sample) * static_cast<float>(edge) / 960;
        if (sample % samples == samples - 1) {
            client.send(encoder.encode(packet));
        }
    }
}

void beSilent(MixEncoder& encoder, HearingClient& client, int count)
{
    for (int cycle = 0; cycle < count; ++cycle) {
        client.send(encoder.encodeSilence());
    }
}

} // namespace

void MixEncoderTest::aToneComesThrough()
{
    QFETCH(const int, samples);
    MixEncoder encoder(static_cast<std::size_t>(samples));
    HearingClient client;
    speak(encoder, client, static_cast<std::size_t>(samples), 100);
    const double level = toneLevel(std::span(client.samples()).subspan(9600, 24000), 440);
    QVERIFY2(level > 0.45 && level < 0.55, qPrintable(QString::number(level)));
}

void MixEncoderTest::aPacketHoldsOneCycle()
{
    QFETCH(const int, samples);
    MixEncoder encoder(static_cast<std::size_t>(samples));
    HearingClient client;
    beSilent(encoder, client, 50);
    QCOMPARE(client.samples().size(), static_cast<std::size_t>(50 * samples));
}

void MixEncoderTest::silenceBecomesSilenceAndSmall()
{
    QFETCH(const int, samples);
    MixEncoder encoder(static_cast<std::size_t>(samples));
    HearingClient client;
    speak(encoder, client, static_cast<std::size_t>(samples), 50);
    beSilent(encoder, client, 50);
    client.clear();
    beSilent(encoder, client, 50);
    QCOMPARE(client.packetSize(), std::size_t{3});
    QVERIFY(loudnessOf(client.samples()) < 1e-4);
}

void MixEncoderTest::soundAndSilenceFollowEachOtherWithoutAClick()
{
    QFETCH(const int, samples);
    MixEncoder encoder(static_cast<std::size_t>(samples));
    HearingClient client;
    for (int round = 0; round < 5; ++round) {
        speak(encoder, client, static_cast<std::size_t>(samples), 40);
        beSilent(encoder, client, 40 + round);
    }
    // A sine of 440 Hz and 0.5 has steps of 0.029.
    const double step = largestStep(client.samples());
    QVERIFY2(step < 0.04, qPrintable(QString::number(step)));
    const std::size_t rest = 10 * static_cast<std::size_t>(samples);
    QVERIFY(loudnessOf(lastOf(client.samples(), rest)) < 1e-4);
}

void MixEncoderTest::withLowEffortItEncodesCeltAndNothingClicks()
{
    QFETCH(const int, samples);
    MixEncoder encoder(static_cast<std::size_t>(samples));
    HearingClient client;
    const TalkingClient::Sound sound = tone(440, 0.5);
    std::vector<float> packet(static_cast<std::size_t>(samples));
    constexpr std::size_t stretch = 20;
    for (std::size_t cycle = 0; cycle < 6 * stretch; ++cycle) {
        const bool isLow = cycle / stretch % 2 == 1;
        encoder.setEffort(isLow ? MixEncoder::Effort::Low : MixEncoder::Effort::Full);
        for (std::size_t sample = 0; sample < packet.size(); ++sample) {
            packet[sample] = sound(cycle * packet.size() + sample);
        }
        const std::span<const std::uint8_t> encoded = encoder.encode(packet);
        client.send(encoded);
        if (cycle % stretch > 2) { // Opus prepares for a change
            QCOMPARE(isCelt(encoded), isLow);
        }
    }
    const std::span<const float> heard = std::span(client.samples()).subspan(9600);
    const double step = largestStep(heard);
    QVERIFY2(step < 0.04, qPrintable(QString::number(step))); // one of the tone is 0.029
    for (std::size_t from = 0; from + 4800 <= heard.size(); from += 4800) {
        const double level = toneLevel(heard.subspan(from, 4800), 440);
        QVERIFY2(level > 0.45 && level < 0.55, qPrintable(QString::number(level)));
    }
}

void MixEncoderTest::whatIsNotTooLoudStaysAsItIs()
{
    MixEncoder encoder(480);
    std::vector<float> samples(480);
    for (std::size_t index = 0; index < samples.size(); ++index) {
        samples[index] = static_cast<float>(index) / 240 - 1;
    }
    const std::vector<float> before = samples;
    QVERIFY(!encoder.encode(samples).empty());
    QCOMPARE(samples, before);
}

void MixEncoderTest::whatIsTooLoudIsBentSoftly()
{
    MixEncoder encoder(480);
    const TalkingClient::Sound sound = tone(440, 1.8);
    std::vector<float> bent;
    for (std::size_t cycle = 0; cycle < 100; ++cycle) {
        std::vector<float> samples(480);
        for (std::size_t index = 0; index < samples.size(); ++index) {
            samples[index] = sound(cycle * samples.size() + index);
        }
        QVERIFY(!encoder.encode(samples).empty());
        bent.insert(bent.end(), samples.begin(), samples.end());
    }
    QVERIFY(std::ranges::all_of(bent, [](float sample) { return std::fabs(sample) <= 1; }));
    // A sine of 440 Hz and 1.8 has steps of 0.104, and is above 1 for two thirds of the time.
    const double step = largestStep(bent);
    QVERIFY2(step < 0.11, qPrintable(QString::number(step)));
    const auto flat =
        std::ranges::count_if(bent, [](float sample) { return std::fabs(sample) > 0.9999F; });
    QVERIFY2(flat < 4800, qPrintable(QString::number(flat)));
}

void MixEncoderTest::whatIsNoNumberIsSilence()
{
    MixEncoder encoder(960);
    HearingClient client;
    std::vector<float> samples(960, std::numeric_limits<float>::quiet_NaN());
    samples[10] = std::numeric_limits<float>::infinity();
    client.send(encoder.encode(samples));
    QCOMPARE(client.samples().size(), std::size_t{960});
    QVERIFY(loudnessOf(client.samples()) < 1e-4);
    speak(encoder, client, 960, 50);
    QVERIFY(toneLevel(std::span(client.samples()).subspan(9600, 24000), 440) > 0.45);
}

WINGBELL_APPLESS_TEST(MixEncoderTest)
#include "MixEncoderTest.moc"

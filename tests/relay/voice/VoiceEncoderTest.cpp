#include "relay/voice/VoiceEncoder.h"
#include "tests/TestProgram.h"

#include "tests/relay/voice/HearingClient.h"
#include "tests/relay/voice/TalkingClient.h"
#include "tests/relay/voice/Tones.h"

#include <QTest>

#include <vector>

using namespace wingbell;

class VoiceEncoderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aToneComesThrough_data() { ticks(); }
    void aToneComesThrough();
    void aPacketHoldsOneTick_data() { ticks(); }
    void aPacketHoldsOneTick();
    void silenceBecomesSilenceAndSmall_data() { ticks(); }
    void silenceBecomesSilenceAndSmall();
    void soundAndSilenceFollowEachOtherWithoutAClick_data() { ticks(); }
    void soundAndSilenceFollowEachOtherWithoutAClick();

private:
    static void ticks()
    {
        QTest::addColumn<int>("samples");
        QTest::newRow("10 ms") << 480;
        QTest::newRow("20 ms") << 960;
    }
};

namespace {

/// Speaks a tone for `count` ticks from `tick` on, which begins and ends softly.
void speak(VoiceEncoder& encoder, HearingClient& client, std::size_t samples, std::size_t count)
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

void beSilent(VoiceEncoder& encoder, HearingClient& client, int count)
{
    for (int tick = 0; tick < count; ++tick) {
        client.send(encoder.encodeSilence());
    }
}

} // namespace

void VoiceEncoderTest::aToneComesThrough()
{
    QFETCH(const int, samples);
    VoiceEncoder encoder(static_cast<std::size_t>(samples));
    HearingClient client;
    speak(encoder, client, static_cast<std::size_t>(samples), 100);
    const double level = toneLevel(std::span(client.samples()).subspan(9600, 24000), 440);
    QVERIFY2(level > 0.45 && level < 0.55, qPrintable(QString::number(level)));
}

void VoiceEncoderTest::aPacketHoldsOneTick()
{
    QFETCH(const int, samples);
    VoiceEncoder encoder(static_cast<std::size_t>(samples));
    HearingClient client;
    beSilent(encoder, client, 50);
    QCOMPARE(client.samples().size(), static_cast<std::size_t>(50 * samples));
}

void VoiceEncoderTest::silenceBecomesSilenceAndSmall()
{
    QFETCH(const int, samples);
    VoiceEncoder encoder(static_cast<std::size_t>(samples));
    HearingClient client;
    speak(encoder, client, static_cast<std::size_t>(samples), 50);
    beSilent(encoder, client, 50);
    client.clear();
    beSilent(encoder, client, 50);
    QCOMPARE(client.packetSize(), std::size_t{3});
    QVERIFY(loudnessOf(client.samples()) < 1e-4);
}

void VoiceEncoderTest::soundAndSilenceFollowEachOtherWithoutAClick()
{
    QFETCH(const int, samples);
    VoiceEncoder encoder(static_cast<std::size_t>(samples));
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

WINGBELL_APPLESS_TEST(VoiceEncoderTest)
#include "VoiceEncoderTest.moc"

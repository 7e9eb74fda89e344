#include "relay/audio/OpusReceiver.h"
#include "tests/TestProgram.h"

#include "tests/relay/audio/SimulatedLine.h"
#include "tests/relay/audio/TalkingClient.h"
#include "tests/relay/audio/Tones.h"

#include <QTest>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

using namespace wingbell;

namespace {

constexpr std::size_t cycle = 960;

/// A packet's time to be spoken, a cycle to wait for, what Opus and the onset of a mark
/// take, and what is too little to be taken out.
constexpr double leastLatency = 960 + 960 + 312 + 100 + DelayController::smallExcess;

bool insert(OpusReceiver& receiver, const std::vector<std::uint8_t>& bytes)
{
    const auto packet = readRtpPacket(bytes);
    return packet && receiver.insert(*packet);
}

std::vector<float> play(OpusReceiver& receiver, int cycles, std::size_t samplesPerCycle = cycle)
{
    std::vector<float> heard(static_cast<std::size_t>(cycles) * samplesPerCycle);
    for (int count = 0; count < cycles; ++count) {
        receiver.play(std::span(heard).subspan(
            static_cast<std::size_t>(count) * samplesPerCycle, samplesPerCycle));
    }
    return heard;
}

std::span<const float> secondsOf(const std::vector<float>& heard, double from, double to)
{
    return std::span(heard)
        .first(static_cast<std::size_t>(to * sampleRate))
        .subspan(static_cast<std::size_t>(from * sampleRate));
}

/// How much of what was spoken, in parts of 20 ms, is heard nearly as it was.
double shareAlike(std::span<const float> spoken, std::span<const float> heard)
{
    int all = 0;
    int alike = 0;
    for (std::size_t at = 0; at + cycle <= spoken.size(); at += cycle) {
        const auto one = spoken.subspan(at, cycle);
        const auto other = heard.subspan(at, cycle);
        const double loud = loudnessOf(one);
        if (loud < 0.02) {
            continue;
        }
        ++all;
        const double product = std::inner_product(one.begin(), one.end(), other.begin(), 0.0);
        const double likeness = product / (cycle * loud * (loudnessOf(other) + 1e-9));
        const double ratio = loudnessOf(other) / loud;
        alike += likeness > 0.7 && ratio > 0.5 && ratio < 2 ? 1 : 0;
    }
    return static_cast<double>(alike) / all;
}

SimulatedLine::Delay lossOf(double share)
{
    return [share, random = std::mt19937(7)](std::size_t) mutable -> std::optional<double> {
        return std::uniform_real_distribution(0.0, 1.0)(random) < share ? std::nullopt
                                                                        : std::optional(100.0);
    };
}

/// What is heard of marks on a line, from the tenth second on.
struct Heard
{
    double concealed = 0; ///< the share that is made up
    double later = 0;     ///< the latest of the marks, in seconds, than on a clean line
};

/// `copies`: of earlier packets, which go with each.
Heard hear(int copies, const SimulatedLine::Delay& delay)
{
    OpusReceiver receiver;
    TalkingClient talker(marks(), cycle);
    talker.sendCopies(static_cast<std::size_t>(copies));
    SimulatedLine line(talker, receiver, delay);
    line.listen(10);
    const std::uint64_t before = receiver.concealed();
    line.listen(30);
    const std::vector<double> latencies = latenciesOfMarks(line.heard());
    const double latest = *std::max_element(latencies.end() - 25, latencies.end());
    return {
        static_cast<double>(receiver.concealed() - before) / (30.0 * sampleRate),
        (latest - leastLatency) / sampleRate};
}

} // namespace

class OpusReceiverTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void beforeTheFirstPacketThereIsSilence();
    void packetsOfAnyLengthComeThroughWhole_data();
    void packetsOfAnyLengthComeThroughWhole();
    void aCleanNetworkHasTheLeastLatency();
    void lossesStayIntelligible_data();
    void lossesStayIntelligible();
    void packetsThatAreSentAgainAreWaitedFor_data();
    void packetsThatAreSentAgainAreWaitedFor();
    void copiesStandForLostPackets_data();
    void copiesStandForLostPackets();
    void aSingleLossIsHeardFromTheNextPacket();
    void whatIsMadeUpFadesToSilence();
    void afterSilenceSpeechComesBackWithoutAClick();
    void aBurstAtTheStartShrinksAgain_data();
    void aBurstAtTheStartShrinksAgain();
    void aBurstAfterAStandstillShrinksAgain();
    void shrinkingDoesNotClick();
    void clocksMayDrift_data();
    void clocksMayDrift();
    void jitterIsGrownInto();
    void aJitteryNetworkBecomesCalm();
    void aNetworkThatBecomesCleanGetsTheLeastLatencyAgain();
    void anotherStreamGoesOn();
    void numbersMayWrapAround();
    void reorderedAndDoubledPacketsAreHarmless();
    void packetsThatComeOutOfOrderAgainAndAgainAreWaitedFor();
    void whatPassesUnheardDoesNotAddLatency();
    void nothingIsLeftOfWhatWasHeardBefore();
    void rubbishIsSafe();
    void whatIsMissingIsCounted();
};

void OpusReceiverTest::beforeTheFirstPacketThereIsSilence()
{
    OpusReceiver receiver;
    const std::vector<float> heard = play(receiver, 20);
    QCOMPARE(loudnessOf(heard), 0.0);
    QCOMPARE(receiver.concealed(), std::uint64_t{0});
    QCOMPARE(receiver.depth(), std::size_t{0});
}

void OpusReceiverTest::packetsOfAnyLengthComeThroughWhole_data()
{
    QTest::addColumn<int>("packet");
    QTest::addColumn<int>("samplesPerCycle");
    for (const int samplesPerCycle : {480, 960}) {
        for (const int packet : {120, 240, 480, 960, 1920, 2880}) {
            QTest::addRow("%d in cycles of %d", packet, samplesPerCycle)
                << packet << samplesPerCycle;
        }
    }
}

void OpusReceiverTest::packetsOfAnyLengthComeThroughWhole()
{
    QFETCH(const int, packet);
    QFETCH(const int, samplesPerCycle);
    TalkingClient talker(tone(440), static_cast<std::size_t>(packet));
    OpusReceiver receiver;
    SimulatedLine line(talker, receiver, steadyDelay(50));
    line.listen(4, static_cast<std::size_t>(samplesPerCycle));
    const double level = toneLevel(secondsOf(line.heard(), 1, 4), 440);
    QVERIFY2(level > 0.28 && level < 0.32, qPrintable(QString::number(level)));
    // What is whole has hardly a part that is not the tone.
    const double loudness = loudnessOf(secondsOf(line.heard(), 1, 4));
    QVERIFY2(loudness < 1.1 * 0.3 / std::sqrt(2), qPrintable(QString::number(loudness)));
    QCOMPARE(receiver.lost(), std::uint64_t{0});
    QVERIFY(receiver.depth() < static_cast<std::size_t>(packet));
}

void OpusReceiverTest::aCleanNetworkHasTheLeastLatency()
{
    for (const double delay : {1.0, 300.0, 700.0, 959.0}) {
        TalkingClient talker(marks());
        OpusReceiver receiver;
        SimulatedLine line(talker, receiver, steadyDelay(delay));
        line.listen(10);
        const std::vector<double> latencies = latenciesOfMarks(line.heard());
        QCOMPARE(latencies.size(), std::size_t{10});
        QVERIFY(*std::max_element(latencies.begin(), latencies.end()) < leastLatency + delay);
    }
}

void OpusReceiverTest::lossesStayIntelligible_data()
{
    QTest::addColumn<double>("loss");
    QTest::addColumn<double>("share");
    QTest::addColumn<int>("targetDelay");
    QTest::newRow("2 %") << 0.02 << 0.97 << 0;
    QTest::newRow("10 %") << 0.10 << 0.98 << 960;
}

void OpusReceiverTest::lossesStayIntelligible()
{
    QFETCH(const double, loss);
    QFETCH(const double, share);
    QFETCH(const int, targetDelay);
    TalkingClient talker(syllables());
    OpusReceiver receiver;
    SimulatedLine line(talker, receiver, lossOf(loss));
    line.listen(60);
    TalkingClient same(syllables());
    OpusReceiver without;
    SimulatedLine reference(same, without, steadyDelay(100));
    reference.listen(60);
    const double later = static_cast<double>(targetDelay) / sampleRate;
    const double alike = shareAlike(
        secondsOf(reference.heard(), 10, 59), secondsOf(line.heard(), 10 + later, 59 + later));
    QVERIFY2(alike >= share, qPrintable(QString::number(alike)));
    const double lost = static_cast<double>(receiver.lost()) / 3000;
    QVERIFY(lost > 0.7 * loss && lost < 1.3 * loss);
    // Losses alone add no latency, but the packet that helps to recover them when they are many.
    QVERIFY(
        receiver.depth() <= static_cast<std::size_t>(targetDelay) + DelayController::smallExcess);
    QCOMPARE(receiver.window(), DelayController::minWindow);
}

void OpusReceiverTest::packetsThatAreSentAgainAreWaitedFor_data()
{
    QTest::addColumn<double>("loss");
    QTest::addColumn<int>("copies");
    QTest::addColumn<double>("maxConcealed");
    QTest::addColumn<double>("maxLater"); // in seconds, than without loss
    QTest::newRow("a tenth") << 0.1 << 0 << 0.005 << 0.04;
    QTest::newRow("a tenth, with a copy") << 0.1 << 1 << 0.005 << 0.03;
    QTest::newRow("three of ten") << 0.3 << 0 << 0.01 << 0.04;
    QTest::newRow("three of ten, with a copy") << 0.3 << 1 << 0.005 << 0.04;
}

void OpusReceiverTest::packetsThatAreSentAgainAreWaitedFor()
{
    QFETCH(const double, loss);
    QFETCH(const int, copies);
    QFETCH(const double, maxConcealed);
    QFETCH(const double, maxLater);
    // A packet is asked for 10 ms after it should have come, and then every 15 ms; both the
    // question and the answer may be lost, and take 5 ms together.
    constexpr double again = sampleRate * 0.015;
    constexpr double repeat = sampleRate * 0.015;
    std::mt19937 random(7);
    const auto isLost = [&random, loss] {
        return std::uniform_real_distribution(0.0, 1.0)(random) < loss;
    };
    const auto delay = [&](std::size_t) -> std::optional<double> {
        double late = 100;
        if (!isLost()) {
            return late;
        }
        late += again;
        for (int attempt = 0; attempt < 3; ++attempt, late += repeat) {
            const bool asked = !isLost();
            if (asked && !isLost()) {
                return late;
            }
        }
        return std::nullopt;
    };
    const Heard heard = hear(copies, delay);
    QVERIFY2(heard.concealed < maxConcealed, qPrintable(QString::number(heard.concealed)));
    QVERIFY2(heard.later < maxLater, qPrintable(QString::number(heard.later)));
}

void OpusReceiverTest::copiesStandForLostPackets_data()
{
    QTest::addColumn<int>("copies");
    QTest::addColumn<double>("loss");
    QTest::addColumn<double>("maxConcealed");
    QTest::addColumn<double>("maxLater"); // in seconds, than without loss
    QTest::newRow("a tenth, one copy") << 1 << 0.1 << 0.015 << 0.02;
    QTest::newRow("three of ten, one copy") << 1 << 0.3 << 0.03 << 0.04;
    QTest::newRow("three of ten, two copies") << 2 << 0.3 << 0.03 << 0.04;
}

void OpusReceiverTest::copiesStandForLostPackets()
{
    QFETCH(const int, copies);
    QFETCH(const double, loss);
    QFETCH(const double, maxConcealed);
    QFETCH(const double, maxLater);
    const Heard heard = hear(copies, lossOf(loss));
    QVERIFY2(heard.concealed < maxConcealed, qPrintable(QString::number(heard.concealed)));
    QVERIFY2(heard.later < maxLater, qPrintable(QString::number(heard.later)));
}

void OpusReceiverTest::aSingleLossIsHeardFromTheNextPacket()
{
    // One packet alone holds another tone: only the copy in the next can tell of it.
    constexpr std::size_t lost = 20;
    const TalkingClient::Sound usual = tone(300);
    const TalkingClient::Sound special = tone(900, 0.5);
    TalkingClient talker([=](std::size_t sample) {
        return sample / cycle == lost ? special(sample) : usual(sample);
    });
    OpusReceiver receiver;
    std::vector<float> heard;
    for (std::size_t packet = 0; packet < 40; ++packet) {
        const std::vector<std::uint8_t> bytes = talker.next();
        if (packet != lost) {
            insert(receiver, bytes);
        }
        if (packet > 1) {
            const std::vector<float> samples = play(receiver, 1);
            heard.insert(heard.end(), samples.begin(), samples.end());
        }
    }
    const auto at = [&](std::size_t packet) {
        return toneLevel(std::span(heard).subspan(packet * cycle + 312, cycle), 900);
    };
    QVERIFY(at(lost) > 0.3);
    QVERIFY(at(lost - 3) < 0.1);
    QVERIFY(at(lost + 3) < 0.1);
    QCOMPARE(receiver.lost(), std::uint64_t{1});
    QCOMPARE(receiver.concealed(), std::uint64_t{0});
}

void OpusReceiverTest::whatIsMadeUpFadesToSilence()
{
    TalkingClient talker(tone(440, 0.5));
    OpusReceiver receiver;
    for (int packet = 0; packet < 50; ++packet) {
        insert(receiver, talker.next());
        play(receiver, 1);
    }
    const std::vector<float> heard = play(receiver, 50);
    QVERIFY(loudnessOf(secondsOf(heard, 0, 0.02)) > 0.1);
    QVERIFY(loudnessOf(secondsOf(heard, 0.08, 0.1)) < 0.1);
    QCOMPARE(loudnessOf(secondsOf(heard, 0.1, 1)), 0.0);
    QVERIFY(largestStep(heard) < 0.05);
    QCOMPARE(receiver.concealed(), std::uint64_t{4800});
}

void OpusReceiverTest::afterSilenceSpeechComesBackWithoutAClick()
{
    // A low tone has smallExcess steps, so that a click stands out.
    TalkingClient talker(tone(100, 0.5));
    OpusReceiver receiver;
    SimulatedLine line(talker, receiver, [](std::size_t packet) -> std::optional<double> {
        return packet % 50 < 40 ? std::optional(10.0) : std::nullopt;
    });
    line.listen(10);
    const double step = largestStep(line.heard());
    QVERIFY2(step < 0.02, qPrintable(QString::number(step)));
}

void OpusReceiverTest::aBurstAtTheStartShrinksAgain_data()
{
    QTest::addColumn<int>("packets");
    QTest::addColumn<bool>("heard");
    for (const int packets : {2, 6, 12, 25, 50}) {
        QTest::addRow("%d ms heard", packets * 20) << packets << true;
        QTest::addRow("%d ms unheard", packets * 20) << packets << false;
    }
}

void OpusReceiverTest::aBurstAtTheStartShrinksAgain()
{
    QFETCH(const int, packets);
    QFETCH(const bool, heard);
    const auto burst = static_cast<std::size_t>(packets);
    TalkingClient talker(marks());
    OpusReceiver receiver;
    // The first packets all wait for the last of them.
    SimulatedLine line(talker, receiver, [burst](std::size_t packet) {
        return packet < burst ? static_cast<double>((burst - packet) * cycle) : 10.0;
    });
    if (heard) {
        line.listen(10);
    } else {
        line.pass(static_cast<double>(packets) * 0.02 + 1.2);
        line.listen(9);
    }
    const std::vector<double> latencies = latenciesOfMarks(line.heard());
    QVERIFY(latencies.size() >= 7);
    QVERIFY2(latencies.back() < leastLatency, qPrintable(QString::number(latencies.back())));
    // Unheard, all goes at once.
    QVERIFY(heard || latencies.front() < leastLatency);
}

void OpusReceiverTest::aBurstAfterAStandstillShrinksAgain()
{
    TalkingClient talker(marks());
    OpusReceiver receiver;
    SimulatedLine line(talker, receiver, [](std::size_t packet) {
        // Half a second in which nothing comes, and then everything.
        return packet >= 510 && packet < 535 ? static_cast<double>((535 - packet) * cycle) : 10.0;
    });
    line.listen(30);
    const std::vector<double> latencies = latenciesOfMarks(line.heard());
    QVERIFY2(latencies.back() < leastLatency, qPrintable(QString::number(latencies.back())));
    QVERIFY(latencies.at(latencies.size() - 10) < leastLatency);
}

void OpusReceiverTest::shrinkingDoesNotClick()
{
    TalkingClient talker(tone(220, 0.5));
    OpusReceiver receiver;
    SimulatedLine line(talker, receiver, [](std::size_t packet) {
        return packet < 25 ? static_cast<double>((25 - packet) * cycle) : 10.0;
    });
    line.listen(10);
    QVERIFY(receiver.depth() < cycle);
    // A sine of 220 Hz and 0.5 has steps of 0.0144.
    const double step = largestStep(secondsOf(line.heard(), 0.7, 10));
    QVERIFY2(step < 0.025, qPrintable(QString::number(step)));
    // Nor are there holes.
    for (double at = 0.7; at < 9.9; at += 0.02) {
        QVERIFY(loudnessOf(secondsOf(line.heard(), at, at + 0.02)) > 0.2);
    }
}

void OpusReceiverTest::clocksMayDrift_data()
{
    QTest::addColumn<double>("pace");
    QTest::addColumn<int>("samplesPerCycle");
    for (const int samplesPerCycle : {480, 960}) {
        QTest::addRow("200 ppm fast, %d", samplesPerCycle) << 1 + 200e-6 << samplesPerCycle;
        QTest::addRow("200 ppm slow, %d", samplesPerCycle) << 1 - 200e-6 << samplesPerCycle;
    }
}

void OpusReceiverTest::clocksMayDrift()
{
    QFETCH(const double, pace);
    QFETCH(const int, samplesPerCycle);
    TalkingClient talker(marks());
    OpusReceiver receiver;
    SimulatedLine line(talker, receiver, steadyDelay(100), pace);
    line.listen(300, static_cast<std::size_t>(samplesPerCycle));
    const std::vector<double> latencies = latenciesOfMarks(line.heard(), pace);
    QVERIFY(latencies.size() >= 295);
    // A packet more may wait until it is found to be too much.
    const double most = *std::max_element(latencies.begin(), latencies.end());
    QVERIFY2(most < leastLatency + 100 + 960, qPrintable(QString::number(most)));
    QVERIFY(receiver.depth() <= 2 * cycle);
    QCOMPARE(receiver.lost(), std::uint64_t{0});
    // In five minutes the clocks part by 2880 samples: made up or taken out, not both.
    QVERIFY(receiver.concealed() < 2880 + 2 * cycle);
}

void OpusReceiverTest::jitterIsGrownInto()
{
    TalkingClient talker(tone(440));
    OpusReceiver receiver;
    SimulatedLine line(talker, receiver, [random = std::mt19937(11)](std::size_t) mutable {
        return std::uniform_real_distribution(0.0, 40 * 48.0)(random);
    });
    line.listen(20);
    const std::uint64_t before = receiver.concealed();
    line.listen(60);
    const auto concealed = static_cast<double>(receiver.concealed() - before);
    QVERIFY2(concealed < 0.02 * 60 * sampleRate, qPrintable(QString::number(concealed)));
    QVERIFY(receiver.depth() < 6 * cycle);
    QVERIFY(loudnessOf(secondsOf(line.heard(), 20, 80)) > 0.9 * 0.3 / std::sqrt(2));
}

void OpusReceiverTest::aJitteryNetworkBecomesCalm()
{
    TalkingClient talker(tone(440));
    OpusReceiver receiver;
    // Every two seconds the network stands still for a moment.
    SimulatedLine line(talker, receiver, [](std::size_t packet) {
        const std::size_t within = packet % 100;
        return within < 4 ? static_cast<double>((4 - within) * cycle) : 100.0;
    });
    line.listen(60);
    QVERIFY(receiver.window() > 2 * DelayController::minWindow);
    const std::uint64_t before = receiver.concealed();
    line.listen(60);
    // 30 standstills of 60 ms and more; hardly any is heard.
    const auto concealed = static_cast<double>(receiver.concealed() - before);
    QVERIFY2(concealed < 12 * 60 * 48, qPrintable(QString::number(concealed)));
}

void OpusReceiverTest::aNetworkThatBecomesCleanGetsTheLeastLatencyAgain()
{
    TalkingClient talker(marks());
    OpusReceiver receiver;
    SimulatedLine line(talker, receiver, [random = std::mt19937(11)](std::size_t packet) mutable {
        return packet < 3000 ? std::uniform_real_distribution(0.0, 80 * 48.0)(random) : 100.0;
    });
    line.listen(60);
    QVERIFY(receiver.window() > DelayController::minWindow);
    line.listen(360);
    const std::vector<double> latencies = latenciesOfMarks(line.heard());
    QVERIFY2(latencies.back() < leastLatency + 100, qPrintable(QString::number(latencies.back())));
    QCOMPARE(receiver.window(), DelayController::minWindow);
}

void OpusReceiverTest::anotherStreamGoesOn()
{
    OpusReceiver receiver;
    TalkingClient first(tone(440), cycle, 1, 100);
    TalkingClient second(tone(880), cycle, 2, 40000);
    for (int packet = 0; packet < 50; ++packet) {
        insert(receiver, first.next());
        play(receiver, 1);
    }
    std::vector<float> heard;
    for (int packet = 0; packet < 50; ++packet) {
        insert(receiver, second.next());
        const std::vector<float> samples = play(receiver, 1);
        heard.insert(heard.end(), samples.begin(), samples.end());
    }
    QVERIFY(toneLevel(secondsOf(heard, 0.1, 1), 880) > 0.27);
    QVERIFY(toneLevel(secondsOf(heard, 0.1, 1), 440) < 0.01);
    QVERIFY(receiver.depth() < cycle);
}

void OpusReceiverTest::numbersMayWrapAround()
{
    TalkingClient talker(tone(440), cycle, 1, 65500);
    OpusReceiver receiver;
    SimulatedLine line(talker, receiver, steadyDelay(10));
    line.listen(3);
    QCOMPARE(receiver.lost(), std::uint64_t{0});
    QVERIFY(loudnessOf(secondsOf(line.heard(), 0.5, 3)) > 0.2);
    QVERIFY(loudnessOf(secondsOf(line.heard(), 0.5, 3)) < 0.22);
}

void OpusReceiverTest::reorderedAndDoubledPacketsAreHarmless()
{
    TalkingClient talker(tone(440));
    OpusReceiver receiver;
    std::vector<float> heard;
    for (int pair = 0; pair < 75; ++pair) {
        const std::vector<std::uint8_t> first = talker.next();
        const std::vector<std::uint8_t> second = talker.next();
        for (const auto& packet : {second, first, first, second}) {
            insert(receiver, packet);
        }
        const std::vector<float> samples = play(receiver, 2);
        heard.insert(heard.end(), samples.begin(), samples.end());
    }
    const double level = toneLevel(secondsOf(heard, 1, 3), 440);
    QVERIFY2(level > 0.28, qPrintable(QString::number(level)));
}

void OpusReceiverTest::packetsThatComeOutOfOrderAgainAndAgainAreWaitedFor()
{
    TalkingClient talker(tone(440));
    OpusReceiver receiver;
    // Every second packet comes after the one behind it.
    SimulatedLine line(
        talker, receiver, [](std::size_t packet) { return packet % 2 == 1 ? 1.5 * cycle : 10.0; });
    line.listen(3);
    const std::uint64_t late = receiver.late();
    const std::uint64_t lost = receiver.lost();
    line.listen(7);
    QCOMPARE(receiver.late(), late);
    QCOMPARE(receiver.lost(), lost);
}

void OpusReceiverTest::whatPassesUnheardDoesNotAddLatency()
{
    TalkingClient talker(marks());
    OpusReceiver receiver;
    SimulatedLine line(talker, receiver, [random = std::mt19937(5)](std::size_t) mutable {
        return std::uniform_real_distribution(0.0, 700.0)(random);
    });
    for (int round = 0; round < 10; ++round) {
        line.pass(2.4);
        line.listen(1.6);
    }
    const std::vector<double> latencies = latenciesOfMarks(line.heard());
    QVERIFY(latencies.size() >= 10);
    QVERIFY(*std::max_element(latencies.begin(), latencies.end()) < leastLatency + 700);
    QCOMPARE(receiver.lost(), std::uint64_t{0});
}

void OpusReceiverTest::nothingIsLeftOfWhatWasHeardBefore()
{
    // It speaks while it is heard and is silent when it is heard again.
    TalkingClient talker([sound = tone(200, 0.8)](std::size_t sample) {
        return sample < sampleRate * 3 / 2 ? sound(sample) : 0.0F;
    });
    OpusReceiver receiver;
    SimulatedLine line(talker, receiver, steadyDelay(10));
    line.listen(1);
    line.pass(1);
    line.listen(1);
    QVERIFY(loudnessOf(secondsOf(line.heard(), 0.5, 1)) > 0.5);
    const double loudness = loudnessOf(secondsOf(line.heard(), 2, 2.1));
    QVERIFY2(loudness < 1e-4, qPrintable(QString::number(loudness)));
}

void OpusReceiverTest::rubbishIsSafe()
{
    std::mt19937 random(99);
    OpusReceiver receiver;
    std::uint16_t sequence = 0;
    int received = 0;
    for (int round = 0; round < 5000; ++round) {
        for (std::size_t count = random() % 4; count > 0; --count) {
            std::vector<std::uint8_t> payload(random() % 60);
            std::generate(payload.begin(), payload.end(), [&] {
                return static_cast<std::uint8_t>(random());
            });
            sequence = static_cast<std::uint16_t>(sequence + random() % 3);
            received += insert(receiver, rtpPacket(sequence, payload)) ? 1 : 0;
        }
        if (random() % 3 == 0) {
            receiver.discard(cycle);
            continue;
        }
        for (const float sample : play(receiver, 1)) {
            QVERIFY(std::isfinite(sample));
        }
    }
    QVERIFY(received > 1000);
}

void OpusReceiverTest::whatIsMissingIsCounted()
{
    TalkingClient talker(tone(440));
    OpusReceiver receiver;
    std::vector<std::vector<std::uint8_t>> packets;
    for (int packet = 0; packet < 6; ++packet) {
        packets.push_back(talker.next());
    }
    insert(receiver, packets[0]);
    insert(receiver, packets[2]);
    insert(receiver, packets[3]);
    QCOMPARE(receiver.depth(), 4 * cycle);
    play(receiver, 2);
    QCOMPARE(receiver.depth(), 2 * cycle);
    QCOMPARE(receiver.lost(), std::uint64_t{1});
    QCOMPARE(receiver.concealed(), std::uint64_t{0});
    insert(receiver, packets[1]);
    play(receiver, 3);
    QCOMPARE(receiver.depth(), std::size_t{0});
    QCOMPARE(receiver.late(), std::uint64_t{1});
    QCOMPARE(receiver.concealed(), std::uint64_t{cycle});
}

WINGBELL_APPLESS_TEST(OpusReceiverTest)
#include "OpusReceiverTest.moc"

#include "relay/link/RtcpReports.h"

#include "tests/TestProgram.h"

#include <QTest>

#include <array>
#include <vector>

using namespace wingbell;

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;
using Clock = RtcpReports::Clock;

constexpr std::uint32_t deskSource = 0x11111111;
constexpr std::uint32_t phoneSource = 0x22222222;
const std::chrono::system_clock::time_point wallClock{std::chrono::seconds(1'000'000)};

std::uint32_t read32(std::span<const std::uint8_t> bytes, std::size_t place)
{
    return (std::uint32_t{bytes[place]} << 24U) | (std::uint32_t{bytes[place + 1]} << 16U) |
           (std::uint32_t{bytes[place + 2]} << 8U) | bytes[place + 3];
}

/// 20 ms after 20 ms.
Bytes rtp(std::uint16_t number)
{
    Bytes packet = {0x80, 111};
    const auto append32 = [&packet](std::uint32_t value) {
        for (int byte = 3; byte >= 0; --byte) {
            packet.push_back(static_cast<std::uint8_t>(value >> (8 * byte)));
        }
    };
    packet.push_back(static_cast<std::uint8_t>(number >> 8U));
    packet.push_back(static_cast<std::uint8_t>(number));
    append32(960U * number);
    append32(phoneSource);
    packet.push_back(0);
    return packet;
}

using Numbers = std::vector<std::uint16_t>;

/// Asks for packets of `source` again: each by its number, and by a bit for each that follows.
Bytes nack(
    std::uint32_t source, const std::vector<std::pair<std::uint16_t, std::uint16_t>>& entries)
{
    Bytes packet = {0x81, 205, 0, static_cast<std::uint8_t>(2 + entries.size())};
    const auto append32 = [&packet](std::uint32_t value) {
        for (int byte = 3; byte >= 0; --byte) {
            packet.push_back(static_cast<std::uint8_t>(value >> (8 * byte)));
        }
    };
    append32(phoneSource);
    append32(source);
    for (const auto& [number, following] : entries) {
        append32((std::uint32_t{number} << 16U) | following);
    }
    return packet;
}

struct Desk
{
    RtcpReports reports{deskSource};
    std::array<std::uint8_t, RtcpReports::maxReport> buffer = {};
    Clock::time_point now{1000s};

    Numbers asked(const Bytes& packet)
    {
        const auto numbers = reports.take(packet, now);
        return {numbers.begin(), numbers.end()};
    }
    std::span<std::uint8_t> report() { return reports.write(buffer, now, wallClock); }
};

} // namespace

class RtcpReportsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withoutMediaItIsAnEmptyReceiverReport();
    void whatWasSentIsTold();
    void lossIsCountedSinceTheLastReportAndInAll();
    void numbersMayWrapAround();
    void jitterIsInSamples();
    void aSenderReportIsAnsweredWithItsTime();
    void thePacketsThatAreAskedForAreRead();
    void askingForAnothersPacketsDoesNothing();
    void onlySoManyAreAskedForAtOnce();
    void whatIsMissingIsAskedFor();
    void descriptionsAndGoodbyesOfOthersChangeNothing();
    void anyBytesAreSafe();
};

void RtcpReportsTest::withoutMediaItIsAnEmptyReceiverReport()
{
    Desk desk;
    const auto report = desk.report();
    QCOMPARE(report[0], 0x80);
    QCOMPARE(report[1], 201);
    QCOMPARE(read32(report, 4), deskSource);
    QCOMPARE(report[9], 202); // our name follows
    QCOMPARE(report.size() % 4, std::size_t{0});
}

void RtcpReportsTest::whatWasSentIsTold()
{
    Desk desk;
    desk.reports.sent(5000, 100, desk.now);
    desk.reports.sent(5960, 120, desk.now);
    desk.now += 10ms;
    const auto report = desk.report();
    QCOMPARE(report[1], 200);
    QCOMPARE(read32(report, 8), 1'000'000U + 2'208'988'800U);
    QCOMPARE(read32(report, 16), 5960U + 480U);
    QCOMPARE(read32(report, 20), 2U);
    QCOMPARE(read32(report, 24), 220U);
}

void RtcpReportsTest::lossIsCountedSinceTheLastReportAndInAll()
{
    Desk desk;
    for (std::uint16_t number = 0; number < 100; ++number) {
        if (number % 4 != 1) {
            desk.reports.received(rtp(number), desk.now);
        }
        desk.now += 20ms;
    }
    auto report = desk.report();
    QCOMPARE(report[0], 0x81);
    QCOMPARE(read32(report, 8), phoneSource);
    QCOMPARE(report[12], 64);                      // a quarter
    QCOMPARE(read32(report, 12) & 0xFFFFFFU, 25U); // of 100
    QCOMPARE(read32(report, 16), 99U);             // the highest
    QCOMPARE(read32(report, 20), 0U);              // no jitter
    for (std::uint16_t number = 100; number < 110; ++number) {
        desk.reports.received(rtp(number), desk.now);
        desk.now += 20ms;
    }
    report = desk.report();
    QCOMPARE(report[12], 0);
    QCOMPARE(read32(report, 12) & 0xFFFFFFU, 25U);
}

void RtcpReportsTest::numbersMayWrapAround()
{
    Desk desk;
    for (int number = 65530; number < 65542; ++number) {
        desk.reports.received(rtp(static_cast<std::uint16_t>(number)), desk.now);
        desk.now += 20ms;
    }
    const auto report = desk.report();
    QCOMPARE(read32(report, 12), 0U);
    QCOMPARE(read32(report, 16), 65541U);
}

void RtcpReportsTest::jitterIsInSamples()
{
    Desk desk;
    for (std::uint16_t number = 0; number < 500; ++number) {
        desk.reports.received(rtp(number), desk.now + (number % 2 == 0 ? 0ms : 10ms));
        desk.now += 20ms;
    }
    const std::uint32_t jitter = read32(desk.report(), 20);
    QVERIFY2(jitter > 450 && jitter <= 480, qPrintable(QString::number(jitter)));
}

void RtcpReportsTest::aSenderReportIsAnsweredWithItsTime()
{
    Desk desk;
    desk.reports.received(rtp(1), desk.now);
    Bytes report(28);
    report[0] = 0x80;
    report[1] = 200;
    report[3] = 6;
    for (std::uint8_t byte = 8; byte < 16; ++byte) {
        report[byte] = byte;
    }
    (void)desk.reports.take(report, desk.now);
    desk.now += 500ms;
    const auto ours = desk.report();
    QCOMPARE(read32(ours, 24), 0x0A0B0C0DU);
    QCOMPARE(read32(ours, 28), 32768U);
}

void RtcpReportsTest::thePacketsThatAreAskedForAreRead()
{
    Desk desk;
    // Behind a receiver report, as a browser sends it.
    Bytes packet = {0x80, 201, 0, 1, 0x22, 0x22, 0x22, 0x22};
    const Bytes request = nack(deskSource, {{100, 0b101}, {65535, 0b1}});
    packet.insert(packet.end(), request.begin(), request.end());
    QCOMPARE(desk.asked(packet), (Numbers{100, 101, 103, 65535, 0}));
    QCOMPARE(desk.asked({0x80, 201, 0, 1, 0x22, 0x22, 0x22, 0x22}), Numbers{});
}

void RtcpReportsTest::askingForAnothersPacketsDoesNothing()
{
    Desk desk;
    QCOMPARE(desk.asked(nack(phoneSource, {{100, 0}})), Numbers{});
    Bytes otherFeedback = nack(deskSource, {{100, 0}});
    otherFeedback[0] = 0x8F; // transport-wide congestion control
    QCOMPARE(desk.asked(otherFeedback), Numbers{});
}

void RtcpReportsTest::onlySoManyAreAskedForAtOnce()
{
    Desk desk;
    const Bytes many = nack(deskSource, {{100, 0xFFFF}, {200, 0xFFFF}, {300, 0xFFFF}});
    QCOMPARE(desk.asked(many).size(), RtcpReports::maxRequested);
}

void RtcpReportsTest::whatIsMissingIsAskedFor()
{
    Desk desk;
    const Numbers missing{65530, 65531, 10, 27};
    const auto written = desk.reports.writeNack(desk.buffer, phoneSource, missing);
    QCOMPARE(written.size(), std::size_t{20 + 2 * 4});
    // As the phone reads it.
    RtcpReports phone{phoneSource};
    const auto read = phone.take(written, desk.now);
    QCOMPARE(Numbers(read.begin(), read.end()), missing);
}

void RtcpReportsTest::descriptionsAndGoodbyesOfOthersChangeNothing()
{
    Desk desk;
    Desk untouched;
    for (std::uint32_t source = 0; source < 1000; ++source) {
        const auto high = static_cast<std::uint8_t>(source >> 8U);
        const auto low = static_cast<std::uint8_t>(source);
        const Bytes flood = {0x80, 201, 0, 1, 0x22, 0x22, 0x22, 0x22, // receiver report
                             0x81, 202, 0, 2, 0x77, 0x77, high, low,  1, 1, 'x', 0, // SDES
                             0x81, 203, 0, 1, 0x77, 0x77, high, low};               // BYE
        QCOMPARE(desk.asked(flood), Numbers{});
    }
    QCOMPARE(desk.asked(nack(deskSource, {{100, 0}})), Numbers{100});
    QCOMPARE(desk.report().size(), untouched.report().size());
}

void RtcpReportsTest::anyBytesAreSafe()
{
    Desk desk;
    for (std::size_t size = 0; size < 200; ++size) {
        for (const int fill : {0x00, 0x80, 0xC8, 0xFF}) {
            Bytes bytes(size, static_cast<std::uint8_t>(fill));
            (void)desk.reports.take(bytes, desk.now);
            desk.reports.received(bytes, desk.now);
            if (size > 4) {
                bytes[0] = 0x80;
                bytes[1] = 200;
                bytes[2] = 0;
                bytes[3] = static_cast<std::uint8_t>(size / 4);
                (void)desk.reports.take(bytes, desk.now);
            }
        }
    }
    QVERIFY(desk.report().size() <= RtcpReports::maxReport);
}

WINGBELL_APPLESS_TEST(RtcpReportsTest)
#include "RtcpReportsTest.moc"

#include "relay/link/MediaPeer.h"

#include "relay/net/Port.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <vector>

using namespace wingbell;

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t phone = 0x22222222;

DatagramPath path(std::uint8_t lastByte)
{
    DatagramPath path;
    path.peer.sin6_addr.s6_addr[15] = lastByte;
    return path;
}

const DatagramPath wifi = path(1);
const DatagramPath cable = path(2);

ConnectivityCheck check(bool nominates, std::uint32_t priority = 100)
{
    return {"desk", nominates, priority};
}

DatagramSocket newSocket()
{
    auto open = openPort(PortType::Udp, 0);
    return {std::move(open->descriptor), open->takesIpv6};
}

DatagramPath pathTo(const DatagramSocket& socket)
{
    DatagramPath path;
    path.peer.sin6_family = AF_INET6;
    path.peer.sin6_port = htons(socket.port());
    const std::array<std::uint8_t, 6> end = {0xFF, 0xFF, 127, 0, 0, 1};
    std::copy(end.begin(), end.end(), path.peer.sin6_addr.s6_addr + 10);
    return path;
}

/// A peer with its phone at the other end.
struct Call
{
    std::vector<Bytes> heard;
    MediaPeer peer{{"desk", "password"}, 960};
    std::unique_ptr<SrtpSession> ofPhone;
    MediaPeer::Clock::time_point now = MediaPeer::Clock::now();
    std::uint16_t sequence = 0;
    DatagramSocket nowhere{{}, true};
    DatagramSocket desk = newSocket();
    DatagramSocket phoneSocket = newSocket();

    void start(bool takesRed = false)
    {
        const Bytes ours(28, 1);
        const Bytes theirs(28, 2);
        const auto profile = SrtpProfile::AeadAes128Gcm;
        auto srtp = SrtpSession::make({profile, ours, theirs}, peer.source(), std::array{phone});
        ofPhone = SrtpSession::make({profile, theirs, ours}, phone, std::array{peer.source()});
        RtpReceiver receiver = [this](std::span<const std::uint8_t> packet) {
            heard.emplace_back(packet.begin(), packet.end());
        };
        peer.start(srtp, receiver, takesRed);
    }

    /// The payload types of what the phone gets for as many packets of the mixer, of which it asks
    /// for every fifth again.
    std::vector<int> typesSent(int packets, bool asks)
    {
        std::vector<int> types;
        for (int count = 0; count < packets; ++count) {
            peer.put(Bytes{0xF8, 0xFF, 0xFE});
            peer.sendWaiting(desk, now);
            desk.flush();
            const std::optional<Bytes> packet = phoneReceives();
            if (!packet) {
                return {};
            }
            types.push_back((*packet)[1] & 0x7F);
            if (asks && count % 5 == 0) {
                phoneAsksFor((*packet)[2], (*packet)[3]);
            }
            now += 20ms;
        }
        return types;
    }

    std::optional<Bytes> phoneReceives()
    {
        std::span<const DatagramSocket::Datagram> received;
        if (!QTest::qWaitFor([&] { return !(received = phoneSocket.receive()).empty(); })) {
            return std::nullopt;
        }
        const auto packet = ofPhone->unprotectRtp(received.front().bytes);
        return Bytes(packet.begin(), packet.end());
    }

    void phoneAsksFor(std::uint8_t first, std::uint8_t second)
    {
        Bytes packet = {0x81, 205, 0, 3, 0x22, 0x22, 0x22, 0x22};
        for (int byte = 3; byte >= 0; --byte) {
            packet.push_back(static_cast<std::uint8_t>(peer.source() >> (8 * byte)));
        }
        packet.insert(packet.end(), {first, second, 0, 0});
        const std::size_t size = packet.size();
        packet.resize(size + SrtpSession::maxOverhead);
        // What is sent again is not what is looked at.
        peer.takeMedia(*peer.selectedPath(), ofPhone->protectRtcp(packet, size), nowhere, now);
    }

    /// Returns what was sent, encrypted.
    Bytes phoneSends(const DatagramPath& from, std::uint8_t type = 111)
    {
        ++sequence;
        Bytes packet = {
            0x80,
            type,
            static_cast<std::uint8_t>(sequence >> 8U),
            static_cast<std::uint8_t>(sequence),
            0,
            0,
            0,
            0,
            0x22,
            0x22,
            0x22,
            0x22,
            'x'};
        const std::size_t size = packet.size();
        packet.resize(size + SrtpSession::maxOverhead);
        const auto secret = ofPhone->protectRtp(packet, size);
        const Bytes sent(secret.begin(), secret.end());
        peer.takeMedia(from, secret, nowhere, now);
        return sent;
    }
};

} // namespace

class MediaPeerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theNominatedWayIsTaken();
    void ofTwoNominatedWaysTheBetterOneIsTaken();
    void whatIsSentFollowsTheWayOfThePhonesMedia();
    void aWayThatFellSilentIsLeftForANominatedOne();
    void aPhoneThatOnlyListensIsFollowedToANewWay();
    void onlyAFewWaysAreKept();
    void checksFromManyPortsDoNotDivertACall();
    void aReplayedPacketDoesNotDivertACall();
    void genuineOpusIsHeardAndNothingElse();
    void copiesGoWithThePacketsWhileThePhoneAsksForMany();
    void aPhoneThatTakesNoRedGetsNone();
    void withoutConsentThePeerIsLost();
};

void MediaPeerTest::theNominatedWayIsTaken()
{
    Call call;
    call.peer.checked(wifi, check(false), call.now);
    QVERIFY(!call.peer.selectedPath());
    call.peer.checked(cable, check(true), call.now);
    QCOMPARE(call.peer.selectedPath(), std::optional(cable));
    QCOMPARE(call.peer.paths().size(), std::size_t{2});
}

void MediaPeerTest::ofTwoNominatedWaysTheBetterOneIsTaken()
{
    Call call;
    call.peer.checked(wifi, check(true, 100), call.now);
    call.peer.checked(cable, check(true, 200), call.now);
    QCOMPARE(call.peer.selectedPath(), std::optional(cable));
    call.peer.checked(wifi, check(true, 100), call.now);
    QCOMPARE(call.peer.selectedPath(), std::optional(cable));
}

void MediaPeerTest::whatIsSentFollowsTheWayOfThePhonesMedia()
{
    Call call;
    call.peer.checked(wifi, check(true, 100), call.now);
    call.peer.checked(cable, check(false, 200), call.now);
    call.start();
    (void)call.phoneSends(wifi);
    QCOMPARE(call.peer.selectedPath(), std::optional(wifi));
    call.peer.checked(cable, check(true, 200), call.now);
    QCOMPARE(call.peer.selectedPath(), std::optional(wifi));
    (void)call.phoneSends(cable);
    QCOMPARE(call.peer.selectedPath(), std::optional(cable));
}

void MediaPeerTest::aWayThatFellSilentIsLeftForANominatedOne()
{
    Call call;
    call.peer.checked(wifi, check(true), call.now);
    call.start();
    (void)call.phoneSends(wifi);
    call.now += MediaPeer::inUse + 1ms;
    call.peer.checked(cable, check(true), call.now);
    QCOMPARE(call.peer.selectedPath(), std::optional(cable));
}

void MediaPeerTest::aPhoneThatOnlyListensIsFollowedToANewWay()
{
    Call call;
    call.peer.checked(cable, check(true), call.now);
    call.start();
    call.now += MediaPeer::audioGap + 1ms;
    call.peer.checked(wifi, check(false), call.now);
    QCOMPARE(call.peer.selectedPath(), std::optional(cable));
    call.peer.checked(wifi, check(true), call.now);
    QCOMPARE(call.peer.selectedPath(), std::optional(wifi));
    // Only forward: a check of the old way may come late.
    call.now += MediaPeer::audioGap + 1ms;
    call.peer.checked(cable, check(true), call.now);
    QCOMPARE(call.peer.selectedPath(), std::optional(wifi));
}

void MediaPeerTest::onlyAFewWaysAreKept()
{
    Call call;
    call.peer.checked(wifi, check(true), call.now);
    for (std::uint8_t other = 2; other <= MediaPeer::maxPaths; ++other) {
        QVERIFY(!call.peer.checked(path(other), check(false), call.now));
    }
    QCOMPARE(call.peer.checked(path(99), check(false), call.now), std::optional(path(2)));
    QCOMPARE(call.peer.paths().size(), MediaPeer::maxPaths);
    QCOMPARE(call.peer.selectedPath(), std::optional(wifi));
}

/// A peer that knows the password may check from as many ports as it likes.
void MediaPeerTest::checksFromManyPortsDoNotDivertACall()
{
    Call call;
    call.peer.checked(wifi, check(true), call.now);
    call.start();
    (void)call.phoneSends(wifi);
    for (int port = 2; port < 200; ++port) {
        const auto other = path(static_cast<std::uint8_t>(port));
        const auto forgotten = call.peer.checked(other, check(true, 1000), call.now);
        QVERIFY(forgotten != std::optional(wifi));
    }
    QCOMPARE(call.peer.paths().size(), MediaPeer::maxPaths);
    QCOMPARE(call.peer.selectedPath(), std::optional(wifi));
}

void MediaPeerTest::aReplayedPacketDoesNotDivertACall()
{
    Call call;
    call.peer.checked(wifi, check(true), call.now);
    call.start();
    Bytes packet = call.phoneSends(wifi);
    call.peer.takeMedia(cable, packet, call.nowhere, call.now);
    QCOMPARE(call.heard.size(), std::size_t{1});
    QCOMPARE(call.peer.selectedPath(), std::optional(wifi));
}

void MediaPeerTest::genuineOpusIsHeardAndNothingElse()
{
    Call call;
    call.start();
    (void)call.phoneSends(wifi);
    QCOMPARE(call.heard.size(), std::size_t{1});
    QCOMPARE(call.heard.front().back(), 'x');
    (void)call.phoneSends(wifi, 0); // another type than was agreed on
    Bytes forged(40, 0x80);
    call.peer.takeMedia(wifi, forged, call.nowhere, call.now);
    QCOMPARE(call.heard.size(), std::size_t{1});
}

void MediaPeerTest::copiesGoWithThePacketsWhileThePhoneAsksForMany()
{
    Call call;
    call.peer.checked(pathTo(call.phoneSocket), check(true), call.now);
    call.start(true);
    QCOMPARE(call.typesSent(50, false), std::vector<int>(50, opusPayloadType));
    QCOMPARE(call.typesSent(200, true).back(), int{redPayloadType});
    QCOMPARE(call.typesSent(800, false).back(), int{opusPayloadType});
}

void MediaPeerTest::aPhoneThatTakesNoRedGetsNone()
{
    Call call;
    call.peer.checked(pathTo(call.phoneSocket), check(true), call.now);
    call.start(false);
    QCOMPARE(call.typesSent(200, true), std::vector<int>(200, opusPayloadType));
}

void MediaPeerTest::withoutConsentThePeerIsLost()
{
    Call call;
    call.peer.checked(wifi, check(true), call.now);
    call.peer.report(call.nowhere, call.now + MediaPeer::consentTimeout);
    QVERIFY(!call.peer.isLost());
    call.peer.report(call.nowhere, call.now + MediaPeer::consentTimeout + 1ms);
    QVERIFY(call.peer.isLost());
}

WINGBELL_APPLESS_TEST(MediaPeerTest)
#include "MediaPeerTest.moc"

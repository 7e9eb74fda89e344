#include "relay/link/MediaTransport.h"

#include "relay/link/WebRtcLink.h"
#include "tests/TestProgram.h"
#include "tests/relay/link/Phone.h"

#include <QTest>

#include <algorithm>
#include <atomic>

using namespace wingbell;

namespace {

struct Desk
{
    std::atomic<int> heard = 0;
    MediaTransport transport{newSocket(), DtlsContext::make(), {960, [] {
                                                                    return std::vector{QHostAddress(
                                                                        QHostAddress::LocalHost)};
                                                                }}};

    RtpReceiver receiver()
    {
        return [this](std::span<const std::uint8_t>) {
            ++heard;
        };
    }
};

/// A phone whose call stands.
struct Call
{
    Desk desk;
    std::shared_ptr<MediaLink> link = desk.transport.makeLink();
    Phone phone{link->offer()};

    Call()
    {
        link->takeAnswer(phone.answer(), desk.receiver());
        phone.check();
        QTRY_COMPARE((phone.receive(), phone.responses), 1);
        phone.shakeHands();
        QTRY_VERIFY(phone.isConnected());
        QTRY_COMPARE(link->state(), MediaLink::State::Connected);
    }

    /// Has the desk send one, and returns it as the phone gets it.
    Bytes packetToPhone()
    {
        link->send(Bytes{1, 2, 3});
        return QTest::qWaitFor([this] { return phone.receive(), phone.packets > 0; })
                   ? phone.media.back()
                   : Bytes();
    }

    std::ptrdiff_t timesReceived(const Bytes& packet)
    {
        phone.receive();
        return std::count(phone.media.begin(), phone.media.end(), packet);
    }
};

} // namespace

class MediaTransportTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPhoneIsHeardAndHears();
    void aPhoneThatWaitsForUsToBeginIsConnectedToo();
    void theAnswerMayComeAfterTheHandshakeHasBegun();
    void aPhoneWithAnotherCertificateIsNeitherHeardNorHears();
    void aPhoneThatMovesIsFollowed();
    void aPortWithoutACheckIsNotHeard();
    void aPacketThatThePhoneLostIsSentAgain();
    void aFloodOfFeedbackIsAnsweredAFewTimes();
    void aPhoneThatHangsUpIsKnownToHave();
    void aClosedLinkHearsAndSendsNothing();
    void placesAreUsedAgain();
};

void MediaTransportTest::aPhoneIsHeardAndHears()
{
    Call call;
    QTRY_VERIFY((call.phone.talk(), call.desk.heard > 0));
    QTRY_VERIFY((call.link->send(Bytes{1, 2, 3}), call.phone.receive(), call.phone.packets > 0));
}

void MediaTransportTest::aPhoneThatWaitsForUsToBeginIsConnectedToo()
{
    Desk desk;
    const auto link = desk.transport.makeLink();
    Phone phone(link->offer());
    phone.shakeHands(true);
    link->takeAnswer(phone.answer(false), desk.receiver());
    phone.check();
    QTRY_VERIFY(phone.isConnected());
    QTRY_COMPARE(link->state(), MediaLink::State::Connected);
}

void MediaTransportTest::theAnswerMayComeAfterTheHandshakeHasBegun()
{
    Desk desk;
    const auto link = desk.transport.makeLink();
    Phone phone(link->offer());
    phone.check();
    QTRY_COMPARE((phone.receive(), phone.responses), 1);
    phone.shakeHands();
    link->takeAnswer(phone.answer(), desk.receiver());
    QTRY_VERIFY(phone.isConnected());
}

void MediaTransportTest::aPhoneWithAnotherCertificateIsNeitherHeardNorHears()
{
    Desk desk;
    const auto link = desk.transport.makeLink();
    Phone phone(link->offer());
    const Phone other(link->offer());
    link->takeAnswer(other.answer(), desk.receiver());
    phone.check();
    QTRY_COMPARE((phone.receive(), phone.responses), 1);
    phone.shakeHands();
    QTRY_COMPARE((phone.receive(), link->state()), MediaLink::State::Forged);
    QVERIFY(!phone.isConnected());
}

void MediaTransportTest::aPhoneThatMovesIsFollowed()
{
    Call call;
    call.phone.move();
    call.phone.check();
    QTRY_COMPARE((call.phone.receive(), call.phone.responses), 2);
    QTRY_VERIFY((call.phone.talk(), call.desk.heard > 0));
    QTRY_VERIFY((call.link->send(Bytes{1}), call.phone.receive(), call.phone.packets > 0));
}

void MediaTransportTest::aPortWithoutACheckIsNotHeard()
{
    Call call;
    call.phone.move();
    for (int packet = 0; packet < 20; ++packet) {
        call.phone.talk();
    }
    call.phone.check(); // what came before it has been dealt with once it is answered
    QTRY_COMPARE((call.phone.receive(), call.phone.responses), 2);
    QCOMPARE(call.desk.heard.load(), 0);
}

void MediaTransportTest::aPacketThatThePhoneLostIsSentAgain()
{
    Call call;
    const Bytes lost = call.packetToPhone();
    const auto times = [&] {
        return call.timesReceived(lost);
    };
    QCOMPARE(times(), 1);
    call.phone.askFor(lost[2], lost[3]);
    QTRY_COMPARE(times(), 2);
}

void MediaTransportTest::aFloodOfFeedbackIsAnsweredAFewTimes()
{
    Call call;
    const Bytes lost = call.packetToPhone();
    const auto times = [&] {
        return call.timesReceived(lost);
    };
    constexpr std::uint8_t pictureLoss = 206;
    constexpr std::uint8_t unknown = 210;
    const auto flood = [&] {
        for (int request = 0; request < 50; ++request) {
            call.phone.askFor(lost[2], lost[3]);
            call.phone.askFor(lost[2], lost[3], pictureLoss);
            call.phone.askFor(lost[2], lost[3], unknown);
        }
    };
    QTRY_VERIFY((flood(), times() > RtpHistory::maxTimes));
    flood();
    // The call goes on, and by then the last requests have been dealt with.
    QTRY_VERIFY((call.phone.talk(), call.desk.heard > 0));
    QTRY_COMPARE((call.link->send(Bytes{4}), call.phone.receive(), call.phone.packets > 1), true);
    QCOMPARE(times(), 1 + RtpHistory::maxTimes);
}

void MediaTransportTest::aPhoneThatHangsUpIsKnownToHave()
{
    Call call;
    call.phone.hangUp();
    QTRY_COMPARE(call.link->state(), MediaLink::State::HungUp);
}

void MediaTransportTest::aClosedLinkHearsAndSendsNothing()
{
    Call call;
    call.link->close();
    call.link->send(Bytes{1});
    call.phone.talk();
    QTRY_COMPARE(
        (call.phone.check(), call.phone.receive(), call.desk.transport.makeLink() != nullptr),
        true);
    QCOMPARE(call.desk.heard.load(), 0);
    QCOMPARE(call.phone.packets, 0);
}

void MediaTransportTest::placesAreUsedAgain()
{
    Desk desk;
    for (int round = 0; round < 3; ++round) {
        std::vector<std::shared_ptr<MediaLink>> links;
        while (links.size() < MediaTransport::maxPeers) {
            std::shared_ptr<MediaLink> link;
            QTRY_VERIFY(link || (link = desk.transport.makeLink()));
            links.push_back(std::move(link));
        }
        QVERIFY(desk.transport.makeLink() == nullptr);
    }
}

WINGBELL_GUILESS_TEST(MediaTransportTest)
#include "MediaTransportTest.moc"

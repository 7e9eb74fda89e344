#include "relay/link/MediaTransport.h"

#include "relay/link/WebRtcLink.h"
#include "relay/net/Port.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <stun/stunagent.h>
#include <stun/usages/ice.h>

#include <algorithm>
#include <array>
#include <atomic>

using namespace wingbell;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t phoneSource = 0x22222222;

DatagramPath deskAt(quint16 port)
{
    DatagramPath path;
    path.peer.sin6_family = AF_INET6;
    path.peer.sin6_port = htons(port);
    const std::array<std::uint8_t, 6> end = {0xFF, 0xFF, 127, 0, 0, 1};
    std::copy(end.begin(), end.end(), path.peer.sin6_addr.s6_addr + 10);
    return path;
}

DatagramSocket newSocket()
{
    auto open = openPort(PortType::Udp, 0);
    return {std::move(open->descriptor), open->takesIpv6};
}

std::string valueIn(const QByteArray& offer, const QByteArray& key)
{
    const qsizetype begin = offer.indexOf(key) + key.size();
    return offer.mid(begin, offer.indexOf('\r', begin) - begin).toStdString();
}

/// A browser as far as the desk sees it.
class Phone
{
public:
    explicit Phone(QByteArray offer)
        : m_offer(std::move(offer))
        , m_context(DtlsContext::make())
        , m_dtls(*m_context, [this](std::span<const std::uint8_t> datagram) { send(datagram); })
        , m_desk(deskAt(static_cast<quint16>(
              QByteArray::fromStdString(valueIn(m_offer, "127.0.0.1 ")).split(' ')[0].toInt())))
    {
        move();
        stun_agent_init(
            &m_agent, attributes.data(), STUN_COMPATIBILITY_RFC5389,
            static_cast<StunAgentUsageFlags>(
                STUN_AGENT_USAGE_SHORT_TERM_CREDENTIALS | STUN_AGENT_USAGE_USE_FINGERPRINT));
    }

    [[nodiscard]] MediaAnswer answer(bool isActive = true) const
    {
        return {m_context->fingerprint(), isActive, {phoneSource}};
    }

    /// To another port, as after a change of the access point.
    void move() { m_socket.emplace(newSocket()); }

    void check()
    {
        const std::string name = valueIn(m_offer, "a=ice-ufrag:") + ":phone";
        const std::string password = valueIn(m_offer, "a=ice-pwd:");
        Bytes buffer(512);
        StunMessage message = {};
        buffer.resize(stun_usage_ice_conncheck_create(
            &m_agent, &message, buffer.data(), buffer.size(),
            reinterpret_cast<const std::uint8_t*>(name.data()), name.size(),
            reinterpret_cast<const std::uint8_t*>(password.data()), password.size(), true, true, 1,
            1, nullptr, STUN_USAGE_ICE_COMPATIBILITY_RFC5245));
        StunTransactionId id = {};
        stun_message_id(&message, id);
        stun_agent_forget_transaction(&m_agent, id);
        send(buffer);
    }

    void shakeHands(bool isServer = false)
    {
        m_dtls.begin(
            QByteArray::fromStdString(valueIn(m_offer, "a=fingerprint:sha-256 ")), isServer);
    }

    /// Takes what has come.
    void receive()
    {
        for (const DatagramSocket::Datagram& datagram : m_socket->receive()) {
            switch (kindOf(datagram.bytes)) {
            case DatagramKind::Stun:
                responses += 1;
                break;
            case DatagramKind::Dtls:
                m_dtls.take(datagram.bytes);
                break;
            case DatagramKind::Media:
                media.emplace_back(datagram.bytes.begin(), datagram.bytes.end());
                if (m_srtp && !m_srtp->unprotectRtp(datagram.bytes).empty()) {
                    packets += 1;
                }
                break;
            case DatagramKind::Other:
                break;
            }
        }
        if (const auto keys = m_dtls.srtpKeys(); keys && !m_srtp) {
            const auto source = static_cast<std::uint32_t>(std::stoul(valueIn(m_offer, "a=ssrc:")));
            m_srtp = SrtpSession::make(*keys, phoneSource, std::array{source});
        }
    }

    bool isConnected()
    {
        receive();
        return m_srtp != nullptr;
    }

    void talk()
    {
        ++m_sequence;
        Bytes packet = {0x80, 111, 0, m_sequence, 0, 0, 0, 0, 0x22, 0x22, 0x22, 0x22, 'x'};
        const std::size_t size = packet.size();
        packet.resize(size + SrtpSession::maxOverhead);
        send(m_srtp->protectRtp(packet, size));
    }

    /// Asks for a packet again, by its number.
    void askFor(std::uint8_t first, std::uint8_t second)
    {
        Bytes packet = {0x81, 205, 0, 3, 0x22, 0x22, 0x22, 0x22};
        const auto source = static_cast<std::uint32_t>(std::stoul(valueIn(m_offer, "a=ssrc:")));
        for (int byte = 3; byte >= 0; --byte) {
            packet.push_back(static_cast<std::uint8_t>(source >> (8 * byte)));
        }
        packet.insert(packet.end(), {first, second, 0, 0});
        const std::size_t size = packet.size();
        packet.resize(size + SrtpSession::maxOverhead);
        send(m_srtp->protectRtcp(packet, size));
    }

    void hangUp() { m_dtls.close(); }

    int responses = 0;
    int packets = 0;
    std::vector<Bytes> media; ///< as it came, encrypted

private:
    void send(std::span<const std::uint8_t> datagram) { m_socket->sendOne(m_desk, datagram); }

    static constexpr std::array<std::uint16_t, 1> attributes = {0};
    QByteArray m_offer;
    std::unique_ptr<DtlsContext> m_context;
    DtlsConnection m_dtls;
    DatagramPath m_desk;
    std::optional<DatagramSocket> m_socket;
    StunAgent m_agent = {};
    std::unique_ptr<SrtpSession> m_srtp;
    std::uint8_t m_sequence = 0;
};

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
    void aPhoneThatHangsUpIsLost();
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
    call.link->send(Bytes{1, 2, 3});
    QTRY_COMPARE((call.phone.receive(), call.phone.packets), 1);
    const Bytes lost = call.phone.media.back();
    const auto times = [&] {
        call.phone.receive();
        return std::count(call.phone.media.begin(), call.phone.media.end(), lost);
    };
    QCOMPARE(times(), 1);
    call.phone.askFor(lost[2], lost[3]);
    QTRY_COMPARE(times(), 2);
}

void MediaTransportTest::aPhoneThatHangsUpIsLost()
{
    Call call;
    call.phone.hangUp();
    QTRY_COMPARE(call.link->state(), MediaLink::State::Lost);
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

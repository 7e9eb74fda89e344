#pragma once

#include "relay/link/MediaTransport.h"
#include "relay/net/Port.h"

#include <QByteArray>

#include <stun/stunagent.h>
#include <stun/usages/ice.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace wingbell {

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::uint32_t phoneSource = 0x22222222;

inline DatagramPath deskAt(quint16 port)
{
    DatagramPath path;
    path.peer.sin6_family = AF_INET6;
    path.peer.sin6_port = htons(port);
    const std::array<std::uint8_t, 6> end = {0xFF, 0xFF, 127, 0, 0, 1};
    std::copy(end.begin(), end.end(), path.peer.sin6_addr.s6_addr + 10);
    return path;
}

inline DatagramSocket newSocket()
{
    auto open = openPort(PortType::Udp, 0);
    return {std::move(open->descriptor), open->takesIpv6};
}

inline std::string valueIn(const QByteArray& offer, const QByteArray& key)
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
        , m_dtls(
              *m_context,
              [this](std::span<const std::uint8_t> datagram) { sendDatagram(datagram); })
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
        sendDatagram(buffer);
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
        send(Bytes{0x80, 111, 0, m_sequence, 0, 0, 0, 0, 0x22, 0x22, 0x22, 0x22, 'x'});
    }

    /// An RTP packet of its own.
    void send(Bytes packet)
    {
        const std::size_t size = packet.size();
        packet.resize(size + SrtpSession::maxOverhead);
        sendDatagram(m_srtp->protectRtp(packet, size));
    }

    /// What looks like a packet, but is not encrypted with its key.
    void sendForged()
    {
        Bytes packet(60, 0x80);
        packet[1] = 111;
        sendDatagram(packet);
    }

    /// Asks for a packet again, by its number; with another `type`, it is feedback that means
    /// something else.
    void askFor(std::uint8_t first, std::uint8_t second, std::uint8_t type = 205)
    {
        Bytes packet = {0x81, type, 0, 3, 0x22, 0x22, 0x22, 0x22};
        const auto source = static_cast<std::uint32_t>(std::stoul(valueIn(m_offer, "a=ssrc:")));
        for (int byte = 3; byte >= 0; --byte) {
            packet.push_back(static_cast<std::uint8_t>(source >> (8 * byte)));
        }
        packet.insert(packet.end(), {first, second, 0, 0});
        const std::size_t size = packet.size();
        packet.resize(size + SrtpSession::maxOverhead);
        sendDatagram(m_srtp->protectRtcp(packet, size));
    }

    void hangUp() { m_dtls.close(); }

    int responses = 0;
    int packets = 0;
    std::vector<Bytes> media; ///< as it came, encrypted

private:
    void sendDatagram(std::span<const std::uint8_t> datagram)
    {
        m_socket->sendOne(m_desk, datagram);
    }

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

} // namespace wingbell

#include "relay/link/DatagramSocket.h"

#include <cstring>
#include <memory>
#include <sys/socket.h>

namespace wingbell {

namespace {

constexpr std::size_t batchSize = 64;

/// Expedited Forwarding (46), as audio is marked, in the place of the field.
constexpr int urgent = 46 << 2;

/// Half a second of a full house.
constexpr int bufferBytes = 4 * 1024 * 1024;

void set(int socket, int level, int option, int value)
{
    (void)::setsockopt(socket, level, option, &value, sizeof value);
}

sockaddr_in6 mapped(const sockaddr_storage& address)
{
    sockaddr_in6 result = {};
    if (address.ss_family == AF_INET6) {
        std::memcpy(&result, &address, sizeof result);
        return result;
    }
    sockaddr_in plain = {};
    std::memcpy(&plain, &address, sizeof plain);
    result.sin6_family = AF_INET6;
    result.sin6_port = plain.sin_port;
    result.sin6_addr.s6_addr[10] = result.sin6_addr.s6_addr[11] = 0xFF;
    std::memcpy(result.sin6_addr.s6_addr + 12, &plain.sin_addr, sizeof plain.sin_addr);
    return result;
}

in6_addr mapped(const in_addr& address)
{
    in6_addr result = {};
    result.s6_addr[10] = result.s6_addr[11] = 0xFF;
    std::memcpy(result.s6_addr + 12, &address, sizeof address);
    return result;
}

in6_addr localAddress(const msghdr& message)
{
    auto* const mutableMessage =
        const_cast<msghdr*>(&message); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    for (cmsghdr* part = CMSG_FIRSTHDR(mutableMessage); part != nullptr;
         part = CMSG_NXTHDR(mutableMessage, part)) {
        if (part->cmsg_level == IPPROTO_IPV6 && part->cmsg_type == IPV6_PKTINFO) {
            in6_pktinfo info = {};
            std::memcpy(&info, CMSG_DATA(part), sizeof info);
            return info.ipi6_addr;
        }
        if (part->cmsg_level == IPPROTO_IP && part->cmsg_type == IP_PKTINFO) {
            in_pktinfo info = {};
            std::memcpy(&info, CMSG_DATA(part), sizeof info);
            return mapped(info.ipi_addr);
        }
    }
    return {};
}

} // namespace

bool operator==(const DatagramPath& left, const DatagramPath& right)
{
    return left.peer.sin6_port == right.peer.sin6_port &&
           left.peer.sin6_scope_id == right.peer.sin6_scope_id &&
           std::memcmp(&left.peer.sin6_addr, &right.peer.sin6_addr, sizeof(in6_addr)) == 0 &&
           std::memcmp(&left.local, &right.local, sizeof(in6_addr)) == 0;
}

/// Everything that recvmmsg or sendmmsg needs for a batch.
struct DatagramSocket::Batch
{
    struct Slot
    {
        std::array<std::uint8_t, maxDatagram> bytes;
        sockaddr_storage address;
        iovec piece;
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(in6_pktinfo))> control;
    };
    std::array<Slot, batchSize> slots = {};
    std::array<mmsghdr, batchSize> messages = {};

    /// Ready to receive.
    void reset()
    {
        for (std::size_t index = 0; index < batchSize; ++index) {
            Slot& slot = slots[index];
            slot.piece = {slot.bytes.data(), slot.bytes.size()};
            messages[index] = {
                {&slot.address, sizeof slot.address, &slot.piece, 1, slot.control.data(),
                 slot.control.size(), 0},
                0};
        }
    }

    /// `message` and `control` go to `path`, over a socket of IPv6 or else of IPv4.
    static void address(
        msghdr& message, sockaddr_storage& to, std::span<char> control, const DatagramPath& path,
        bool overIpv6)
    {
        to = {};
        if (overIpv6) {
            std::memcpy(&to, &path.peer, sizeof path.peer);
            message.msg_namelen = sizeof path.peer;
        } else {
            sockaddr_in plain = {};
            plain.sin_family = AF_INET;
            plain.sin_port = path.peer.sin6_port;
            std::memcpy(&plain.sin_addr, path.peer.sin6_addr.s6_addr + 12, sizeof plain.sin_addr);
            std::memcpy(&to, &plain, sizeof plain);
            message.msg_namelen = sizeof plain;
        }
        message.msg_name = &to;
        message.msg_control = nullptr;
        message.msg_controllen = 0;
        if (IN6_IS_ADDR_UNSPECIFIED(&path.local)) {
            return;
        }
        // From the address that the peer knows, also where others would do.
        message.msg_control = control.data();
        cmsghdr header = {};
        if (IN6_IS_ADDR_V4MAPPED(&path.local)) {
            in_pktinfo info = {};
            std::memcpy(&info.ipi_spec_dst, path.local.s6_addr + 12, sizeof info.ipi_spec_dst);
            header = {CMSG_LEN(sizeof info), IPPROTO_IP, IP_PKTINFO};
            std::memcpy(control.data(), &header, sizeof header);
            std::memcpy(control.data() + CMSG_LEN(0), &info, sizeof info);
            message.msg_controllen = CMSG_SPACE(sizeof info);
        } else {
            in6_pktinfo info = {};
            info.ipi6_addr = path.local;
            header = {CMSG_LEN(sizeof info), IPPROTO_IPV6, IPV6_PKTINFO};
            std::memcpy(control.data(), &header, sizeof header);
            std::memcpy(control.data() + CMSG_LEN(0), &info, sizeof info);
            message.msg_controllen = CMSG_SPACE(sizeof info);
        }
    }
};

DatagramSocket::DatagramSocket(FileDescriptor socket, bool takesIpv6)
    : m_socket(std::move(socket))
    , m_takesIpv6(takesIpv6)
    , m_incoming(std::make_unique<Batch>())
    , m_outgoing(std::make_unique<Batch>())
{
    const int descriptor = m_socket.get();
    set(descriptor, IPPROTO_IP, IP_TOS, urgent);
    if (takesIpv6) {
        set(descriptor, IPPROTO_IPV6, IPV6_RECVPKTINFO, 1); // tells of IPv4 as well
        set(descriptor, IPPROTO_IPV6, IPV6_TCLASS, urgent);
    } else {
        set(descriptor, IPPROTO_IP, IP_PKTINFO, 1);
    }
    set(descriptor, SOL_SOCKET, SO_PRIORITY, 6); // the highest that needs no rights
    set(descriptor, SOL_SOCKET, SO_RCVBUF, bufferBytes);
    set(descriptor, SOL_SOCKET, SO_SNDBUF, bufferBytes);
    m_received.reserve(batchSize);
}

DatagramSocket::~DatagramSocket() = default;
DatagramSocket::DatagramSocket(DatagramSocket&&) noexcept = default;

std::uint16_t DatagramSocket::port() const
{
    sockaddr_in6 address = {}; // where IPv4 has its port as well
    socklen_t size = sizeof address;
    (void)::getsockname(m_socket.get(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin6_port);
}

std::span<const DatagramSocket::Datagram> DatagramSocket::receive()
{
    m_received.clear();
    m_incoming->reset();
    const int count =
        ::recvmmsg(m_socket.get(), m_incoming->messages.data(), batchSize, MSG_DONTWAIT, nullptr);
    for (int index = 0; index < count; ++index) {
        const auto place = static_cast<std::size_t>(index);
        const mmsghdr& message = m_incoming->messages[place];
        Batch::Slot& slot = m_incoming->slots[place];
        m_received.push_back(
            {{mapped(slot.address), localAddress(message.msg_hdr)},
             std::span(slot.bytes).first(message.msg_len)});
    }
    return m_received;
}

std::span<std::uint8_t, DatagramSocket::maxDatagram> DatagramSocket::space()
{
    return m_outgoing->slots[m_queued].bytes;
}

void DatagramSocket::queue(const DatagramPath& path, std::size_t size)
{
    Batch::Slot& slot = m_outgoing->slots[m_queued];
    mmsghdr& message = m_outgoing->messages[m_queued];
    slot.piece = {slot.bytes.data(), size};
    message = {};
    message.msg_hdr.msg_iov = &slot.piece;
    message.msg_hdr.msg_iovlen = 1;
    Batch::address(message.msg_hdr, slot.address, slot.control, path, m_takesIpv6);
    if (++m_queued == batchSize) {
        flush();
    }
}

void DatagramSocket::flush()
{
    std::size_t sent = 0;
    while (sent < m_queued) {
        const int count = ::sendmmsg(
            m_socket.get(), m_outgoing->messages.data() + sent,
            static_cast<unsigned>(m_queued - sent), MSG_DONTWAIT | MSG_NOSIGNAL);
        // One that cannot be sent (its network is gone) must not keep the others back.
        sent += count > 0 ? static_cast<std::size_t>(count) : 1;
    }
    m_queued = 0;
}

void DatagramSocket::sendOne(const DatagramPath& path, std::span<const std::uint8_t> datagram) const
{
    iovec piece = {
        const_cast<std::uint8_t*>(datagram.data()), // NOLINT(cppcoreguidelines-pro-type-const-cast)
        datagram.size()};
    msghdr message = {};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    sockaddr_storage address = {};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(in6_pktinfo))> control = {};
    Batch::address(message, address, control, path, m_takesIpv6);
    (void)::sendmsg(m_socket.get(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
}

} // namespace wingbell

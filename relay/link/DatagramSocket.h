#pragma once

#include "base/FileDescriptor.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <netinet/in.h>
#include <span>
#include <vector>

namespace wingbell {

/// Both ends of a way that datagrams take. IPv4 addresses are mapped ones (::ffff:192.168.1.5).
struct DatagramPath
{
    sockaddr_in6 peer = {};
    in6_addr local = {}; ///< which of our addresses; all zero where it is not known

    friend bool operator==(const DatagramPath& left, const DatagramPath& right);
};

/// A UDP socket that receives and sends many datagrams with one system call. Never blocks and never
/// allocates after it was built. receive() and the outgoing queue belong to one thread; sendOne()
/// may be called from any.
class DatagramSocket
{
public:
    /// In bytes. Longer datagrams are nothing of ours and are cut off.
    static constexpr std::size_t maxDatagram = 1500;

    struct Datagram
    {
        DatagramPath path;
        std::span<std::uint8_t> bytes; ///< until the next receive()
    };

    /// Takes over a bound socket. What is sent is marked as urgent (DSCP Expedited Forwarding)
    /// where the system allows.
    DatagramSocket(FileDescriptor socket, bool takesIpv6);
    ~DatagramSocket();
    DatagramSocket(DatagramSocket&&) noexcept;
    DatagramSocket& operator=(DatagramSocket&&) = delete;

    /// Which it is bound to.
    [[nodiscard]] std::uint16_t port() const;

    /// Readable when there is something to receive.
    [[nodiscard]] int descriptor() const { return m_socket.get(); }

    /// The next datagrams, at most one batch; empty when there are none.
    [[nodiscard]] std::span<const Datagram> receive();

    /// Room for a datagram to `path`, which is sent with the next flush(): fill it and call
    /// queue().
    [[nodiscard]] std::span<std::uint8_t, maxDatagram> space();

    /// Queues the first `size` bytes of space(). Flushes when the batch is full.
    void queue(const DatagramPath& path, std::size_t size);

    /// Sends what is queued. What the system does not take at once is lost, as on any network.
    void flush();

    /// Sends one datagram at once. Any thread.
    void sendOne(const DatagramPath& path, std::span<const std::uint8_t> datagram) const;

private:
    struct Batch;

    FileDescriptor m_socket;
    bool m_takesIpv6;
    std::unique_ptr<Batch> m_incoming;
    std::unique_ptr<Batch> m_outgoing;
    std::size_t m_queued = 0;
    std::vector<Datagram> m_received;
};

} // namespace wingbell

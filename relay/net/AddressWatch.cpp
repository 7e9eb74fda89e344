#include "relay/net/AddressWatch.h"

#include <QObject>

#include <array>
#include <cerrno>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace wingbell {

namespace {

/// Not open if the kernel gives none.
FileDescriptor openAddressMessages()
{
    FileDescriptor socket(
        ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
    sockaddr_nl address = {};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
    if (socket.isOpen() &&
        ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        (void)socket.close();
    }
    return socket;
}

/// What the messages say is not read: the addresses are, as a whole, by who wants to know.
void dropMessages(const FileDescriptor& socket)
{
    std::array<char, 8192> buffer = {};
    // ENOBUFS: there were more messages than the kernel keeps.
    while (::recv(socket.get(), buffer.data(), buffer.size(), 0) >= 0 || errno == ENOBUFS ||
           errno == EINTR) {
    }
}

} // namespace

AddressWatch::AddressWatch(std::function<void()> changed)
    : m_socket(openAddressMessages())
{
    m_settled.setSingleShot(true);
    m_settled.setInterval(settled);
    QObject::connect(&m_settled, &QTimer::timeout, &m_settled, std::move(changed));
    if (m_socket.isOpen()) {
        m_notifier.emplace(m_socket.get(), QSocketNotifier::Read);
        QObject::connect(&*m_notifier, &QSocketNotifier::activated, &m_settled, [this] {
            dropMessages(m_socket);
            m_settled.start();
        });
    }
}

} // namespace wingbell

#include "relay/net/HandOver.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <span>
#include <string_view>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace wingbell {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::string_view request = "hand over\n";
constexpr std::string_view reply = "yes\n";
constexpr mode_t onlyOwn = 0600;

std::error_code systemError()
{
    return {errno, std::generic_category()};
}

QByteArray socketName(quint16 port)
{
    return "port-" + QByteArray::number(port);
}

FileDescriptor makeSocket()
{
    return FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

/// The address of `name` in `folder`, by way of the descriptor: a socket's path is limited to 107
/// bytes, and a folder that was renamed meanwhile stays the same one.
sockaddr_un addressOf(const FileDescriptor& folder, const QByteArray& name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const QByteArray path = "/proc/self/fd/" + QByteArray::number(folder.get()) + '/' + name;
    std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()));
    return address;
}

/// 0 if `name` is a socket of this user, ENOENT if it is nothing; otherwise EEXIST.
int ownSocketError(const FileDescriptor& folder, const QByteArray& name)
{
    struct stat status = {};
    if (::fstatat(folder.get(), name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno;
    }
    return S_ISSOCK(status.st_mode) && status.st_uid == ::geteuid() ? 0 : EEXIST;
}

/// The process at the other end; nullopt if it is another user's.
std::optional<pid_t> peerOfSameUser(const FileDescriptor& connection)
{
    ucred peer = {};
    socklen_t size = sizeof peer;
    if (::getsockopt(connection.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 ||
        peer.uid != ::geteuid()) {
        return std::nullopt;
    }
    return peer.pid;
}

/// What can be read now, or the system's error number: EAGAIN if nothing has come, EPIPE at the
/// end.
Result<std::string_view, int> readSome(const FileDescriptor& connection, std::span<char> buffer)
{
    const ssize_t count = ::recv(connection.get(), buffer.data(), buffer.size(), 0);
    if (count <= 0) {
        return failure(count == 0 ? EPIPE : errno);
    }
    return std::string_view(buffer.data(), static_cast<std::size_t>(count));
}

bool send(const FileDescriptor& connection, std::string_view text)
{
    return ::send(connection.get(), text.data(), text.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(text.size());
}

/// One that has given up has closed its end.
bool isStillThere(const FileDescriptor& connection)
{
    char next = 0;
    return ::recv(connection.get(), &next, 1, MSG_PEEK) == -1 && errno == EAGAIN;
}

/// Waits until there is something to read, the end included. False if there is not before
/// `deadline`.
bool waitUntilReadable(const FileDescriptor& connection, Clock::time_point deadline)
{
    pollfd waiting = {connection.get(), POLLIN, 0};
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        const int ready = ::poll(&waiting, 1, static_cast<int>(std::max<long>(left, 0)));
        if (ready > 0) {
            return true;
        }
        if (ready == 0 || errno != EINTR) {
            return false;
        }
    }
}

} // namespace

QString handOverFolder(const QProcessEnvironment& environment, const QString& fallback)
{
    const QString own = QStringLiteral("/run/user/%1").arg(::geteuid());
    for (const QString& folder : {environment.value(QStringLiteral("XDG_RUNTIME_DIR")), own}) {
        const QFileInfo info(folder);
        if (info.isAbsolute() && info.isDir() && info.ownerId() == ::geteuid()) {
            return QDir::cleanPath(folder + QStringLiteral("/wingbell"));
        }
    }
    return fallback;
}

Result<HandOver, std::error_code> HandOver::open(FileDescriptor folder, quint16 port)
{
    QByteArray name = socketName(port);
    const int error = ownSocketError(folder, name);
    if (error == 0) {
        (void)::unlinkat(folder.get(), name.constData(), 0);
    } else if (error != ENOENT) {
        return failure(std::error_code(error, std::generic_category()));
    }
    FileDescriptor listener = makeSocket();
    FileDescriptor poll(::epoll_create1(EPOLL_CLOEXEC));
    const sockaddr_un address = addressOf(folder, name);
    // The mode counts on top of the folder's, which is closed to others already.
    if (!listener.isOpen() || !poll.isOpen() || ::fchmod(listener.get(), onlyOwn) != 0 ||
        ::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return failure(systemError());
    }
    HandOver opened(std::move(folder), std::move(name), std::move(listener), std::move(poll));
    if (::listen(opened.m_listener.get(), static_cast<int>(maxWaiting)) != 0) {
        return failure(systemError());
    }
    opened.watch(opened.m_listener.get());
    return opened;
}

HandOver::HandOver(
    FileDescriptor folder, QByteArray name, FileDescriptor listener, FileDescriptor poll)
    : m_folder(std::move(folder))
    , m_name(std::move(name))
    , m_listener(std::move(listener))
    , m_poll(std::move(poll))
{
}

HandOver::~HandOver()
{
    finish();
}

std::optional<pid_t> HandOver::takeRequest()
{
    accept();
    for (auto connection = m_waiting.begin(); connection != m_waiting.end();) {
        std::array<char, 2 * request.size()> buffer = {};
        const auto text = readSome(connection->descriptor, buffer);
        if (!text && text.error() == EAGAIN) {
            ++connection;
            continue;
        }
        Connection taken = std::move(*connection);
        connection = m_waiting.erase(connection);
        if (text == request && isStillThere(taken.descriptor) && send(taken.descriptor, reply)) {
            m_asking = std::move(taken.descriptor);
            close();
            return taken.process;
        }
    }
    return std::nullopt;
}

void HandOver::close()
{
    if (m_listener.isOpen()) {
        (void)::unlinkat(m_folder.get(), m_name.constData(), 0);
        (void)m_listener.close();
    }
    m_waiting.clear();
}

void HandOver::finish()
{
    close();
    (void)m_asking.close();
}

void HandOver::accept()
{
    for (std::size_t count = 0; m_listener.isOpen() && count < maxWaiting; ++count) {
        FileDescriptor connection(
            ::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!connection.isOpen()) {
            return;
        }
        const auto process = peerOfSameUser(connection);
        if (!process) {
            continue;
        }
        if (m_waiting.size() == maxWaiting) {
            m_waiting.pop_front();
        }
        watch(connection.get());
        m_waiting.push_back({std::move(connection), *process});
    }
}

void HandOver::watch(int descriptor) const
{
    epoll_event event = {};
    event.events = EPOLLIN;
    (void)::epoll_ctl(m_poll.get(), EPOLL_CTL_ADD, descriptor, &event);
}

std::optional<EarlierServer> EarlierServer::find(const FileDescriptor& folder, quint16 port)
{
    const QByteArray name = socketName(port);
    if (ownSocketError(folder, name) != 0) {
        return std::nullopt;
    }
    FileDescriptor connection = makeSocket();
    const sockaddr_un address = addressOf(folder, name);
    if (::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
        0) {
        return std::nullopt;
    }
    const auto process = peerOfSameUser(connection);
    if (!process) {
        return std::nullopt;
    }
    return EarlierServer(std::move(connection), *process);
}

bool EarlierServer::takeOver(std::chrono::milliseconds maxReply, std::chrono::milliseconds maxClose)
{
    std::array<char, 2 * reply.size()> buffer = {};
    if (!send(m_connection, request) || !waitUntilReadable(m_connection, Clock::now() + maxReply) ||
        readSome(m_connection, buffer) != reply) {
        (void)m_connection.close(); // so that it does not hand over later
        return false;
    }
    (void)waitUntilReadable(m_connection, Clock::now() + maxClose);
    return true;
}

} // namespace wingbell

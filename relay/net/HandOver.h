#pragma once

#include "base/FileDescriptor.h"
#include "base/Result.h"

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QtGlobal>

#include <chrono>
#include <list>
#include <optional>
#include <sys/types.h>
#include <system_error>

namespace wingbell {

// How a server takes over the port of an earlier one of the same user: it asks over a socket of the
// file system, and the earlier one goes off air, closes its ports, and says so by closing the
// connection. Both sides look at the other's user (SO_PEERCRED); another user's are not heard.

/// The folder for these sockets: "wingbell" in $XDG_RUNTIME_DIR or in /run/user/UID, whichever is
/// there and this user's; otherwise `fallback`.
[[nodiscard]] QString
handOverFolder(const QProcessEnvironment& environment, const QString& fallback);

/// A server's own socket, over which a later one asks it to hand over its port. Not thread-safe.
class HandOver
{
public:
    /// Of more connections than this that have not asked yet, the oldest is dropped.
    static constexpr std::size_t maxWaiting = 4;

    /// Takes over `folder`, open and closed to other users. To be called by the server that has
    /// show port `port`: a socket that an earlier one left behind there is replaced. What is no
    /// socket of this user is not: the error is std::errc::file_exists.
    [[nodiscard]] static Result<HandOver, std::error_code>
    open(FileDescriptor folder, quint16 port);

    HandOver(HandOver&&) = default;
    HandOver& operator=(HandOver&&) = delete;
    Q_DISABLE_COPY(HandOver)
    /// Does what finish() does.
    ~HandOver();

    /// Readable when takeRequest() is to be called.
    [[nodiscard]] int descriptor() const { return m_poll.get(); }

    /// Handles what has come, without waiting. The process that asks this server to hand over, and
    /// is told that it will; nullopt if none does. After that no other is heard, and the server
    /// must close its ports and call finish().
    [[nodiscard]] std::optional<pid_t> takeRequest();

    /// Takes no requests any more and removes the socket: to be called before the ports are closed,
    /// as the socket is then the next server's.
    void close();

    /// Tells the one that asked that the ports are closed.
    void finish();

private:
    struct Connection
    {
        FileDescriptor descriptor;
        pid_t process = 0;
    };

    HandOver(FileDescriptor folder, QByteArray name, FileDescriptor listener, FileDescriptor poll);

    void accept();
    void watch(int descriptor) const;

    FileDescriptor m_folder;
    QByteArray m_name;
    FileDescriptor m_listener;
    FileDescriptor m_poll;           ///< epoll: of the listener and all connections
    std::list<Connection> m_waiting; ///< that have not asked, the oldest first
    FileDescriptor m_asking;         ///< the one to which is handed over
};

/// The server of this user that has a show port, as a later one sees it. Not thread-safe.
class EarlierServer
{
public:
    /// How long an earlier server may take to say that it hands over: one that hangs does not.
    static constexpr std::chrono::milliseconds replyTimeout{1000};
    /// And then to close its ports: it goes off air in any case, so it is worth waiting for.
    static constexpr std::chrono::milliseconds closeTimeout{5000};

    /// nullopt if no server of this user takes requests for `port` in `folder`.
    [[nodiscard]] static std::optional<EarlierServer>
    find(const FileDescriptor& folder, quint16 port);

    [[nodiscard]] pid_t process() const { return m_process; }

    /// Asks it to hand over, and waits. True if it does: its ports are closed then, unless that
    /// took longer than `maxClose`. False if it has not replied in time, and keeps them.
    [[nodiscard]] bool takeOver(
        std::chrono::milliseconds maxReply = replyTimeout,
        std::chrono::milliseconds maxClose = closeTimeout);

private:
    EarlierServer(FileDescriptor connection, pid_t process)
        : m_connection(std::move(connection))
        , m_process(process)
    {
    }

    FileDescriptor m_connection;
    pid_t m_process;
};

} // namespace wingbell

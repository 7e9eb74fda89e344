#pragma once

#include <QByteArray>

#include <functional>
#include <memory>

namespace wingbell {

class EventSending;

/// Events to one browser (text/event-stream), from WebReply::openEvents(). A handle: move-only,
/// main thread only, harmless once the browser has gone or the server has ended.
///
/// Meant for states rather than for a log: of each name only the newest event that is not yet on
/// its way is kept, so a browser that does not read costs one event of each name and no more.
/// A dropped handle closes the stream as close() does.
class EventStream
{
public:
    EventStream() = default; ///< a stream to nobody
    explicit EventStream(std::shared_ptr<EventSending> sending);
    EventStream(EventStream&&) noexcept = default;
    EventStream& operator=(EventStream&& other) noexcept;
    EventStream(const EventStream&) = delete;
    EventStream& operator=(const EventStream&) = delete;
    ~EventStream();

    /// Sends `data` (any text; line ends within it are kept) as an event called `name` (no line
    /// end in it). Names are for the sender to bound: take them from a fixed set.
    void send(const QByteArray& name, const QByteArray& data);

    /// Ends the stream once what was sent is out. Nothing can be sent from then on.
    void close();

    /// False when the browser has gone, the stream was closed, or there never was one.
    [[nodiscard]] bool isOpen() const;

    /// Calls `gone` once, from the main loop, never from inside a call of this class, when the
    /// browser has gone without close(). One that vanished without a word (a flat battery) is only
    /// noticed some time after a write, so send a heartbeat.
    void onGone(std::function<void()> gone);

private:
    std::shared_ptr<EventSending> m_sending;
};

} // namespace wingbell

#pragma once

#include "relay/audio/AudioIo.h"

#include <QByteArray>

#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace wingbell {

/// The way of sound to one crew member and back. To be used on the main thread, except for send().
class MediaLink : public PacketSink
{
public:
    /// Forged: the other end has another certificate than its answer promised.
    enum class State { Waiting, Connected, Lost, Forged };

    /// Gets the offer, complete with all addresses; nothing when there cannot be one.
    using OfferReady = std::function<void(std::optional<QByteArray>)>;

    /// Begins to make the offer; `ready` is called once, later, on the main thread, unless the link
    /// is closed before.
    virtual void makeOffer(OfferReady ready) = 0;

    /// Tells whether a certificate, as PEM, is the one that the answer promised. Any thread.
    using IsPeer = std::function<bool(const QByteArray& certificate)>;

    /// Takes the answer to the offer. Only for an answer that was written by ourselves from what
    /// was read: the media library trusts it. Nothing is sent or received before the other end is
    /// proven to be `isPeer`: the library by itself would talk to the first that answers.
    virtual void takeAnswer(const QByteArray& answer, IsPeer isPeer) = 0;

    [[nodiscard]] virtual State state() const = 0;

    /// Ends it for good: nothing is received, sent or called from then on. Does not wait.
    virtual void close() = 0;
};

/// Gets each packet of sound that arrives, as RTP. Called on a thread of the media library; must
/// not wait.
using RtpReceiver = std::function<void(std::span<const std::uint8_t>)>;

/// Makes a link whose sound goes to `receiver`.
using LinkMaker = std::function<std::shared_ptr<MediaLink>(RtpReceiver receiver)>;

} // namespace wingbell

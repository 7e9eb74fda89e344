#pragma once

#include "relay/audio/AudioIo.h"

#include <QByteArray>

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace wingbell {

/// What the peer's SDP answer says that a link needs.
struct MediaAnswer
{
    QByteArray fingerprint; ///< of its DTLS certificate by sha-256: 32 pairs
    bool isActive = true;   ///< it begins the handshake (setup:active)
    std::vector<std::uint32_t>
        sources;           ///< the SSRCs it sends from; at most SrtpSession::maxPeerSources
    bool takesRed = false; ///< besides Opus
};

/// The media connection to one crew member. Main thread only, except for send().
class MediaLink : public PacketSink
{
public:
    /// HungUp: the other end has closed the connection, as browsers do when a page is closed.
    /// Forged: it has another certificate than its answer promised.
    enum class State { Waiting, Connected, Lost, HungUp, Forged };

    /// The SDP offer, complete with all addresses.
    [[nodiscard]] virtual QByteArray offer() const = 0;

    /// Takes the answer to the offer; a second one is ignored. Nothing is sent or received before
    /// the other end has proven that it has the certificate of the answer. What is received goes to
    /// `receiver`, on the network thread.
    virtual void takeAnswer(const MediaAnswer& answer, RtpReceiver receiver) = 0;

    [[nodiscard]] virtual State state() const = 0;

    /// Ends it for good: nothing is received or sent from then on. Does not wait.
    virtual void close() = 0;
};

/// Makes a link; nullptr if there is no room for one.
using LinkMaker = std::function<std::shared_ptr<MediaLink>()>;

} // namespace wingbell

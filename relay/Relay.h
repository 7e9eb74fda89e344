#pragma once

#include "relay/Announcer.h"
#include "relay/DeskIdentity.h"
#include "relay/DeskService.h"
#include "relay/EventLog.h"
#include "relay/OscInput.h"
#include "relay/RealtimeKit.h"
#include "relay/access/StateDirectory.h"
#include "relay/audio/MixerThread.h"
#include "relay/http/HttpsServer.h"
#include "relay/link/MediaTransport.h"
#include "relay/net/AddressWatch.h"
#include "relay/net/HandOver.h"
#include "relay/sessions/CrewService.h"

#include <QEventLoop>
#include <QSocketNotifier>
#include <QTimer>

#include <chrono>
#include <memory>
#include <optional>

namespace wingbell {

class LineWriter;

/// A show on air: mixes and forwards the crew's audio and speaks announcements until it is stopped,
/// or a later server takes over.
class Relay
{
public:
    /// What a show needs to go on air, opened and checked.
    struct Parts
    {
        ShowPatch show;
        quint16 port = 0;
        OscSocket osc;
        std::unique_ptr<HttpsServer> server;
        CrewCode code;
        CardKeys keys;
        StateDirectory folder; ///< of the certificates
        DeskIdentity identity; ///< with the certificate that the server has
        QStringList remarks;   ///< lines to tell after the first one
        QStringList problems;  ///< lines to tell after those that say how to join
        DatagramSocket mediaSocket;
        std::unique_ptr<const DtlsContext> dtls;
        MediaTransport::Settings media;
        std::optional<HandOver> handOver; ///< none: a later server cannot take over
    };

    /// Takes over `parts`; borrows the others, which must outlive it. `stopDescriptor` is readable
    /// when the show is to end. Starts the mixer.
    Relay(Parts parts, int stopDescriptor, LineWriter& output);
    Q_DISABLE_COPY_MOVE(Relay)

    /// Returns within a second after the stop signal or the hand-over. A slow, stuck or closed
    /// reader of the output delays only the last lines, by a moment.
    void run();

private:
    using Clock = std::chrono::steady_clock;

    void tellOnAir();
    void tellHowToJoin();
    [[nodiscard]] CrewService::Address address(const HttpsServer& server) const;
    void showIdentity();
    void checkAddresses();
    void renewIdentity();
    void askForRealTime();
    void handOver();
    void stop();
    void closePorts();
    void tellOffAir();
    void waitForOutput();
    void lookAfterCrew();

    ShowPatch m_show;
    quint16 m_port;
    bool m_takesIpv6;
    CrewCode m_code;
    CardKeys m_keys;
    StateDirectory m_folder;
    DeskIdentity m_identity;
    QStringList m_remarks;
    QStringList m_problems;
    LineWriter& m_output;
    Clock::time_point m_began;
    Certificate::Time m_renewAt; ///< the identity, with the first who joins then
    QEventLoop m_loop;
    std::optional<QSocketNotifier> m_outputNotifier; ///< none until the output had to wait
    QTimer m_heldBackTimer;
    EventLog m_log;
    Room m_room;
    std::optional<MediaTransport> m_media; ///< calls the room, so it goes first; none once stopped
    std::optional<MixerThread> m_mixer;
    Crew m_crew;
    Announcer m_announcer;
    OscInput m_osc;
    CrewService m_service;
    DeskService m_desk;
    std::unique_ptr<HttpsServer> m_server; ///< calls the services, so it goes first
    QSocketNotifier m_stopNotifier;
    QSocketNotifier m_oscNotifier;
    QTimer m_crewTimer;
    std::optional<AddressWatch> m_addressWatch; ///< while on air
    std::optional<RealtimeKit> m_realtimeKit;   ///< while it is asked
    std::optional<HandOver> m_handOver;
    std::optional<QSocketNotifier> m_handOverNotifier; ///< while requests are taken
};

} // namespace wingbell

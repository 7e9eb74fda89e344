#pragma once

#include "relay/Announcer.h"
#include "relay/EventLog.h"
#include "relay/audio/MixerThread.h"
#include "relay/http/HttpsServer.h"
#include "relay/link/MediaLibrary.h"
#include "relay/osc/OscSocket.h"
#include "relay/sessions/CrewService.h"

#include <QEventLoop>
#include <QSocketNotifier>
#include <QTimer>

#include <chrono>
#include <memory>
#include <optional>

namespace wingbell {

class LineWriter;
class StopSignals;

/// A show on air: carries voices and speaks announcements until it is told to stop.
class Relay
{
public:
    /// What a show needs to go on air, opened and sound.
    struct Parts
    {
        ShowPatch show;
        quint16 port = 0;
        OscSocket osc;
        std::unique_ptr<HttpsServer> server;
        CrewService::Door door;
        QStringList remarks; ///< lines that belong behind the first ones
        std::size_t samplesPerTick = 960;
    };

    /// Takes over `parts`; borrows the others, which must outlive it. The sound ticks when it is
    /// made.
    Relay(Parts parts, MediaLibrary& media, const StopSignals& stop, LineWriter& output);
    ~Relay();
    Q_DISABLE_COPY_MOVE(Relay)

    /// Returns within a second after a stop signal came. A reader of the output who is slow, stuck
    /// or gone delays nothing but the last lines, by a moment.
    void run();

private:
    using Clock = std::chrono::steady_clock;

    void tellOnAir();
    void stop();
    void tellOffAir();
    void waitForOutput();
    void lookAfterCrew();

    ShowPatch m_show;
    quint16 m_port;
    bool m_takesIpv6;
    CrewService::Door m_door;
    QStringList m_remarks;
    LineWriter& m_output;
    Clock::time_point m_began;
    QEventLoop m_loop;
    std::optional<QSocketNotifier> m_outputNotifier; ///< none until the output had to wait
    QTimer m_heldBackTimer;
    EventLog m_log;
    Room m_room;
    std::optional<MixerThread> m_mixing;
    Crew m_crew;
    Announcer m_announcer;
    CrewService m_service;
    std::unique_ptr<HttpsServer> m_server; ///< calls the service, so it goes first
    QSocketNotifier m_stopNotifier;
    QSocketNotifier m_oscNotifier;
    QTimer m_crewTimer;
};

} // namespace wingbell

#pragma once

#include "model/ShowFile.h"
#include "relay/Journal.h"
#include "relay/osc/OscSocket.h"

namespace wingbell {

class StopSignals;

/// A show on air: takes announcements from the network until it is told to stop.
class Relay
{
public:
    /// Takes over the bound `socket`; borrows the others, which must outlive it.
    Relay(ShowFile show, OscSocket socket, const StopSignals& stop, LineWriter& output);

    /// Returns once a stop signal came. Uses no processor time while nothing comes in. A reader of
    /// the output who is slow, stuck or gone delays nothing but the last lines, by a moment.
    void run();

private:
    [[nodiscard]] bool waitForWork();
    void receive();
    void handle(const OscSocket::Datagram& datagram);

    ShowFile m_show;
    OscSocket m_socket;
    const StopSignals& m_stop;
    LineWriter& m_output;
    Journal m_journal;
};

} // namespace wingbell

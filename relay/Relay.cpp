#include "relay/Relay.h"

#include "relay/osc/AnnouncementReading.h"
#include "relay/words/LineWriter.h"
#include "relay/osc/OscPacket.h"
#include "relay/Sentences.h"
#include "relay/StopSignals.h"

#include <algorithm>
#include <array>
#include <poll.h>

namespace wingbell {

namespace {

using namespace std::chrono_literals;
using Clock = Journal::Clock;

/// How long the end waits for somebody to read the last lines.
constexpr std::chrono::milliseconds lastPatience = 300ms;

/// How many datagrams are taken in a row before looking at everything else again.
constexpr int datagramsInARow = 64;

/// As poll() wants it: never earlier than `due`, or it would be called over and over until then.
int timeoutUntil(std::optional<Clock::time_point> due)
{
    if (!due) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*due - Clock::now());
    return static_cast<int>(std::max(left, 0ms).count());
}

} // namespace

Relay::Relay(ShowFile show, OscSocket socket, const StopSignals& stop, LineWriter& output)
    : m_show(std::move(show))
    , m_socket(std::move(socket))
    , m_stop(stop)
    , m_output(output)
    , m_journal(output)
{
}

void Relay::run()
{
    const Clock::time_point began = Clock::now();
    m_output.write(
        onAirSentence(m_show, static_cast<quint16>(m_show.oscPort), m_socket.takesIpv6()));
    m_output.write(notYetSentence());
    while (waitForWork()) {
        m_output.resume();
        m_journal.tellHeldBack(Clock::now());
        receive();
    }
    m_socket.close();
    m_journal.tellHeldBack(Clock::time_point::max());
    m_output.write(offAirSentence(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - began)));
    m_output.finish(lastPatience);
}

/// False when it is time to stop.
bool Relay::waitForWork()
{
    std::array<pollfd, 3> waiting = {{
        {m_stop.descriptor(), POLLIN, 0},
        {m_socket.descriptor(), POLLIN, 0},
        {m_output.awaitedDescriptor(), POLLOUT, 0},
    }};
    (void)::poll(waiting.data(), waiting.size(), timeoutUntil(m_journal.nextDue()));
    return waiting.front().revents == 0;
}

void Relay::receive()
{
    for (int taken = 0; taken < datagramsInARow; ++taken) {
        const auto datagram = m_socket.receive();
        if (!datagram) {
            return;
        }
        handle(*datagram);
    }
}

void Relay::handle(const OscSocket::Datagram& datagram)
{
    const Clock::time_point now = Clock::now();
    for (const OscElement& element : readOscPacket(datagram.bytes)) {
        if (const auto* unreadable = std::get_if<Refusal>(&element)) {
            m_journal.refused(*unreadable, datagram.sender, now);
            continue;
        }
        const AnnouncementReading reading =
            readAnnouncement(std::get<OscMessage>(element), m_show.channels);
        if (const auto* refusal = std::get_if<Refusal>(&reading)) {
            m_journal.refused(*refusal, datagram.sender, now);
        } else {
            m_journal.announced(std::get<Announcement>(reading), datagram.sender, now);
        }
    }
}

} // namespace wingbell

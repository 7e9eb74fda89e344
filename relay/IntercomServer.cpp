#include "relay/IntercomServer.h"

#include "model/ShowFile.h"
#include "relay/words/LineWriter.h"
#include "relay/osc/OscSocket.h"
#include "relay/net/PortHolder.h"
#include "relay/Relay.h"
#include "relay/Sentences.h"

#include <cerrno>
#include <limits>
#include <unistd.h>

namespace wingbell {

namespace {

enum ExitStatus { AfterShow = 0, NotOnAir = 1, WrongUsage = 2 };

int failed(ExitStatus status, const QString& line)
{
    LineWriter error(STDERR_FILENO);
    error.write(line);
    error.finish(std::chrono::milliseconds(300));
    return status;
}

int portNotOpen(quint16 port, int error)
{
    const auto holder = error == EADDRINUSE ? udpPortHolder(port) : std::nullopt;
    return failed(NotOnAir, portNotOpenSentence(port, error, holder));
}

} // namespace

int runIntercomServer(const QStringList& arguments, const StopSignals& stop)
{
    if (arguments.size() != 1) {
        return failed(WrongUsage, usageSentence());
    }
    const QString& path = arguments.constFirst();
    const ShowReading reading = readShow(path);
    if (!reading.show) {
        return failed(NotOnAir, noShowSentence(path, reading.problem));
    }
    if (reading.show->oscPort < 1 || reading.show->oscPort > std::numeric_limits<quint16>::max()) {
        return failed(NotOnAir, noSuchPortSentence(reading.show->oscPort));
    }
    const auto port = static_cast<quint16>(reading.show->oscPort);
    OscSocket::Opening opening = OscSocket::open(port);
    if (!opening.socket) {
        return portNotOpen(port, opening.error);
    }
    LineWriter output(STDOUT_FILENO);
    Relay(*reading.show, std::move(*opening.socket), stop, output).run();
    return AfterShow;
}

} // namespace wingbell

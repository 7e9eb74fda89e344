#include "base/FileDescriptor.h"
#include "relay/IntercomServer.h"
#include "relay/StopSignals.h"

#include <QFile>

int main(int argc, char* argv[])
{
    wingbell::ensureStandardDescriptorsOpen();
    const wingbell::StopSignals stop;
    QStringList arguments;
    for (int index = 1; index < argc; ++index) {
        arguments.append(QFile::decodeName(argv[index]));
    }
    return wingbell::runIntercomServer(arguments, stop);
}

#include "relay/IntercomServer.h"
#include "relay/StandardDescriptors.h"
#include "relay/StopSignals.h"

#include <QCoreApplication>
#include <QFile>

#include <clocale>

int main(int argc, char* argv[])
{
    wingbell::fillStandardDescriptors();
    const wingbell::StopSignals stop;
    QStringList arguments;
    for (int index = 1; index < argc; ++index) {
        arguments.append(QFile::decodeName(argv[index]));
    }
    qputenv("QT_NO_GLIB", "1"); // Qt's own event loop: nothing here needs GLib's
    const QCoreApplication application(argc, argv);
    std::setlocale(LC_ALL, "C"); // Qt set the user's: the system's messages would be translated
    return wingbell::runIntercomServer(arguments, stop);
}

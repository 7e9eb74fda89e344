#include "base/FileDescriptor.h"
#include "relay/IntercomServer.h"

#include <QCoreApplication>
#include <QFile>

#include <clocale>

int main(int argc, char* argv[])
{
    wingbell::ensureStandardDescriptorsOpen();
    const wingbell::StopSignals stop;
    QStringList arguments;
    for (int index = 1; index < argc; ++index) {
        arguments.append(QFile::decodeName(argv[index]));
    }
    // Qt's own event loop, as nothing here needs GLib's. The console speaks English and UTF-8,
    // whatever the locale, and gets no warning about it.
    qputenv("QT_NO_GLIB", "1");
    const auto before =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler(before);
    (void)std::setlocale(LC_ALL, "C.UTF-8");
    return wingbell::runIntercomServer(arguments, stop);
}

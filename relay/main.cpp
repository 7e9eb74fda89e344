#include "base/FileDescriptor.h"
#include "relay/IntercomServer.h"

#include <QCoreApplication>
#include <QFile>

#include <clocale>

namespace {

/// Qt's own event loop, as nothing here needs GLib's. The console speaks English and UTF-8,
/// whatever the locale, and gets no warning about it.
void startQt(int& argc, char** argv)
{
    qputenv("QT_NO_GLIB", "1");
    const auto before =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    static const QCoreApplication application(argc, argv);
    qInstallMessageHandler(before);
    (void)std::setlocale(LC_ALL, "C.UTF-8");
}

} // namespace

int main(int argc, char* argv[])
{
    wingbell::ensureStandardDescriptorsOpen();
    const wingbell::StopSignals stop;
    QStringList arguments;
    for (int index = 1; index < argc; ++index) {
        arguments.append(QFile::decodeName(argv[index]));
    }
    startQt(argc, argv);
    return wingbell::runIntercomServer(arguments, stop);
}

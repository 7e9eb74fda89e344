#include "relay/IntercomServer.h"
#include "relay/StandardDescriptors.h"
#include "relay/StopSignals.h"

#include <QCoreApplication>
#include <QFile>

#include <memory>

namespace {

/// With Qt's own event loop, and with a locale that Qt does not warn about on standard error. The
/// environment's one stays there for speech.
std::unique_ptr<QCoreApplication> makeApplication(int& argc, char** argv)
{
    constexpr const char* localeVariable = "LC_ALL";
    const QByteArray locale = qgetenv(localeVariable);
    qputenv(localeVariable, "C.UTF-8");
    qputenv("QT_NO_GLIB", "1");
    auto application = std::make_unique<QCoreApplication>(argc, argv);
    if (locale.isNull()) {
        qunsetenv(localeVariable);
    } else {
        qputenv(localeVariable, locale);
    }
    return application;
}

} // namespace

int main(int argc, char* argv[])
{
    wingbell::fillStandardDescriptors();
    const wingbell::StopSignals stop;
    QStringList arguments;
    for (int index = 1; index < argc; ++index) {
        arguments.append(QFile::decodeName(argv[index]));
    }
    const auto application = makeApplication(argc, argv);
    return wingbell::runIntercomServer(arguments, stop);
}

#include "model/ShowFile.h"

namespace wingbell {

namespace {

ShowFile buildDefaultShow()
{
    const QString main = QStringLiteral("Main");
    const QString tech = QStringLiteral("Tech");
    const QString backstage = QStringLiteral("Backstage");
    const QString greenRoom = QStringLiteral("Green Room");
    const QStringList everything = {main, tech, backstage, greenRoom};

    const auto role = [](const QString& name, const QStringList& talk, const QStringList& listen) {
        return Role{QUuid::createUuid(), name, talk, listen};
    };
    return ShowFile{
        .show = QStringLiteral("Wingbell"),
        .channels = everything,
        .roles =
            {
                role(QStringLiteral("Stage Manager"), everything, everything),
                role(QStringLiteral("Lighting"), {main, tech}, {main, tech}),
                role(QStringLiteral("Sound"), {main, tech}, {main, tech}),
                role(QStringLiteral("Backstage Crew"), {main, backstage}, {main, backstage}),
                // Hears Main for the calls, but a parent's voice stays in the green room.
                role(QStringLiteral("Green Room Parent"), {greenRoom}, {main, greenRoom}),
                role(QStringLiteral("Director (listen only)"), {}, {main, tech, backstage}),
            },
        .oscPort = defaultOscPort,
    };
}

} // namespace

const ShowFile& defaultShow()
{
    static const ShowFile show = buildDefaultShow();
    return show;
}

} // namespace wingbell

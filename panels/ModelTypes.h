#pragma once

#include "desktop/FileRevealer.h"
#include "model/Role.h"
#include "model/ShowConfig.h"
#include "server/ServerController.h"

#include <QQmlEngine>

// The types of other rooms under their names in QML. They stand here because those rooms themselves
// know no QML.

namespace wingbell {

struct ShowConfigForQml
{
    Q_GADGET
    QML_FOREIGN(wingbell::ShowConfig)
    QML_NAMED_ELEMENT(ShowConfig)
    QML_UNCREATABLE("The window owns the one store")
};

struct RoleForQml
{
    Q_GADGET
    QML_FOREIGN(wingbell::Role)
    QML_VALUE_TYPE(role)
};

struct ServerControllerForQml
{
    Q_GADGET
    QML_FOREIGN(wingbell::ServerController)
    QML_NAMED_ELEMENT(ServerController)
    QML_UNCREATABLE("The window owns the one controller")
};

struct FileRevealerForQml
{
    Q_GADGET
    QML_FOREIGN(wingbell::FileRevealer)
    QML_NAMED_ELEMENT(FileRevealer)
    QML_SINGLETON
};

} // namespace wingbell

#pragma once

#include "model/Role.h"
#include "model/ShowConfig.h"
#include "server/ServerController.h"

#include <QQmlEngine>

// The models' types under their names in QML. They stand here because the models themselves know
// no QML.

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

} // namespace wingbell

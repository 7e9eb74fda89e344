#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <variant>
#include <vector>

namespace wingbell {

/// One argument of a call over a message bus.
using BusValue = std::variant<QString, quint32, QStringList>;

/// A method call over a message bus: who, what, with what.
struct BusCall
{
    QString service;
    QString path;
    QString interface;
    QString method;
    std::vector<BusValue> arguments;
    /// Whether the bus may launch the service to have it answer.
    bool mayStartService = false;
};

} // namespace wingbell

#pragma once

#include "base/FileDescriptor.h"

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <memory>
#include <optional>
#include <variant>
#include <vector>

struct sd_bus_message;

namespace wingbell {

/// One argument of a call over a message bus.
using BusValue = std::variant<QString, quint32, quint64, QStringList>;

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

/// What came in over a message bus: an answer or a signal; or that no answer came.
///
/// The readers take the values one after another, in the order in which they were sent. A value of
/// another type, a missing one and anything in an error read as nothing.
class BusMessage
{
public:
    /// Keeps `message` alive. Null stands for the answer that never came.
    explicit BusMessage(sd_bus_message* message);

    /// False when it stands for the answer that never came.
    [[nodiscard]] bool isValid() const { return m_message != nullptr; }
    /// True when the call was refused or never answered.
    [[nodiscard]] bool isError() const;
    /// True when the callee has, for now at least, no such object, interface or method.
    [[nodiscard]] bool isUnknownCall() const;
    /// The sender's unique name; empty when there is none.
    [[nodiscard]] QString sender() const;

    [[nodiscard]] std::optional<QString> readText();
    [[nodiscard]] std::optional<quint32> readNumber();
    /// A signed integer of 32 or 64 bits in a variant, as which properties come.
    [[nodiscard]] std::optional<qint64> readVariantNumber();
    /// A duplicate of its own, which programs started from here do not inherit.
    [[nodiscard]] FileDescriptor readDescriptor();

private:
    struct Unreference
    {
        void operator()(sd_bus_message* message) const;
    };

    [[nodiscard]] bool read(char type, void* value);

    std::unique_ptr<sd_bus_message, Unreference> m_message;
};

} // namespace wingbell

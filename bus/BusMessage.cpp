#include "bus/BusMessage.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <systemd/sd-bus.h>

namespace wingbell {

BusMessage::BusMessage(sd_bus_message* message)
    : m_message(sd_bus_message_ref(message))
{
}

void BusMessage::Unreference::operator()(sd_bus_message* message) const
{
    sd_bus_message_unref(message);
}

bool BusMessage::isError() const
{
    return !m_message || sd_bus_message_is_method_error(m_message.get(), nullptr) > 0;
}

bool BusMessage::isUnknownCall() const
{
    constexpr std::array names = {
        SD_BUS_ERROR_UNKNOWN_OBJECT, SD_BUS_ERROR_UNKNOWN_INTERFACE, SD_BUS_ERROR_UNKNOWN_METHOD};
    return m_message && std::any_of(names.begin(), names.end(), [this](const char* name) {
               return sd_bus_message_is_method_error(m_message.get(), name) > 0;
           });
}

QString BusMessage::sender() const
{
    return m_message ? QString::fromUtf8(sd_bus_message_get_sender(m_message.get())) : QString();
}

std::optional<QString> BusMessage::readText()
{
    const char* text = nullptr;
    return read(SD_BUS_TYPE_STRING, &text) ? std::optional(QString::fromUtf8(text)) : std::nullopt;
}

std::optional<quint32> BusMessage::readNumber()
{
    quint32 number = 0;
    return read(SD_BUS_TYPE_UINT32, &number) ? std::optional(number) : std::nullopt;
}

FileDescriptor BusMessage::readDescriptor()
{
    int lent = -1; // belongs to the message
    if (!read(SD_BUS_TYPE_UNIX_FD, &lent)) {
        return {};
    }
    constexpr int aboveStandardStreams = 3;
    return FileDescriptor(::fcntl(lent, F_DUPFD_CLOEXEC, aboveStandardStreams));
}

bool BusMessage::read(char type, void* value)
{
    return !isError() && sd_bus_message_read_basic(m_message.get(), type, value) > 0;
}

} // namespace wingbell

#include "bus/BusMessage.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <string_view>
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

std::optional<qint64> BusMessage::readVariantNumber()
{
    char type = 0;
    const char* contents = nullptr;
    if (isError() || sd_bus_message_peek_type(m_message.get(), &type, &contents) <= 0 ||
        type != SD_BUS_TYPE_VARIANT ||
        sd_bus_message_enter_container(m_message.get(), type, contents) <= 0) {
        return std::nullopt;
    }
    std::optional<qint64> number;
    qint32 narrow = 0;
    qint64 wide = 0;
    if (std::string_view(contents) == "i" && read(SD_BUS_TYPE_INT32, &narrow)) {
        number = narrow;
    } else if (std::string_view(contents) == "x" && read(SD_BUS_TYPE_INT64, &wide)) {
        number = wide;
    }
    return sd_bus_message_exit_container(m_message.get()) < 0 ? std::nullopt : number;
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

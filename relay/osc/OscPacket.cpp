#include "relay/osc/OscPacket.h"

#include <QtEndian>

#include <lo/lo.h>

#include <memory>
#include <new>
#include <optional>
#include <type_traits>

namespace wingbell {

namespace {

struct FreeMessage
{
    void operator()(lo_message message) const { lo_message_free(message); }
};
using Message = std::unique_ptr<std::remove_pointer_t<lo_message>, FreeMessage>;

constexpr QByteArrayView bundleMark("#bundle\0", 8);
constexpr qsizetype timeTagSize = 8;
constexpr qsizetype lengthSize = 4;

using Code = OscError::Code;

/// Appends the messages of `element` to `messages`. Returns an error if its bundles are malformed.
std::optional<OscError>
collect(QByteArrayView element, int depth, std::vector<QByteArrayView>& messages)
{
    if (!element.startsWith(bundleMark)) {
        if (messages.size() == maxOscMessages) {
            return OscError{Code::TooManyMessages, QString::number(maxOscMessages)};
        }
        messages.push_back(element);
        return std::nullopt;
    }
    if (depth == maxOscBundleDepth) {
        return OscError{Code::TooDeep, QString::number(maxOscBundleDepth)};
    }
    if (element.size() < bundleMark.size() + timeTagSize) {
        return OscError{Code::NoTimeTag};
    }
    QByteArrayView rest = element.sliced(bundleMark.size() + timeTagSize);
    while (!rest.isEmpty()) {
        if (rest.size() < lengthSize) {
            return OscError{Code::UnendedBundle};
        }
        const auto length = qsizetype{qFromBigEndian<quint32>(rest.data())};
        rest = rest.sliced(lengthSize);
        if (length == 0 || length % 4 != 0 || length > rest.size()) {
            return OscError{Code::WrongBundleLength};
        }
        if (auto error = collect(rest.first(length), depth + 1, messages)) {
            return error;
        }
        rest = rest.sliced(length);
    }
    return std::nullopt;
}

Code codeOf(int error)
{
    switch (error) {
    case LO_EINVALIDPATH:
        return Code::UnendedAddress;
    case LO_ENOTYPE:
    case LO_EBADTYPE:
    case LO_EINVALIDTYPE:
        return Code::WrongTypeTags;
    case LO_EINVALIDARG:
        return Code::WrongArguments;
    default:
        return Code::WrongLength;
    }
}

Result<OscMessage, OscError> readMessage(QByteArrayView bytes)
{
    if (!bytes.startsWith('/')) {
        return failure(OscError{Code::NotOsc});
    }
    int error = 0;
    // The library takes its input unchangeable only in fact, not in type: it copies it first.
    const Message message(lo_message_deserialise(
        const_cast<char*>(bytes.data()), static_cast<std::size_t>(bytes.size()), &error));
    if (error == LO_ENOTYPE) {
        // Old senders leave the type tags out where there are no arguments.
        return OscMessage{QByteArray(bytes.data()), {}, {}};
    }
    if (!message) {
        return failure(OscError{codeOf(error)});
    }
    OscMessage result;
    result.address =
        QByteArray(bytes.data()); // ends at a zero byte, or it would not have been read
    result.typeTags = QByteArray(lo_message_get_types(message.get()));
    if (result.typeTags.startsWith('s') || result.typeTags.startsWith('S')) {
        result.text = QByteArray(&lo_message_get_argv(message.get())[0]->s);
    } else if (result.typeTags.startsWith('i')) {
        result.number = lo_message_get_argv(message.get())[0]->i;
    }
    return result;
}

} // namespace

QByteArray oscMessage(const QByteArray& address, const QList<QByteArray>& strings)
{
    const Message message(lo_message_new());
    if (!message) {
        throw std::bad_alloc();
    }
    for (const QByteArray& string : strings) {
        lo_message_add_string(message.get(), string.constData());
    }
    const auto size = static_cast<qsizetype>(lo_message_length(message.get(), address.constData()));
    QByteArray packet(size, '\0');
    lo_message_serialise(message.get(), address.constData(), packet.data(), nullptr);
    return packet;
}

std::vector<Result<OscMessage, OscError>> readOscPacket(QByteArrayView packet)
{
    if (packet.isEmpty()) {
        return {failure(OscError{Code::EmptyPacket})};
    }
    std::vector<QByteArrayView> messages;
    if (const auto error = collect(packet, 0, messages)) {
        return {failure(*error)};
    }
    std::vector<Result<OscMessage, OscError>> elements;
    elements.reserve(messages.size());
    for (const QByteArrayView bytes : messages) {
        elements.push_back(readMessage(bytes));
    }
    return elements;
}

} // namespace wingbell

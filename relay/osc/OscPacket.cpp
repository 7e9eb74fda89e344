#include "relay/osc/OscPacket.h"

#include <QtEndian>

#include <lo/lo.h>

#include <memory>
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

Refusal unreadable(const QString& reason)
{
    return {LineCause::Unreadable, reason};
}

/// Puts the messages of `element` behind `messages`. The reason when its bundles are no such.
std::optional<QString>
collect(QByteArrayView element, int depth, std::vector<QByteArrayView>& messages)
{
    if (!element.startsWith(bundleMark)) {
        if (messages.size() == mostOscMessages) {
            return QStringLiteral("it holds more than %1 messages").arg(mostOscMessages);
        }
        messages.push_back(element);
        return std::nullopt;
    }
    if (depth == deepestOscBundle) {
        return QStringLiteral("its bundles stand more than %1 deep").arg(deepestOscBundle);
    }
    if (element.size() < bundleMark.size() + timeTagSize) {
        return QStringLiteral("its bundle has no whole time tag");
    }
    QByteArrayView rest = element.sliced(bundleMark.size() + timeTagSize);
    while (!rest.isEmpty()) {
        if (rest.size() < lengthSize) {
            return QStringLiteral("its bundle ends inside a length");
        }
        const auto length = qsizetype{qFromBigEndian<quint32>(rest.data())};
        rest = rest.sliced(lengthSize);
        if (length == 0 || length % 4 != 0 || length > rest.size()) {
            return QStringLiteral("its bundle gives a length that cannot be");
        }
        if (auto problem = collect(rest.first(length), depth + 1, messages)) {
            return problem;
        }
        rest = rest.sliced(length);
    }
    return std::nullopt;
}

QString reasonOf(int error)
{
    switch (error) {
    case LO_EINVALIDPATH:
        return QStringLiteral("its address does not end as one must");
    case LO_ENOTYPE:
    case LO_EBADTYPE:
    case LO_EINVALIDTYPE:
        return QStringLiteral("it does not say of what type its arguments are");
    case LO_EINVALIDARG:
        return QStringLiteral("its arguments do not fit their types");
    default:
        return QStringLiteral("its length does not fit its arguments");
    }
}

OscElement readMessage(QByteArrayView bytes)
{
    if (!bytes.startsWith('/')) {
        return unreadable(QStringLiteral("it does not begin as an OSC message or bundle must"));
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
        return unreadable(reasonOf(error));
    }
    OscMessage result;
    result.address =
        QByteArray(bytes.data()); // ends at a zero byte, or it would not have been read
    result.typeTags = QByteArray(lo_message_get_types(message.get()));
    if (result.typeTags.startsWith('s') || result.typeTags.startsWith('S')) {
        result.text = QByteArray(&lo_message_get_argv(message.get())[0]->s);
    }
    return result;
}

} // namespace

std::vector<OscElement> readOscPacket(QByteArrayView packet)
{
    if (packet.isEmpty()) {
        return {unreadable(QStringLiteral("it is empty"))};
    }
    std::vector<QByteArrayView> messages;
    if (const auto problem = collect(packet, 0, messages)) {
        return {unreadable(*problem)};
    }
    std::vector<OscElement> elements;
    elements.reserve(messages.size());
    for (const QByteArrayView bytes : messages) {
        elements.push_back(readMessage(bytes));
    }
    return elements;
}

} // namespace wingbell

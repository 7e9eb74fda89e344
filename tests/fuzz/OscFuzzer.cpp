#include "base/LineText.h"
#include "relay/osc/OscPacket.h"
#include "relay/osc/OscRequest.h"
#include "tests/fuzz/Check.h"

#include <cstddef>
#include <cstdint>

using namespace wingbell;

namespace {

const QSet<QString> channels = {
    QStringLiteral("Main"), QStringLiteral("Green Room"), QStringLiteral("a/b"),
    QStringLiteral("Bühne"), QString()};

void checkLine(const QString& text)
{
    const QString line = onOneLine(quoted(text));
    check(!line.contains(QLatin1Char('\n')), "a line is one line");
    check(!line.contains(QChar(QChar::LineSeparator)), "a line is one line for screens too");
}

void checkAnnouncement(const Announcement& announcement)
{
    check(!isBlank(announcement.text), "what is said is not blank");
    check(
        announcement.text.toUcs4().size() <= maxAnnouncement || announcement.cut,
        "what is longer is cut");
    check(
        !announcement.channel || channels.contains(*announcement.channel),
        "it is said on a channel of the show");
    check(announcement.text.toUtf8().isValidUtf8(), "what is said is text");
    checkLine(announcement.text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArrayView packet(data, static_cast<qsizetype>(size));
    const auto messages = readOscPacket(packet);
    check(messages.size() <= maxOscMessages, "a packet holds so many messages at most");
    for (const auto& message : messages) {
        if (!message) {
            continue;
        }
        const auto request = readOscRequest(*message, channels);
        if (!request) {
            checkLine(request.error().subject);
        } else if (const auto* announcement = std::get_if<Announcement>(&*request)) {
            checkAnnouncement(*announcement);
        }
    }
    return 0;
}

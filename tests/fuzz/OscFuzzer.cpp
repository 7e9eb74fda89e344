#include "relay/log/LineText.h"
#include "relay/osc/AnnouncementReading.h"
#include "relay/osc/OscPacket.h"
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
        announcement.text.toUcs4().size() <= longestAnnouncement || announcement.cut,
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
    const std::vector<OscElement> elements = readOscPacket(packet);
    check(elements.size() <= mostOscMessages, "a packet holds so many messages at most");
    for (const OscElement& element : elements) {
        if (std::holds_alternative<OscError>(element)) {
            continue;
        }
        const AnnouncementReading reading =
            readAnnouncement(std::get<OscMessage>(element), channels);
        if (const auto* announcement = std::get_if<Announcement>(&reading)) {
            checkAnnouncement(*announcement);
        } else if (const auto* error = std::get_if<OscError>(&reading)) {
            checkLine(error->subject);
        }
    }
    return 0;
}

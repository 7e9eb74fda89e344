#include "relay/api/SdpSection.h"

namespace wingbell {

namespace {

/// Takes the first line off `rest`, with or without a carriage return at its end.
QByteArrayView takeLine(QByteArrayView& rest)
{
    const qsizetype feed = rest.indexOf('\n');
    QByteArrayView line = feed < 0 ? rest : rest.first(feed);
    rest = feed < 0 ? QByteArrayView() : rest.sliced(feed + 1);
    if (line.endsWith('\r')) {
        line.chop(1);
    }
    return line;
}

SdpSection::Attribute attribute(QByteArrayView text)
{
    const qsizetype colon = text.indexOf(':');
    if (colon < 0) {
        return {text, {}};
    }
    return {text.first(colon), text.sliced(colon + 1)};
}

bool isLine(QByteArrayView line)
{
    return line.size() >= 2 && line.at(0) >= 'a' && line.at(0) <= 'z' && line.at(1) == '=';
}

} // namespace

std::vector<QByteArrayView> SdpSection::values(QByteArrayView name) const
{
    std::vector<QByteArrayView> result;
    for (const Attribute& attribute : attributes) {
        if (attribute.name == name) {
            result.push_back(attribute.value);
        }
    }
    return result;
}

std::optional<std::vector<SdpSection>> sdpSections(QByteArrayView sdp)
{
    if (takeLine(sdp) != QByteArrayView("v=0")) {
        return std::nullopt;
    }
    std::vector<SdpSection> sections(1);
    while (!sdp.isEmpty()) {
        const QByteArrayView line = takeLine(sdp);
        if (!isLine(line)) {
            return std::nullopt;
        }
        const QByteArrayView value = line.sliced(2);
        if (line.at(0) == 'm') {
            sections.push_back({value, {}});
        } else if (line.at(0) == 'a') {
            sections.back().attributes.push_back(attribute(value));
        }
    }
    return sections;
}

} // namespace wingbell

#include "relay/api/DeskOverview.h"

#include <nlohmann/json.hpp>

namespace wingbell {

namespace {

using Json = nlohmann::ordered_json;
using namespace std::chrono;

QByteArray text(const Json& document)
{
    constexpr int onOneLine = -1;
    return QByteArray::fromStdString(
        document.dump(onOneLine, ' ', false, Json::error_handler_t::replace));
}

Json json(const QStringList& texts)
{
    Json list = Json::array();
    for (const QString& text : texts) {
        list.push_back(text.toStdString());
    }
    return list;
}

/// null without a value.
Json json(const std::optional<double>& number)
{
    return number ? Json(*number) : Json();
}

const char* wordFor(PageReport::Screen screen)
{
    switch (screen) {
    case PageReport::Screen::KeptOn:
        return "on";
    case PageReport::Screen::MayLock:
        return "may-lock";
    case PageReport::Screen::Hidden:
        return "hidden";
    case PageReport::Screen::Unknown:
        break;
    }
    return "unknown";
}

Json json(const MemberOverview& member, MemberOverview::Time epoch)
{
    Json open = Json::array();
    for (const MemberOverview::OpenKey& key : member.openKeys) {
        open.push_back(
            {{"channel", key.channel},
             {"since", duration_cast<milliseconds>(key.since - epoch).count()}});
    }
    Json heard;
    if (member.lastSpeech) {
        heard = milliseconds(duration_cast<seconds>(*member.lastSpeech - epoch)).count();
    }
    return {
        {"id", member.id},
        {"role", member.role},
        {"address", member.address.toStdString()},
        {"connected", member.isConnected},
        {"microphone", member.hasMicrophone},
        {"open", open},
        {"heard", heard},
        {"screen", wordFor(member.report.screen)},
        {"battery", json(member.report.battery)},
        {"charging", member.report.isCharging},
        {"loss", json(member.report.loss)},
        {"delay", json(member.report.delay)}};
}

Json json(const ChannelOverview& channel)
{
    Json call;
    if (channel.call) {
        call = {
            {"from", channel.call->from.toStdString()},
            {"called", channel.call->called},
            {"answered", json(channel.call->answered)}};
    }
    Json light;
    if (channel.light) {
        light = {
            {"kind", channel.light->isGo ? "go" : "standby"},
            {"text", channel.light->text.toStdString()},
            {"shown", channel.light->shown},
            {"answered", json(channel.light->answered)}};
    }
    return {{"announcing", channel.isAnnouncing}, {"call", call}, {"light", light}};
}

} // namespace

QByteArray deskOpenedText(
    const QString& session, const QString& show, const QStringList& channels,
    const QStringList& roles)
{
    return text(
        {{"session", session.toStdString()},
         {"show", show.toStdString()},
         {"channels", json(channels)},
         {"roles", json(roles)}});
}

QByteArray overviewText(const DeskOverview& overview, MemberOverview::Time epoch)
{
    Json members = Json::array();
    for (const MemberOverview& member : overview.members) {
        members.push_back(json(member, epoch));
    }
    Json channels = Json::array();
    for (const ChannelOverview& channel : overview.channels) {
        channels.push_back(json(channel));
    }
    return text({{"members", members}, {"channels", channels}});
}

QByteArray overviewEvent(const QByteArray& overview, milliseconds now)
{
    return "{\"now\":" + QByteArray::number(static_cast<qint64>(now.count())) +
           ",\"crew\":" + overview + '}';
}

QByteArray countText(std::size_t count)
{
    return text({{"count", count}});
}

} // namespace wingbell

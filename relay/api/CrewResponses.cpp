#include "relay/api/CrewResponses.h"

#include <nlohmann/json.hpp>

#include <string>

namespace wingbell {

namespace {

using Json = nlohmann::ordered_json;

/// The conversion leaves no lone surrogate: each becomes a question mark.
Json json(const QString& text)
{
    return text.toStdString();
}

/// `bytes` need not be UTF-8; what is none of it is replaced when the text is written.
Json json(const QByteArray& bytes)
{
    return bytes.toStdString();
}

template <typename Entry> Json json(const QList<Entry>& entries);

Json json(const QrCode& code)
{
    return {{"size", code.size}, {"path", json(code.path)}};
}

Json json(const RolesResponse::Role& role)
{
    return {{"key", json(role.key)}, {"name", json(role.name)}, {"present", role.present}};
}

Json json(const JoinResponse::Channel& channel)
{
    return {{"name", json(channel.name)}, {"talk", channel.talk}, {"listen", channel.listen}};
}

Json json(const CardResponse::Role& role)
{
    return {{"name", json(role.name)}, {"url", json(role.url)}, {"qr", json(role.qr)}};
}

Json json(const DeskEvent::Call& call)
{
    return {
        {"from", json(call.from)},
        {"mine", call.isMine},
        {"acknowledged", call.isAcknowledged},
        {"called", call.called},
        {"answered", json(call.answered)}};
}

Json json(const DeskEvent::Light& light)
{
    return {
        {"kind", light.isGo ? "go" : "standby"},
        {"text", json(light.text)},
        {"acknowledged", light.isAcknowledged}};
}

/// Most channels have no signal; with 250 listeners each byte counts.
Json json(const DeskEvent::Channel& channel)
{
    Json seen = {{"talking", json(channel.talking)}, {"announcing", channel.announcing}};
    if (channel.call) {
        seen["call"] = json(*channel.call);
    }
    if (channel.light) {
        seen["light"] = json(*channel.light);
    }
    return seen;
}

template <typename Entry> Json json(const QList<Entry>& entries)
{
    Json list = Json::array();
    for (const Entry& entry : entries) {
        list.push_back(json(entry));
    }
    return list;
}

QByteArray text(const Json& document)
{
    constexpr int onOneLine = -1;
    return QByteArray::fromStdString(
        document.dump(onOneLine, ' ', false, Json::error_handler_t::replace));
}

const char* wordFor(Goodbye reason)
{
    switch (reason) {
    case Goodbye::OffAir:
        return "off-air";
    case Goodbye::Replaced:
        return "replaced";
    case Goodbye::Silent:
        break;
    }
    return "silent";
}

} // namespace

QByteArray responseText(const RolesResponse& response)
{
    return text({{"show", json(response.show)}, {"roles", json(response.roles)}});
}

QByteArray responseText(const JoinResponse& response)
{
    const Json role = {{"key", json(response.roleKey)}, {"name", json(response.roleName)}};
    return text(
        {{"session", json(response.session)},
         {"show", json(response.show)},
         {"role", role},
         {"channels", json(response.channels)},
         {"offer", json(response.offer)}});
}

QByteArray responseText(const CardResponse& response)
{
    const Json page = {{"url", json(response.pageUrl)}, {"qr", json(response.pageQr)}};
    return text(
        {{"show", json(response.show)},
         {"code", json(response.code)},
         {"address", json(response.address)},
         {"others", json(response.others)},
         {"fingerprint", json(response.fingerprint)},
         {"authority", json(response.authority)},
         {"page", page},
         {"roles", json(response.roles)}});
}

QByteArray slowDownText(std::chrono::seconds wait)
{
    return text({{"error", "slow-down"}, {"seconds", wait.count()}});
}

QByteArray notNowText(std::chrono::milliseconds wait)
{
    return text({{"error", "not-now"}, {"seconds", std::chrono::duration<double>(wait).count()}});
}

QByteArray eventData(const DeskEvent& event)
{
    return text({{"channels", json(event.channels)}});
}

QByteArray eventData(Goodbye reason)
{
    return text({{"reason", wordFor(reason)}});
}

QByteArray handedOverData(std::chrono::milliseconds retryAfter)
{
    return text({{"reason", "handed-over"}, {"retry", retryAfter.count()}});
}

QByteArray forgottenData(const std::vector<int>& channels)
{
    return text({{"channels", channels}});
}

QByteArray keysClosedData(quint64 count)
{
    return text({{"count", count}});
}

QByteArray announcementData(const QString& announcement)
{
    return text({{"text", json(announcement)}});
}

QByteArray heartbeatData(std::chrono::milliseconds retryWindow)
{
    return text({{"retryWindow", retryWindow.count()}});
}

} // namespace wingbell

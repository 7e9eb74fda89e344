#include "model/ShowFile.h"

#include "base/RegularFile.h"
#include "model/ShowFileReader.h"

#include <nlohmann/json.hpp>

namespace wingbell {

namespace {

using Json = nlohmann::ordered_json;

Json jsonList(const QStringList& texts)
{
    Json list = Json::array();
    for (const QString& text : texts) {
        list.push_back(text.toStdString());
    }
    return list;
}

Json jsonRole(const Role& role)
{
    Json object = Json::object();
    object["name"] = role.name.toStdString();
    object["talk"] = jsonList(role.talk);
    object["listen"] = jsonList(role.listen);
    return object;
}

} // namespace

std::optional<QByteArray> encodeShow(const ShowFile& show)
{
    Json roles = Json::array();
    for (const Role& role : show.roles) {
        roles.push_back(jsonRole(role));
    }
    Json document = Json::object();
    document["show"] = show.show.toStdString();
    document["channels"] = jsonList(show.channels);
    document["roles"] = std::move(roles);
    document["oscPort"] = show.oscPort;
    try {
        constexpr int indent = 2;
        const std::string text =
            document.dump(indent, ' ', false, Json::error_handler_t::replace) + '\n';
        return QByteArray::fromStdString(text);
    } catch (const Json::exception&) {
        return std::nullopt;
    }
}

ShowReading decodeShow(const QByteArray& document)
{
    // The parser takes a zero byte for the end of its input and would not see what follows.
    if (document.contains('\0')) {
        return {std::nullopt, QStringLiteral("it is no JSON: it holds a zero byte")};
    }
    ShowFileReader reader;
    if (!nlohmann::json::sax_parse(document.cbegin(), document.cend(), &reader)) {
        return {std::nullopt, reader.problem()};
    }
    return {reader.takeShow(), {}};
}

ShowReading readShow(const QString& path)
{
    const FileReading file = readRegularFile(path);
    if (!file.bytes) {
        return {std::nullopt, file.problem, file.isMissing};
    }
    return decodeShow(*file.bytes);
}

} // namespace wingbell

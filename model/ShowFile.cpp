#include "model/ShowFile.h"

#include "base/JsonTree.h"
#include "base/RegularFile.h"
#include "base/Utf8.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

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

/// Keeps a number with a fraction or an exponent as it is written (as binary, which no JSON text
/// holds), because a double is rounded.
class ShowTreeBuilder : public JsonTreeBuilder
{
public:
    using JsonTreeBuilder::JsonTreeBuilder;

    bool number_float(double /*value*/, const std::string& literal)
    {
        binary_t bytes(std::vector<std::uint8_t>(literal.begin(), literal.end()));
        return binary(bytes);
    }
};

using Tree = nlohmann::json;
template <typename Value> using Reading = Result<Value, ShowError>;

tl::unexpected<ShowError> unreadable(const QString& reason)
{
    return failure(ShowError{reason});
}

QString reasonOf(const JsonError& error)
{
    switch (error.kind) {
    case JsonError::Kind::ZeroByte:
        return QStringLiteral("it is no JSON: it holds a zero byte");
    case JsonError::Kind::TooDeep:
        return QStringLiteral("it is nested too deeply");
    default:
        return QStringLiteral("it is no JSON from byte %1 on").arg(error.position);
    }
}

std::string literalOf(const Tree& number)
{
    const Tree::binary_t& bytes = number.get_binary();
    return {bytes.begin(), bytes.end()};
}

QString kindOf(const Tree& value)
{
    constexpr std::size_t maxLiteral = 40;
    switch (value.type()) {
    case Tree::value_t::object:
        return QStringLiteral("an object");
    case Tree::value_t::array:
        return QStringLiteral("an array");
    case Tree::value_t::string:
        return QStringLiteral("a string");
    case Tree::value_t::number_integer:
    case Tree::value_t::number_unsigned:
        return QStringLiteral("a number");
    case Tree::value_t::binary:
        return QStringLiteral("the number ") + textFromUtf8(literalOf(value).substr(0, maxLiteral));
    default:
        return textFromUtf8(value.dump()); // null, true or false
    }
}

tl::unexpected<ShowError> wrongType(const QString& place, const QString& found)
{
    return unreadable(QStringLiteral("%1 cannot be %2").arg(place, found));
}

/// The whole number that `literal` stands for, exactly, however it is written ("4.7e4"); nothing
/// where it has a fraction or needs more than 64 bits.
std::optional<qint64> wholeNumber(std::string literal)
{
    const std::size_t mark = std::min(literal.find_first_of("eE"), literal.size());
    const QByteArray exponentText = QByteArray::fromStdString(literal.substr(mark)).mid(1);
    literal.resize(mark);
    if (literal.find_first_not_of("-0.") == std::string::npos) {
        return 0;
    }
    bool isNumber = true;
    qsizetype exponent = exponentText.isEmpty() ? 0 : exponentText.toInt(&isNumber);
    if (const std::size_t point = literal.find('.'); point != std::string::npos) {
        literal.erase(point, 1);
        exponent -= static_cast<qsizetype>(literal.size() - point);
    }
    while (exponent < 0 && literal.back() == '0') {
        literal.pop_back();
        ++exponent;
    }
    if (!isNumber || exponent < 0 || exponent > std::numeric_limits<qint64>::digits10) {
        return std::nullopt;
    }
    literal.append(static_cast<std::size_t>(exponent), '0');
    const qlonglong value = QByteArray::fromStdString(literal).toLongLong(&isNumber);
    return isNumber ? std::optional<qint64>(value) : std::nullopt;
}

Reading<qint64> readPort(const Tree& document)
{
    const QString place = QStringLiteral("\"oscPort\"");
    const auto found = document.find("oscPort");
    if (found == document.end() || found->is_null()) {
        return defaultOscPort;
    }
    if (found->is_number_unsigned() &&
        found->get<quint64>() > quint64{std::numeric_limits<qint64>::max()}) {
        return wrongType(place, QStringLiteral("a number beyond 64 bits"));
    }
    const std::optional<qint64> port = found->is_number()   ? found->get<qint64>()
                                       : found->is_binary() ? wholeNumber(literalOf(*found))
                                                            : std::nullopt;
    return port ? Reading<qint64>(*port) : wrongType(place, kindOf(*found));
}

Reading<QString> readText(const Tree& value, const QString& place)
{
    if (!value.is_string()) {
        return wrongType(place, kindOf(value));
    }
    return textFromUtf8(value.get_ref<const std::string&>());
}

template <typename Entry, typename Read>
Reading<QList<Entry>> readList(const Tree& value, const QString& place, Read read)
{
    if (!value.is_array()) {
        return wrongType(place, kindOf(value));
    }
    QList<Entry> list;
    for (const Tree& entry : value) {
        Reading<Entry> found = read(entry);
        if (!found) {
            return failure(found.error());
        }
        list.append(*std::move(found));
    }
    return list;
}

Reading<QStringList> readChannels(const Tree& value, const QString& place)
{
    return readList<QString>(value, place, [](const Tree& entry) {
        return readText(entry, QStringLiteral("a channel name"));
    });
}

Reading<Role> readRole(const Tree& value)
{
    if (!value.is_object()) {
        return wrongType(QStringLiteral("a role"), kindOf(value));
    }
    if (!value.contains("name") || !value.contains("talk") || !value.contains("listen")) {
        return unreadable(QStringLiteral("a role lacks \"name\", \"talk\" or \"listen\""));
    }
    const auto name = readText(value["name"], QStringLiteral("a role's \"name\""));
    const auto talk = readChannels(value["talk"], QStringLiteral("a role's \"talk\""));
    const auto listen = readChannels(value["listen"], QStringLiteral("a role's \"listen\""));
    if (!name || !talk || !listen) {
        return failure(!name ? name.error() : !talk ? talk.error() : listen.error());
    }
    return Role{QUuid::createUuid(), *name, *talk, *listen};
}

Reading<ShowFile> readDocument(const Tree& document)
{
    if (!document.is_object()) {
        return wrongType(QStringLiteral("the document"), kindOf(document));
    }
    if (!document.contains("show") || !document.contains("channels") ||
        !document.contains("roles")) {
        return unreadable(QStringLiteral("it lacks \"show\", \"channels\" or \"roles\""));
    }
    const auto name = readText(document["show"], QStringLiteral("\"show\""));
    const auto channels = readChannels(document["channels"], QStringLiteral("\"channels\""));
    const auto roles = readList<Role>(document["roles"], QStringLiteral("\"roles\""), readRole);
    const auto port = readPort(document);
    if (!name || !channels) {
        return failure(!name ? name.error() : channels.error());
    }
    if (!roles || !port) {
        return failure(!roles ? roles.error() : port.error());
    }
    return ShowFile{*name, *channels, *roles, *port};
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

Result<ShowFile, ShowError> decodeShow(const QByteArray& document)
{
    const auto tree = readJson<ShowTreeBuilder>(document);
    return tree ? readDocument(*tree) : failure(ShowError{reasonOf(tree.error())});
}

Result<ShowFile, ShowError> readShow(const QString& path)
{
    const auto document = readRegularFile(path, maxShowDocumentSize);
    if (document) {
        return decodeShow(*document);
    }
    const FileError& error = document.error();
    const bool isTooLarge = error.kind == FileError::Kind::TooLarge;
    return failure(ShowError{
        isTooLarge ? QStringLiteral("it is larger than a show can be") : error.reason,
        error.kind == FileError::Kind::Missing});
}

} // namespace wingbell

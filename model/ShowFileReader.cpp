#include "model/ShowFileReader.h"

#include "base/Utf8.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace wingbell {

namespace {

/// The whole number that `literal` stands for, exactly, however it is written ("4.7e4"); nothing
/// where it has a fraction or needs more than 64 bits.
std::optional<std::int64_t> wholeNumber(std::string literal)
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
    if (!isNumber || exponent < 0 || exponent > std::numeric_limits<std::int64_t>::digits10) {
        return std::nullopt;
    }
    literal.append(static_cast<std::size_t>(exponent), '0');
    const qlonglong value = QByteArray::fromStdString(literal).toLongLong(&isNumber);
    return isNumber ? std::optional<std::int64_t>(value) : std::nullopt;
}

} // namespace

bool ShowFileReader::inside(Container container) const
{
    return !m_open.empty() && m_open.back() == container;
}

bool ShowFileReader::insideListOfNames() const
{
    return inside(Container::Channels) || inside(Container::Talk) || inside(Container::Listen);
}

bool ShowFileReader::atUnknownMember() const
{
    return (inside(Container::Document) || inside(Container::Role)) && m_member == Member::Unknown;
}

bool ShowFileReader::scalarIsIgnored() const
{
    return m_skippedDepth > 0 || atUnknownMember();
}

QStringList& ShowFileReader::currentList()
{
    if (inside(Container::Channels)) {
        return m_show.channels;
    }
    Role& role = m_show.roles.back();
    return inside(Container::Talk) ? role.talk : role.listen;
}

QString ShowFileReader::placeName() const
{
    if (m_open.empty()) {
        return QStringLiteral("the document");
    }
    if (insideListOfNames()) {
        return QStringLiteral("a channel name");
    }
    if (inside(Container::Roles)) {
        return QStringLiteral("a role");
    }
    switch (m_member) {
    case Member::Show:
        return QStringLiteral("\"show\"");
    case Member::Channels:
        return QStringLiteral("\"channels\"");
    case Member::Roles:
        return QStringLiteral("\"roles\"");
    case Member::OscPort:
        return QStringLiteral("\"oscPort\"");
    case Member::Name:
        return QStringLiteral("a role's \"name\"");
    case Member::Talk:
        return QStringLiteral("a role's \"talk\"");
    case Member::Listen:
        return QStringLiteral("a role's \"listen\"");
    case Member::Unknown:
        break;
    }
    return QStringLiteral("a member");
}

bool ShowFileReader::refuse(const QString& problem)
{
    m_problem = problem;
    return false;
}

bool ShowFileReader::refuseType(const QString& found)
{
    return refuse(QStringLiteral("%1 cannot be %2").arg(placeName(), found));
}

bool ShowFileReader::null()
{
    if (scalarIsIgnored()) {
        return true;
    }
    if (inside(Container::Document) && m_member == Member::OscPort) {
        return takePort(defaultOscPort);
    }
    return refuseType(QStringLiteral("null"));
}

bool ShowFileReader::boolean(bool value)
{
    return scalarIsIgnored() ||
           refuseType(value ? QStringLiteral("true") : QStringLiteral("false"));
}

bool ShowFileReader::number_integer(std::int64_t value)
{
    return scalarIsIgnored() || takePort(value);
}

bool ShowFileReader::number_unsigned(std::uint64_t value)
{
    if (scalarIsIgnored()) {
        return true;
    }
    if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return refuseType(QStringLiteral("a number beyond 64 bits"));
    }
    return takePort(static_cast<std::int64_t>(value));
}

bool ShowFileReader::number_float(double /*value*/, const std::string& literal)
{
    if (scalarIsIgnored()) {
        return true;
    }
    // The double is rounded: it would make a whole number of 0.99999999999999999999.
    const std::optional<std::int64_t> port = wholeNumber(literal);
    return port ? takePort(*port)
                : refuseType(QStringLiteral("the number ") + textFromUtf8(literal.substr(0, 40)));
}

bool ShowFileReader::takePort(std::int64_t port)
{
    if (!inside(Container::Document) || m_member != Member::OscPort) {
        return refuseType(QStringLiteral("a number"));
    }
    m_show.oscPort = port;
    return true;
}

bool ShowFileReader::string(std::string& value)
{
    if (scalarIsIgnored()) {
        return true;
    }
    if (insideListOfNames()) {
        currentList().append(textFromUtf8(value));
        return true;
    }
    if (inside(Container::Document) && m_member == Member::Show) {
        m_show.show = textFromUtf8(value);
        m_seen.show = true;
        return true;
    }
    if (inside(Container::Role) && m_member == Member::Name) {
        m_show.roles.back().name = textFromUtf8(value);
        m_seenInRole.name = true;
        return true;
    }
    return refuseType(QStringLiteral("a string"));
}

bool ShowFileReader::binary(binary_t& /*value*/)
{
    return refuseType(QStringLiteral("binary"));
}

bool ShowFileReader::start_object(std::size_t /*elements*/)
{
    if (m_skippedDepth > 0 || atUnknownMember()) {
        ++m_skippedDepth;
        return true;
    }
    if (m_open.empty()) {
        m_open.push_back(Container::Document);
        return true;
    }
    if (inside(Container::Roles)) {
        m_show.roles.append(Role{QUuid::createUuid(), {}, {}, {}});
        m_seenInRole = {};
        m_open.push_back(Container::Role);
        return true;
    }
    return refuseType(QStringLiteral("an object"));
}

bool ShowFileReader::key(std::string& name)
{
    if (m_skippedDepth > 0) {
        return true;
    }
    m_member = Member::Unknown;
    if (inside(Container::Document)) {
        m_member = name == "show"       ? Member::Show
                   : name == "channels" ? Member::Channels
                   : name == "roles"    ? Member::Roles
                   : name == "oscPort"  ? Member::OscPort
                                        : Member::Unknown;
    } else {
        m_member = name == "name"     ? Member::Name
                   : name == "talk"   ? Member::Talk
                   : name == "listen" ? Member::Listen
                                      : Member::Unknown;
    }
    return true;
}

bool ShowFileReader::end_object()
{
    if (m_skippedDepth > 0) {
        --m_skippedDepth;
        return true;
    }
    const bool endsRole = inside(Container::Role);
    m_open.pop_back();
    if (endsRole) {
        const bool whole = m_seenInRole.name && m_seenInRole.talk && m_seenInRole.listen;
        return whole || refuse(QStringLiteral("a role lacks \"name\", \"talk\" or \"listen\""));
    }
    const bool whole = m_seen.show && m_seen.channels && m_seen.roles;
    return whole || refuse(QStringLiteral("it lacks \"show\", \"channels\" or \"roles\""));
}

bool ShowFileReader::start_array(std::size_t /*elements*/)
{
    if (m_skippedDepth > 0 || atUnknownMember()) {
        ++m_skippedDepth;
        return true;
    }
    // A member that stands twice counts as it stood last, so each list begins empty.
    if (inside(Container::Document) && m_member == Member::Channels) {
        m_show.channels.clear();
        m_seen.channels = true;
        m_open.push_back(Container::Channels);
        return true;
    }
    if (inside(Container::Document) && m_member == Member::Roles) {
        m_show.roles.clear();
        m_seen.roles = true;
        m_open.push_back(Container::Roles);
        return true;
    }
    if (inside(Container::Role) && m_member == Member::Talk) {
        m_show.roles.back().talk.clear();
        m_seenInRole.talk = true;
        m_open.push_back(Container::Talk);
        return true;
    }
    if (inside(Container::Role) && m_member == Member::Listen) {
        m_show.roles.back().listen.clear();
        m_seenInRole.listen = true;
        m_open.push_back(Container::Listen);
        return true;
    }
    return refuseType(QStringLiteral("an array"));
}

bool ShowFileReader::end_array()
{
    if (m_skippedDepth > 0) {
        --m_skippedDepth;
    } else {
        m_open.pop_back();
    }
    return true;
}

bool ShowFileReader::parse_error(
    std::size_t position, const std::string& /*lastToken*/,
    const nlohmann::json::exception& /*error*/)
{
    return refuse(QStringLiteral("it is no JSON from byte %1 on").arg(position));
}

} // namespace wingbell

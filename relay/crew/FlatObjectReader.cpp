#include "relay/crew/FlatObjectReader.h"

#include <algorithm>

namespace wingbell {

FlatObjectReader::FlatObjectReader(std::span<const Member> members)
    : m_members(members)
    , m_values(members.size())
    , m_seen(members.size(), false)
{
}

std::optional<RequestFault> FlatObjectReader::read(QByteArrayView body)
{
    // The parser takes a zero byte for the end of its input and would not see what follows.
    if (body.contains('\0')) {
        return RequestFault::NoJson;
    }
    if (!nlohmann::json::sax_parse(body.begin(), body.end(), this)) {
        return m_fault.value_or(RequestFault::NoJson);
    }
    return std::nullopt;
}

bool FlatObjectReader::isIgnored() const
{
    return m_skippedDepth > 0 || (m_place == Place::Object && !m_member);
}

bool FlatObjectReader::isAt(Kind kind) const
{
    return m_place == Place::Object && m_member && m_members[*m_member].kind == kind;
}

bool FlatObjectReader::refuse(RequestFault fault)
{
    m_fault = fault;
    return false;
}

bool FlatObjectReader::refuseScalar()
{
    return refuse(m_place == Place::Outside ? RequestFault::NoObject : RequestFault::WrongType);
}

bool FlatObjectReader::null()
{
    return m_place == Place::Object || isIgnored() || refuseScalar();
}

bool FlatObjectReader::boolean(bool value)
{
    if (isIgnored()) {
        return true;
    }
    if (!isAt(Kind::Flag)) {
        return refuseScalar();
    }
    m_values[*m_member] = value;
    return true;
}

bool FlatObjectReader::number_integer(std::int64_t value)
{
    return takeNumber(static_cast<double>(value));
}

bool FlatObjectReader::number_unsigned(std::uint64_t value)
{
    if (!isIgnored() && isAt(Kind::Whole)) {
        m_values[*m_member] = value;
        return true;
    }
    return takeNumber(static_cast<double>(value));
}

bool FlatObjectReader::number_float(double value, const std::string& /*literal*/)
{
    return takeNumber(value);
}

bool FlatObjectReader::takeNumber(double value)
{
    if (isIgnored()) {
        return true;
    }
    // Below zero, beyond 64 bits, or with a fraction.
    if (isAt(Kind::Whole)) {
        return refuse(RequestFault::OutOfRange);
    }
    if (m_place != Place::List) {
        return refuseScalar();
    }
    auto& list = std::get<std::vector<double>>(m_values[*m_member]);
    if (list.size() == m_members[*m_member].longest) {
        return refuse(RequestFault::TooLong);
    }
    list.push_back(value);
    return true;
}

bool FlatObjectReader::string(std::string& value)
{
    if (isIgnored()) {
        return true;
    }
    if (!isAt(Kind::Text)) {
        return refuseScalar();
    }
    if (value.size() > m_members[*m_member].longest) {
        return refuse(RequestFault::TooLong);
    }
    m_values[*m_member] = std::move(value);
    return true;
}

bool FlatObjectReader::binary(binary_t& /*value*/)
{
    return refuseScalar();
}

bool FlatObjectReader::start_object(std::size_t /*elements*/)
{
    if (isIgnored()) {
        ++m_skippedDepth;
        return true;
    }
    if (m_place != Place::Outside) {
        return refuse(RequestFault::WrongType);
    }
    m_place = Place::Object;
    return true;
}

bool FlatObjectReader::key(std::string& name)
{
    if (m_skippedDepth > 0) {
        return true;
    }
    const auto found =
        std::find_if(m_members.begin(), m_members.end(), [&name](const Member& member) {
            return member.name == name;
        });
    if (found == m_members.end()) {
        m_member.reset();
        return true;
    }
    m_member = static_cast<std::size_t>(found - m_members.begin());
    if (m_seen[*m_member]) {
        return refuse(RequestFault::Twice);
    }
    m_seen[*m_member] = true;
    return true;
}

bool FlatObjectReader::end_object()
{
    if (m_skippedDepth > 0) {
        --m_skippedDepth;
    }
    return true;
}

bool FlatObjectReader::start_array(std::size_t /*elements*/)
{
    if (isIgnored()) {
        ++m_skippedDepth;
        return true;
    }
    if (!isAt(Kind::Numbers)) {
        return refuseScalar();
    }
    m_values[*m_member] = std::vector<double>();
    m_place = Place::List;
    return true;
}

bool FlatObjectReader::end_array()
{
    if (m_skippedDepth > 0) {
        --m_skippedDepth;
    } else {
        m_place = Place::Object;
    }
    return true;
}

bool FlatObjectReader::parse_error(
    std::size_t /*position*/, const std::string& /*lastToken*/,
    const nlohmann::json::exception& /*error*/)
{
    return refuse(RequestFault::NoJson);
}

} // namespace wingbell

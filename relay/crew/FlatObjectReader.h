#pragma once

#include "relay/crew/RequestFault.h"

#include <QByteArrayView>

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace wingbell {

/// Reads a JSON object whose members are texts, flags, numbers and lists of numbers.
///
/// Builds no tree: what stands under an unknown name is counted, not kept, so that neither its
/// depth nor its size costs memory. A member that is null counts as missing.
class FlatObjectReader final : public nlohmann::json_sax<nlohmann::json>
{
public:
    enum class Kind { Text, Flag, Whole, Numbers };

    struct Member
    {
        std::string_view name;
        Kind kind;
        std::size_t longest = 0; ///< bytes of a text, entries of a list
    };
    using Value =
        std::variant<std::monostate, std::string, bool, std::uint64_t, std::vector<double>>;

    /// Borrows `members`.
    explicit FlatObjectReader(std::span<const Member> members);

    /// Reads `body`, once. Returns why it is refused; nothing when each member is of its kind.
    [[nodiscard]] std::optional<RequestFault> read(QByteArrayView body);

    /// The value of the member with that index, of its kind; nothing when it is missing.
    template <typename Type> [[nodiscard]] std::optional<Type> value(std::size_t member) const
    {
        const auto* value = std::get_if<Type>(&m_values.at(member));
        return value == nullptr ? std::nullopt : std::optional<Type>(*value);
    }

    bool null() override;
    bool boolean(bool value) override;
    bool number_integer(std::int64_t value) override;
    bool number_unsigned(std::uint64_t value) override;
    bool number_float(double value, const std::string& literal) override;
    bool string(std::string& value) override;
    bool binary(binary_t& value) override;
    bool start_object(std::size_t elements) override;
    bool key(std::string& name) override;
    bool end_object() override;
    bool start_array(std::size_t elements) override;
    bool end_array() override;
    bool parse_error(
        std::size_t position, const std::string& lastToken,
        const nlohmann::json::exception& error) override;

private:
    enum class Place { Outside, Object, List };

    [[nodiscard]] bool isIgnored() const;
    [[nodiscard]] bool isAt(Kind kind) const;
    bool refuse(RequestFault fault);
    bool refuseScalar();
    bool takeNumber(double value);

    std::span<const Member> m_members;
    std::vector<Value> m_values;
    std::vector<bool> m_seen;
    std::optional<std::size_t> m_member; ///< the one whose value comes; none for an unknown one
    Place m_place = Place::Outside;
    std::size_t m_skippedDepth = 0;
    std::optional<RequestFault> m_fault;
};

} // namespace wingbell

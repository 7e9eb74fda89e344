#pragma once

#include "model/ShowFile.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace wingbell {

/// Takes a JSON parser's events and builds the one ShowFile they describe.
///
/// Builds no tree: whatever stands under an unknown key is counted, not kept, so that neither depth
/// nor size of a hostile document costs memory. Every event returns false at the first thing that
/// makes the document no show; `problem()` then says what.
class ShowFileReader final : public nlohmann::json_sax<nlohmann::json>
{
public:
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

    /// The show; to be called once, after every event was accepted.
    [[nodiscard]] ShowFile takeShow() { return std::move(m_show); }

    /// Why the document is no show, for a person to read.
    [[nodiscard]] const QString& problem() const { return m_problem; }

private:
    /// The objects and arrays that matter; everything else is skipped.
    enum class Container { Document, Channels, Roles, Role, Talk, Listen };
    enum class Member { Unknown, Show, Channels, Roles, OscPort, Name, Talk, Listen };
    struct SeenInDocument
    {
        bool show = false;
        bool channels = false;
        bool roles = false;
    };
    struct SeenInRole
    {
        bool name = false;
        bool talk = false;
        bool listen = false;
    };

    [[nodiscard]] bool inside(Container container) const;
    [[nodiscard]] bool insideListOfNames() const;
    [[nodiscard]] bool atUnknownMember() const;
    QStringList& currentList();
    bool scalarIsIgnored() const;
    bool takePort(std::int64_t port);
    bool refuse(const QString& problem);
    bool refuseType(const QString& found);
    [[nodiscard]] QString placeName() const;

    ShowFile m_show;
    std::vector<Container> m_open;
    Member m_member = Member::Unknown;
    std::size_t m_skippedDepth = 0;
    SeenInDocument m_seen;
    SeenInRole m_seenInRole;
    QString m_problem;
};

} // namespace wingbell

#pragma once

#include "base/Result.h"

#include <QByteArrayView>

#include <nlohmann/json.hpp>

#include <cstddef>
#include <optional>
#include <string>

namespace wingbell {

/// Why a text is not taken as JSON.
struct JsonError
{
    enum class Kind {
        ZeroByte,
        Syntax,  ///< broken, not UTF-8, more than one value, or a number beyond all doubles
        TooDeep, ///< nested beyond JsonTreeBuilder::maxDepth
        Repeated ///< a member that may stand there once stands there twice
    };

    Kind kind = Kind::Syntax;
    std::size_t position = 0; ///< of a Syntax error, in bytes
};

/// Builds nlohmann's tree from the parser's events and refuses deep nesting, which would take
/// several dozen times the memory that the text has. Readers derive from it to look at an event:
/// they hide its function and call that of this class.
class JsonTreeBuilder : public nlohmann::detail::json_sax_dom_parser<nlohmann::json>
{
public:
    static constexpr int maxDepth = 100;

    explicit JsonTreeBuilder(nlohmann::json& tree)
        : json_sax_dom_parser(tree, false)
    {
    }

    bool start_object(std::size_t elements) { return enter() && Parser::start_object(elements); }
    bool start_array(std::size_t elements) { return enter() && Parser::start_array(elements); }

    bool end_object()
    {
        --m_depth;
        return Parser::end_object();
    }

    bool end_array()
    {
        --m_depth;
        return Parser::end_array();
    }

    template <typename Exception>
    bool parse_error(std::size_t position, const std::string& /*lastToken*/, const Exception&)
    {
        return refuse({JsonError::Kind::Syntax, position});
    }

    [[nodiscard]] const JsonError& error() const { return m_error; }

protected:
    /// How many objects and lists are open.
    [[nodiscard]] int depth() const { return m_depth; }

    bool refuse(const JsonError& error)
    {
        m_error = error;
        return false;
    }

private:
    using Parser = json_sax_dom_parser;

    bool enter() { return ++m_depth <= maxDepth || refuse({JsonError::Kind::TooDeep}); }

    int m_depth = 0;
    JsonError m_error;
};

/// The value that `text` stands for, as `Builder` builds it. Takes any bytes whatever.
template <typename Builder>
[[nodiscard]] Result<nlohmann::json, JsonError> readJson(QByteArrayView text)
{
    // The parser takes a zero byte for the end of its input and would not see what follows.
    if (text.contains('\0')) {
        return failure(JsonError{JsonError::Kind::ZeroByte});
    }
    nlohmann::json tree;
    Builder builder(tree);
    if (!nlohmann::json::sax_parse(text.begin(), text.end(), &builder)) {
        return failure(builder.error());
    }
    return tree;
}

} // namespace wingbell

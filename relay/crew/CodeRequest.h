#pragma once

#include <QString>

namespace wingbell {

/// Asks with the crew's code for the roles or for the card.
struct CodeRequest
{
    QString code;

    friend bool operator==(const CodeRequest&, const CodeRequest&) = default;
};

} // namespace wingbell

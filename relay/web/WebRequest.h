#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QHostAddress>

#include <optional>

namespace wingbell {

/// What a browser asks for: whole, and within the server's bounds.
struct WebRequest
{
    QByteArray method;      ///< "GET" or "POST"
    QByteArray path;        ///< exactly as sent; never decoded
    QByteArray query;       ///< as sent, without the question mark
    QByteArray contentType; ///< empty when not given
    QByteArray body;
    QHostAddress peer;

    /// The first value of that name in the query, decoded; nothing where the name is missing.
    [[nodiscard]] std::optional<QByteArray> queryItem(QByteArrayView name) const;
};

} // namespace wingbell

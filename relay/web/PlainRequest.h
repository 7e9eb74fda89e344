#pragma once

#include <QByteArrayView>

namespace wingbell {

/// What comes over a connection that did not begin with TLS.
enum class PlainRequest {
    Incomplete, ///< may become anything yet
    Get,
    Head,
    Other, ///< no request for a page
};

/// In bytes: what is read of a plain request at most.
inline constexpr qsizetype mostPlainRequestBytes = 4096;

/// Looks at the beginning of what came, of which nothing but the method matters: the answer is the
/// same whatever was asked for.
[[nodiscard]] PlainRequest readPlainRequest(QByteArrayView bytes);

} // namespace wingbell

#pragma once

#include <QByteArray>

#include <utility>
#include <vector>

namespace wingbell {

/// Names and values of an answer's header fields, in the order in which they are sent.
using WebHeaders = std::vector<std::pair<QByteArray, QByteArray>>;

} // namespace wingbell

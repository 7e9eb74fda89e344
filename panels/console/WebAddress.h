#pragma once

#include <QString>
#include <QUrl>

namespace wingbell {

/// The web address that stands in a line of text, to be offered for opening: the one that holds
/// the character at `position`, or else the line's first. Empty if there is none.
///
/// Lines may quote strangers, so an address is only offered if it can be read for what it is:
/// http or https, in plain ASCII, with a host, without a user's name before the host, and not
/// longer than 300 characters. Punctuation after it and a bracket around it do not belong to it.
[[nodiscard]] QUrl webAddressIn(const QString& line, qsizetype position = -1);

} // namespace wingbell

#pragma once

#include <QString>
#include <QStringList>

namespace wingbell {

/// The names under which others may find the machine that calls itself `hostName`: itself, and its
/// first label with .local. Lower case; none when `hostName` is no name of a host.
[[nodiscard]] QStringList hostNames(const QString& hostName);

} // namespace wingbell

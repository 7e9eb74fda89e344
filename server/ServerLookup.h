#pragma once

#include <QString>

#include <optional>

namespace wingbell {

/// Absolute path of the `IntercomServer` that belongs to an application whose executable lies in
/// `executableFolder`; nothing when no file is there. Whether it can be run is not looked at.
[[nodiscard]] std::optional<QString> embeddedServer(const QString& executableFolder);

/// The same for the running application.
[[nodiscard]] std::optional<QString> embeddedServer();

} // namespace wingbell

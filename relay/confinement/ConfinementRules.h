#pragma once

#include "relay/confinement/Confinement.h"

#include <string>

namespace wingbell {

/// The server's once its ports are open and the show is read: it reads what its libraries need,
/// writes `stateFolder`, starts `speechProgram` and nothing else. To be entered on the main thread
/// before there is another: Landlock confines a thread and those that it starts, not its siblings.
[[nodiscard]] Confinement
serverConfinement(const std::string& stateFolder, const std::string& speechProgram);

/// The one of `speechProgram`, which reads strangers' text: it reads its libraries and data, writes
/// to its pipes, and that is all.
[[nodiscard]] Confinement speechConfinement(const std::string& speechProgram);

} // namespace wingbell

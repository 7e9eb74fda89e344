#pragma once

#include <QIcon>

namespace wingbell {

/// The program's icon for title lists and panels of X11 desktops, which do not ask the desktop
/// entry. It comes with the program, so that a window from the build tree has it too. Has the sizes
/// that such desktops show; each picture is read when a desktop asks for it.
[[nodiscard]] QIcon windowIcon();

} // namespace wingbell

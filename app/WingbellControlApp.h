#pragma once

namespace wingbell {

/// The application: one window, forced dark, and nothing from the command line.
class WingbellControlApp
{
public:
    /// Opens the window and serves it until it is closed. `executable` is the name the program was
    /// called by. Returns the program's exit status. Leaves a running server running.
    [[nodiscard]] static int run(char* executable);
};

} // namespace wingbell

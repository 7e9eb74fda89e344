#pragma once

namespace wingbell {

/// Why a session ends from the server's side.
enum class Goodbye {
    OffAir,
    Replaced, ///< the same page has joined anew
    Silent,   ///< nothing was heard of the page for too long
};

} // namespace wingbell

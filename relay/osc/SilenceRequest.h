#pragma once

namespace wingbell {

/// Asks that what its sender has announced stops and what still waits of it is forgotten.
struct SilenceRequest
{
};

} // namespace wingbell

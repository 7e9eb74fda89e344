#pragma once

namespace wingbell {

/// Puts the null device where standard input, output or error is closed, so that nothing opened
/// later takes its number and gets our lines. To be called first of all.
void fillStandardDescriptors();

} // namespace wingbell

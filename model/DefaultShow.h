#pragma once

#include "model/ShowFile.h"

namespace wingbell {

/// The built-in show: what a new store holds and what stands in for a document that cannot be read.
/// Built once, on first use; its roles keep their identifiers for the whole run.
[[nodiscard]] const ShowFile& defaultShow();

} // namespace wingbell

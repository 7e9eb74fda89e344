#pragma once

#include <functional>

namespace wingbell {

/// Has `work` done on the main thread, in order, as soon as its loop comes to it. Any thread.
void postToMainThread(std::function<void()> work);

} // namespace wingbell

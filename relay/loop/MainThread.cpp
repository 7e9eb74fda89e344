#include "relay/loop/MainThread.h"

#include <glib.h>

#include <memory>

namespace wingbell {

namespace {

using Work = std::function<void()>;

gboolean doOnce(gpointer data)
{
    (*static_cast<Work*>(data))();
    return G_SOURCE_REMOVE;
}

void forget(gpointer data)
{
    delete static_cast<Work*>(data);
}

} // namespace

void postToMainThread(std::function<void()> work)
{
    // Never done at once, even when this is the main thread: the caller is not to be re-entered.
    auto owned = std::make_unique<Work>(std::move(work));
    g_idle_add_full(G_PRIORITY_DEFAULT, doOnce, owned.release(), forget);
}

} // namespace wingbell

#include "relay/loop/Watch.h"

#include <glib-unix.h>

#include <memory>
#include <utility>

namespace wingbell {

namespace {

struct Call
{
    std::function<void()> function;
    bool isRepeated = true;
};

/// A copy is called: the function may end the watch that owns it.
gboolean call(gpointer data)
{
    const Call copy = *static_cast<Call*>(data);
    copy.function();
    return copy.isRepeated ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

gboolean callForDescriptor(gint /*descriptor*/, GIOCondition /*condition*/, gpointer data)
{
    return call(data);
}

void forget(gpointer data)
{
    delete static_cast<Call*>(data);
}

unsigned watchDescriptor(int descriptor, GIOCondition condition, std::function<void()> ready)
{
    return g_unix_fd_add_full(
        G_PRIORITY_DEFAULT, descriptor, condition, callForDescriptor, new Call{std::move(ready)},
        forget);
}

unsigned watchTime(std::chrono::milliseconds period, Call&& what)
{
    return g_timeout_add_full(
        G_PRIORITY_DEFAULT, static_cast<guint>(std::max<long>(period.count(), 0)), call,
        new Call(std::move(what)), forget);
}

} // namespace

Watch Watch::readable(int descriptor, std::function<void()> ready)
{
    return Watch(watchDescriptor(descriptor, G_IO_IN, std::move(ready)));
}

Watch Watch::writable(int descriptor, std::function<void()> ready)
{
    return Watch(watchDescriptor(
        descriptor, static_cast<GIOCondition>(G_IO_OUT | G_IO_ERR | G_IO_HUP), std::move(ready)));
}

Watch Watch::after(std::chrono::milliseconds delay, std::function<void()> due)
{
    return Watch(watchTime(delay, {std::move(due), false}));
}

Watch Watch::every(std::chrono::milliseconds period, std::function<void()> due)
{
    return Watch(watchTime(period, {std::move(due), true}));
}

Watch::Watch(Watch&& other) noexcept
    : m_source(std::exchange(other.m_source, 0))
{
}

Watch& Watch::operator=(Watch&& other) noexcept
{
    std::swap(m_source, other.m_source);
    return *this;
}

Watch::~Watch()
{
    // One that was due once is gone already.
    GSource* source = m_source == 0 ? nullptr : g_main_context_find_source_by_id(nullptr, m_source);
    if (source != nullptr) {
        g_source_destroy(source);
    }
}

} // namespace wingbell

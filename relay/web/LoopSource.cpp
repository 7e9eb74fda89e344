#include "relay/web/LoopSource.h"

#include <algorithm>
#include <glib.h>

namespace wingbell {

struct LoopSource::Source
{
    GSource base;
    std::shared_ptr<Ready>* ready; ///< lives until the source is destroyed
    void* tag;

    static gboolean dispatch(GSource* source, GSourceFunc, gpointer);
};

namespace {

std::shared_ptr<LoopSource::Ready> kept(LoopSource::Ready ready)
{
    return std::make_shared<LoopSource::Ready>(std::move(ready));
}

} // namespace

LoopSource::LoopSource(Ready ready)
    : LoopSource(-1, std::move(ready))
{
}

LoopSource::LoopSource(int descriptor, Ready ready)
    : m_ready(kept(std::move(ready)))
{
    // GLib keeps the pointer, and writes to none of these.
    static GSourceFuncs functions = {nullptr, nullptr, &Source::dispatch,
                                     nullptr, nullptr, nullptr};
    m_source = reinterpret_cast<Source*>(g_source_new(&functions, sizeof(Source)));
    m_source->ready = &m_ready;
    if (descriptor >= 0) {
        m_tag = g_source_add_unix_fd(&m_source->base, descriptor, static_cast<GIOCondition>(0));
    }
    m_source->tag = m_tag;
    g_source_attach(&m_source->base, g_main_context_get_thread_default());
}

LoopSource::~LoopSource()
{
    g_source_destroy(&m_source->base);
    g_source_unref(&m_source->base);
}

void LoopSource::await(short events)
{
    if (m_tag == nullptr || events == m_awaited) {
        return;
    }
    m_awaited = events;
    g_source_modify_unix_fd(&m_source->base, m_tag, static_cast<GIOCondition>(events));
}

void LoopSource::wakeAt(std::optional<Clock::time_point> due)
{
    if (!due) {
        g_source_set_ready_time(&m_source->base, -1);
        return;
    }
    // Both clocks are the system's monotonic one, but only GLib's knows its own zero.
    const auto left = std::chrono::ceil<std::chrono::microseconds>(*due - Clock::now());
    g_source_set_ready_time(
        &m_source->base, std::max<gint64>(0, g_get_monotonic_time() + left.count()));
}

void LoopSource::wakeSoon()
{
    g_source_set_ready_time(&m_source->base, 0);
}

gboolean LoopSource::Source::dispatch(GSource* source, GSourceFunc, gpointer)
{
    auto* self = reinterpret_cast<Source*>(source);
    const auto ready = *self->ready; // what it calls may destroy the owner
    const auto events = self->tag == nullptr ? 0 : g_source_query_unix_fd(source, self->tag);
    g_source_set_ready_time(source, -1);
    (*ready)(static_cast<short>(events));
    return G_SOURCE_CONTINUE;
}

} // namespace wingbell

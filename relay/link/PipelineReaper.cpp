#include "relay/link/PipelineReaper.h"

namespace wingbell {

PipelineReaper::PipelineReaper()
    : m_thread([this] { work(); })
{
}

PipelineReaper::~PipelineReaper()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isOver = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

void PipelineReaper::end(GstPointer<GstElement> pipeline)
{
    {
        const std::lock_guard lock(m_mutex);
        m_pipelines.push_back(std::move(pipeline));
    }
    m_changed.notify_one();
}

void PipelineReaper::work()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_isOver || !m_pipelines.empty(); });
        if (m_pipelines.empty()) {
            return;
        }
        const GstPointer<GstElement> pipeline = std::move(m_pipelines.front());
        m_pipelines.pop_front();
        lock.unlock();
        gst_element_set_state(pipeline.get(), GST_STATE_NULL);
        lock.lock();
    }
}

} // namespace wingbell

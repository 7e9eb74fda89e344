#pragma once

#include "relay/link/GlibPointer.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace wingbell {

/// Ends pipelines on a thread of its own: that joins the threads of the media library and can take
/// long, so the main thread is not to wait for it. Any thread.
class PipelineReaper
{
public:
    PipelineReaper();
    /// Waits until everything it was given is ended.
    ~PipelineReaper();
    PipelineReaper(const PipelineReaper&) = delete;
    PipelineReaper& operator=(const PipelineReaper&) = delete;

    void end(GstPointer<GstElement> pipeline);

private:
    void work();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<GstPointer<GstElement>> m_pipelines;
    bool m_isOver = false;
    std::thread m_thread;
};

} // namespace wingbell

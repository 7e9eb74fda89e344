#pragma once

#include <glib.h>

#include <memory>

namespace wingbell {

/// The main thread's loop. Main thread only, except for quit().
class MainLoop
{
public:
    MainLoop();

    /// Waits for whatever there is to wait for, until quit().
    void run();

    /// Any thread.
    void quit();

private:
    struct Unref
    {
        void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
    };

    std::unique_ptr<GMainLoop, Unref> m_loop;
};

} // namespace wingbell

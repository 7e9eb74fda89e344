#include "relay/loop/MainLoop.h"

namespace wingbell {

MainLoop::MainLoop()
    : m_loop(g_main_loop_new(nullptr, FALSE))
{
}

void MainLoop::run()
{
    g_main_loop_run(m_loop.get());
}

void MainLoop::quit()
{
    g_main_loop_quit(m_loop.get());
}

} // namespace wingbell

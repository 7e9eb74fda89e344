#pragma once
#include "server/SleepInhibitor.h"
namespace wingbell {
class DesktopSleepInhibitor : public SleepInhibitor
{
public:
    quint32 inhibit(const QString&) override { return 0; }
    void release(quint32) override {}
};
} // namespace wingbell

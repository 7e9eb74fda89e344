#include "panels/Sight.h"

#include <algorithm>
#include <chrono>

namespace wingbell {

Sight::Sight(QObject* parent)
    : QObject(parent)
{
    constexpr std::chrono::milliseconds frame{16};
    m_frames.setInterval(frame);
    connect(&m_frames, &QTimer::timeout, this, &Sight::reachOut);
}

void Sight::setPosition(double position)
{
    if (m_position == position) {
        return;
    }
    m_position = position;
    look();
    Q_EMIT positionChanged();
}

void Sight::setExtent(double extent)
{
    if (m_extent == extent) {
        return;
    }
    m_extent = extent;
    look();
    Q_EMIT extentChanged();
}

Band Sight::around(double reach) const
{
    return {m_position - reach, m_position + m_extent + reach};
}

Band Sight::wanted() const
{
    return around(std::max(least, m_extent));
}

void Sight::look()
{
    // What has been near stays so until it is a step too far: scrolling to and fro changes nothing.
    const Band must = around(least);
    const Band may = around(std::max(least, m_extent) + step);
    Band near = must;
    if (m_near.meets(must.top, must.bottom)) {
        near.top = std::clamp(m_near.top, may.top, must.top);
        near.bottom = std::clamp(m_near.bottom, must.bottom, may.bottom);
    }
    setNear(near);
    m_frames.start();
}

void Sight::reachOut()
{
    const Band goal = wanted();
    Band near = m_near;
    near.top = std::min(near.top, std::max(goal.top, near.top - step));
    near.bottom = std::max(near.bottom, std::min(goal.bottom, near.bottom + step));
    if (near == m_near) {
        m_frames.stop();
    }
    setNear(near);
}

void Sight::setNear(const Band& near)
{
    if (m_near == near) {
        return;
    }
    m_near = near;
    Q_EMIT nearChanged();
}

} // namespace wingbell

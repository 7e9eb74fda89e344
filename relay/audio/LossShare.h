#pragma once

namespace wingbell {

/// The share of packets that are lost, as an exponential moving average over the last few hundred.
/// Not thread-safe.
class LossShare
{
public:
    void reset() { *this = LossShare(); }

    /// One more packet was lost, or was not.
    void count(bool isLost)
    {
        m_share += ((isLost ? 1.0F : 0.0F) - m_share) / packetsRemembered;
        m_isHigh = m_share > (m_isHigh ? noMoreHigh : high);
    }

    /// From 0 to 1.
    [[nodiscard]] float value() const { return m_share; }

    /// Whether it is so high that something should be done; with hysteresis.
    [[nodiscard]] bool isHigh() const { return m_isHigh; }

private:
    static constexpr float packetsRemembered = 256;
    static constexpr float high = 0.05F;
    static constexpr float noMoreHigh = 0.02F;

    float m_share = 0;
    bool m_isHigh = false;
};

} // namespace wingbell

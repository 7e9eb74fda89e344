#include "panels/ScrollAnchor.h"

#include <cmath>

namespace wingbell {

void ScrollAnchor::drop(double position)
{
    m_inCards.reset();
    m_inSection.reset();
    if (position >= m_cardsTop && m_cardPitch > 0.0) {
        m_inCards = (position - m_cardsTop) / m_cardPitch;
    } else if (position >= m_sectionTop) {
        m_inSection = position - m_sectionTop;
    }
}

double ScrollAnchor::follow(double position) const
{
    if (m_inCards) {
        return std::round(m_cardsTop + *m_inCards * m_cardPitch);
    }
    if (m_inSection) {
        return std::round(m_sectionTop + *m_inSection);
    }
    return position;
}

} // namespace wingbell

#pragma once

#include <QObject>
#include <QQmlEngine>

#include <optional>

namespace wingbell {

/// Remembers what stands at the upper edge of what is seen, and where that has gone when things
/// above it or around it have become higher or lower: what a person looks at stays before their
/// eyes. Knows a section, and below it equal cards, one a pitch. What is above the section holds
/// nothing: who sees the very top goes on seeing it. All in points, from the top of the content.
class ScrollAnchor : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(double sectionTop MEMBER m_sectionTop)
    Q_PROPERTY(double cardsTop MEMBER m_cardsTop)
    Q_PROPERTY(double cardPitch MEMBER m_cardPitch)

public:
    using QObject::QObject;

    /// From now on holds what stands at `position` now.
    Q_INVOKABLE void drop(double position);
    /// Where that stands now, in whole points; `position` where nothing is held.
    [[nodiscard]] Q_INVOKABLE double follow(double position) const;

private:
    double m_sectionTop = 0.0;
    double m_cardsTop = 0.0;
    double m_cardPitch = 0.0;
    std::optional<double> m_inSection; ///< points below its top
    std::optional<double> m_inCards;   ///< cards below their top, the last one in part
};

} // namespace wingbell

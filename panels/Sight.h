#pragma once

#include "panels/Band.h"

#include <QObject>
#include <QQmlEngine>
#include <QTimer>

namespace wingbell {

/// Which part of something long is to be there because it is seen or soon may be. What is seen, and
/// a little around it, is near at once; as much again above and below becomes near step by step, a
/// step a frame, so that no frame waits for what nobody sees yet. In points.
class Sight : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(double position READ position WRITE setPosition NOTIFY positionChanged)
    Q_PROPERTY(double extent READ extent WRITE setExtent NOTIFY extentChanged)
    Q_PROPERTY(wingbell::Band near READ near NOTIFY nearChanged)

public:
    /// What the keyboard's focus can reach from something seen by one press of a key is no further
    /// away than this, and so always there.
    static constexpr double least = 160.0;
    /// How much becomes near with one frame, above and below.
    static constexpr double step = 64.0;

    explicit Sight(QObject* parent = nullptr);

    /// Where what is seen begins, and how much of it is seen.
    [[nodiscard]] double position() const { return m_position; }
    void setPosition(double position);
    [[nodiscard]] double extent() const { return m_extent; }
    void setExtent(double extent);

    [[nodiscard]] const Band& near() const { return m_near; }
    /// Whether more is to become near with the next frames.
    [[nodiscard]] bool isReachingOut() const { return m_frames.isActive(); }

Q_SIGNALS:
    void positionChanged();
    void extentChanged();
    void nearChanged();

private:
    [[nodiscard]] Band around(double reach) const;
    [[nodiscard]] Band wanted() const;
    void look();
    void reachOut();
    void setNear(const Band& near);

    double m_position = 0.0;
    double m_extent = 0.0;
    Band m_near = around(least);
    QTimer m_frames;
};

} // namespace wingbell

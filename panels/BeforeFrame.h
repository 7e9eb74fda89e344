#pragma once

#include <QQuickItem>

namespace wingbell {

/// Calls back once before the next frame of its window is drawn, however often it was asked: what
/// depends on many places that change one after the other is done for the last of them only.
class BeforeFrame : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT

public:
    explicit BeforeFrame(QQuickItem* parent = nullptr)
        : QQuickItem(parent)
    {
    }

    /// To be due with the next frame. Without a window, with the first frame of the one it gets.
    Q_INVOKABLE void ask() { polish(); }

Q_SIGNALS:
    void due();

protected:
    void updatePolish() override { Q_EMIT due(); }
};

} // namespace wingbell

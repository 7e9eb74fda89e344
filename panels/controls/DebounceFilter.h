#pragma once

#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QQuickItem>

#include <optional>

class QKeyEvent;
class QPointerEvent;
class QQuickWindow;

namespace wingbell {

/// Whether the second of two presses, told by the times of their events, comes so soon that a
/// double click may be meant.
[[nodiscard]] bool isDoubleClick(quint64 first, quint64 second);

/// An event filter that debounces the presses in a window, by the times of their events.
/// A held key is one press: its repeats reach only a text that had the focus when the key went
/// down, except for the keys that scroll or move the focus. The second of two quick presses does
/// nothing if what the first one pressed has gone. A blank within typed text presses no button.
class DebounceFilter : public QObject
{
    Q_OBJECT

public:
    /// Makes sure that the window has one filter, which it owns.
    static void install(QQuickWindow& window);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Key
    {
        QPointer<QQuickItem> item; ///< that had the focus; null if the press was dropped
        quint64 time = 0;
        bool presses = false;
        bool types = false;
    };
    struct Release
    {
        quint64 time = 0;
        quint32 code = 0;
    };
    struct Click
    {
        QPointer<QQuickItem> item;
        QPointF place; ///< on the screen
        quint64 time = 0;
    };

    explicit DebounceFilter(QQuickWindow& window);

    [[nodiscard]] bool isThere(const QQuickItem* item) const;
    [[nodiscard]] bool isRepeat(const QKeyEvent& event) const;
    [[nodiscard]] bool shouldDropRepeat(const QKeyEvent& event) const;
    [[nodiscard]] bool shouldDrop(const QKeyEvent& event);
    [[nodiscard]] bool shouldDrop(const QPointerEvent& event);
    [[nodiscard]] bool hitsAnother(const QPointerEvent& event) const;

    QQuickWindow& m_window;
    Key m_key;
    Release m_release; ///< of the key that went up last
    std::optional<Click> m_click;
    bool m_isDroppingClick = false;
};

} // namespace wingbell

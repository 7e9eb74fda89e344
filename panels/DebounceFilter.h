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

/// Debounces what is pressed in a window. A held key is one press: only a text that had the focus
/// at its beginning, the keys that scroll and those that move the focus are repeated. Where what
/// was pressed has gone, the second of two quick presses does nothing to what has come in its
/// place. A blank in typed text is no press of a button. Told by the times of the events, not by
/// clocks.
class DebounceFilter : public QObject
{
    Q_OBJECT

public:
    /// Sees to it that the window has a filter, which it owns.
    static void install(QQuickWindow& window);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Key
    {
        QPointer<QQuickItem> item; ///< that had the focus; none if it was kept from it
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
    [[nodiscard]] bool isKeptFromRepeating(const QKeyEvent& event) const;
    [[nodiscard]] bool isKept(const QKeyEvent& event);
    [[nodiscard]] bool isKept(const QPointerEvent& event);
    [[nodiscard]] bool hitsAnother(const QPointerEvent& event) const;

    QQuickWindow& m_window;
    Key m_key;
    Release m_release; ///< of the key that went up last
    std::optional<Click> m_click;
    bool m_isClickKept = false;
};

} // namespace wingbell

#pragma once

#include <QQuickItem>

#include <optional>

namespace wingbell {

/// An item that is pressed by the left mouse button, a finger, Space, Return and Enter. A pointer
/// presses as it is let go and leaves the keyboard's focus where it is. However small it is drawn,
/// 24 points of it can be hit each way. Draws nothing. One item for all of it, because a show has
/// thousands of chips. Its window gets a DebounceFilter.
class PressArea : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool pressed READ isPressed NOTIFY pressedChanged)
    Q_PROPERTY(QRectF place READ place WRITE setPlace NOTIFY placeChanged)
    Q_PROPERTY(bool debounced MEMBER m_isDebounced NOTIFY debouncedChanged)

public:
    explicit PressArea(QQuickItem* parent = nullptr);

    /// Whether a pointer holds it down and is over it.
    [[nodiscard]] bool isPressed() const { return m_isPressed; }

    /// Position and size in its parent, in points, at once: one binding where there are thousands.
    [[nodiscard]] QRectF place() const { return {position(), size()}; }
    void setPlace(const QRectF& place);

    /// Tells a press, unless disabled.
    Q_INVOKABLE void press();
    /// Makes nothing of the pointer's press that is going on: what it was meant for has changed.
    Q_INVOKABLE void cancel();

    [[nodiscard]] bool contains(const QPointF& point) const override;

Q_SIGNALS:
    void clicked();
    void pressedChanged();
    void placeChanged();
    /// Whether a press by key or pointer counts only when the one before is longer ago than the
    /// parts of a double click are.
    void debouncedChanged();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseUngrabEvent() override;
    void keyPressEvent(QKeyEvent* event) override;
    void itemChange(ItemChange change, const ItemChangeData& data) override;
    void geometryChange(const QRectF& place, const QRectF& before) override;

private:
    [[nodiscard]] bool isBounce(quint64 time);
    void setPressed(bool pressed);

    bool m_isDebounced = false;
    bool m_isHeld = false; ///< by a pointer whose press is to count
    bool m_isPressed = false;
    std::optional<quint64> m_before; ///< when the last press began, by its event
};

} // namespace wingbell

#pragma once

#include <QQuickItem>

namespace wingbell {

/// An item that is pressed by the left mouse button, a finger, Space, Return and Enter. A press by
/// pointer takes the keyboard's focus. Draws nothing. One item for all of it, because a show has
/// thousands of chips.
class PressArea : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool pressed READ isPressed NOTIFY pressedChanged)
    Q_PROPERTY(bool showsFocus READ showsFocus NOTIFY showsFocusChanged)

public:
    explicit PressArea(QQuickItem* parent = nullptr);

    /// Whether a pointer holds it down and is over it.
    [[nodiscard]] bool isPressed() const { return m_isPressed; }
    /// Whether the keyboard's focus is here and is to be shown: not where a pointer put it.
    [[nodiscard]] bool showsFocus() const { return m_showsFocus; }

    /// Tells a press, unless disabled.
    Q_INVOKABLE void press();

Q_SIGNALS:
    void clicked();
    void pressedChanged();
    void showsFocusChanged();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseUngrabEvent() override;
    void keyPressEvent(QKeyEvent* event) override;
    void itemChange(ItemChange change, const ItemChangeData& data) override;

private:
    void setPressed(bool pressed);
    void showFocus();

    bool m_isPressed = false;
    bool m_isReachedByPointer = false;
    bool m_showsFocus = false;
};

} // namespace wingbell

#pragma once

#include <QObject>
#include <QQmlEngine>

namespace wingbell {

/// Whether a save was pressed a moment ago. Each press ends the moment 1.4 seconds later, also one
/// that a later press has started again.
class SaveFeedback : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool justSaved READ justSaved NOTIFY justSavedChanged)

public:
    using QObject::QObject;

    [[nodiscard]] bool justSaved() const { return m_justSaved; }

    Q_INVOKABLE void savePressed();

Q_SIGNALS:
    void justSavedChanged();

private:
    void setJustSaved(bool justSaved);

    bool m_justSaved = false;
};

} // namespace wingbell

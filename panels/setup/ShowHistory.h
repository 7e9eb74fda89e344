#pragma once

#include "model/ShowConfig.h"

#include <QObject>
#include <QPointer>
#include <QQmlEngine>
#include <QUndoStack>

namespace wingbell {

/// Undo and redo of a show's edits, one step an operation of the store, a reload among them. A step
/// restores the show as it was, the roles' ids included, and is an edit like any other: it marks
/// the show as unsaved. What is typed into one name is one step. User-interface thread only.
class ShowHistory : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to ShowSetup")

public:
    /// A part of the show.
    enum class Place { ShowName, Port, Channels, Roles };
    Q_ENUM(Place)

    /// More steps than that are forgotten, the oldest first.
    static constexpr int maxSteps = 100;

    explicit ShowHistory(QObject* parent = nullptr);

    /// Records that store's edits from now on, forgetting all others; not owned.
    void setConfig(ShowConfig* config);

    /// Takes the last step back, if there is one.
    Q_INVOKABLE void undo();
    /// Makes the step again that was taken back last, if there is one.
    Q_INVOKABLE void redo();
    /// What is typed from now on is a step of its own.
    Q_INVOKABLE void endTyping();

Q_SIGNALS:
    /// There was a step other than by typing: an earlier undo of a text field's own is out of date.
    void stepped();
    /// A step back or forth changed the show there; among the roles from that position on.
    void changedAt(wingbell::ShowHistory::Place place, int role);

private:
    void record();
    [[nodiscard]] bool isTypedBack() const;
    void step(void (QUndoStack::*way)());
    void takeStep(void (QUndoStack::*way)());

    QPointer<ShowConfig> m_config;
    ShowFile m_show; ///< as the last step left it
    QUndoStack m_steps;
    bool m_isStepping = false;
};

} // namespace wingbell

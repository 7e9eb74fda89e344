#pragma once

#include <QObject>
#include <QQmlEngine>
#include <QString>

namespace wingbell {

/// What the channels editor asks about a name.
class ChannelName : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    /// True when nothing is left of the name without the horizontal space around it. A line break
    /// counts as something.
    [[nodiscard]] Q_INVOKABLE static bool isBlank(const QString& name);
};

} // namespace wingbell

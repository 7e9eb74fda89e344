#pragma once

#include <QObject>
#include <QQmlEngine>
#include <QString>

namespace wingbell {

/// Texts of several lines where there is one line for them: a name from a file may hold a line
/// break.
class LineBreaks : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    /// The text with a blank for every line break, as fields of one line have it.
    [[nodiscard]] Q_INVOKABLE static QString asBlanks(QString text);
    /// The text with a sign for every line break, so that names that differ look different.
    [[nodiscard]] Q_INVOKABLE static QString asSigns(QString text);
};

} // namespace wingbell

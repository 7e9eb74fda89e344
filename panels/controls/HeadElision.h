#pragma once

#include <QFont>
#include <QObject>
#include <QQmlEngine>
#include <QString>

namespace wingbell {

/// Shortens text at its head: what comes first gives way first, so that a path's file name stays.
class HeadElision : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    /// `text` if it takes at most `lines` lines of `width` points, broken anywhere; otherwise an
    /// ellipsis and the longest end of it that does.
    [[nodiscard]] Q_INVOKABLE static QString
    elided(const QString& text, const QFont& font, double width, int lines);
};

} // namespace wingbell

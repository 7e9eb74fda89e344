#pragma once

#include <QFont>
#include <QObject>
#include <QQmlEngine>
#include <QString>

namespace wingbell {

/// Texts made to fit where they are shown.
class DisplayText : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    /// The text with a blank for every line break, as fields of one line have it. A name from a
    /// file may hold a line break.
    [[nodiscard]] Q_INVOKABLE static QString withBlanks(QString text);
    /// The text with a sign for every line break, so that names that differ look different.
    [[nodiscard]] Q_INVOKABLE static QString withReturnSigns(QString text);

    /// `text` if it takes at most `lines` lines of `width` points, broken anywhere; otherwise an
    /// ellipsis and as much of its end as fits, so that a path's file name stays.
    [[nodiscard]] Q_INVOKABLE static QString
    elidedAtHead(const QString& text, const QFont& font, double width, int lines);
};

} // namespace wingbell

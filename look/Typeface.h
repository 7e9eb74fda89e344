#pragma once

#include <QFont>
#include <QObject>
#include <QPainterPath>
#include <QQmlEngine>
#include <QString>

namespace wingbell {

/// The families of the desk's lettering: the best of a chain that this machine has. Everything
/// else is set in the desktop's own font.
class Typeface : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QString rounded READ rounded CONSTANT)
    Q_PROPERTY(QString monospaced READ monospaced CONSTANT)

public:
    /// With round stroke ends.
    [[nodiscard]] static const QString& rounded();
    /// Every character equally wide, best 0.6 of the size.
    [[nodiscard]] static const QString& monospaced();
};

/// The outlines of a line of letters a good deal heavier than in that font, whose size is in
/// pixels, for rounded families end with bold. As long as in the font itself, with the line's top
/// left corner at the origin.
[[nodiscard]] QPainterPath heavyLetters(const QString& text, const QFont& font);

} // namespace wingbell

#pragma once

#include <QObject>
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

} // namespace wingbell

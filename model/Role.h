#pragma once

#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QUuid>

namespace wingbell {

/// One intercom role: a person or position that talks and listens on channels.
///
/// Identity is `id` alone: a fresh random UUID a load, never written to the file. Equality is
/// member-wise, so the same document read twice gives unequal roles.
struct Role
{
    Q_GADGET
    Q_PROPERTY(QUuid id MEMBER id)
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(QStringList talk MEMBER talk)
    Q_PROPERTY(QStringList listen MEMBER listen)

public:
    QUuid id;           ///< identity inside the running program
    QString name;       ///< display name; free text, may be empty, need not be unique
    QStringList talk;   ///< channels spoken on, in the order in which they were switched on
    QStringList listen; ///< channels heard, likewise; either list may name a channel of no show

    friend bool operator==(const Role&, const Role&) = default;
};

} // namespace wingbell

#pragma once

#include <QList>
#include <QString>

namespace wingbell {

/// The show's roles, as the page offers them.
struct RolesAnswer
{
    struct Role
    {
        QString key;
        QString name;
        int present = 0; ///< people on it now
    };

    QString show;
    QList<Role> roles;
};

} // namespace wingbell

#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace wingbell {

/// A session that has begun.
struct JoinAnswer
{
    struct Channel
    {
        QString name;
        bool talk = false;
        bool listen = false;
    };

    QString session;
    QString show;
    QString roleKey;
    QString roleName;
    QList<Channel> channels; ///< the role's own, in the show's order
    QByteArray offer;        ///< SDP
};

} // namespace wingbell

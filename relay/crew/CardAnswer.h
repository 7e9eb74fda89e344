#pragma once

#include "relay/crew/QrCode.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace wingbell {

/// What stands on the printed card that tells the crew how to join.
struct CardAnswer
{
    struct Role
    {
        QString name;
        QString url;
        QrCode qr;
    };

    QString show;
    QString code;
    QString address;
    QStringList others;  ///< further addresses
    QString fingerprint; ///< SHA-256 of the certificate, as browsers show it
    QString pageUrl;
    QrCode pageQr;
    QList<Role> roles;
};

} // namespace wingbell

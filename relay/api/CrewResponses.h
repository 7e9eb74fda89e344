#pragma once

#include "relay/api/QrCode.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>
#include <vector>

namespace wingbell {

// What the server tells the crew's pages: JSON in UTF-8, on one line. A lone surrogate, which is no
// text, becomes a question mark.

/// The show's roles, as the page offers them.
struct RolesResponse
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

/// A session that has begun.
struct JoinResponse
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

/// What stands on the printed card that tells the crew how to join.
struct CardResponse
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
    QString authority;   ///< the same of the desk's authority; empty if it does not vouch
    QString pageUrl;
    QrCode pageQr;
    QList<Role> roles;
};

[[nodiscard]] QByteArray responseText(const RolesResponse& response);
[[nodiscard]] QByteArray responseText(const JoinResponse& response);
[[nodiscard]] QByteArray responseText(const CardResponse& response);

/// {"error":"slow-down","seconds":5}
[[nodiscard]] QByteArray slowDownText(std::chrono::seconds wait);

/// {"error":"not-now","seconds":0.25}
[[nodiscard]] QByteArray notNowText(std::chrono::milliseconds wait);

// What events of a stream bring.

/// What goes on on the channels of one listener's role, in their order.
struct DeskEvent
{
    struct Call
    {
        QString from; ///< a role; empty if the desk or a cue player calls
        bool isMine = false;
        bool isAcknowledged = false;
        int called = 0;       ///< how many people, if it is the listener's own
        QStringList answered; ///< the roles of those who have acknowledged, likewise

        friend bool operator==(const Call&, const Call&) = default;
    };

    struct Light
    {
        bool isGo = false; ///< otherwise standby
        QString text;
        bool isAcknowledged = false;

        friend bool operator==(const Light&, const Light&) = default;
    };

    struct Channel
    {
        QStringList talking; ///< names of the others' roles
        bool announcing = false;
        std::optional<Call> call = {};
        std::optional<Light> light = {};

        friend bool operator==(const Channel&, const Channel&) = default;
    };

    QList<Channel> channels;

    friend bool operator==(const DeskEvent&, const DeskEvent&) = default;
};

/// Why a session ends from the server's side.
enum class Goodbye {
    OffAir,
    Replaced, ///< the same page has joined again
    Silent,   ///< nothing was heard of the page for too long
};

[[nodiscard]] QByteArray eventData(const DeskEvent& event);
[[nodiscard]] QByteArray eventData(Goodbye reason);

/// {"reason":"handed-over","retry":120}: another server takes over; join again after so many
/// milliseconds.
[[nodiscard]] QByteArray handedOverData(std::chrono::milliseconds retryAfter);

/// {"channels":[0,2]}
[[nodiscard]] QByteArray forgottenData(const std::vector<int>& channels);

/// {"count":1}
[[nodiscard]] QByteArray keysClosedData(quint64 count);

/// {"text":"Beginners, please"}
[[nodiscard]] QByteArray announcementData(const QString& announcement);

/// {"retryWindow":250}, in milliseconds
[[nodiscard]] QByteArray heartbeatData(std::chrono::milliseconds retryWindow);

} // namespace wingbell

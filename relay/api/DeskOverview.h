#pragma once

#include "relay/api/CrewRequests.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>
#include <vector>

namespace wingbell {

// What the server tells the desk's own page: JSON in UTF-8, on one line.

/// A crew member.
struct MemberOverview
{
    using Time = std::chrono::steady_clock::time_point;

    struct OpenKey
    {
        std::size_t channel = 0; ///< its place in the show
        Time since;
    };

    quint32 id = 0;       ///< never used twice
    std::size_t role = 0; ///< its place in the show
    QString address;
    bool isConnected = false;
    bool hasMicrophone = false;
    std::vector<OpenKey> openKeys;
    std::optional<Time> lastSpeech; ///< through an open key
    PageReport report;
};

/// A channel of the show.
struct ChannelOverview
{
    struct Call
    {
        QString from; ///< a role; empty if the desk or a cue player calls
        int called = 0;
        QStringList answered; ///< the roles of those who have acknowledged
    };

    struct Light
    {
        bool isGo = false; ///< otherwise standby
        QString text;
        int shown = 0; ///< to how many people
        QStringList answered;
    };

    bool isAnnouncing = false;
    std::optional<Call> call;
    std::optional<Light> light;
};

/// What goes on in the show.
struct DeskOverview
{
    std::vector<MemberOverview> members;
    std::vector<ChannelOverview> channels; ///< all of them
};

/// {"session":"…","show":"…","channels":["Main"],"roles":["Caller"]}
[[nodiscard]] QByteArray deskOpenedText(
    const QString& session, const QString& show, const QStringList& channels,
    const QStringList& roles);

/// {"members":[…],"channels":[…]}, with times in milliseconds since `epoch`, those of speech
/// rounded to seconds, so that it changes no more often.
[[nodiscard]] QByteArray overviewText(const DeskOverview& overview, MemberOverview::Time epoch);

/// {"now":12345,"crew":`overview`}, with the time since the same epoch.
[[nodiscard]] QByteArray overviewEvent(const QByteArray& overview, std::chrono::milliseconds now);

/// {"count":2}
[[nodiscard]] QByteArray countText(std::size_t count);

} // namespace wingbell

#pragma once

#include "base/Result.h"
#include "relay/api/CrewRequests.h"
#include "relay/audio/Room.h"
#include "relay/link/MediaLink.h"
#include "relay/sessions/CrewEvents.h"
#include "relay/sessions/CrewNews.h"
#include "relay/sessions/ShowPatch.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace wingbell {

/// Everybody who is on a role: their links, their keys, what they see of each other.
///
/// Knows no clock and starts no timer: call lookAround() about once a second while anybody is
/// there. Main thread only.
class Crew
{
public:
    using Clock = std::chrono::steady_clock;
    using Session = QString;

    static constexpr std::size_t mostPeople = 64;
    /// So many may be on their way in at once: making a link is the dearest thing there is here.
    static constexpr std::size_t mostOnTheirWay = 24;

    /// From the offer to the first sound.
    static constexpr Clock::duration arrival = std::chrono::seconds(15);
    /// Without a word of the page, the keys count as let go.
    static constexpr Clock::duration keyPatience = std::chrono::seconds(6);
    /// Without a word and without sound, somebody is gone.
    static constexpr Clock::duration patience = std::chrono::seconds(20);
    static constexpr Clock::duration beatEvery = std::chrono::seconds(2);
    static constexpr Clock::duration unheardAfter = std::chrono::seconds(2);

    struct Joining
    {
        std::size_t role = 0; ///< its place in the show
        bool microphone = false;
        Session replaces; ///< the page's session before this one, or empty
        QString address;
    };

    struct Joined
    {
        Session session;
        QByteArray offer;

        friend bool operator==(const Joined&, const Joined&) = default;
    };

    enum class JoinError {
        Full,
        NotNow, ///< too many at once, or the link could not be made
    };

    using JoinOutcome = Result<Joined, JoinError>;

    /// Borrows all of them; they must outlive it.
    Crew(const ShowPatch& show, Room& room, LinkMaker makeLink, CrewNews& news);
    ~Crew();
    Q_DISABLE_COPY_MOVE(Crew)

    /// Takes somebody in. `done` is called once, now or later, unless the crew ends before.
    void join(const Joining& joining, Clock::time_point now, std::function<void(JoinOutcome)> done);

    /// False when there is no such session, here and below.
    [[nodiscard]] bool has(const Session& session) const { return m_members.contains(session); }
    [[nodiscard]] bool
    takeAnswer(const Session& session, const SdpAnswer& answer, Clock::time_point now);
    [[nodiscard]] bool takeState(const StateRequest& state, Clock::time_point now);
    /// Where it learns what happens from now on; what was there before is forgotten.
    [[nodiscard]] bool
    takeEvents(const Session& session, std::unique_ptr<CrewEvents> events, Clock::time_point now);
    void leave(const Session& session);

    /// How many are on the role at that place of the show.
    [[nodiscard]] std::size_t present(std::size_t role) const;
    [[nodiscard]] std::size_t people() const { return m_members.size(); }

    /// The channels on which an announcement sounds.
    void setAnnouncing(const ChannelSet& channels);

    /// Beats, and lets go of whoever is gone.
    void lookAround(Clock::time_point now);

    /// Says goodbye to everybody and ends all links.
    void goOffAir();

private:
    struct Member;

    [[nodiscard]] Member* find(const Session& session);
    [[nodiscard]] std::size_t onTheirWay() const;
    void offered(
        const Session& session, const std::optional<QByteArray>& offer,
        const std::function<void(JoinOutcome)>& done);
    void noticeArrival(Member& member);
    void noticeSound(Member& member, Clock::time_point now);
    [[nodiscard]] std::optional<Departure>
    departureOf(const Member& member, Clock::time_point now) const;
    void letKeysGo(Member& member);
    void remove(const Session& session, std::optional<Departure> why, std::optional<Goodbye> word);
    void tellEverybody();
    [[nodiscard]] std::vector<const Member*> talkers() const;
    void tell(Member& member, const std::vector<const Member*>& talkers);
    [[nodiscard]] DeskEvent
    viewOf(const Member& member, const std::vector<const Member*>& talkers) const;

    const ShowPatch& m_show;
    Room& m_room;
    LinkMaker m_makeLink;
    CrewNews& m_news;
    ChannelSet m_announcing;
    std::map<Session, std::unique_ptr<Member>> m_members;
};

} // namespace wingbell

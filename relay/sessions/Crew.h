#pragma once

#include "base/Result.h"
#include "relay/api/CrewRequests.h"
#include "relay/audio/Room.h"
#include "relay/link/MediaLink.h"
#include "relay/sessions/CrewEvents.h"
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

/// All sessions of crew members: their links, their talk keys, what they see of each other.
///
/// Knows no clock and starts no timer: call checkTimeouts() about once a second while there are
/// members, and when keysDue() says so. Main thread only.
class Crew
{
public:
    using Clock = std::chrono::steady_clock;
    using Session = QString;

    static constexpr std::size_t maxMembers = 250;
    /// How many may be connecting at a time: making a link is what costs most here.
    static constexpr std::size_t maxConnecting = 24;

    /// Pages that have to join again are spread so that one comes each time this has passed. A join
    /// and its handshakes take up to 15 ms of a processor core.
    static constexpr std::chrono::milliseconds joinInterval{20};
    /// A page that was refused comes again after so long at the soonest, and at the latest.
    static constexpr std::chrono::milliseconds minRetry{250};
    static constexpr std::chrono::milliseconds maxRetry{5000};

    /// From the offer to the connection.
    static constexpr Clock::duration connectTimeout = std::chrono::seconds(15);
    /// Without a message from the page, the talk keys count as released.
    static constexpr Clock::duration keyTimeout = std::chrono::seconds(6);
    /// Without a message and without audio, a member is gone.
    static constexpr Clock::duration silenceTimeout = std::chrono::seconds(20);
    static constexpr Clock::duration heartbeatInterval = std::chrono::seconds(2);
    static constexpr Clock::duration unheardTimeout = std::chrono::seconds(2);
    /// Throttle: a pressed or released key is shown to all at once; those that follow in less than
    /// this time for each member are shown together at its end (50 ms with 250 members). Each is
    /// an event to everybody, and many would keep this thread busy for seconds.
    static constexpr Clock::duration keyIntervalPerMember = std::chrono::microseconds(200);

    struct Joining
    {
        std::size_t role = 0; ///< its place in the show
        bool microphone = false;
        Session replaces; ///< the page's session before this one, or empty; ends if this one begins
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
        NotNow, ///< too many are connecting, or the link could not be made
    };

    /// Borrows all of them; they must outlive it.
    Crew(const ShowPatch& show, Room& room, LinkMaker makeLink, CrewObserver& observer);
    ~Crew();
    Q_DISABLE_COPY_MOVE(Crew)

    /// Begins a session.
    [[nodiscard]] Result<Joined, JoinError> join(const Joining& joining, Clock::time_point now);

    /// When a page that gets NotNow is to come again: each has a time of its own (leaky bucket).
    [[nodiscard]] std::chrono::milliseconds takeRetryTime(Clock::time_point now);

    /// False when there is no such session, here and below.
    [[nodiscard]] bool has(const Session& session) const { return m_members.contains(session); }
    [[nodiscard]] bool
    takeAnswer(const Session& session, const SdpAnswer& answer, Clock::time_point now);
    [[nodiscard]] bool takeState(const StateRequest& state, Clock::time_point now);
    /// Replaces where the session's events go.
    [[nodiscard]] bool
    takeEvents(const Session& session, std::unique_ptr<PageEvents> events, Clock::time_point now);
    void leave(const Session& session);

    /// How many members are on the role at that place of the show.
    [[nodiscard]] std::size_t present(std::size_t role) const;
    [[nodiscard]] std::size_t memberCount() const { return m_members.size(); }

    /// Sets the channels on which an announcement is playing.
    void setAnnouncing(const ChannelSet& channels);

    /// Sends heartbeats, releases the keys of pages that are silent, removes members that are gone,
    /// and shows keys that are due.
    void checkTimeouts(Clock::time_point now);

    /// When changed keys are to be shown that are not shown yet; nullopt if there are none.
    [[nodiscard]] std::optional<Clock::time_point> keysDue() const;

    /// Says goodbye to all members and ends all links.
    void goOffAir();

private:
    struct Member;

    [[nodiscard]] Member* find(const Session& session);
    [[nodiscard]] std::size_t connecting() const;
    void noticeConnection(Member& member);
    void noticeAudio(Member& member, Clock::time_point now);
    [[nodiscard]] std::optional<Departure>
    departureOf(const Member& member, Clock::time_point now) const;
    void releaseKeys(Member& member);
    void remove(const Session& session, std::optional<Departure> why, std::optional<Goodbye> word);
    void showKeys(Clock::time_point now);
    void tellAll();
    [[nodiscard]] std::vector<const Member*> talkers() const;
    void tell(Member& member, const std::vector<const Member*>& talkers);
    [[nodiscard]] DeskEvent
    viewOf(const Member& member, const std::vector<const Member*>& talkers) const;

    const ShowPatch& m_show;
    Room& m_room;
    LinkMaker m_makeLink;
    CrewObserver& m_observer;
    ChannelSet m_announcing;
    bool m_hasUnshownKeys = false;
    Clock::time_point m_keysShown; ///< the last time
    std::map<Session, std::unique_ptr<Member>> m_members;
    Clock::time_point m_lastRetry; ///< the latest that was given out
};

} // namespace wingbell

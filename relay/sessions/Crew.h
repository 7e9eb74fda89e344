#pragma once

#include "base/Result.h"
#include "relay/api/CrewRequests.h"
#include "relay/api/DeskOverview.h"
#include "relay/audio/Room.h"
#include "relay/link/MediaLink.h"
#include "relay/sessions/CrewEvents.h"
#include "relay/sessions/ShowPatch.h"
#include "relay/sessions/Signals.h"

#include <QByteArray>
#include <QHostAddress>
#include <QString>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>
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
    /// While so many are, a new one takes the place of one that has taken longer than this: of the
    /// network (IPv4 /24, IPv6 /64) from which most are connecting, there of the address from which
    /// most are, the one that began first. A phone on a good network connects within a second.
    static constexpr std::chrono::seconds givesWayAfter{3};

    /// Pages that have to join again are spread so that one comes each time this has passed. A join
    /// and its handshakes take up to 15 ms of a processor core.
    static constexpr std::chrono::milliseconds joinInterval{20};
    /// When the first page joins again after a hand-over: the other server has opened its ports by
    /// then.
    static constexpr std::chrono::milliseconds takeOverTime{40};
    /// A page that was refused comes again after so long at the soonest, and at the latest.
    static constexpr std::chrono::milliseconds minRetry{250};
    static constexpr std::chrono::milliseconds maxRetry{5000};

    /// From the offer to the connection.
    static constexpr Clock::duration connectTimeout = std::chrono::seconds(15);
    /// Without a message from the page, the talk keys count as released.
    static constexpr Clock::duration keyTimeout = std::chrono::seconds(6);
    /// Without a message from a page that has hung up, it has left. One that is there sends one
    /// every two seconds, and says when it leaves; but browsers do not always let a page say so
    /// that is being closed.
    static constexpr Clock::duration hungUpTimeout = std::chrono::seconds(3);
    /// Without a message and without audio, a member is gone.
    static constexpr Clock::duration silenceTimeout = std::chrono::seconds(20);
    static constexpr Clock::duration heartbeatInterval = std::chrono::seconds(2);
    static constexpr Clock::duration unheardTimeout = std::chrono::seconds(2);
    /// A talk key that is on without speech is forgotten: after this time its owner is reminded,
    /// after the longer one the log is told. Speech, and any change of the keys, start both again.
    static constexpr std::chrono::minutes forgottenTimeout{3};
    static constexpr std::chrono::minutes forgottenLogTimeout{4};
    /// Throttle: a pressed or released key is shown to all at once; those that follow in less than
    /// this time for each member are shown together at its end (50 ms with 250 members). Each is
    /// an event to everybody, and many would keep this thread busy for seconds.
    static constexpr Clock::duration keyIntervalPerMember = std::chrono::microseconds(200);

    /// Calls of one member: so many at once, then one in this time.
    static constexpr int callsAtOnce = 3;
    static constexpr std::chrono::seconds callInterval{10};

    struct Joining
    {
        std::size_t role = 0; ///< its place in the show
        bool microphone = false;
        Session replaces; ///< the page's session before this one, or empty; ends if this one begins
        QHostAddress address;
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

    enum class CallError { NoSession, TooMany };
    struct CallRefusal
    {
        CallError error = CallError::NoSession;
        std::chrono::seconds wait{0}; ///< after TooMany
    };
    /// Begins or ends a member's own call.
    [[nodiscard]] Result<void, CallRefusal>
    takeCall(const CallRequest& call, Clock::time_point now);
    /// A member acknowledges what waits on one of its channels.
    [[nodiscard]] bool
    takeAcknowledgement(const AcknowledgeRequest& request, Clock::time_point now);

    /// For the desk and cue players: calls all who listen on `channels`, shows them a light, or
    /// ends both.
    void call(const ChannelSet& channels, Clock::time_point now);
    void showLight(
        const ChannelSet& channels, Signals::LightKind kind, const QString& text,
        Clock::time_point now);
    void clearSignals(const ChannelSet& channels);

    /// How many members are on the role at that place of the show.
    [[nodiscard]] std::size_t present(std::size_t role) const;
    [[nodiscard]] std::size_t memberCount() const { return m_members.size(); }
    /// Nothing goes on that checkTimeouts() would end.
    [[nodiscard]] bool isIdle() const { return m_members.empty() && m_signals.isEmpty(); }

    /// All that goes on, for the desk's own page.
    [[nodiscard]] DeskOverview overview() const;
    /// Calls `changed` whenever that may have changed; often for nothing. It must not call back.
    void onOverviewChanged(std::function<void()> changed);

    using Acknowledged = std::function<void(
        const QString& role, const QString& channel, const Signals::Acknowledged& what)>;
    /// Calls `acknowledged` for each call and light that a member acknowledges.
    void onAcknowledged(Acknowledged acknowledged) { m_acknowledged = std::move(acknowledged); }

    /// Closes the talk keys of the member with that id, or of all; the mixer stops hearing them
    /// with the next cycle. Their pages are told, and what they say of their keys counts again once
    /// they know. Returns the names of the roles whose keys were open.
    QStringList closeKeys(std::optional<ParticipantId> id);

    /// Has the pages of those who listen on one of `channels` show an announcement that begins.
    void announce(const QString& text, const ChannelSet& channels);

    /// Sets the channels on which an announcement is playing.
    void setAnnouncing(const ChannelSet& channels);

    /// Sends heartbeats, releases the keys of pages that are silent, removes members that are gone,
    /// and shows keys that are due.
    void checkTimeouts(Clock::time_point now);

    /// When changed keys are to be shown that are not shown yet; nullopt if there are none.
    [[nodiscard]] std::optional<Clock::time_point> keysDue() const;

    /// Says goodbye to all members and ends all links.
    void goOffAir();

    /// The same, as another server takes over: each page is told when to join again, one after the
    /// other.
    void handOver();

private:
    struct Member;

    [[nodiscard]] Member* find(const Session& session);
    [[nodiscard]] std::size_t connecting() const;
    [[nodiscard]] bool makeRoomToConnect(Clock::time_point now);
    void noticeConnection(Member& member);
    void noticeAudio(Member& member, Clock::time_point now);
    void noticeForgottenKeys(Member& member, Clock::time_point now);
    [[nodiscard]] std::optional<Departure>
    departureOf(const Member& member, Clock::time_point now) const;
    void releaseKeys(Member& member);
    [[nodiscard]] bool isCalled(const Member& member, std::size_t channel) const;
    [[nodiscard]] static std::optional<std::size_t> channelOf(const Member& member, int place);
    template <typename IsMeant>
    [[nodiscard]] std::pair<int, QStringList>
    answersOf(const std::set<Signals::Person>& persons, IsMeant isMeant) const;
    [[nodiscard]] std::vector<ChannelOverview> channelOverview() const;
    void noticeAnswers(Clock::time_point now);
    void signalsChanged(Clock::time_point now);
    [[nodiscard]] std::optional<DeskEvent::Call>
    callFor(const Member& member, std::size_t channel) const;
    [[nodiscard]] std::optional<DeskEvent::Light>
    lightFor(const Member& member, std::size_t channel) const;
    void setTalking(Member& member, const ChannelSet& channels, Clock::time_point now);
    void remove(const Session& session, std::optional<Departure> why, std::optional<Goodbye> word);
    void endAll(const std::function<void(PageEvents&)>& sayGoodbye);
    void showKeys(Clock::time_point now);
    void overviewMayHaveChanged() const;
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
    Signals m_signals;
    std::function<void()> m_overviewChanged;
    Acknowledged m_acknowledged;
    bool m_hasUnshownKeys = false;
    Clock::time_point m_keysShown; ///< the last time
    std::map<Session, std::unique_ptr<Member>> m_members;
    Clock::time_point m_lastRetry; ///< the latest that was given out
};

} // namespace wingbell

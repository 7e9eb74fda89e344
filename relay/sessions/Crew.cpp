#include "relay/sessions/Crew.h"

#include <QUuid>

#include <algorithm>
#include <atomic>

namespace wingbell {

struct Crew::Member
{
    const PatchedRole* role = nullptr;
    QString address;
    bool microphone = false;
    bool isBack = false; ///< replaced an earlier session that had connected
    bool isConnected = false;
    std::shared_ptr<MediaLink> link;
    ParticipantId participant = 0;
    std::unique_ptr<PageEvents> events;
    std::optional<DeskEvent> told;
    std::uint64_t number = 0;
    ChannelSet talking;
    Clock::time_point began;
    Clock::time_point lastMessage;
    Clock::time_point lastAudio;
    Clock::time_point lastHeartbeat;
    std::uint64_t packets = 0;
};

Crew::Crew(const ShowPatch& show, Room& room, LinkMaker makeLink, CrewObserver& observer)
    : m_show(show)
    , m_room(room)
    , m_makeLink(std::move(makeLink))
    , m_observer(observer)
    , m_announcing(static_cast<std::size_t>(show.channels().size()))
{
}

Crew::~Crew()
{
    goOffAir();
}

Crew::Member* Crew::find(const Session& session)
{
    const auto found = m_members.find(session);
    return found == m_members.end() ? nullptr : found->second.get();
}

Result<Crew::Joined, Crew::JoinError> Crew::join(const Joining& joining, Clock::time_point now)
{
    const Member* before = find(joining.replaces);
    // Also when the first attempt to come back failed.
    const bool isBack = before != nullptr && (before->isConnected || before->isBack);
    const bool wasConnecting = before != nullptr && !before->isConnected;
    if (m_members.size() - (before != nullptr ? 1 : 0) >= maxMembers) {
        return failure(JoinError::Full);
    }
    if (connecting() - (wasConnecting ? 1 : 0) >= maxConnecting) {
        return failure(JoinError::NotNow);
    }
    if (before != nullptr) {
        remove(joining.replaces, std::nullopt, Goodbye::Replaced);
    }
    auto link = m_makeLink();
    if (!link) {
        return failure(JoinError::NotNow);
    }
    const PatchedRole& role = m_show.roles().at(joining.role);
    const std::optional<ParticipantId> place = m_room.join(role.talk, role.listen, link);
    if (!place) {
        link->close();
        return failure(JoinError::NotNow);
    }
    auto member = std::make_unique<Member>();
    member->role = &role;
    member->address = joining.address;
    member->microphone = joining.microphone;
    member->isBack = isBack;
    member->link = link;
    member->participant = *place;
    member->talking = ChannelSet(member->role->talk.count());
    member->began = member->lastMessage = member->lastAudio = member->lastHeartbeat = now;
    const Session session = QUuid::createUuid().toString(QUuid::Id128); // random: it is a secret
    m_members.emplace(session, std::move(member));
    return Joined{session, link->offer()};
}

std::chrono::milliseconds Crew::takeRetryTime(Clock::time_point now)
{
    m_lastRetry = std::clamp(
        m_lastRetry + joinInterval, Clock::time_point(now + minRetry),
        Clock::time_point(now + maxRetry));
    return std::chrono::ceil<std::chrono::milliseconds>(m_lastRetry - now);
}

bool Crew::takeAnswer(const Session& session, const SdpAnswer& answer, Clock::time_point now)
{
    Member* member = find(session);
    if (member == nullptr) {
        return false;
    }
    member->lastMessage = now;
    member->microphone = answer.sends();
    member->link->takeAnswer(
        {answer.fingerprint, answer.setup == "active", answer.sources, answer.red},
        m_room.receiver(member->participant));
    return true;
}

bool Crew::takeState(const StateRequest& state, Clock::time_point now)
{
    Member* member = find(state.session);
    if (member == nullptr) {
        return false;
    }
    member->lastMessage = now;
    noticeConnection(*member);
    if (state.number <= member->number) {
        return true;
    }
    member->number = state.number;
    const std::vector<std::size_t>& own = member->role->channels;
    ChannelSet talking(member->role->talk.count());
    for (const int channel : state.talk) {
        const auto place = static_cast<std::size_t>(channel);
        if (place < own.size()) {
            talking.insert(own.at(place));
        }
    }
    talking = talking.intersected(member->role->talk);
    std::vector<float> levels(talking.count(), 0.0F);
    for (std::size_t place = 0; place < std::min(own.size(), state.levels.size()); ++place) {
        levels.at(own.at(place)) = state.levels.at(place);
    }
    m_room.setLevels(member->participant, levels);
    if (talking == member->talking) {
        return true;
    }
    if (member->talking.isEmpty()) {
        member->lastAudio = now; // none was expected before
    }
    m_room.setTalk(member->participant, talking);
    member->talking = std::move(talking);
    m_hasUnshownKeys = true;
    showKeys(now);
    return true;
}

bool Crew::takeEvents(
    const Session& session, std::unique_ptr<PageEvents> events, Clock::time_point now)
{
    Member* member = find(session);
    if (member == nullptr) {
        return false;
    }
    member->lastMessage = now;
    member->events = std::move(events);
    member->told.reset();
    tell(*member, talkers());
    return true;
}

void Crew::leave(const Session& session)
{
    const Member* member = find(session);
    if (member == nullptr) {
        return;
    }
    const bool wasThere = member->isConnected || member->isBack;
    remove(session, wasThere ? std::optional(Departure::Left) : std::nullopt, std::nullopt);
}

std::size_t Crew::present(std::size_t role) const
{
    return static_cast<std::size_t>(
        std::count_if(m_members.begin(), m_members.end(), [&](const auto& entry) {
            return entry.second->role == &m_show.roles().at(role);
        }));
}

std::size_t Crew::connecting() const
{
    return static_cast<std::size_t>(
        std::count_if(m_members.begin(), m_members.end(), [](const auto& entry) {
            return !entry.second->isConnected;
        }));
}

void Crew::setAnnouncing(const ChannelSet& channels)
{
    if (channels == m_announcing) {
        return;
    }
    m_announcing = channels;
    tellAll();
}

void Crew::checkTimeouts(Clock::time_point now)
{
    std::vector<std::pair<Session, Departure>> gone;
    for (auto& [session, member] : m_members) {
        noticeConnection(*member);
        noticeAudio(*member, now);
        if (const auto why = departureOf(*member, now)) {
            gone.emplace_back(session, *why);
            continue;
        }
        if (now - member->lastMessage >= keyTimeout) {
            releaseKeys(*member);
        }
        if (member->events && now - member->lastHeartbeat >= heartbeatInterval) {
            member->lastHeartbeat = now;
            member->events->heartbeat(joinInterval * m_members.size());
        }
    }
    for (const auto& [session, why] : gone) {
        remove(session, why, Goodbye::Silent);
    }
    showKeys(now);
}

std::optional<Crew::Clock::time_point> Crew::keysDue() const
{
    if (!m_hasUnshownKeys) {
        return std::nullopt;
    }
    return m_keysShown + keyIntervalPerMember * m_members.size();
}

/// Told only once audio can flow: a page that does not get that far has not joined.
void Crew::noticeConnection(Member& member)
{
    if (member.isConnected || member.link->state() != MediaLink::State::Connected) {
        return;
    }
    member.isConnected = true;
    if (member.isBack) {
        m_observer.returned(member.role->name, member.address);
    } else {
        m_observer.joined(member.role->name, member.address, member.microphone);
    }
}

void Crew::noticeAudio(Member& member, Clock::time_point now)
{
    const std::uint64_t packets = m_room.receivedPackets(member.participant);
    if (packets != member.packets) {
        member.packets = packets;
        member.lastAudio = now;
        return;
    }
    const bool isMissed = member.microphone && !member.talking.isEmpty();
    if (isMissed && member.events && now - member.lastAudio >= unheardTimeout) {
        member.lastAudio = now; // told again only after the next timeout
        member.events->unheard();
    }
}

std::optional<Departure> Crew::departureOf(const Member& member, Clock::time_point now) const
{
    if (member.link->state() == MediaLink::State::Forged) {
        return Departure::Forged;
    }
    if (!member.isConnected) {
        if (now - member.began < connectTimeout) {
            return std::nullopt;
        }
        return Departure::NeverCame;
    }
    // A page whose link broke joins again by itself, and replaces this session.
    const bool isQuiet = now - member.lastMessage >= silenceTimeout;
    if (member.link->state() == MediaLink::State::Lost && now - member.lastMessage >= keyTimeout) {
        return Departure::LinkBroken;
    }
    if (isQuiet && now - member.lastAudio >= silenceTimeout) {
        return Departure::Vanished;
    }
    return std::nullopt;
}

void Crew::releaseKeys(Member& member)
{
    if (member.talking.isEmpty()) {
        return;
    }
    member.talking = ChannelSet(member.talking.count());
    m_room.setTalk(member.participant, member.talking);
    tellAll();
}

void Crew::remove(const Session& session, std::optional<Departure> why, std::optional<Goodbye> word)
{
    const auto found = m_members.find(session);
    if (found == m_members.end()) {
        return;
    }
    const std::unique_ptr<Member> member = std::move(found->second);
    m_members.erase(found);
    m_room.leave(member->participant);
    member->link->close();
    if (word && member->events) {
        member->events->goodbye(*word);
    }
    if (why) {
        m_observer.left(member->role->name, member->address, *why);
    }
    if (!member->talking.isEmpty()) {
        tellAll();
    }
}

void Crew::goOffAir()
{
    for (const auto& [session, member] : std::exchange(m_members, {})) {
        m_room.leave(member->participant);
        member->link->close();
        if (member->events) {
            member->events->goodbye(Goodbye::OffAir);
        }
    }
}

void Crew::showKeys(Clock::time_point now)
{
    if (const auto due = keysDue(); due && now >= *due) {
        m_keysShown = now;
        tellAll();
    }
}

void Crew::tellAll()
{
    m_hasUnshownKeys = false;
    const std::vector<const Member*> talking = talkers();
    for (auto& [session, member] : m_members) {
        tell(*member, talking);
    }
}

std::vector<const Crew::Member*> Crew::talkers() const
{
    std::vector<const Member*> talking;
    for (const auto& [session, member] : m_members) {
        if (!member->talking.isEmpty()) {
            talking.push_back(member.get());
        }
    }
    return talking;
}

void Crew::tell(Member& member, const std::vector<const Member*>& talkers)
{
    if (!member.events) {
        return;
    }
    DeskEvent view = viewOf(member, talkers);
    if (member.told == view) {
        return;
    }
    member.events->desk(view);
    member.told = std::move(view);
}

DeskEvent Crew::viewOf(const Member& member, const std::vector<const Member*>& talkers) const
{
    DeskEvent view;
    for (const std::size_t channel : member.role->channels) {
        DeskEvent::Channel seen;
        seen.announcing = m_announcing.contains(channel);
        for (const Member* talker : talkers) {
            if (talker != &member && talker->talking.contains(channel) &&
                !seen.talking.contains(talker->role->name)) {
                seen.talking.append(talker->role->name);
            }
        }
        seen.talking.sort();
        view.channels.append(std::move(seen));
    }
    return view;
}

} // namespace wingbell

#include "relay/sessions/Crew.h"

#include <QRandomGenerator>

#include <algorithm>
#include <array>
#include <atomic>

namespace wingbell {

namespace {

Crew::Session newSession()
{
    std::array<quint32, 4> random = {};
    QRandomGenerator::system()->generate(random.begin(), random.end());
    const QByteArray bytes(reinterpret_cast<const char*>(random.data()), sizeof random);
    return QString::fromLatin1(bytes.toHex());
}

/// The name of the one section of an offer.
QByteArray midOf(const QByteArray& offer)
{
    const QByteArray mark = "a=mid:";
    const qsizetype begin = offer.indexOf(mark);
    if (begin < 0) {
        return "0";
    }
    const QByteArray rest = offer.mid(begin + mark.size());
    return rest.left(rest.indexOf('\n')).trimmed();
}

} // namespace

struct Crew::Member
{
    const PatchedRole* role = nullptr;
    std::size_t rolePlace = 0;
    QString address;
    bool microphone = false;
    bool isBack = false; ///< took the place of an earlier session that had arrived
    bool hasArrived = false;
    std::shared_ptr<MediaLink> link;
    QByteArray mid; ///< what the offer calls its sound
    ParticipantId participant = 0;
    std::unique_ptr<CrewEvents> events;
    std::optional<DeskEvent> told;
    std::uint64_t number = 0;
    ChannelSet talking;
    Clock::time_point began;
    Clock::time_point lastWord;
    Clock::time_point lastSound;
    Clock::time_point lastBeat;
    std::uint64_t packets = 0;
};

Crew::Crew(const ShowPatch& show, Room& room, LinkMaker makeLink, CrewNews& news)
    : m_show(show)
    , m_room(room)
    , m_makeLink(std::move(makeLink))
    , m_news(news)
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

void Crew::join(
    const Joining& joining, Clock::time_point now, std::function<void(JoinOutcome)> done)
{
    const Member* before = find(joining.replaces);
    // Also when the first try to come back did not get through.
    const bool isBack = before != nullptr && (before->hasArrived || before->isBack);
    if (before != nullptr) {
        remove(joining.replaces, std::nullopt, Goodbye::Replaced);
    }
    if (m_members.size() >= mostPeople) {
        done(failure(JoinError::Full));
        return;
    }
    if (onTheirWay() >= mostOnTheirWay) {
        done(failure(JoinError::NotNow));
        return;
    }
    // Packets can come before the room has given the participant its id.
    const auto participant = std::make_shared<std::atomic<ParticipantId>>(0);
    auto link = m_makeLink([participant, &room = m_room](std::span<const std::uint8_t> packet) {
        room.receive(participant->load(), packet);
    });
    if (!link) {
        done(failure(JoinError::NotNow));
        return;
    }
    const PatchedRole& role = m_show.roles().at(joining.role);
    const std::optional<ParticipantId> place = m_room.join(role.talk, role.listen, link);
    if (!place) {
        link->close();
        done(failure(JoinError::NotNow));
        return;
    }
    participant->store(*place);
    auto member = std::make_unique<Member>();
    member->role = &role;
    member->rolePlace = joining.role;
    member->address = joining.address;
    member->microphone = joining.microphone;
    member->isBack = isBack;
    member->link = link;
    member->participant = *place;
    member->talking = ChannelSet(member->role->talk.count());
    member->began = member->lastWord = member->lastSound = member->lastBeat = now;
    const Session session = newSession();
    m_members.emplace(session, std::move(member));
    link->makeOffer([this, session, done = std::move(done)](
                        const std::optional<QByteArray>& offer) { offered(session, offer, done); });
}

void Crew::offered(
    const Session& session, const std::optional<QByteArray>& offer,
    const std::function<void(JoinOutcome)>& done)
{
    if (!offer) {
        remove(session, std::nullopt, std::nullopt);
        done(failure(JoinError::NotNow));
        return;
    }
    if (Member* member = find(session)) {
        member->mid = midOf(*offer);
        done(Joined{session, *offer});
        return;
    }
    done(failure(JoinError::NotNow));
}

bool Crew::takeAnswer(const Session& session, const SdpAnswer& answer, Clock::time_point now)
{
    Member* member = find(session);
    if (member == nullptr) {
        return false;
    }
    member->lastWord = now;
    member->microphone = answer.sends();
    member->link->takeAnswer(sdpText(answer, member->mid), [answer](const QByteArray& certificate) {
        return isCertificateOf(answer, certificate);
    });
    return true;
}

bool Crew::takeState(const StateRequest& state, Clock::time_point now)
{
    Member* member = find(state.session);
    if (member == nullptr) {
        return false;
    }
    member->lastWord = now;
    noticeArrival(*member);
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
        member->lastSound = now; // what was not wanted before is not missed yet
    }
    m_room.setTalk(member->participant, talking);
    member->talking = std::move(talking);
    tellEverybody();
    return true;
}

bool Crew::takeEvents(
    const Session& session, std::unique_ptr<CrewEvents> events, Clock::time_point now)
{
    Member* member = find(session);
    if (member == nullptr) {
        return false;
    }
    member->lastWord = now;
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
    const bool wasThere = member->hasArrived || member->isBack;
    remove(session, wasThere ? std::optional(Departure::Left) : std::nullopt, std::nullopt);
}

std::size_t Crew::present(std::size_t role) const
{
    return static_cast<std::size_t>(
        std::count_if(m_members.begin(), m_members.end(), [role](const auto& entry) {
            return entry.second->rolePlace == role;
        }));
}

std::size_t Crew::onTheirWay() const
{
    return static_cast<std::size_t>(
        std::count_if(m_members.begin(), m_members.end(), [](const auto& entry) {
            return !entry.second->hasArrived;
        }));
}

void Crew::setAnnouncing(const ChannelSet& channels)
{
    if (channels == m_announcing) {
        return;
    }
    m_announcing = channels;
    tellEverybody();
}

void Crew::lookAround(Clock::time_point now)
{
    std::vector<std::pair<Session, Departure>> gone;
    for (auto& [session, member] : m_members) {
        noticeArrival(*member);
        noticeSound(*member, now);
        if (const auto why = departureOf(*member, now)) {
            gone.emplace_back(session, *why);
            continue;
        }
        if (now - member->lastWord >= keyPatience) {
            letKeysGo(*member);
        }
        if (member->events && now - member->lastBeat >= beatEvery) {
            member->lastBeat = now;
            member->events->beat();
        }
    }
    for (const auto& [session, why] : gone) {
        remove(session, why, Goodbye::Silent);
    }
}

/// Told only once sound can flow: whoever gets no further than the door has not joined.
void Crew::noticeArrival(Member& member)
{
    if (member.hasArrived || member.link->state() != MediaLink::State::Connected) {
        return;
    }
    member.hasArrived = true;
    if (member.isBack) {
        m_news.returned(member.role->name, member.address);
    } else {
        m_news.joined(member.role->name, member.address, member.microphone);
    }
}

void Crew::noticeSound(Member& member, Clock::time_point now)
{
    const std::uint64_t packets = m_room.receivedPackets(member.participant);
    if (packets != member.packets) {
        member.packets = packets;
        member.lastSound = now;
        return;
    }
    const bool isMissed = member.microphone && !member.talking.isEmpty();
    if (isMissed && member.events && now - member.lastSound >= unheardAfter) {
        member.lastSound = now; // told again only after as long a silence
        member.events->unheard();
    }
}

std::optional<Departure> Crew::departureOf(const Member& member, Clock::time_point now) const
{
    if (member.link->state() == MediaLink::State::Forged) {
        return Departure::Forged;
    }
    if (!member.hasArrived) {
        if (now - member.began < arrival) {
            return std::nullopt;
        }
        return Departure::NeverCame;
    }
    // A page whose link broke joins anew by itself, and this session goes without a word then.
    const bool isQuiet = now - member.lastWord >= patience;
    if (member.link->state() == MediaLink::State::Lost && now - member.lastWord >= keyPatience) {
        return Departure::LinkBroken;
    }
    if (isQuiet && now - member.lastSound >= patience) {
        return Departure::Vanished;
    }
    return std::nullopt;
}

void Crew::letKeysGo(Member& member)
{
    if (member.talking.isEmpty()) {
        return;
    }
    member.talking = ChannelSet(member.talking.count());
    m_room.setTalk(member.participant, member.talking);
    tellEverybody();
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
        m_news.left(member->role->name, member->address, *why);
    }
    if (!member->talking.isEmpty()) {
        tellEverybody();
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

void Crew::tellEverybody()
{
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

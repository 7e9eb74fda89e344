#include "relay/sessions/Crew.h"

#include "base/TokenBucket.h"
#include "relay/net/IpAddress.h"

#include <QHash>
#include <QUuid>

#include <algorithm>
#include <atomic>
#include <tuple>

namespace wingbell {

struct Crew::Member
{
    const PatchedRole* role = nullptr;
    QHostAddress address;
    bool microphone = false;
    bool isBack = false; ///< replaced an earlier session that had connected
    bool isConnected = false;
    std::shared_ptr<MediaLink> link;
    ParticipantId participant = 0;
    std::unique_ptr<PageEvents> events;
    std::optional<DeskEvent> told;
    std::uint64_t number = 0;
    ChannelSet talking;
    std::map<std::size_t, Clock::time_point> openSince; ///< of each channel in `talking`
    quint64 closings = 0;                               ///< of the keys, by the desk
    TokenBucket calls{callsAtOnce, callInterval};
    quint64 knownClosings = 0;              ///< those of which the page knows
    std::optional<Clock::time_point> heard; ///< the last speech through an open key
    PageReport report;
    Clock::time_point began;
    Clock::time_point lastMessage;
    Clock::time_point lastAudio;
    Clock::time_point lastHeartbeat;
    Clock::time_point lastSpeech; ///< or the last change of the keys
    Room::Received received;
    bool isReminded = false;      ///< that a key is on, since the last speech
    bool isForgottenTold = false; ///< to the log, since the last change of the keys
};

Crew::Crew(const ShowPatch& show, Room& room, LinkMaker makeLink, CrewObserver& observer)
    : m_show(show)
    , m_room(room)
    , m_makeLink(std::move(makeLink))
    , m_observer(observer)
    , m_announcing(static_cast<std::size_t>(show.channels().size()))
    , m_signals(static_cast<std::size_t>(show.channels().size()))
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
    if (connecting() - (wasConnecting ? 1 : 0) >= maxConnecting && !makeRoomToConnect(now)) {
        return failure(JoinError::NotNow);
    }
    const ParticipantId replaced = before != nullptr ? before->participant : 0;
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
    if (replaced != 0) {
        m_signals.replace(replaced, *place);
    }
    member->talking = ChannelSet(member->role->talk.count());
    member->began = member->lastMessage = member->lastAudio = member->lastHeartbeat = now;
    const Session session = QUuid::createUuid().toString(QUuid::Id128); // random: it is a secret
    m_members.emplace(session, std::move(member));
    overviewMayHaveChanged();
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
    overviewMayHaveChanged();
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
    member->knownClosings = state.closings;
    if (member->report != state.report) {
        member->report = state.report;
        overviewMayHaveChanged();
    }
    const std::vector<std::size_t>& own = member->role->channels;
    ChannelSet talking(member->role->talk.count());
    for (const int channel : state.talk) {
        const auto place = static_cast<std::size_t>(channel);
        if (place < own.size()) {
            talking.insert(own.at(place));
        }
    }
    talking = talking.intersected(member->role->talk);
    if (member->knownClosings < member->closings) {
        talking = ChannelSet(talking.count()); // posted before the page knew
    }
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
    setTalking(*member, talking, now);
    member->lastSpeech = now;
    member->isReminded = false;
    member->isForgottenTold = false;
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
    // What was told on the stream before may have been lost with it.
    member->isReminded = false;
    if (member->knownClosings < member->closings) {
        member->events->keysClosed(member->closings);
    }
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

/// The channel of the show at that place of the role's own.
std::optional<std::size_t> Crew::channelOf(const Member& member, int place)
{
    const std::vector<std::size_t>& own = member.role->channels;
    const auto index = static_cast<std::size_t>(place);
    return index < own.size() ? std::optional(own.at(index)) : std::nullopt;
}

Result<void, Crew::CallRefusal> Crew::takeCall(const CallRequest& call, Clock::time_point now)
{
    Member* member = find(call.session);
    if (member == nullptr) {
        return failure(CallRefusal{CallError::NoSession});
    }
    member->lastMessage = now;
    const auto channel = channelOf(*member, call.channel);
    if (!channel) {
        return {};
    }
    if (!call.on) {
        m_signals.endCall(*channel, member->participant);
    } else if (!m_signals.callOn(*channel)) {
        if (!member->calls.take(now)) {
            return failure(CallRefusal{
                CallError::TooMany,
                std::chrono::ceil<std::chrono::seconds>(member->calls.untilNext(now))});
        }
        ChannelSet channels(m_announcing.count());
        channels.insert(*channel);
        m_signals.call(channels, member->role->name, member->participant, now);
        m_observer.called(
            member->role->name, m_show.channels().at(static_cast<qsizetype>(*channel)));
    }
    signalsChanged(now);
    return {};
}

bool Crew::takeAcknowledgement(const AcknowledgeRequest& request, Clock::time_point now)
{
    Member* member = find(request.session);
    if (member == nullptr) {
        return false;
    }
    member->lastMessage = now;
    const auto channel = channelOf(*member, request.channel);
    if (!channel || !member->role->listen.contains(*channel)) {
        return true;
    }
    const auto what = request.isCall ? m_signals.acknowledgeCall(*channel, member->participant)
                                     : m_signals.acknowledgeLight(*channel, member->participant);
    if (what && m_acknowledged) {
        m_acknowledged(
            member->role->name, m_show.channels().at(static_cast<qsizetype>(*channel)), *what);
    }
    signalsChanged(now);
    return true;
}

void Crew::call(const ChannelSet& channels, Clock::time_point now)
{
    m_signals.call(channels, {}, std::nullopt, now);
    signalsChanged(now);
}

void Crew::showLight(
    const ChannelSet& channels, Signals::LightKind kind, const QString& text, Clock::time_point now)
{
    m_signals.show(channels, kind, text, now);
    signalsChanged(now);
}

void Crew::clearSignals(const ChannelSet& channels)
{
    m_signals.clear(channels);
    tellAll();
    overviewMayHaveChanged();
}

void Crew::signalsChanged(Clock::time_point now)
{
    noticeAnswers(now);
    tellAll();
    overviewMayHaveChanged();
}

bool Crew::isCalled(const Member& member, std::size_t channel) const
{
    const auto& call = m_signals.callOn(channel);
    return call && !call->isOf(member.participant) && member.role->listen.contains(channel);
}

/// The members for whom `isMeant` is true, and the roles of those of them who are in `persons`.
template <typename IsMeant>
std::pair<int, QStringList>
Crew::answersOf(const std::set<Signals::Person>& persons, IsMeant isMeant) const
{
    std::pair<int, QStringList> answers;
    for (const auto& [session, member] : m_members) {
        if (isMeant(*member)) {
            ++answers.first;
            if (persons.contains(member->participant)) {
                answers.second.append(member->role->name);
            }
        }
    }
    answers.second.sort();
    return answers;
}

/// Notices calls that have been answered by all who are there.
void Crew::noticeAnswers(Clock::time_point now)
{
    for (std::size_t channel = 0; channel < m_announcing.count(); ++channel) {
        const auto& call = m_signals.callOn(channel);
        if (!call) {
            continue;
        }
        const auto [called, answered] = answersOf(
            call->acknowledged, [&](const Member& member) { return isCalled(member, channel); });
        if (called == answered.size()) {
            m_signals.answered(channel, now);
        }
    }
}

std::optional<DeskEvent::Call> Crew::callFor(const Member& member, std::size_t channel) const
{
    const auto& call = m_signals.callOn(channel);
    const bool isMine = call && call->isOf(member.participant);
    if (!isMine && !isCalled(member, channel)) {
        return std::nullopt;
    }
    DeskEvent::Call seen;
    seen.from = call->from;
    seen.isMine = isMine;
    seen.isAcknowledged = call->acknowledged.contains(member.participant);
    if (isMine) {
        std::tie(seen.called, seen.answered) = answersOf(
            call->acknowledged, [&](const Member& other) { return isCalled(other, channel); });
    }
    return seen;
}

std::optional<DeskEvent::Light> Crew::lightFor(const Member& member, std::size_t channel) const
{
    const auto& light = m_signals.lightOn(channel);
    if (!light || !member.role->listen.contains(channel)) {
        return std::nullopt;
    }
    return DeskEvent::Light{
        light->kind == Signals::LightKind::Go, light->text,
        light->acknowledged.contains(member.participant)};
}

std::vector<ChannelOverview> Crew::channelOverview() const
{
    std::vector<ChannelOverview> all;
    for (std::size_t channel = 0; channel < m_announcing.count(); ++channel) {
        ChannelOverview seen;
        seen.isAnnouncing = m_announcing.contains(channel);
        if (const auto& call = m_signals.callOn(channel)) {
            const auto [called, answered] =
                answersOf(call->acknowledged, [&](const Member& member) {
                    return isCalled(member, channel);
                });
            seen.call = ChannelOverview::Call{call->from, called, answered};
        }
        if (const auto& light = m_signals.lightOn(channel)) {
            const auto [shown, answered] =
                answersOf(light->acknowledged, [&](const Member& member) {
                    return member.role->listen.contains(channel);
                });
            seen.light = ChannelOverview::Light{
                light->kind == Signals::LightKind::Go, light->text, shown, answered};
        }
        all.push_back(std::move(seen));
    }
    return all;
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

/// False if none of those who are connecting gives way.
bool Crew::makeRoomToConnect(Clock::time_point now)
{
    QHash<QHostAddress, int> ofNetwork;
    QHash<QHostAddress, int> ofAddress;
    for (const auto& [session, member] : m_members) {
        if (!member->isConnected) {
            ++ofNetwork[neighbourhood(member->address)];
            ++ofAddress[member->address];
        }
    }
    const auto order = [&](const Member& member) {
        return std::tuple(
            !member.isConnected && now - member.began >= givesWayAfter,
            ofNetwork.value(neighbourhood(member.address)), ofAddress.value(member.address),
            now - member.began);
    };
    const auto chosen = std::max_element(
        m_members.begin(), m_members.end(), [&order](const auto& left, const auto& right) {
            return order(*left.second) < order(*right.second);
        });
    if (chosen == m_members.end() || !std::get<0>(order(*chosen->second))) {
        return false;
    }
    remove(Session(chosen->first), Departure::NeverCame, Goodbye::Silent);
    return true;
}

void Crew::announce(const QString& text, const ChannelSet& channels)
{
    for (const auto& [session, member] : m_members) {
        const PatchedRole& role = *member->role;
        const bool hears = std::ranges::any_of(role.channels, [&](std::size_t channel) {
            return role.listen.contains(channel) && channels.contains(channel);
        });
        if (hears && member->events) {
            member->events->announcement(text);
        }
    }
}

void Crew::setAnnouncing(const ChannelSet& channels)
{
    if (channels == m_announcing) {
        return;
    }
    m_announcing = channels;
    tellAll();
    overviewMayHaveChanged();
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
        noticeForgottenKeys(*member, now);
        if (member->events && now - member->lastHeartbeat >= heartbeatInterval) {
            member->lastHeartbeat = now;
            member->events->heartbeat(joinInterval * m_members.size());
        }
    }
    for (const auto& [session, why] : gone) {
        remove(session, why, Goodbye::Silent);
    }
    showKeys(now);
    noticeAnswers(now); // of those who are left
    if (m_signals.expire(now)) {
        tellAll();
    }
    overviewMayHaveChanged(); // a link may be lost
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
        m_observer.returned(member.role->name, addressText(member.address));
    } else {
        m_observer.joined(member.role->name, addressText(member.address), member.microphone);
    }
}

void Crew::noticeAudio(Member& member, Clock::time_point now)
{
    const Room::Received before =
        std::exchange(member.received, m_room.received(member.participant));
    if (member.received.speechCycles != before.speechCycles) {
        member.lastSpeech = now;
        member.heard = now;
        member.isReminded = false;
    }
    if (member.received.packets != before.packets) {
        member.lastAudio = now;
        return;
    }
    const bool isMissed = member.microphone && !member.talking.isEmpty();
    if (isMissed && member.events && now - member.lastAudio >= unheardTimeout) {
        member.lastAudio = now; // told again only after the next timeout
        member.events->unheard();
    }
}

void Crew::noticeForgottenKeys(Member& member, Clock::time_point now)
{
    const Clock::duration unused = now - member.lastSpeech;
    if (member.talking.isEmpty() || unused < forgottenTimeout) {
        return;
    }
    if (member.events && !member.isReminded) {
        member.isReminded = true;
        std::vector<int> indexes;
        const std::vector<std::size_t>& own = member.role->channels;
        for (std::size_t place = 0; place < own.size(); ++place) {
            if (member.talking.contains(own.at(place))) {
                indexes.push_back(static_cast<int>(place));
            }
        }
        member.events->forgotten(indexes);
    }
    if (unused >= forgottenLogTimeout && !member.isForgottenTold) {
        member.isForgottenTold = true;
        QStringList names;
        for (const std::size_t channel : member.role->channels) {
            if (member.talking.contains(channel)) {
                names.append(m_show.channels().at(static_cast<qsizetype>(channel)));
            }
        }
        m_observer.keptKeysOn(member.role->name, names, forgottenLogTimeout);
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
    const auto silence = now - member.lastMessage;
    if (member.link->state() == MediaLink::State::HungUp && silence >= hungUpTimeout) {
        return Departure::Left;
    }
    if (member.link->state() == MediaLink::State::Lost && silence >= keyTimeout) {
        return Departure::LinkBroken;
    }
    if (silence >= silenceTimeout && now - member.lastAudio >= silenceTimeout) {
        return Departure::Vanished;
    }
    return std::nullopt;
}

void Crew::releaseKeys(Member& member)
{
    if (member.talking.isEmpty()) {
        return;
    }
    setTalking(member, ChannelSet(member.talking.count()), {});
    tellAll();
}

void Crew::setTalking(Member& member, const ChannelSet& channels, Clock::time_point now)
{
    m_room.setTalk(member.participant, channels);
    for (const std::size_t channel : member.role->channels) {
        if (!channels.contains(channel)) {
            member.openSince.erase(channel);
        } else if (!member.talking.contains(channel)) {
            member.openSince.emplace(channel, now);
        }
    }
    member.talking = channels;
    overviewMayHaveChanged();
}

QStringList Crew::closeKeys(std::optional<ParticipantId> id)
{
    QStringList roles;
    for (const auto& [session, member] : m_members) {
        if ((id && member->participant != *id) || member->talking.isEmpty()) {
            continue;
        }
        setTalking(*member, ChannelSet(member->talking.count()), {});
        ++member->closings;
        if (member->events) {
            member->events->keysClosed(member->closings);
        }
        roles.append(member->role->name);
    }
    if (!roles.isEmpty()) {
        tellAll();
    }
    return roles;
}

DeskOverview Crew::overview() const
{
    std::vector<MemberOverview> all;
    for (const auto& [session, member] : m_members) {
        MemberOverview shown;
        shown.id = member->participant;
        shown.role = static_cast<std::size_t>(member->role - m_show.roles().data());
        shown.address = addressText(member->address);
        shown.isConnected =
            member->isConnected && member->link->state() == MediaLink::State::Connected;
        shown.hasMicrophone = member->microphone;
        for (const auto& [channel, since] : member->openSince) {
            shown.openKeys.push_back({channel, since});
        }
        shown.lastSpeech = member->heard;
        shown.report = member->report;
        all.push_back(std::move(shown));
    }
    std::ranges::sort(all, {}, &MemberOverview::id);
    return {std::move(all), channelOverview()};
}

void Crew::onOverviewChanged(std::function<void()> changed)
{
    m_overviewChanged = std::move(changed);
}

void Crew::overviewMayHaveChanged() const
{
    if (m_overviewChanged) {
        m_overviewChanged();
    }
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
    overviewMayHaveChanged();
    if (why) {
        m_observer.left(member->role->name, addressText(member->address), *why);
    }
    if (!member->talking.isEmpty()) {
        tellAll();
    }
}

void Crew::goOffAir()
{
    endAll([](PageEvents& events) { events.goodbye(Goodbye::OffAir); });
}

void Crew::handOver()
{
    std::chrono::milliseconds retryAfter = takeOverTime;
    endAll([&retryAfter](PageEvents& events) {
        events.handedOver(retryAfter);
        retryAfter += joinInterval;
    });
}

void Crew::endAll(const std::function<void(PageEvents&)>& sayGoodbye)
{
    for (const auto& [session, member] : std::exchange(m_members, {})) {
        m_room.leave(member->participant);
        member->link->close();
        if (member->events) {
            sayGoodbye(*member->events);
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
        seen.call = callFor(member, channel);
        seen.light = lightFor(member, channel);
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

#include "relay/sessions/Signals.h"

#include <algorithm>
#include <utility>

namespace wingbell {

Signals::Signals(std::size_t channels)
    : m_channels(channels)
{
}

void Signals::call(
    const ChannelSet& channels, const QString& from, std::optional<Person> caller,
    Clock::time_point now)
{
    for (std::size_t channel = 0; channel < m_channels.size(); ++channel) {
        if (channels.contains(channel) && !m_channels.at(channel).call) {
            m_channels.at(channel).call = Call{from, caller, now + maxCallTime, {}, false};
        }
    }
}

bool Signals::endCall(std::size_t channel, Person caller)
{
    std::optional<Call>& call = m_channels.at(channel).call;
    const bool isTheirs = call && call->isOf(caller);
    if (isTheirs) {
        call.reset();
    }
    return isTheirs;
}

void Signals::show(
    const ChannelSet& channels, LightKind kind, const QString& text, Clock::time_point now)
{
    std::optional<Clock::time_point> endsAt;
    if (kind == LightKind::Go) {
        endsAt = now + goTime;
    }
    for (std::size_t channel = 0; channel < m_channels.size(); ++channel) {
        if (channels.contains(channel)) {
            m_channels.at(channel).light = Light{kind, text, endsAt, {}};
        }
    }
}

void Signals::clear(const ChannelSet& channels)
{
    for (std::size_t channel = 0; channel < m_channels.size(); ++channel) {
        if (channels.contains(channel)) {
            m_channels.at(channel) = {};
        }
    }
}

std::optional<Signals::Acknowledged> Signals::acknowledgeCall(std::size_t channel, Person person)
{
    std::optional<Call>& call = m_channels.at(channel).call;
    const bool isNews = call && !call->isOf(person) && call->acknowledged.insert(person).second;
    return isNews ? std::optional(Acknowledged{true, LightKind::Standby, {}}) : std::nullopt;
}

std::optional<Signals::Acknowledged> Signals::acknowledgeLight(std::size_t channel, Person person)
{
    std::optional<Light>& light = m_channels.at(channel).light;
    const bool isNews = light && light->acknowledged.insert(person).second;
    return isNews ? std::optional(Acknowledged{false, light->kind, light->text}) : std::nullopt;
}

void Signals::replace(Person before, Person after)
{
    const auto replaceIn = [&](std::set<Person>& persons) {
        if (persons.erase(before) > 0) {
            persons.insert(after);
        }
    };
    for (auto& [call, light] : m_channels) {
        if (call) {
            replaceIn(call->acknowledged);
            if (call->isOf(before)) {
                call->caller = after;
            }
        }
        if (light) {
            replaceIn(light->acknowledged);
        }
    }
}

void Signals::answered(std::size_t channel, Clock::time_point now)
{
    std::optional<Call>& call = m_channels.at(channel).call;
    if (call && !std::exchange(call->isAnswered, true)) {
        call->endsAt = std::min(call->endsAt, now + answeredTime);
    }
}

bool Signals::expire(Clock::time_point now)
{
    bool hasEnded = false;
    for (auto& [call, light] : m_channels) {
        if (call && now >= call->endsAt) {
            call.reset();
            hasEnded = true;
        }
        if (light && light->endsAt && now >= *light->endsAt) {
            light.reset();
            hasEnded = true;
        }
    }
    return hasEnded;
}

bool Signals::isEmpty() const
{
    return std::ranges::none_of(
        m_channels, [](const Channel& channel) { return channel.call || channel.light; });
}

} // namespace wingbell

#pragma once

#include "relay/audio/ChannelSet.h"

#include <QString>

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <vector>

namespace wingbell {

/// The calls and cue lights of a show: on each channel at most one call and one light, each until
/// it is acknowledged by all, ended, or too old. Knows no clock and not who is there.
class Signals
{
public:
    using Clock = std::chrono::steady_clock;
    using Person = std::uint32_t; ///< a ParticipantId

    static constexpr std::chrono::minutes maxCallTime{2};
    /// A call to which all have answered is shown to its caller for so long.
    static constexpr std::chrono::seconds answeredTime{10};
    static constexpr std::chrono::seconds goTime{5};

    struct Call
    {
        QString from; ///< a role; empty if the desk or a cue player calls
        std::optional<Person> caller;
        Clock::time_point endsAt;
        std::set<Person> acknowledged;
        bool isAnswered = false; ///< by all

        [[nodiscard]] bool isOf(Person person) const { return caller == person; }
    };

    enum class LightKind { Standby, Go };

    struct Light
    {
        LightKind kind = LightKind::Standby;
        QString text; ///< often empty
        std::optional<Clock::time_point> endsAt;
        std::set<Person> acknowledged;
    };

    /// What a person has acknowledged.
    struct Acknowledged
    {
        bool isCall = false;
        LightKind kind = LightKind::Standby; ///< of the light, if it is no call
        QString text;

        friend bool operator==(const Acknowledged&, const Acknowledged&) = default;
    };

    explicit Signals(std::size_t channels);

    /// Calls on those of `channels` on which there is no call yet.
    void call(
        const ChannelSet& channels, const QString& from, std::optional<Person> caller,
        Clock::time_point now);
    /// False if `caller` has no call on `channel`.
    bool endCall(std::size_t channel, Person caller);
    /// Shows a light in place of the one before.
    void
    show(const ChannelSet& channels, LightKind kind, const QString& text, Clock::time_point now);
    /// Ends calls and lights.
    void clear(const ChannelSet& channels);

    /// `person` acknowledges the call or the light on `channel`. nullopt if there is none, or if
    /// that is no news. Callers do not answer themselves.
    std::optional<Acknowledged> acknowledgeCall(std::size_t channel, Person person);
    std::optional<Acknowledged> acknowledgeLight(std::size_t channel, Person person);
    /// `before` has come back as `after`.
    void replace(Person before, Person after);
    /// All who were called have answered; to be told once or more often.
    void answered(std::size_t channel, Clock::time_point now);

    /// Ends what is too old. True if there was anything.
    bool expire(Clock::time_point now);

    [[nodiscard]] const std::optional<Call>& callOn(std::size_t channel) const
    {
        return m_channels.at(channel).call;
    }
    [[nodiscard]] const std::optional<Light>& lightOn(std::size_t channel) const
    {
        return m_channels.at(channel).light;
    }
    [[nodiscard]] bool isEmpty() const;

private:
    struct Channel
    {
        std::optional<Call> call;
        std::optional<Light> light;
    };

    std::vector<Channel> m_channels;
};

} // namespace wingbell

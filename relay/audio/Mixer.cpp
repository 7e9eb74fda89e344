#include "relay/audio/Mixer.h"

#include "relay/audio/Dsp.h"
#include "relay/audio/Participant.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <span>
#include <utility>

namespace wingbell {

namespace {

/// With more mixes than this each is encoded with less effort, so that all are in time; when they
/// are few again, with full effort.
constexpr std::size_t manyMixes = 24;
constexpr std::size_t fewMixes = 16;

} // namespace

Mixer::Mixer(
    std::size_t channels, std::size_t samplesPerCycle, std::size_t participants,
    std::size_t announcements)
    : m_places(participants)
    , m_announcements(announcements)
    , m_gains(participants, participants + announcements)
    , m_encoders(participants)
    , m_mix(samplesPerCycle)
    , m_hashes(participants)
    , m_heard(participants)
    , m_groupOf(participants)
{
    m_sounding.reserve(participants + announcements);
    m_groups.reserve(participants);
    for (Place& place : m_places) {
        place.patch.talk.resize(channels);
        place.patch.levels.resize(channels);
    }
    for (Announcement& announcement : m_announcements) {
        announcement.talk.resize(channels);
    }
}

void Mixer::add(std::size_t place, Participant& participant)
{
    assert(!has(place));
    m_places[place].participant = &participant;
    m_places[place].isFading = false;
    m_places[place].isTalking = false;
    m_encoders.add(participant.takeEncoder());
    m_gains.silenceListener(place);
    m_gains.silenceTalker(place);
}

bool Mixer::has(std::size_t place) const
{
    return m_places[place].participant != nullptr;
}

bool Mixer::isFading(std::size_t place) const
{
    return m_places[place].isFading;
}

void Mixer::patch(std::size_t place, const Patch& patch)
{
    Patch& own = m_places[place].patch;
    std::copy(patch.talk.begin(), patch.talk.end(), own.talk.begin());
    std::copy(patch.levels.begin(), patch.levels.end(), own.levels.begin());
    m_places[place].isTalking =
        std::any_of(own.talk.begin(), own.talk.end(), [](float channel) { return channel > 0; });
    for (std::size_t other = 0; other < m_places.size(); ++other) {
        connect(other, place);
        connect(place, other);
    }
    for (const Announcement& announcement : m_announcements) {
        if (announcement.source) {
            m_gains.rampTo(
                place, talkerOf(announcement), gainBetween(announcement.talk, own.levels));
        }
    }
}

void Mixer::connect(std::size_t listener, std::size_t talker)
{
    const Place& ear = m_places[listener];
    const Place& mouth = m_places[talker];
    if (listener == talker || !has(listener) || !has(talker) || mouth.isFading) {
        return;
    }
    m_gains.rampTo(listener, talker, gainBetween(mouth.patch.talk, ear.patch.levels));
}

void Mixer::fade(std::size_t place)
{
    m_places[place].isFading = true;
    m_places[place].isTalking = false;
    m_encoders.release(place);
    m_gains.silenceListener(place);
    for (std::size_t listener = 0; listener < m_places.size(); ++listener) {
        m_gains.rampTo(listener, place, 0);
    }
}

void Mixer::remove(std::size_t place)
{
    if (!has(place)) {
        return;
    }
    m_encoders.release(place);
    m_places[place].participant->giveEncoder(m_encoders.takeUnused());
    m_places[place].participant = nullptr;
    m_gains.silenceListener(place);
    m_gains.silenceTalker(place);
}

void Mixer::announce(std::shared_ptr<AudioSource> source, const std::vector<float>& talk)
{
    const auto free = std::find_if(
        m_announcements.begin(), m_announcements.end(),
        [](const Announcement& announcement) { return !announcement.source; });
    assert(free != m_announcements.end());
    free->source = std::move(source);
    std::copy(talk.begin(), talk.end(), free->talk.begin());
    for (std::size_t listener = 0; listener < m_places.size(); ++listener) {
        if (has(listener) && !isFading(listener)) {
            // It begins with its own beginning, so it needs no fade-in.
            m_gains.jumpTo(
                listener, talkerOf(*free), gainBetween(talk, m_places[listener].patch.levels));
        }
    }
}

std::size_t Mixer::talkerOf(const Announcement& announcement) const
{
    return m_places.size() + static_cast<std::size_t>(&announcement - m_announcements.data());
}

bool Mixer::isEmpty() const
{
    return std::none_of(
               m_places.begin(), m_places.end(),
               [](const Place& place) { return place.participant != nullptr; }) &&
           std::none_of(
               m_announcements.begin(), m_announcements.end(),
               [](const Announcement& announcement) { return announcement.source != nullptr; });
}

std::size_t Mixer::runCycle()
{
    m_sounding.clear();
    playParticipants();
    playAnnouncements();
    hashGains();
    findGroups();
    chooseEffort();
    m_encoders.assign(m_groupOf, m_groups.size());
    for (std::size_t listener = 0; listener < m_places.size(); ++listener) {
        if (has(listener) && !isFading(listener)) {
            sendMix(listener);
        }
    }
    m_gains.endBlock();
    return removeFinishedAnnouncements();
}

void Mixer::playParticipants()
{
    for (std::size_t talker = 0; talker < m_places.size(); ++talker) {
        if (!has(talker)) {
            continue;
        }
        Participant& participant = *m_places[talker].participant;
        const bool isHeard = m_gains.isHeard(talker);
        // What no one hears is decoded too while a key is open: it is noticed whether they speak.
        if (!isHeard && !m_places[talker].isTalking) {
            participant.discard();
            continue;
        }
        participant.play();
        if (isHeard && participant.isSounding()) {
            m_sounding.push_back({talker, participant.samples()});
        }
    }
}

void Mixer::playAnnouncements()
{
    for (Announcement& announcement : m_announcements) {
        if (!announcement.source) {
            continue;
        }
        const std::span<float> samples = std::span(announcement.samples).first(m_mix.size());
        const std::size_t count = std::min(announcement.source->read(samples), samples.size());
        std::fill(samples.begin() + static_cast<std::ptrdiff_t>(count), samples.end(), 0.0F);
        announcement.isSounding = count > 0;
        if (announcement.isSounding) {
            m_sounding.push_back({talkerOf(announcement), samples});
        }
    }
}

/// The loop is plain so that the compiler can vectorise it.
void Mixer::hashGains()
{
    constexpr std::uint32_t factor = 0x9e3779b1U;
    std::fill(m_hashes.begin(), m_hashes.end(), 0U);
    std::fill(m_heard.begin(), m_heard.end(), 0U);
    std::uint32_t* const hashes = m_hashes.data();
    std::uint32_t* const heard = m_heard.data();
    const std::size_t listeners = m_hashes.size();
    for (const Sounding& sounding : m_sounding) {
        const float* const from = m_gains.from(sounding.talker).data();
        const float* const to = m_gains.to(sounding.talker).data();
        for (std::size_t listener = 0; listener < listeners; ++listener) {
            const auto begin = std::bit_cast<std::uint32_t>(from[listener]);
            const auto end = std::bit_cast<std::uint32_t>(to[listener]);
            hashes[listener] = (hashes[listener] + begin * 31U + end) * factor;
            heard[listener] |= begin | end;
        }
    }
}

void Mixer::findGroups()
{
    m_groups.clear();
    for (std::size_t listener = 0; listener < m_places.size(); ++listener) {
        m_groupOf[listener] =
            has(listener) && !isFading(listener) ? groupOf(listener) : EncoderPool::noGroup;
    }
}

/// Listeners that fall silent fade out on the encoder they had, then they are in no group.
std::size_t Mixer::groupOf(std::size_t listener)
{
    const bool isSilent = m_heard[listener] == 0;
    std::uint32_t hash = m_hashes[listener];
    if (isSilent) {
        const std::optional<std::size_t> encoder = m_encoders.usedBy(listener);
        if (!encoder || m_encoders.hasFadedOut(*encoder)) {
            m_encoders.release(listener);
            return EncoderPool::noGroup;
        }
        hash = static_cast<std::uint32_t>(*encoder);
    }
    const auto found = std::find_if(m_groups.begin(), m_groups.end(), [&](const Group& group) {
        return group.hash == hash && group.isSilent == isSilent &&
               (isSilent || hearSame(listener, group.listener));
    });
    if (found == m_groups.end()) {
        m_groups.push_back({hash, listener, isSilent, false, {}});
        return m_groups.size() - 1;
    }
    return static_cast<std::size_t>(found - m_groups.begin());
}

bool Mixer::hearSame(std::size_t listener, std::size_t other) const
{
    return std::all_of(m_sounding.begin(), m_sounding.end(), [&](const Sounding& sounding) {
        return m_gains.at(listener, sounding.talker) == m_gains.at(other, sounding.talker);
    });
}

void Mixer::chooseEffort()
{
    if (m_groups.size() > manyMixes) {
        m_effort = MixEncoder::Effort::Low;
    } else if (m_groups.size() <= fewMixes) {
        m_effort = MixEncoder::Effort::Full;
    }
}

void Mixer::sendMix(std::size_t listener)
{
    Participant& participant = *m_places[listener].participant;
    const std::size_t group = m_groupOf[listener];
    if (group == EncoderPool::noGroup) {
        participant.send(MixEncoder::silentPacket(m_mix.size()));
        return;
    }
    if (!m_groups[group].isEncoded) {
        encode(group);
    }
    participant.send(m_groups[group].packet);
}

void Mixer::encode(std::size_t group)
{
    Group& its = m_groups[group];
    its.isEncoded = true;
    MixEncoder& encoder = m_encoders.encoderOf(group);
    encoder.setEffort(m_effort);
    if (its.isSilent) {
        its.packet = encoder.encodeSilence();
        return;
    }
    std::fill(m_mix.begin(), m_mix.end(), 0.0F);
    for (const Sounding& sounding : m_sounding) {
        const GainMatrix::Gain gain = m_gains.at(its.listener, sounding.talker);
        if (gain.isHeard()) {
            addTo(m_mix, sounding.samples, gain.from, gain.to);
        }
    }
    its.packet = encoder.encode(m_mix);
}

std::size_t Mixer::removeFinishedAnnouncements()
{
    std::size_t finished = 0;
    for (Announcement& announcement : m_announcements) {
        // If its last samples have just filled the cycle, that is noticed in the next one.
        if (announcement.source && !announcement.isSounding && announcement.source->isFinished()) {
            m_gains.silenceTalker(talkerOf(announcement));
            announcement.source.reset();
            ++finished;
        }
    }
    return finished;
}

} // namespace wingbell

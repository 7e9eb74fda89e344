#include "relay/audio/Mixer.h"

#include "relay/audio/Dsp.h"
#include "relay/audio/Participant.h"

#include <algorithm>
#include <cassert>
#include <span>
#include <utility>

namespace wingbell {

Mixer::Mixer(
    std::size_t channels, std::size_t samplesPerCycle, std::size_t participants,
    std::size_t announcements)
    : m_places(participants)
    , m_announcements(announcements)
    , m_gains(participants, participants + announcements)
    , m_mix(samplesPerCycle)
{
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
    m_gains.silenceListener(place);
    for (std::size_t listener = 0; listener < m_places.size(); ++listener) {
        m_gains.rampTo(listener, place, 0);
    }
}

void Mixer::remove(std::size_t place)
{
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
    playParticipants();
    playAnnouncements();
    for (std::size_t listener = 0; listener < m_places.size(); ++listener) {
        if (has(listener) && !isFading(listener)) {
            sendMix(listener);
        }
    }
    m_gains.endBlock();
    return removeFinishedAnnouncements();
}

bool Mixer::isHeard(std::size_t talker) const
{
    for (std::size_t listener = 0; listener < m_places.size(); ++listener) {
        if (has(listener) && m_gains.at(listener, talker).isHeard()) {
            return true;
        }
    }
    return false;
}

void Mixer::playParticipants()
{
    for (std::size_t talker = 0; talker < m_places.size(); ++talker) {
        if (!has(talker)) {
            continue;
        }
        Participant& participant = *m_places[talker].participant;
        if (isHeard(talker)) {
            participant.play();
        } else {
            participant.discard();
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
    }
}

void Mixer::sendMix(std::size_t listener)
{
    std::fill(m_mix.begin(), m_mix.end(), 0.0F);
    const bool hearsParticipants = addParticipants(listener);
    const bool hearsAnnouncements = addAnnouncements(listener);
    Participant& participant = *m_places[listener].participant;
    if (!hearsParticipants && !hearsAnnouncements) {
        participant.sendSilence();
        return;
    }
    participant.send(m_mix);
}

bool Mixer::addParticipants(std::size_t listener)
{
    bool hears = false;
    for (std::size_t talker = 0; talker < m_places.size(); ++talker) {
        const GainMatrix::Gain& gain = m_gains.at(listener, talker);
        if (gain.isHeard() && m_places[talker].participant->isSounding()) {
            addTo(m_mix, m_places[talker].participant->samples(), gain.from, gain.to);
            hears = true;
        }
    }
    return hears;
}

bool Mixer::addAnnouncements(std::size_t listener)
{
    bool hears = false;
    for (const Announcement& announcement : m_announcements) {
        if (!announcement.source || !announcement.isSounding) {
            continue;
        }
        const GainMatrix::Gain& gain = m_gains.at(listener, talkerOf(announcement));
        if (gain.isHeard()) {
            addTo(m_mix, std::span(announcement.samples).first(m_mix.size()), gain.from, gain.to);
            hears = true;
        }
    }
    return hears;
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

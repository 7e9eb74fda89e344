#include "relay/voice/MixingDesk.h"

#include "relay/voice/Mixing.h"
#include "relay/voice/Voice.h"

#include <algorithm>
#include <cassert>
#include <span>
#include <utility>

namespace wingbell {

MixingDesk::MixingDesk(
    std::size_t channels, std::size_t samplesPerTick, std::size_t voices, std::size_t announcements)
    : m_places(voices)
    , m_announcements(announcements)
    , m_gains(voices, voices + announcements)
    , m_mix(samplesPerTick)
{
    for (Place& place : m_places) {
        place.patch.talk.resize(channels);
        place.patch.levels.resize(channels);
    }
    for (Announcement& announcement : m_announcements) {
        announcement.talk.resize(channels);
    }
}

void MixingDesk::add(std::size_t place, Voice& voice)
{
    assert(!has(place));
    m_places[place].voice = &voice;
    m_places[place].isFading = false;
    m_gains.silenceListener(place);
    m_gains.silenceTalker(place);
}

bool MixingDesk::has(std::size_t place) const
{
    return m_places[place].voice != nullptr;
}

bool MixingDesk::isFading(std::size_t place) const
{
    return m_places[place].isFading;
}

void MixingDesk::patch(std::size_t place, const Patch& patch)
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
            m_gains.aim(place, talkerOf(announcement), loudness(announcement.talk, own.levels));
        }
    }
}

void MixingDesk::connect(std::size_t listener, std::size_t talker)
{
    const Place& ear = m_places[listener];
    const Place& mouth = m_places[talker];
    if (listener == talker || !has(listener) || !has(talker) || mouth.isFading) {
        return;
    }
    m_gains.aim(listener, talker, loudness(mouth.patch.talk, ear.patch.levels));
}

void MixingDesk::fade(std::size_t place)
{
    m_places[place].isFading = true;
    m_gains.silenceListener(place);
    for (std::size_t listener = 0; listener < m_places.size(); ++listener) {
        m_gains.aim(listener, place, 0);
    }
}

void MixingDesk::remove(std::size_t place)
{
    m_places[place].voice = nullptr;
    m_gains.silenceListener(place);
    m_gains.silenceTalker(place);
}

void MixingDesk::announce(std::shared_ptr<SoundSource> source, const std::vector<float>& talk)
{
    const auto free = std::find_if(
        m_announcements.begin(), m_announcements.end(),
        [](const Announcement& announcement) { return !announcement.source; });
    assert(free != m_announcements.end());
    free->source = std::move(source);
    std::copy(talk.begin(), talk.end(), free->talk.begin());
    for (std::size_t listener = 0; listener < m_places.size(); ++listener) {
        if (has(listener) && !isFading(listener)) {
            // It begins with its own beginning: nothing is there to be faded in.
            m_gains.set(listener, talkerOf(*free), loudness(talk, m_places[listener].patch.levels));
        }
    }
}

std::size_t MixingDesk::talkerOf(const Announcement& announcement) const
{
    return m_places.size() + static_cast<std::size_t>(&announcement - m_announcements.data());
}

bool MixingDesk::isEmpty() const
{
    return std::none_of(
               m_places.begin(), m_places.end(),
               [](const Place& place) { return place.voice != nullptr; }) &&
           std::none_of(
               m_announcements.begin(), m_announcements.end(),
               [](const Announcement& announcement) { return announcement.source != nullptr; });
}

std::size_t MixingDesk::tick()
{
    playVoices();
    playAnnouncements();
    for (std::size_t listener = 0; listener < m_places.size(); ++listener) {
        if (has(listener) && !isFading(listener)) {
            sendMix(listener);
        }
    }
    m_gains.settle();
    return removeFinishedAnnouncements();
}

bool MixingDesk::isHeard(std::size_t talker) const
{
    for (std::size_t listener = 0; listener < m_places.size(); ++listener) {
        if (has(listener) && m_gains.at(listener, talker).isHeard()) {
            return true;
        }
    }
    return false;
}

void MixingDesk::playVoices()
{
    for (std::size_t talker = 0; talker < m_places.size(); ++talker) {
        if (!has(talker)) {
            continue;
        }
        Voice& voice = *m_places[talker].voice;
        if (isHeard(talker)) {
            voice.play();
        } else {
            voice.discard();
        }
    }
}

void MixingDesk::playAnnouncements()
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

void MixingDesk::sendMix(std::size_t listener)
{
    std::fill(m_mix.begin(), m_mix.end(), 0.0F);
    const bool hearsVoices = addVoices(listener);
    const bool hearsAnnouncements = addAnnouncements(listener);
    Voice& voice = *m_places[listener].voice;
    if (!hearsVoices && !hearsAnnouncements) {
        voice.sendSilence();
        return;
    }
    voice.send(m_mix);
}

bool MixingDesk::addVoices(std::size_t listener)
{
    bool hears = false;
    for (std::size_t talker = 0; talker < m_places.size(); ++talker) {
        const GainTable::Gain& gain = m_gains.at(listener, talker);
        if (gain.isHeard() && m_places[talker].voice->isSounding()) {
            addTo(m_mix, m_places[talker].voice->samples(), gain.from, gain.to);
            hears = true;
        }
    }
    return hears;
}

bool MixingDesk::addAnnouncements(std::size_t listener)
{
    bool hears = false;
    for (const Announcement& announcement : m_announcements) {
        if (!announcement.source || !announcement.isSounding) {
            continue;
        }
        const GainTable::Gain& gain = m_gains.at(listener, talkerOf(announcement));
        if (gain.isHeard()) {
            addTo(m_mix, std::span(announcement.samples).first(m_mix.size()), gain.from, gain.to);
            hears = true;
        }
    }
    return hears;
}

std::size_t MixingDesk::removeFinishedAnnouncements()
{
    std::size_t finished = 0;
    for (Announcement& announcement : m_announcements) {
        // One whose last samples have just filled the tick is found to be silent in the next.
        if (announcement.source && !announcement.isSounding && announcement.source->isFinished()) {
            m_gains.silenceTalker(talkerOf(announcement));
            announcement.source.reset();
            ++finished;
        }
    }
    return finished;
}

} // namespace wingbell

#include "relay/sessions/ShowPatch.h"

#include <QSet>

namespace wingbell {

namespace {

QHash<QString, std::size_t> placesOf(const QStringList& channels)
{
    QHash<QString, std::size_t> places;
    for (const QString& channel : channels) {
        places.insert(channel, static_cast<std::size_t>(places.size()));
    }
    return places;
}

} // namespace

ShowPatch::ShowPatch(const ShowFile& show)
    : m_name(show.show)
    , m_channels(show.channels)
{
    m_channels.removeDuplicates();
    m_places = placesOf(m_channels);
    QSet<Stray> told;
    const auto count = static_cast<std::size_t>(m_channels.size());
    for (const Role& role : show.roles) {
        const auto patched = [&](const QStringList& names) {
            ChannelSet set(count);
            for (const QString& name : names) {
                if (const auto place = m_places.constFind(name); place != m_places.cend()) {
                    set.insert(*place);
                    continue;
                }
                Stray stray{role.name, name};
                if (!told.contains(stray)) {
                    told.insert(stray);
                    m_strays.push_back(std::move(stray));
                }
            }
            return set;
        };
        PatchedRole result{role.name, patched(role.talk), patched(role.listen), {}};
        for (std::size_t channel = 0; channel < count; ++channel) {
            if (result.talk.contains(channel) || result.listen.contains(channel)) {
                result.channels.push_back(channel);
            }
        }
        m_roles.push_back(std::move(result));
    }
}

ChannelSet ShowPatch::setOf(const std::optional<QString>& channel) const
{
    const auto count = static_cast<std::size_t>(m_channels.size());
    if (!channel) {
        return ChannelSet::all(count);
    }
    ChannelSet set(count);
    if (const auto place = m_places.constFind(*channel); place != m_places.cend()) {
        set.insert(*place);
    }
    return set;
}

} // namespace wingbell

#include "relay/sessions/ShowPatch.h"

#include <QCryptographicHash>
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

/// The first five bytes of a digest, in base 32. `occurrence` counts the roles of that name from 0.
QString keyFor(const QByteArray& name, int occurrence)
{
    constexpr char alphabet[] = "abcdefghijklmnopqrstuvwxyz234567";
    constexpr qsizetype length = 8;
    constexpr int bitsEach = 5;
    constexpr unsigned mask = (1U << bitsEach) - 1;
    // No name holds a line feed and a number, or it only gets another key than it might have.
    const QByteArray named = occurrence == 0 ? name : name + '\n' + QByteArray::number(occurrence);
    const QByteArray hash = QCryptographicHash::hash(named, QCryptographicHash::Sha256);
    quint64 bits = 0;
    for (qsizetype byte = 0; byte < length * bitsEach / 8; ++byte) {
        bits = bits << 8 | static_cast<quint8>(hash.at(byte));
    }
    QString key;
    for (qsizetype at = length - 1; at >= 0; --at) {
        key += QLatin1Char(alphabet[bits >> (bitsEach * at) & mask]);
    }
    return key;
}

} // namespace

ShowPatch::ShowPatch(const ShowFile& show)
    : m_name(show.show)
    , m_channels(show.channels)
{
    m_channels.removeDuplicates();
    m_places = placesOf(m_channels);
    QSet<UnknownChannel> told;
    const auto count = static_cast<std::size_t>(m_channels.size());
    for (const Role& role : show.roles) {
        const auto patched = [&](const QStringList& names) {
            ChannelSet set(count);
            for (const QString& name : names) {
                if (const auto place = m_places.constFind(name); place != m_places.cend()) {
                    set.insert(*place);
                    continue;
                }
                const UnknownChannel unknown{role.name, name};
                if (!told.contains(unknown)) {
                    told.insert(unknown);
                    m_unknown.push_back(unknown);
                }
            }
            return set;
        };
        PatchedRole result{role.name, {}, patched(role.talk), patched(role.listen), {}};
        for (std::size_t channel = 0; channel < count; ++channel) {
            if (result.talk.contains(channel) || result.listen.contains(channel)) {
                result.channels.push_back(channel);
            }
        }
        m_roles.push_back(std::move(result));
    }
    addKeys();
}

void ShowPatch::addKeys()
{
    QHash<QByteArray, int> occurrences;
    for (std::size_t role = 0; role < m_roles.size(); ++role) {
        const QByteArray name = m_roles.at(role).name.toUtf8();
        QString& key = m_roles.at(role).key;
        do {
            key = keyFor(name, occurrences[name]++);
        } while (m_roleOfKey.contains(key));
        m_roleOfKey.insert(key, role);
    }
}

QStringList ShowPatch::namesOf(const ChannelSet& channels) const
{
    QStringList names;
    for (qsizetype channel = 0; channel < m_channels.size(); ++channel) {
        if (channels.contains(static_cast<std::size_t>(channel))) {
            names.append(m_channels.at(channel));
        }
    }
    return names;
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

std::optional<std::size_t> ShowPatch::roleWithKey(const QString& key) const
{
    const auto role = m_roleOfKey.constFind(key);
    return role == m_roleOfKey.cend() ? std::nullopt : std::optional(*role);
}

} // namespace wingbell

#pragma once

#include "model/ShowFile.h"
#include "relay/audio/ChannelSet.h"

#include <QHash>

#include <optional>
#include <vector>

namespace wingbell {

/// A role with its channels by their places in the show.
struct PatchedRole
{
    QString name;
    QString key; ///< by which the crew's pages name it; see ShowPatch
    ChannelSet talk;
    ChannelSet listen;
    std::vector<std::size_t> channels; ///< those of either list, once each, in the show's order
};

/// What a role's list names although the show has no such channel.
struct UnknownChannel
{
    QString role;
    QString channel;

    friend bool operator==(const UnknownChannel&, const UnknownChannel&) = default;
    friend size_t qHash(const UnknownChannel& unknown, size_t seed = 0)
    {
        return qHashMulti(seed, unknown.role, unknown.channel);
    }
};

/// A show as the server needs it: channels are places, no channel occurs twice, and what names a
/// channel that the show lacks is left out and told.
///
/// The key of a role is eight characters of a-z and 2-7, no two roles share one. It stays as long
/// as the role's name does, wherever it stands in the show, because join cards are printed with it;
/// roles of the same name have keys by their order.
class ShowPatch
{
public:
    explicit ShowPatch(const ShowFile& show);

    [[nodiscard]] const QString& name() const { return m_name; }
    [[nodiscard]] const QStringList& channels() const { return m_channels; }
    [[nodiscard]] const std::vector<PatchedRole>& roles() const { return m_roles; }
    [[nodiscard]] const std::vector<UnknownChannel>& unknownChannels() const { return m_unknown; }

    /// The set of `channel` alone, or, without one, of every channel.
    [[nodiscard]] ChannelSet setOf(const std::optional<QString>& channel) const;

    [[nodiscard]] QStringList namesOf(const ChannelSet& channels) const;

    /// The place in roles() of the role that has `key`.
    [[nodiscard]] std::optional<std::size_t> roleWithKey(const QString& key) const;

private:
    void addKeys();

    QString m_name;
    QStringList m_channels;
    QHash<QString, std::size_t> m_places; ///< of the channels
    std::vector<PatchedRole> m_roles;
    QHash<QString, std::size_t> m_roleOfKey;
    std::vector<UnknownChannel> m_unknown;
};

} // namespace wingbell

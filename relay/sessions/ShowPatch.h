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
    ChannelSet talk;
    ChannelSet listen;
    std::vector<std::size_t> channels; ///< those of either list, once each, in the show's order
};

/// A show as the server needs it: channels are places, no name occurs twice, and what names a
/// channel that the show lacks is left out and told.
class ShowPatch
{
public:
    /// What a role's list names although the show has no such channel.
    struct Stray
    {
        QString role;
        QString channel;

        friend bool operator==(const Stray&, const Stray&) = default;
        friend size_t qHash(const Stray& stray, size_t seed = 0)
        {
            return qHashMulti(seed, stray.role, stray.channel);
        }
    };

    explicit ShowPatch(const ShowFile& show);

    [[nodiscard]] const QString& name() const { return m_name; }
    [[nodiscard]] const QStringList& channels() const { return m_channels; }
    [[nodiscard]] const std::vector<PatchedRole>& roles() const { return m_roles; }
    [[nodiscard]] const std::vector<Stray>& strays() const { return m_strays; }

    /// The set of `channel` alone, or, without one, of every channel.
    [[nodiscard]] ChannelSet setOf(const std::optional<QString>& channel) const;

private:
    QString m_name;
    QStringList m_channels;
    QHash<QString, std::size_t> m_places; ///< of the channels
    std::vector<PatchedRole> m_roles;
    std::vector<Stray> m_strays;
};

} // namespace wingbell

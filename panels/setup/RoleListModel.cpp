#include "panels/setup/RoleListModel.h"

#include <algorithm>

namespace wingbell {

RoleListModel::RoleListModel(QObject* parent)
    : KeyedListModel(parent)
{
}

void RoleListModel::setConfig(ShowConfig* config)
{
    if (m_config == config) {
        return;
    }
    if (m_config) {
        disconnect(m_config, nullptr, this, nullptr);
    }
    m_config = config;
    if (m_config) {
        connect(m_config, &ShowConfig::rolesChanged, this, &RoleListModel::takeRoles);
        connect(m_config, &ShowConfig::channelsChanged, this, &RoleListModel::tellChannels);
    }
    takeRoles();
    Q_EMIT configChanged();
}

void RoleListModel::takeRoles()
{
    QList<RoleRow> wanted;
    if (m_config) {
        for (const Role& role : m_config->roles()) {
            wanted.append({role});
        }
    }
    keepReloadedCards(wanted);
    sync(wanted);
    Q_EMIT synchronized();
}

void RoleListModel::keepReloadedCards(const QList<RoleRow>& wanted)
{
    const auto isKept = [&wanted](const RoleRow& row) {
        return std::any_of(wanted.cbegin(), wanted.cend(), [&row](const RoleRow& other) {
            return other.key() == row.key();
        });
    };
    if (std::any_of(rows().cbegin(), rows().cend(), isKept)) {
        return; // an edit
    }
    for (qsizetype at = 0; at < std::min(rows().size(), wanted.size()); ++at) {
        const Role& before = rows().at(at).role;
        const QString& name = wanted.at(at).role.name;
        if (before.name == name || m_loadedNames.value(before.id, before.name) == name) {
            setRow(at, wanted.at(at));
        }
    }
    m_loadedNames.clear();
    for (const RoleRow& row : wanted) {
        m_loadedNames.insert(row.role.id, row.role.name);
    }
}

void RoleListModel::tellChannels()
{
    if (rowCount() > 0) {
        Q_EMIT dataChanged(index(0), index(rowCount() - 1), {TalkChannelsRole, ListenChannelsRole});
    }
}

QString RoleListModel::channelsIn(const QStringList& names) const
{
    QStringList channels;
    if (m_config) {
        for (const QString& channel : m_config->channels()) {
            if (names.contains(channel)) {
                channels.append(channel);
            }
        }
    }
    return channels.join(QStringLiteral(u", "));
}

QVariant RoleListModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    switch (role) {
    case RoleRole:
        return QVariant::fromValue(rows().at(index.row()).role);
    case ConfigRole:
        return QVariant::fromValue(m_config.data());
    case TalkChannelsRole:
        return channelsIn(rows().at(index.row()).role.talk);
    case ListenChannelsRole:
        return channelsIn(rows().at(index.row()).role.listen);
    default:
        return {};
    }
}

QHash<int, QByteArray> RoleListModel::roleNames() const
{
    return {
        {RoleRole, "role"},
        {ConfigRole, "config"},
        {TalkChannelsRole, "talkChannels"},
        {ListenChannelsRole, "listenChannels"}};
}

} // namespace wingbell

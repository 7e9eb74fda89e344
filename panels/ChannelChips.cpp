#include "panels/ChannelChips.h"

#include <QSet>

namespace wingbell {

ChannelChips::ChannelChips(QObject* parent)
    : KeyedListModel(parent)
{
}

void ChannelChips::setChannels(const QStringList& channels)
{
    if (m_channels == channels) {
        return;
    }
    m_channels = channels;
    takeRows();
    Q_EMIT channelsChanged();
}

void ChannelChips::setSelected(const QStringList& selected)
{
    if (m_selected == selected) {
        return;
    }
    m_selected = selected;
    takeRows();
    Q_EMIT selectedChanged();
}

void ChannelChips::takeRows()
{
    const QSet<QString> selected(m_selected.cbegin(), m_selected.cend());
    QList<ChannelRow> wanted;
    wanted.reserve(m_channels.size());
    for (const QString& channel : m_channels) {
        wanted.append({channel, selected.contains(channel)});
    }
    sync(wanted);
}

QVariant ChannelChips::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const ChannelRow& row = rows().at(index.row());
    switch (role) {
    case NameRole:
        return row.name;
    case SelectedRole:
        return row.selected;
    default:
        return {};
    }
}

QHash<int, QByteArray> ChannelChips::roleNames() const
{
    return {{NameRole, "name"}, {SelectedRole, "selected"}};
}

} // namespace wingbell

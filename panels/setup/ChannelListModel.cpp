#include "panels/setup/ChannelListModel.h"

#include "panels/controls/ChipSize.h"
#include "panels/controls/FlowLayout.h"

#include <QSet>

namespace wingbell {

ChannelListModel::ChannelListModel(QObject* parent)
    : KeyedListModel(parent)
{
}

void ChannelListModel::setChannels(const QStringList& channels)
{
    if (m_channels == channels) {
        return;
    }
    m_channels = channels;
    place();
    takeRows();
    Q_EMIT channelsChanged();
}

void ChannelListModel::setSelected(const QStringList& selected)
{
    if (m_selected == selected) {
        return;
    }
    m_selected = selected;
    takeRows();
    Q_EMIT selectedChanged();
}

void ChannelListModel::setWidth(double width)
{
    if (m_width == width) {
        return;
    }
    m_width = width;
    place();
    takeRows();
    Q_EMIT widthChanged();
}

void ChannelListModel::place()
{
    QList<QSizeF> sizes;
    sizes.reserve(m_channels.size());
    for (const QString& channel : m_channels) {
        sizes.append(chipSize(channel));
    }
    constexpr double gap = 8.0;
    const FlowLayout flow{gap};
    const QList<QPointF> corners = flow.placeSubviews(QRectF(0.0, 0.0, m_width, 0.0), sizes);
    m_places.clear();
    m_places.reserve(sizes.size());
    for (qsizetype index = 0; index < sizes.size(); ++index) {
        m_places.append({corners.at(index), sizes.at(index)});
    }
    const double height = flow.sizeThatFits(m_width, sizes).height();
    if (m_height != height) {
        m_height = height;
        Q_EMIT heightChanged();
    }
}

void ChannelListModel::takeRows()
{
    const QSet<QString> selected(m_selected.cbegin(), m_selected.cend());
    QList<ChannelRow> rows;
    rows.reserve(m_channels.size());
    for (qsizetype channel = 0; channel < m_channels.size(); ++channel) {
        const QString& name = m_channels.at(channel);
        rows.append({name, selected.contains(name), m_places.at(channel)});
    }
    sync(rows);
}

QVariant ChannelListModel::data(const QModelIndex& index, int role) const
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
    case PlaceRole:
        return row.place;
    default:
        return {};
    }
}

QHash<int, QByteArray> ChannelListModel::roleNames() const
{
    return {{NameRole, "name"}, {SelectedRole, "selected"}, {PlaceRole, "place"}};
}

} // namespace wingbell

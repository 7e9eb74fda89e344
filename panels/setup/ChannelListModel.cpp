#include "panels/setup/ChannelListModel.h"

#include "panels/controls/DisplayText.h"
#include "panels/controls/FlowLayout.h"

#include <QFont>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QHash>
#include <QQuickWindow>
#include <QSet>
#include <QTextLayout>

#include <cmath>

namespace wingbell {

namespace {

/// The letters of a chip.
QFont chipFont()
{
    QFont font = QGuiApplication::font();
    constexpr int pixels = 12;
    font.setPixelSize(pixels);
    font.setWeight(QFont::DemiBold);
    return font;
}

constexpr QSizeF padding(20.0, 10.0);

/// As the text item of the chip lays it out, in one line.
QSizeF textSize(const QString& text)
{
    if (text.isEmpty()) {
        return {0.0, std::ceil(QFontMetricsF(chipFont()).height())};
    }
    QTextLayout layout(DisplayText::withReturnSigns(text), chipFont());
    QTextOption option;
    option.setWrapMode(QTextOption::NoWrap);
    option.setUseDesignMetrics(QQuickWindow::textRenderType() != QQuickWindow::NativeTextRendering);
    layout.setTextOption(option);
    layout.beginLayout();
    QTextLine line = layout.createLine();
    line.setNumColumns(static_cast<int>(text.size()));
    layout.endLayout();
    return {line.naturalTextWidth(), line.height()};
}

/// The size that a chip with that text has, in points: known without making the chip. Remembers
/// what it has measured. User-interface thread only.
QSizeF chipSize(const QString& text)
{
    static QHash<QString, QSizeF> measured;
    const auto known = measured.constFind(text);
    if (known != measured.cend()) {
        return *known;
    }
    constexpr qsizetype maxNames = 10'000; // names, of all shows that a long day has seen
    if (measured.size() >= maxNames) {
        measured.clear();
    }
    const QSizeF size = textSize(text) + padding;
    measured.insert(text, size);
    return size;
}

} // namespace

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

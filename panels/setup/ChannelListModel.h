#pragma once

#include "panels/controls/KeyedListModel.h"

#include <QQmlEngine>
#include <QRectF>
#include <QStringList>

namespace wingbell {

/// A channel as a chip, known by its name.
struct ChannelRow
{
    QString name;
    bool selected = false;
    QRectF place; ///< in the area of all chips

    [[nodiscard]] const QString& key() const { return name; }
    friend bool operator==(const ChannelRow&, const ChannelRow&) = default;
};

/// The show's channels as chips in wrapping rows, in their order, and which of them are selected. A
/// selected name that is no channel of the show has no chip.
class ChannelListModel : public KeyedListModel<ChannelRow>
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QStringList channels READ channels WRITE setChannels NOTIFY channelsChanged)
    Q_PROPERTY(QStringList selected READ selected WRITE setSelected NOTIFY selectedChanged)
    Q_PROPERTY(double width READ width WRITE setWidth NOTIFY widthChanged)
    Q_PROPERTY(double height READ height NOTIFY heightChanged)

public:
    enum DataRole { NameRole = Qt::UserRole + 1, SelectedRole, PlaceRole };

    explicit ChannelListModel(QObject* parent = nullptr);

    [[nodiscard]] const QStringList& channels() const { return m_channels; }
    void setChannels(const QStringList& channels);
    [[nodiscard]] const QStringList& selected() const { return m_selected; }
    void setSelected(const QStringList& selected);

    /// The width of the area that the chips stand in, and the height that they need in it.
    [[nodiscard]] double width() const { return m_width; }
    void setWidth(double width);
    [[nodiscard]] double height() const { return m_height; }

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void channelsChanged();
    void selectedChanged();
    void widthChanged();
    void heightChanged();

private:
    void place();
    void takeRows();

    QStringList m_channels;
    QStringList m_selected;
    QList<QRectF> m_places; ///< of all channels
    double m_width = 0.0;
    double m_height = 0.0;
};

} // namespace wingbell

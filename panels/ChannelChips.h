#pragma once

#include "panels/KeyedListModel.h"

#include <QQmlEngine>
#include <QStringList>

namespace wingbell {

/// A channel as a chip, known by its name.
struct ChannelRow
{
    QString name;
    bool selected = false;

    [[nodiscard]] const QString& key() const { return name; }
    friend bool operator==(const ChannelRow&, const ChannelRow&) = default;
};

/// The show's channels as chips, in their order, and which of them are selected. A selected name
/// that is no channel of the show has no chip.
class ChannelChips : public KeyedListModel<ChannelRow>
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QStringList channels READ channels WRITE setChannels NOTIFY channelsChanged)
    Q_PROPERTY(QStringList selected READ selected WRITE setSelected NOTIFY selectedChanged)

public:
    enum DataRole { NameRole = Qt::UserRole + 1, SelectedRole };

    explicit ChannelChips(QObject* parent = nullptr);

    [[nodiscard]] const QStringList& channels() const { return m_channels; }
    void setChannels(const QStringList& channels);
    [[nodiscard]] const QStringList& selected() const { return m_selected; }
    void setSelected(const QStringList& selected);

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void channelsChanged();
    void selectedChanged();

private:
    void takeRows();

    QStringList m_channels;
    QStringList m_selected;
};

} // namespace wingbell

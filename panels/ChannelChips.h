#pragma once

#include "panels/Band.h"
#include "panels/KeyedListModel.h"

#include <QQmlEngine>
#include <QRectF>
#include <QStringList>

#include <optional>

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
/// selected name that is no channel of the show has no chip. Where every chip stands is known of
/// all; a row of the model is made only for those within sight, and for the one that is kept.
class ChannelChips : public KeyedListModel<ChannelRow>
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QStringList channels READ channels WRITE setChannels NOTIFY channelsChanged)
    Q_PROPERTY(QStringList selected READ selected WRITE setSelected NOTIFY selectedChanged)
    Q_PROPERTY(double width READ width WRITE setWidth NOTIFY widthChanged)
    Q_PROPERTY(double height READ height NOTIFY heightChanged)
    Q_PROPERTY(wingbell::Band sight READ sight WRITE setSight NOTIFY sightChanged)
    Q_PROPERTY(bool isMoving READ isMoving WRITE setMoving NOTIFY isMovingChanged)

public:
    enum DataRole { NameRole = Qt::UserRole + 1, SelectedRole, PlaceRole };

    explicit ChannelChips(QObject* parent = nullptr);

    [[nodiscard]] const QStringList& channels() const { return m_channels; }
    void setChannels(const QStringList& channels);
    [[nodiscard]] const QStringList& selected() const { return m_selected; }
    void setSelected(const QStringList& selected);

    /// The width of the area that the chips stand in, and the height that they need in it.
    [[nodiscard]] double width() const { return m_width; }
    void setWidth(double width);
    [[nodiscard]] double height() const { return m_height; }

    /// The part of the area, from its top, whose chips are wanted. Everything to begin with.
    [[nodiscard]] const Band& sight() const { return m_sight; }
    void setSight(const Band& sight);

    /// Whether the area is on its way to another place or size: no chip comes or goes until it
    /// stands.
    [[nodiscard]] bool isMoving() const { return m_isMoving; }
    void setMoving(bool isMoving);

    /// Keeps the chip of that name wherever it stands, instead of another; for the one that has the
    /// keyboard's focus.
    Q_INVOKABLE void keep(const QString& name);
    /// Keeps that chip no longer.
    Q_INVOKABLE void letGo(const QString& name);

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void channelsChanged();
    void selectedChanged();
    void widthChanged();
    void heightChanged();
    void sightChanged();
    void isMovingChanged();

private:
    void place();
    void takeRows();
    [[nodiscard]] QList<ChannelRow> wantedRows() const;
    [[nodiscard]] bool isWanted(qsizetype channel) const;

    QStringList m_channels;
    QStringList m_selected;
    QList<QRectF> m_places; ///< of all channels
    double m_width = 0.0;
    double m_height = 0.0;
    Band m_sight;
    std::optional<QString> m_kept;
    bool m_isMoving = false;
    bool m_isTaking = false;
    bool m_takesAgain = false;
};

} // namespace wingbell

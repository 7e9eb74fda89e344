#pragma once

#include "model/ShowConfig.h"
#include "panels/controls/KeyedListModel.h"

#include <QHash>
#include <QPointer>
#include <QQmlEngine>

namespace wingbell {

/// A role as a row of its own, known by its id.
struct RoleRow
{
    Role role;

    [[nodiscard]] const QUuid& key() const { return role.id; }
    friend bool operator==(const RoleRow&, const RoleRow&) = default;
};

/// The store's roles, one row a card, in the store's order. Cards keep their identity by the role's
/// id when others come and go. A reload gives every role a new id: a role that has its place again
/// and its name, be it the one before an edit, keeps its card.
class RoleListModel : public KeyedListModel<RoleRow>
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(wingbell::ShowConfig* config READ config WRITE setConfig NOTIFY configChanged)

public:
    enum DataRole {
        RoleRole = Qt::UserRole + 1,
        ConfigRole,
        TalkChannelsRole,   ///< the channels of the show that it talks on, as a list to be read
        ListenChannelsRole, ///< and those that it listens on
    };

    explicit RoleListModel(QObject* parent = nullptr);

    [[nodiscard]] ShowConfig* config() const { return m_config; }
    /// Shows that store's roles from now on; not owned.
    void setConfig(ShowConfig* config);

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void configChanged();
    /// All that was to come, go or move for an edit has.
    void synchronized();

private:
    void takeRoles();
    void keepReloadedCards(const QList<RoleRow>& wanted);
    void tellChannels();
    [[nodiscard]] QString channelsIn(const QStringList& names) const;

    QPointer<ShowConfig> m_config;
    QHash<QUuid, QString> m_loadedNames; ///< of the roles as they were loaded
};

} // namespace wingbell

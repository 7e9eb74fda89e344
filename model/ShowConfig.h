#pragma once

#include "model/Role.h"
#include "model/ShowFile.h"

#include <QDir>
#include <QObject>

namespace wingbell {

/// The one live copy of the show. Every panel reads it and every edit goes through it.
///
/// Setting a property notifies only when the value differs. The operations change `channels` and
/// `roles` in place and notify once for each list they go through, also when nothing in it matched.
/// At their end, when the show fits together again, they tell `operationDone`; so does a plain
/// write. No operation throws, logs or asks. User-interface thread only; no timers.
class ShowConfig : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString show READ show WRITE setShow NOTIFY showChanged)
    Q_PROPERTY(QStringList channels READ channels WRITE setChannels NOTIFY channelsChanged)
    Q_PROPERTY(QList<wingbell::Role> roles READ roles WRITE setRoles NOTIFY rolesChanged)
    Q_PROPERTY(qint64 oscPort READ oscPort WRITE setOscPort NOTIFY oscPortChanged)
    Q_PROPERTY(bool hasUnsavedChanges READ hasUnsavedChanges WRITE setHasUnsavedChanges NOTIFY
                   hasUnsavedChangesChanged)

public:
    /// The folder shared by all users of the machine that holds the show.
    [[nodiscard]] static const QDir& configDirectory();
    /// Absolute path of the show's document in `directory`.
    [[nodiscard]] static QString documentPath(const QDir& directory = configDirectory());

    /// A store over the document in `directory`, loaded at once: it holds that show or the default.
    explicit ShowConfig(const QDir& directory = configDirectory(), QObject* parent = nullptr);

    [[nodiscard]] const QString& show() const { return m_show; }
    [[nodiscard]] const QStringList& channels() const { return m_channels; }
    [[nodiscard]] const QList<Role>& roles() const { return m_roles; }
    [[nodiscard]] qint64 oscPort() const { return m_oscPort; }
    /// True when the show was edited since the last load or successful save.
    [[nodiscard]] bool hasUnsavedChanges() const { return m_hasUnsavedChanges; }

    /// The show as a save writes it, with the roles' ids.
    [[nodiscard]] ShowFile showFile() const { return {m_show, m_channels, m_roles, m_oscPort}; }

    /// Plain writes: none of them marks the show as edited; the caller does.
    void setShow(const QString& show);
    void setChannels(const QStringList& channels);
    void setRoles(const QList<Role>& roles);
    void setOscPort(qint64 port);
    void setHasUnsavedChanges(bool unsaved);

    /// Takes the document, or the default show where it cannot be read; writes nothing and says
    /// nothing. Unsaved edits are gone.
    Q_INVOKABLE void load();
    /// Writes the document in place, making its folder. False, with everything as it was, when the
    /// folder or the file could not be written, or the document would be too large to be read
    /// again.
    Q_INVOKABLE bool save();
    /// Takes `show` instead, with its roles' ids, as an edit.
    void restore(const ShowFile& show);

    /// The name that `text` gives a channel: without the horizontal space (tabs and Unicode space
    /// separators) at both ends. Line breaks stay, and so does all that stands inside them.
    [[nodiscard]] static QString channelName(QStringView text);
    /// Whether `text` gives no name.
    [[nodiscard]] Q_INVOKABLE static bool isBlankName(const QString& text)
    {
        return channelName(text).isEmpty();
    }
    /// Appends the channelName; a blank or known name is ignored.
    Q_INVOKABLE void addChannel(const QString& name);
    /// Takes the channel from the show and from every role. Marks an edit even if it was nowhere.
    Q_INVOKABLE void removeChannel(const QString& name);
    /// Appends "New Role" with no channels.
    Q_INVOKABLE void addRole();
    /// Removes the role with that id. Marks an edit even if there is none.
    Q_INVOKABLE void removeRole(const wingbell::Role& role);
    /// Renames the role with that id, to the letter; ignored if it is gone.
    Q_INVOKABLE void renameRole(const wingbell::Role& role, const QString& name);
    /// Removes the channel's first mention from the stored role's talk list or else appends it;
    /// ignored if the role is gone. The channel need not be one of the show's.
    Q_INVOKABLE void toggleTalk(const wingbell::Role& role, const QString& channel);
    /// The same for what the role hears.
    Q_INVOKABLE void toggleListen(const wingbell::Role& role, const QString& channel);

Q_SIGNALS:
    void showChanged();
    void channelsChanged();
    void rolesChanged();
    void oscPortChanged();
    void hasUnsavedChangesChanged();
    /// An operation or a plain write of the show is done, and what it caused meanwhile. Told once,
    /// after all else; the show need not have changed.
    void operationDone();

private:
    class Operation;

    template <typename Value>
    void write(Value& stored, const Value& value, void (ShowConfig::*changed)());
    void take(const ShowFile& show);
    [[nodiscard]] Role* storedRole(const Role& role);
    void toggle(const Role& role, QStringList Role::*list, const QString& channel);

    QDir m_directory;
    QString m_show;
    QStringList m_channels;
    QList<Role> m_roles;
    qint64 m_oscPort = defaultOscPort;
    bool m_hasUnsavedChanges = false;
    int m_operations = 0; ///< one within the other
};

} // namespace wingbell

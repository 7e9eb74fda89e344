#include "model/ShowConfig.h"

#include "base/RegularFile.h"
#include "model/ShowFile.h"

#include <algorithm>

namespace wingbell {

namespace {

/// Tabs and Unicode's space separators. Line breaks are no horizontal space.
bool isHorizontalSpace(QChar character)
{
    return character == u'\t' || character.category() == QChar::Separator_Space;
}

} // namespace

/// Lives as long as an operation; the outermost tells the end.
class ShowConfig::Operation
{
public:
    explicit Operation(ShowConfig& config)
        : m_config(config)
    {
        ++m_config.m_operations;
    }
    ~Operation()
    {
        if (--m_config.m_operations == 0) {
            Q_EMIT m_config.operationDone();
        }
    }
    Q_DISABLE_COPY_MOVE(Operation)

private:
    ShowConfig& m_config;
};

const QDir& ShowConfig::configDirectory()
{
    static const QDir directory(QStringLiteral("/Users/Shared/Wingbell"));
    return directory;
}

QString ShowConfig::documentPath(const QDir& directory)
{
    return directory.absoluteFilePath(QStringLiteral("roles.json"));
}

ShowConfig::ShowConfig(const QDir& directory, QObject* parent)
    : QObject(parent)
    , m_directory(directory)
{
    load();
}

template <typename Value>
void ShowConfig::write(Value& stored, const Value& value, void (ShowConfig::*changed)())
{
    if (stored == value) {
        return;
    }
    const Operation operation(*this);
    stored = value;
    Q_EMIT(this->*changed)();
}

void ShowConfig::setShow(const QString& show)
{
    write(m_show, show, &ShowConfig::showChanged);
}

void ShowConfig::setChannels(const QStringList& channels)
{
    write(m_channels, channels, &ShowConfig::channelsChanged);
}

void ShowConfig::setRoles(const QList<Role>& roles)
{
    write(m_roles, roles, &ShowConfig::rolesChanged);
}

void ShowConfig::setOscPort(qint64 port)
{
    write(m_oscPort, port, &ShowConfig::oscPortChanged);
}

void ShowConfig::setHasUnsavedChanges(bool unsaved)
{
    if (m_hasUnsavedChanges == unsaved) {
        return;
    }
    m_hasUnsavedChanges = unsaved;
    Q_EMIT hasUnsavedChangesChanged();
}

void ShowConfig::load()
{
    const Operation operation(*this);
    take(readShow(documentPath(m_directory)).value_or(defaultShow()));
    setHasUnsavedChanges(false);
}

void ShowConfig::restore(const ShowFile& show)
{
    const Operation operation(*this);
    take(show);
    setHasUnsavedChanges(true);
}

void ShowConfig::take(const ShowFile& show)
{
    setShow(show.show);
    setChannels(show.channels);
    setRoles(show.roles);
    setOscPort(show.oscPort);
}

bool ShowConfig::save()
{
    const std::optional<QByteArray> document = encodeShow(showFile());
    if (!document || document->size() > maxShowDocumentSize ||
        !QDir().mkpath(m_directory.absolutePath()) ||
        !writeRegularFile(documentPath(m_directory), *document)) {
        return false;
    }
    setHasUnsavedChanges(false);
    return true;
}

QString ShowConfig::channelName(QStringView text)
{
    while (!text.isEmpty() && isHorizontalSpace(text.front())) {
        text = text.sliced(1);
    }
    while (!text.isEmpty() && isHorizontalSpace(text.back())) {
        text.chop(1);
    }
    return text.toString();
}

void ShowConfig::addChannel(const QString& name)
{
    const QString channel = channelName(name);
    if (channel.isEmpty() || m_channels.contains(channel)) {
        return;
    }
    const Operation operation(*this);
    m_channels.append(channel);
    Q_EMIT channelsChanged();
    setHasUnsavedChanges(true);
}

void ShowConfig::removeChannel(const QString& name)
{
    const Operation operation(*this);
    // A copy: the caller's text may be an element of the very lists that shrink here.
    const QString channel = name; // NOLINT(performance-unnecessary-copy-initialization)
    m_channels.removeAll(channel);
    Q_EMIT channelsChanged();
    // By index, read again each time: a slot may change the list meanwhile.
    for (qsizetype index = 0; index < m_roles.size(); ++index) { // NOLINT(modernize-loop-convert)
        for (QStringList Role::*const list : {&Role::talk, &Role::listen}) {
            if (index < m_roles.size()) {
                (m_roles[index].*list).removeAll(channel);
                Q_EMIT rolesChanged();
            }
        }
    }
    setHasUnsavedChanges(true);
}

void ShowConfig::addRole()
{
    const Operation operation(*this);
    m_roles.append(Role{QUuid::createUuid(), QStringLiteral("New Role"), {}, {}});
    Q_EMIT rolesChanged();
    setHasUnsavedChanges(true);
}

void ShowConfig::removeRole(const Role& role)
{
    const Operation operation(*this);
    m_roles.removeIf([id = role.id](const Role& stored) { return stored.id == id; });
    Q_EMIT rolesChanged();
    setHasUnsavedChanges(true);
}

void ShowConfig::renameRole(const Role& role, const QString& name)
{
    Role* const stored = storedRole(role);
    if (stored == nullptr) {
        return;
    }
    const Operation operation(*this);
    stored->name = name;
    Q_EMIT rolesChanged();
    setHasUnsavedChanges(true);
}

void ShowConfig::toggleTalk(const Role& role, const QString& channel)
{
    toggle(role, &Role::talk, channel);
}

void ShowConfig::toggleListen(const Role& role, const QString& channel)
{
    toggle(role, &Role::listen, channel);
}

Role* ShowConfig::storedRole(const Role& role)
{
    const auto found = std::find_if(m_roles.begin(), m_roles.end(), [&role](const Role& stored) {
        return stored.id == role.id;
    });
    return found == m_roles.end() ? nullptr : &*found;
}

void ShowConfig::toggle(const Role& role, QStringList Role::*list, const QString& channel)
{
    Role* const stored = storedRole(role);
    if (stored == nullptr) {
        return;
    }
    const Operation operation(*this);
    QStringList& names = stored->*list;
    if (!names.removeOne(channel)) {
        names.append(channel);
    }
    Q_EMIT rolesChanged();
    setHasUnsavedChanges(true);
}

} // namespace wingbell

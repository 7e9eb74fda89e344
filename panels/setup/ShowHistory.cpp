#include "panels/setup/ShowHistory.h"

#include <QUndoCommand>

#include <algorithm>
#include <optional>
#include <utility>

namespace wingbell {

namespace {

/// Whether both hold the same for a person: a load gives roles new ids and changes nothing else.
bool readAlike(const ShowFile& one, const ShowFile& other)
{
    return one.show == other.show && one.channels == other.channels &&
           one.oscPort == other.oscPort &&
           std::equal(
               one.roles.begin(), one.roles.end(), other.roles.begin(), other.roles.end(),
               [](const Role& role, const Role& another) {
                   return role.name == another.name && role.talk == another.talk &&
                          role.listen == another.listen;
               });
}

/// The only name by which two shows differ: of the role of that id, or of the show if the id is
/// null. Nothing where they differ by more.
std::optional<QUuid> onlyNewName(const ShowFile& before, const ShowFile& after)
{
    ShowFile renamed = before;
    renamed.show = after.show;
    if (renamed == after) {
        return QUuid();
    }
    renamed.show = before.show;
    const auto [role, next] = std::mismatch(
        renamed.roles.begin(), renamed.roles.end(), after.roles.begin(), after.roles.end());
    if (role == renamed.roles.end() || next == after.roles.end()) {
        return std::nullopt;
    }
    role->name = next->name;
    return renamed == after ? std::optional(role->id) : std::nullopt;
}

qsizetype firstDifference(const QList<Role>& roles, const QList<Role>& others)
{
    return std::mismatch(roles.begin(), roles.end(), others.begin(), others.end()).first -
           roles.begin();
}

ShowHistory::Place differencePlace(const ShowFile& one, const ShowFile& other)
{
    if (one.channels != other.channels) {
        return ShowHistory::Place::Channels; // which a removal takes from roles too
    }
    if (one.roles != other.roles) {
        return ShowHistory::Place::Roles;
    }
    return one.show != other.show ? ShowHistory::Place::ShowName : ShowHistory::Place::Port;
}

class ShowEdit final : public QUndoCommand
{
public:
    ShowEdit(ShowConfig& config, ShowFile before, ShowFile after, std::optional<QUuid> name)
        : m_config(config)
        , m_before(std::move(before))
        , m_after(std::move(after))
        , m_name(name)
    {
    }

    void undo() override { m_config.restore(m_before); }

    void redo() override
    {
        // A step is recorded once it has been made.
        if (!std::exchange(m_isNew, false)) {
            m_config.restore(m_after);
        }
    }

    [[nodiscard]] int id() const override { return m_name ? 1 : -1; }

    bool mergeWith(const QUndoCommand* other) override
    {
        const auto& next = static_cast<const ShowEdit&>(*other); // of the same id
        if (m_name != next.m_name) {
            return false;
        }
        m_after = next.m_after;
        return true;
    }

    [[nodiscard]] bool isTypedBack(const ShowFile& show) const
    {
        return m_name && m_before == show;
    }

private:
    ShowConfig& m_config;
    ShowFile m_before;
    ShowFile m_after;
    std::optional<QUuid> m_name; ///< the only one changed
    bool m_isNew = true;
};

} // namespace

ShowHistory::ShowHistory(QObject* parent)
    : QObject(parent)
{
    m_steps.setUndoLimit(maxSteps);
}

void ShowHistory::setConfig(ShowConfig* config)
{
    if (m_config == config) {
        return;
    }
    if (m_config) {
        disconnect(m_config, nullptr, this, nullptr);
    }
    m_config = config;
    m_steps.clear();
    if (m_config) {
        m_show = m_config->showFile();
        connect(m_config, &ShowConfig::operationDone, this, &ShowHistory::record);
    }
}

void ShowHistory::record()
{
    if (m_isStepping) {
        return;
    }
    const ShowFile before = std::exchange(m_show, m_config->showFile());
    if (readAlike(before, m_show)) {
        return;
    }
    if (isTypedBack()) {
        takeStep(&QUndoStack::undo);
        return;
    }
    const std::optional<QUuid> name = onlyNewName(before, m_show);
    m_steps.push(new ShowEdit(*m_config, before, m_show, name));
    if (!name) {
        Q_EMIT stepped();
    }
}

// A field that undoes its own typing has undone the step with it.
bool ShowHistory::isTypedBack() const
{
    return m_steps.canUndo() && !m_steps.isClean() &&
           static_cast<const ShowEdit*>(m_steps.command(m_steps.index() - 1))->isTypedBack(m_show);
}

void ShowHistory::undo()
{
    if (m_steps.canUndo()) {
        step(&QUndoStack::undo);
    }
}

void ShowHistory::redo()
{
    if (m_steps.canRedo()) {
        step(&QUndoStack::redo);
    }
}

void ShowHistory::step(void (QUndoStack::*way)())
{
    if (m_config.isNull()) {
        return;
    }
    takeStep(way);
    const ShowFile before = std::exchange(m_show, m_config->showFile());
    endTyping();
    Q_EMIT stepped();
    Q_EMIT changedAt(
        differencePlace(before, m_show),
        static_cast<int>(firstDifference(m_show.roles, before.roles)));
}

void ShowHistory::takeStep(void (QUndoStack::*way)())
{
    m_isStepping = true;
    (m_steps.*way)();
    m_isStepping = false;
}

void ShowHistory::endTyping()
{
    m_steps.setClean(); // with which no later step is merged
}

} // namespace wingbell

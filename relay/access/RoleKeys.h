#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

namespace wingbell {

/// Short keys by which the crew's pages name the roles of a show: eight characters of a-z and 2-7.
/// A role keeps its key as long as its name stands, wherever in the show; of several roles with the
/// same name each has a key of its own, by their order. No two roles share one.
class RoleKeys
{
public:
    explicit RoleKeys(const QStringList& names);

    /// One for each name, in the order given.
    [[nodiscard]] const QStringList& keys() const { return m_keys; }

    /// The index of the role that has `key`.
    [[nodiscard]] std::optional<qsizetype> roleOf(const QString& key) const;

private:
    QStringList m_keys;
    QHash<QString, qsizetype> m_roles;
};

} // namespace wingbell

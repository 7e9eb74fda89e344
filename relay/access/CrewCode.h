#pragma once

#include <QString>
#include <QStringView>

#include <optional>

namespace wingbell {

/// The six digits that let a person join the crew.
class CrewCode
{
public:
    static constexpr qsizetype digits = 6;

    /// A new code from the system's cryptographic source; each of the million is equally likely.
    [[nodiscard]] static CrewCode random();

    /// nullopt for anything but six digits of ASCII.
    [[nodiscard]] static std::optional<CrewCode> fromText(QStringView text);

    /// Constant-time comparison: takes the same time for every `given` of the same length.
    [[nodiscard]] bool matches(QStringView given) const;

    /// All six digits, leading zeros too.
    [[nodiscard]] const QString& text() const { return m_text; }

    friend bool operator==(const CrewCode&, const CrewCode&) = default;

private:
    explicit CrewCode(QString text);

    QString m_text;
};

class StateDirectory;

/// A code that stays from one start of the server to the next. The texts are clauses for a person,
/// empty where there is nothing to tell.
struct StoredCrewCode
{
    CrewCode code;
    bool isNew = false;       ///< not known to any phone yet
    QString replacedBecause;  ///< why a code that was there is not used
    QString notStoredBecause; ///< of a new one
};

/// The code in `folder`. Where there is none, or none that can be believed, a new one, which is
/// stored there.
[[nodiscard]] StoredCrewCode loadOrCreateCrewCode(const StateDirectory& folder);

} // namespace wingbell

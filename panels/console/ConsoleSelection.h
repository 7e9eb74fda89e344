#pragma once

#include <QtGlobal>

#include <optional>

namespace wingbell {

/// A part of one line of the log. Lines are known by their running number, which stays with a line
/// while older lines go.
struct ConsoleSpan
{
    qint64 line = 0;
    qsizetype begin = 0; ///< the first character
    qsizetype end = 0;   ///< behind the last character
    bool isLine = false; ///< the line as a whole, with its line feed
};

/// What is selected in the console: from one span to another, and everything between them. The
/// line that the selection was last brought to is the current line, even if no character of it is
/// selected.
class ConsoleSelection
{
public:
    [[nodiscard]] bool isEmpty() const { return !m_ends; }
    [[nodiscard]] std::optional<qint64> currentLine() const;

    /// Selects that span alone.
    void start(const ConsoleSpan& span);
    /// Brings the selection to `span`, from where it was started. From a whole line to a whole
    /// line, both belong to it whichever comes first.
    void extendTo(const ConsoleSpan& span);
    void clear() { m_ends.reset(); }

    /// Leaves what is selected from the line `first` on: the lines before it are gone.
    void dropLinesBefore(qint64 first);

    /// The selected part of a line of that length; nothing if no character of it is selected and it
    /// is not selected as a whole.
    [[nodiscard]] std::optional<ConsoleSpan> partOf(qint64 line, qsizetype length) const;

private:
    struct Ends
    {
        ConsoleSpan anchor;
        ConsoleSpan head;
    };
    std::optional<Ends> m_ends;
};

} // namespace wingbell

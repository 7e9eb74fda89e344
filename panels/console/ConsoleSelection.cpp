#include "panels/console/ConsoleSelection.h"

#include <algorithm>

namespace wingbell {

namespace {

/// The span, or if its line is gone, the beginning of the first that is not.
ConsoleSpan withoutLinesBefore(qint64 first, const ConsoleSpan& span)
{
    return span.line < first ? ConsoleSpan{first, 0, 0, span.isLine} : span;
}

} // namespace

std::optional<qint64> ConsoleSelection::currentLine() const
{
    return m_ends ? std::optional(m_ends->head.line) : std::nullopt;
}

void ConsoleSelection::start(const ConsoleSpan& span)
{
    m_ends = Ends{span, span};
}

void ConsoleSelection::extendTo(const ConsoleSpan& span)
{
    if (!m_ends) {
        start(span);
        return;
    }
    m_ends->head = span;
    m_ends->anchor.isLine = m_ends->anchor.isLine || span.isLine;
}

void ConsoleSelection::dropLinesBefore(qint64 first)
{
    if (!m_ends) {
        return;
    }
    if (std::max(m_ends->anchor.line, m_ends->head.line) < first) {
        clear();
        return;
    }
    m_ends->anchor = withoutLinesBefore(first, m_ends->anchor);
    m_ends->head = withoutLinesBefore(first, m_ends->head);
}

std::optional<ConsoleSpan> ConsoleSelection::partOf(qint64 line, qsizetype length) const
{
    if (!m_ends) {
        return std::nullopt;
    }
    const auto& [anchor, head] = *m_ends;
    const auto [oldest, newest] = std::minmax(anchor.line, head.line);
    if (line < oldest || line > newest) {
        return std::nullopt;
    }
    ConsoleSpan part = {line, 0, length, true};
    const auto isAsALine = [line](const ConsoleSpan& span) {
        return span.line == line && span.isLine;
    };
    if (isAsALine(anchor) || isAsALine(head)) {
        return part;
    }
    const ConsoleSpan& top = anchor.line <= head.line ? anchor : head;
    const ConsoleSpan& bottom = anchor.line <= head.line ? head : anchor;
    if (oldest == newest) {
        part.begin = std::min(anchor.begin, head.begin);
        part.end = std::max(anchor.end, head.end);
    } else if (line == oldest) {
        part.begin = top.begin;
    } else if (line == newest) {
        part.end = bottom.end;
    }
    part.begin = std::min(part.begin, length);
    part.end = std::min(part.end, length);
    part.isLine = line < newest && part.begin == 0;
    return part.isLine || part.begin < part.end ? std::optional(part) : std::nullopt;
}

} // namespace wingbell

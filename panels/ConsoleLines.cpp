#include "panels/ConsoleLines.h"

#include <algorithm>
#include <chrono>

namespace wingbell {

namespace {

/// One frame of a 60 Hz screen: updates beyond that nobody sees.
constexpr std::chrono::milliseconds frame{16};

} // namespace

ConsoleLines::ConsoleLines(QObject* parent)
    : QAbstractListModel(parent)
{
    m_nextFrame.setSingleShot(true);
    m_nextFrame.setInterval(frame);
    connect(&m_nextFrame, &QTimer::timeout, this, &ConsoleLines::takeLines);
}

void ConsoleLines::setServer(ServerController* server)
{
    if (m_server == server) {
        return;
    }
    if (m_server) {
        disconnect(m_server, nullptr, this, nullptr);
    }
    m_server = server;
    if (m_server) {
        connect(m_server, &ServerController::logLinesChanged, this, [this] {
            if (!m_nextFrame.isActive()) {
                m_nextFrame.start();
            }
        });
    }
    takeLines();
    Q_EMIT serverChanged();
}

void ConsoleLines::takeLines()
{
    setLines(m_server ? m_server->logLines() : QStringList());
}

void ConsoleLines::setLines(const QStringList& lines)
{
    const qsizetype before = m_lines.size();
    const qsizetype common = std::min(before, lines.size());
    const auto [firstOld, firstNew] =
        std::mismatch(m_lines.cbegin(), m_lines.cbegin() + common, lines.cbegin());
    const qsizetype unchanged = firstOld - m_lines.cbegin();
    Q_UNUSED(firstNew)

    const auto row = [](qsizetype position) {
        return static_cast<int>(position);
    };
    if (lines.size() < before) {
        beginRemoveRows({}, row(lines.size()), row(before - 1));
        m_lines = lines;
        endRemoveRows();
    } else if (lines.size() > before) {
        beginInsertRows({}, row(before), row(lines.size() - 1));
        m_lines = lines;
        endInsertRows();
    } else {
        m_lines = lines;
    }
    if (unchanged < common) {
        Q_EMIT dataChanged(
            index(row(unchanged)), index(row(common - 1)), {LineRole, HasLongWordRole});
    }
    if (lines.size() != before) {
        Q_EMIT countDiffers();
    }
}

bool ConsoleLines::hasLongWord(QStringView line)
{
    constexpr qsizetype longest = 1000;
    qsizetype wordLength = 0;
    for (const QChar character : line) {
        wordLength = character.isSpace() ? 0 : wordLength + 1;
        if (wordLength > longest) {
            return true;
        }
    }
    return false;
}

int ConsoleLines::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_lines.size());
}

QVariant ConsoleLines::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const QString& line = m_lines.at(index.row());
    switch (role) {
    case LineRole:
        return line;
    case HasLongWordRole:
        return hasLongWord(line);
    default:
        return {};
    }
}

QHash<int, QByteArray> ConsoleLines::roleNames() const
{
    return {{LineRole, "line"}, {HasLongWordRole, "hasLongWord"}};
}

} // namespace wingbell

#include "panels/console/ConsoleModel.h"

#include <QAccessible>
#include <QClipboard>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QTextBoundaryFinder>

#include <algorithm>
#include <chrono>
#include <utility>

namespace wingbell {

namespace {

/// One frame of a 60 Hz screen: more frequent updates are not seen.
constexpr std::chrono::milliseconds frame{16};

/// The word around that character; between words, what is between them.
ConsoleSpan wordAt(qint64 number, const QString& line, qsizetype character)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Word, line);
    finder.setPosition(std::min(character + 1, line.size()));
    const qsizetype begin = std::max<qsizetype>(finder.toPreviousBoundary(), 0);
    const qsizetype end = finder.toNextBoundary();
    return {number, begin, end < 0 ? line.size() : end};
}

ConsoleSpan spanAt(qint64 number, const QString& line, qsizetype character, ConsoleModel::Unit unit)
{
    switch (unit) {
    case ConsoleModel::Characters:
        return {number, character, character};
    case ConsoleModel::Words:
        return wordAt(number, line, character);
    case ConsoleModel::Lines:
        break;
    }
    return {number, 0, line.size(), true};
}

/// Without what ends a sentence, and without closing brackets that were opened before the address.
QStringView withoutPunctuation(QStringView address)
{
    const auto isUnopened = [&address](QChar closing, QChar opening) {
        return address.endsWith(closing) && address.count(closing) > address.count(opening);
    };
    const QStringView endsOfSentences = u".,;:!?'";
    while (!address.isEmpty() && (endsOfSentences.contains(address.back()) ||
                                  isUnopened(u')', u'(') || isUnopened(u']', u'['))) {
        address.chop(1);
    }
    return address;
}

/// Empty unless the address can be shown and opened as it stands.
QUrl urlOf(QStringView address)
{
    constexpr qsizetype maxLength = 300;
    if (address.size() > maxLength) {
        return {};
    }
    const QUrl url(address.toString(), QUrl::StrictMode);
    return url.isValid() && !url.host().isEmpty() && url.userInfo().isEmpty() ? url : QUrl();
}

} // namespace

QUrl webAddressIn(const QString& line, qsizetype position)
{
    // Followed by a letter of another script, it would be a part of some other address.
    static const QRegularExpression pattern(
        QStringLiteral(
            R"((?<![\p{L}\p{N}])https?://[-\w.~:/?#\[\]@!$&'()*+,;=%]++(?![\p{L}\p{N}\p{M}\p{Cf}\p{Co}\p{Cs}]))"),
        QRegularExpression::CaseInsensitiveOption);
    QUrl first;
    auto matches = pattern.globalMatch(line);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        const QStringView address = withoutPunctuation(match.capturedView());
        QUrl url = urlOf(address);
        if (url.isEmpty()) {
            continue;
        }
        const qsizetype begin = match.capturedStart();
        if (position < 0 || (position >= begin && position < begin + address.size())) {
            return url;
        }
        if (first.isEmpty()) {
            first = url;
        }
    }
    return first;
}

ConsoleModel::ConsoleModel(QObject* parent)
    : QAbstractListModel(parent)
{
    m_nextFrame.setSingleShot(true);
    m_nextFrame.setInterval(frame);
    connect(&m_nextFrame, &QTimer::timeout, this, &ConsoleModel::takeLines);
}

void ConsoleModel::setServer(ServerController* server)
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
    clearSelection(); // another controller counts its lines from zero
    takeLines();
    Q_EMIT serverChanged();
}

void ConsoleModel::takeLines()
{
    if (m_server) {
        setLines(m_server->logLines(), m_server->droppedLines());
    } else {
        setLines({});
    }
}

void ConsoleModel::setLines(const QStringList& lines, qint64 droppedLines)
{
    const bool hadSelection = !m_selection.isEmpty();
    const bool haveMoved = std::exchange(m_firstLine, droppedLines) != droppedLines;
    const qsizetype before = m_lines.size();
    const qsizetype common = std::min(before, lines.size());
    const qsizetype unchanged =
        std::mismatch(m_lines.cbegin(), m_lines.cbegin() + common, lines.cbegin()).first -
        m_lines.cbegin();
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
    m_selection.dropLinesBefore(m_firstLine);
    if (currentRow() >= rowCount()) {
        m_selection.clear();
    }
    if (hadSelection && (haveMoved || lines.size() < before)) {
        tellSelection();
    }
    if (lines.size() != before) {
        Q_EMIT countDiffers();
    }
}

void ConsoleModel::tellSelection()
{
    if (!m_lines.isEmpty()) {
        Q_EMIT dataChanged(
            index(0), index(rowCount() - 1),
            {IsCurrentRole, IsWholeRole, SelectionBeginRole, SelectionEndRole});
    }
    Q_EMIT selectionChanged();
}

int ConsoleModel::currentRow() const
{
    const std::optional<qint64> line = m_selection.currentLine();
    return line ? static_cast<int>(*line - m_firstLine) : -1;
}

std::optional<ConsoleSpan> ConsoleModel::selectedPartOf(int row) const
{
    return m_selection.partOf(m_firstLine + row, m_lines.at(row).size());
}

bool ConsoleModel::hasSelection() const
{
    for (int row = 0; row < rowCount(); ++row) {
        if (selectedPartOf(row)) {
            return true;
        }
    }
    return false;
}

QString ConsoleModel::selectedText() const
{
    QStringList parts;
    for (int row = 0; row < rowCount(); ++row) {
        if (const std::optional<ConsoleSpan> part = selectedPartOf(row)) {
            parts.append(m_lines.at(row).sliced(part->begin, part->end - part->begin));
        }
    }
    return parts.join(u'\n');
}

void ConsoleModel::select(int row, int character, Unit unit, bool extends)
{
    if (row < 0 || row >= rowCount()) {
        return;
    }
    const QString& line = m_lines.at(row);
    const qsizetype at = std::clamp<qsizetype>(character, 0, line.size());
    const ConsoleSpan span = spanAt(m_firstLine + row, line, at, unit);
    if (extends) {
        m_selection.extendTo(span);
    } else {
        m_selection.start(span);
    }
    tellSelection();
}

void ConsoleModel::selectAll()
{
    select(0, 0, Lines, false);
    select(rowCount() - 1, 0, Lines, true);
}

void ConsoleModel::clearSelection()
{
    if (!m_selection.isEmpty()) {
        m_selection.clear();
        tellSelection();
    }
}

bool ConsoleModel::moveBy(int key, int firstSeen, int lastSeen, bool extends)
{
    const int current = currentRow();
    const int page = std::max(lastSeen - firstSeen, 1);
    int row = 0;
    switch (key) {
    case Qt::Key_Up:
        row = current < 0 ? lastSeen : current - 1;
        break;
    case Qt::Key_Down:
        row = current < 0 ? firstSeen : current + 1;
        break;
    case Qt::Key_PageUp:
        row = (current < 0 ? lastSeen : current) - page;
        break;
    case Qt::Key_PageDown:
        row = (current < 0 ? firstSeen : current) + page;
        break;
    case Qt::Key_Home:
        break;
    case Qt::Key_End:
        row = rowCount() - 1;
        break;
    default:
        return false;
    }
    if (m_lines.isEmpty()) {
        return false;
    }
    select(std::clamp(row, 0, rowCount() - 1), 0, Lines, extends);
    return true;
}

void ConsoleModel::copy() const
{
    if (hasSelection()) {
        QGuiApplication::clipboard()->setText(selectedText());
    }
}

void ConsoleModel::copyForMiddleButton() const
{
    QClipboard* const clipboard = QGuiApplication::clipboard();
    if (clipboard->supportsSelection() && hasSelection()) {
        clipboard->setText(selectedText(), QClipboard::Selection);
    }
}

QString ConsoleModel::addressIn(int row, int character) const
{
    return QString::fromLatin1(webAddressIn(m_lines.value(row), character).toEncoded());
}

void ConsoleModel::tellFocus(QObject* row)
{
    if (row != nullptr) {
        QAccessibleEvent event(row, QAccessible::Focus);
        QAccessible::updateAccessibility(&event);
    }
}

bool ConsoleModel::hasLongWord(QStringView line)
{
    constexpr qsizetype maxWordLength = 1000;
    qsizetype wordLength = 0;
    for (const QChar character : line) {
        wordLength = character.isSpace() ? 0 : wordLength + 1;
        if (wordLength > maxWordLength) {
            return true;
        }
    }
    return false;
}

int ConsoleModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_lines.size());
}

QVariant ConsoleModel::data(const QModelIndex& index, int role) const
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
    case IsCurrentRole:
        return index.row() == currentRow();
    default:
        break;
    }
    const ConsoleSpan part = selectedPartOf(index.row()).value_or(ConsoleSpan());
    switch (role) {
    case IsWholeRole:
        return part.isLine;
    case SelectionBeginRole:
        return static_cast<int>(part.begin);
    case SelectionEndRole:
        return static_cast<int>(part.end);
    default:
        return {};
    }
}

QHash<int, QByteArray> ConsoleModel::roleNames() const
{
    return {
        {LineRole, "line"},
        {HasLongWordRole, "hasLongWord"},
        {IsCurrentRole, "isCurrent"},
        {IsWholeRole, "isWhole"},
        {SelectionBeginRole, "selectionBegin"},
        {SelectionEndRole, "selectionEnd"}};
}

} // namespace wingbell

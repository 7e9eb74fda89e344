#pragma once

#include "panels/console/ConsoleSelection.h"
#include "server/ServerController.h"

#include <QAbstractListModel>
#include <QPointer>
#include <QQmlEngine>
#include <QStringList>
#include <QTimer>
#include <QUrl>

namespace wingbell {

/// The web address that stands in a line of text, to be offered for opening: the one that holds
/// the character at `position`, or else the line's first. Empty if there is none.
///
/// Lines may quote strangers, so an address is only offered if it can be read for what it is:
/// http or https, in plain ASCII, with a host, without a user's name before the host, and not
/// longer than 300 characters. Punctuation after it and a bracket around it do not belong to it.
[[nodiscard]] QUrl webAddressIn(const QString& line, qsizetype position = -1);

/// A controller's log as rows for the console, brought up to date at most once a frame, and what is
/// selected of it.
///
/// Rows are known by their position: when old lines go, every row shows another text and none
/// moves. A change of the number of rows, and nothing else, asks the console to follow. What is
/// selected, and the current line, are known by their lines: they move to other rows with them, and
/// are gone when these are gone.
class ConsoleModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(wingbell::ServerController* server READ server WRITE setServer NOTIFY serverChanged)
    Q_PROPERTY(int currentRow READ currentRow NOTIFY selectionChanged)
    Q_PROPERTY(bool hasSelection READ hasSelection NOTIFY selectionChanged)

public:
    enum Role {
        LineRole = Qt::UserRole + 1,
        HasLongWordRole, ///< whether it is to be broken anywhere, see hasLongWord
        IsCurrentRole,
        IsWholeRole,        ///< whether it is selected as a whole, with its line feed
        SelectionBeginRole, ///< the first selected character
        SelectionEndRole,   ///< behind the last selected character; as the first if there is none
    };

    /// What a selection consists of.
    enum Unit { Characters, Words, Lines };
    Q_ENUM(Unit)

    /// Whether more than a thousand characters of the line stand without a space. Where such a word
    /// ends, text that is broken between words searches again in each of its rows, which takes a
    /// minute for a megabyte.
    [[nodiscard]] static bool hasLongWord(QStringView line);

    explicit ConsoleModel(QObject* parent = nullptr);

    [[nodiscard]] ServerController* server() const { return m_server; }
    /// Shows that controller's lines from now on, at once; not owned.
    void setServer(ServerController* server);

    /// Shows these lines, at once. `droppedLines` have stood before them, see ServerController.
    void setLines(const QStringList& lines, qint64 droppedLines = 0);

    /// The row of the current line, -1 if there is none.
    [[nodiscard]] int currentRow() const;
    /// Whether there is something to copy.
    [[nodiscard]] bool hasSelection() const;
    /// Selected lines are joined by line feeds, verbatim.
    [[nodiscard]] QString selectedText() const;

    /// Selects the unit around that character of a row, and makes its line the current one. If it
    /// `extends`, all from where the selection was started up to there.
    Q_INVOKABLE void
    select(int row, int character, wingbell::ConsoleModel::Unit unit, bool extends);
    Q_INVOKABLE void selectAll();
    Q_INVOKABLE void clearSelection();
    /// Makes the line the current one to which that key leads: the arrow keys up and down, the page
    /// keys, Home and End. Selects it alone, or if it `extends`, all from where the selection was
    /// started. Without a current line the arrow keys begin at what is seen, which goes from the
    /// row `firstSeen` to `lastSeen`. Returns false, and does nothing, for other keys and without
    /// lines.
    Q_INVOKABLE bool moveBy(int key, int firstSeen, int lastSeen, bool extends);

    /// Puts what is selected into the clipboard; nothing if nothing is selected.
    Q_INVOKABLE void copy() const;
    /// Puts what is selected where the middle mouse button pastes from, on desktops that have that.
    Q_INVOKABLE void copyForMiddleButton() const;

    /// The web address in that row, as it would be opened: the one at that character, or else the
    /// first. Empty if there is none. See webAddressIn.
    [[nodiscard]] Q_INVOKABLE QString addressIn(int row, int character = -1) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    /// Tells a screen reader that the keyboard has come to that row's item. The list keeps the
    /// focus itself, as rows come and go.
    Q_INVOKABLE static void tellFocus(QObject* row);

Q_SIGNALS:
    void serverChanged();
    /// The number of rows is another than at the last update; the rows are up to date.
    void countDiffers();
    void selectionChanged();

private:
    void takeLines();
    void tellSelection();
    [[nodiscard]] std::optional<ConsoleSpan> selectedPartOf(int row) const;

    QPointer<ServerController> m_server;
    QStringList m_lines;
    qint64 m_firstLine = 0; ///< the running number of the first row's line
    ConsoleSelection m_selection;
    QTimer m_nextFrame;
};

} // namespace wingbell

#pragma once

#include "server/ServerController.h"

#include <QAbstractListModel>
#include <QPointer>
#include <QQmlEngine>
#include <QStringList>
#include <QTimer>

namespace wingbell {

/// A controller's log as rows for the console, brought up to date at most once a frame.
///
/// Rows are known by their position: when old lines go, every row shows another text and none
/// moves. A change of the number of rows, and nothing else, asks the console to follow.
class ConsoleLines : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(wingbell::ServerController* server READ server WRITE setServer NOTIFY serverChanged)

public:
    enum Role {
        LineRole = Qt::UserRole + 1,
        HasLongWordRole, ///< whether it is to be broken anywhere, see hasLongWord
    };

    /// Whether more than a thousand characters of the line stand without a space. Where such a word
    /// ends, text that is broken between words looks for anew in each of its rows, which takes a
    /// minute for a megabyte.
    [[nodiscard]] static bool hasLongWord(QStringView line);

    explicit ConsoleLines(QObject* parent = nullptr);

    [[nodiscard]] ServerController* server() const { return m_server; }
    /// Shows that controller's lines from now on, at once; not owned.
    void setServer(ServerController* server);

    /// Shows these lines, at once.
    void setLines(const QStringList& lines);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void serverChanged();
    /// The number of rows is another than at the last update; the rows are up to date.
    void countDiffers();

private:
    void takeLines();

    QPointer<ServerController> m_server;
    QStringList m_lines;
    QTimer m_nextFrame;
};

} // namespace wingbell

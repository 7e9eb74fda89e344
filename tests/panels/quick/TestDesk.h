#pragma once

#include "model/ShowConfig.h"
#include "panels/console/ConsoleModel.h"
#include "server/ServerController.h"

#include <QObject>
#include <QPointF>
#include <QQmlEngine>
#include <QQuickItem>
#include <QSizeF>
#include <QStringList>
#include <QTemporaryDir>
#include <QUrl>
#include <QVariantList>

#include <memory>
#include <optional>

namespace wingbell {

class RecordingSleepInhibitor;

/// A desk's models over a show and a server of the test's own, and what befalls them from outside.
/// What it made on disk goes with it; its servers must have been ended before.
class TestDesk : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(wingbell::ShowConfig* config READ config CONSTANT)
    Q_PROPERTY(wingbell::ServerController* server READ server CONSTANT)
    Q_PROPERTY(wingbell::ConsoleModel* lines READ lines CONSTANT)

public:
    explicit TestDesk(QObject* parent = nullptr);
    ~TestDesk() override;
    Q_DISABLE_COPY_MOVE(TestDesk)

    [[nodiscard]] ShowConfig* config() { return &m_config; }
    [[nodiscard]] ServerController* server() { return m_server.get(); }
    /// The console's rows, of no controller: they are what `setLines` says.
    [[nodiscard]] ConsoleModel* lines() { return &m_lines; }
    Q_INVOKABLE void setLines(const QStringList& lines, int droppedLines = 0)
    {
        m_lines.setLines(lines, droppedLines);
    }

    /// Puts that document where the show lies, as another program would; `config` is not told.
    Q_INVOKABLE void writeShow(const QString& document) const;
    /// The show's document as it lies on disk; empty where there is none.
    [[nodiscard]] Q_INVOKABLE QString savedShow() const;
    /// From now on the show cannot be written; what was written is gone.
    Q_INVOKABLE void makeSavingFail() const;

    [[nodiscard]] Q_INVOKABLE int roleCount() const;
    [[nodiscard]] Q_INVOKABLE wingbell::Role role(int position) const;
    /// Makes these the roles, on no channel, as an edit made elsewhere.
    Q_INVOKABLE void setRoles(const QStringList& names);

    /// Makes a show of so many channels and roles, every role on every channel, as an edit made
    /// elsewhere.
    Q_INVOKABLE void setLargeShow(int roles, int channels);

    /// Makes the next start run the fixture under that name; there is no server before.
    Q_INVOKABLE void serverIs(const QString& behaviour);
    /// Makes the next start run what cannot be run.
    Q_INVOKABLE void serverIsNoProgram();
    /// Servers started and not yet seen to end.
    [[nodiscard]] Q_INVOKABLE static int serverCount();
    /// Kills them; `serverCount` falls when their end has been seen.
    Q_INVOKABLE static void killServers();
    /// What the controller has asked for to keep the computer awake.
    [[nodiscard]] Q_INVOKABLE QStringList sleepCalls() const;

    /// The web addresses that the desktop was asked to open, in their order. None is opened.
    [[nodiscard]] Q_INVOKABLE QStringList openedAddresses() const { return m_openedAddresses; }
    /// Lets a key go down or up in the item's window at that time, in milliseconds, as the window
    /// system says it: without a word whether the key is held.
    Q_INVOKABLE static void
    sendKey(QQuickItem* item, bool isDown, int key, const QString& text, double time);
    /// The same of the left button at that place of the item.
    Q_INVOKABLE static void
    sendButton(QQuickItem* item, bool isDown, const QPointF& place, double time);
    /// The pointer's shape over the item.
    [[nodiscard]] Q_INVOKABLE static int pointerShape(QQuickItem* item);

    [[nodiscard]] Q_INVOKABLE static QString clipboard();
    Q_INVOKABLE static void setClipboard(const QString& text);
    Q_INVOKABLE static void clearClipboard();

    /// Where the rule for wrapping rows puts items of those sizes, and the size that it asks for.
    [[nodiscard]] Q_INVOKABLE static QVariantList
    rowPlaces(double width, double spacing, const QVariantList& sizes);
    [[nodiscard]] Q_INVOKABLE static QSizeF
    rowsSize(double width, double spacing, const QVariantList& sizes);

private Q_SLOTS:
    void noteAddress(const QUrl& address);

private:
    QTemporaryDir m_folder;
    ShowConfig m_config;
    ConsoleModel m_lines;
    std::unique_ptr<RecordingSleepInhibitor> m_sleep;
    std::optional<QString> m_serverPath;
    std::unique_ptr<ServerController> m_server;
    QStringList m_openedAddresses;
};

} // namespace wingbell

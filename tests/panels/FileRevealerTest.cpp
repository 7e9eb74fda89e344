#include "panels/FileRevealer.h"
#include "tests/server/MockService.h"
#include "tests/server/PrivateBus.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace wingbell;

namespace {

constexpr int patience = 30'000; // milliseconds; what is waited for takes a few, unless busy

} // namespace

class FileRevealerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_bus = std::make_unique<PrivateBus>();
        QVERIFY(m_bus->isRunning());
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus->address());
        m_folder = std::make_unique<QTemporaryDir>();
        m_opened.clear();
        m_revealer = std::make_unique<FileRevealer>(
            [this](const QString& folder) { m_opened.append(folder); });
    }
    void cleanup()
    {
        m_revealer.reset();
        m_bus.reset();
        m_folder.reset();
    }

    void theFileManagerIsAskedForThatOneFile()
    {
        MockService manager(*m_bus, u"file-manager"_qs);
        QVERIFY(manager.isRunning());
        m_revealer->reveal(m_folder->filePath(u"a show/roles.json"_qs)); // no such folder
        QCOMPARE(m_opened, QStringList{m_folder->path()});
        QVERIFY(QDir(m_folder->path()).mkdir(u"a show"_qs));
        m_revealer->reveal(m_folder->filePath(u"a show/roles.json"_qs)); // no such file
        QTRY_VERIFY_WITH_TIMEOUT(!manager.log().isEmpty(), patience);
        const QString call = manager.finish().first();
        QVERIFY2(call.contains(u"ShowItems"_qs), qPrintable(call));
        QVERIFY2(
            call.contains(u"file://"_qs + m_folder->path() + u"/a%20show/roles.json"_qs),
            qPrintable(call));
        QCOMPARE(m_opened.size(), 1);
    }

    void withoutAFileManagerTheFolderIsOpened()
    {
        m_revealer->reveal(m_folder->filePath(u"roles.json"_qs));
        QTRY_COMPARE_WITH_TIMEOUT(m_opened, QStringList{m_folder->path()}, patience);
    }

    void withoutABusTheFolderIsOpened()
    {
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
        m_revealer->reveal(m_folder->filePath(u"roles.json"_qs));
        QTRY_COMPARE_WITH_TIMEOUT(m_opened, QStringList{m_folder->path()}, patience);
    }

    void theNearestFolderThatExistsIsFound()
    {
        QCOMPARE(FileRevealer::nearestFolder(m_folder->filePath(u"x"_qs)), m_folder->path());
        QCOMPARE(FileRevealer::nearestFolder(m_folder->filePath(u"x/y/z"_qs)), m_folder->path());
        QCOMPARE(FileRevealer::nearestFolder(u"/nowhere/at/all"_qs), u"/"_qs);
    }

private:
    std::unique_ptr<PrivateBus> m_bus;
    std::unique_ptr<QTemporaryDir> m_folder;
    QStringList m_opened;
    std::unique_ptr<FileRevealer> m_revealer;
};

QTEST_GUILESS_MAIN(FileRevealerTest)
#include "FileRevealerTest.moc"

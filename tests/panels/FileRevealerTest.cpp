#include "desktop/FileRevealer.h"
#include "tests/TestProgram.h"
#include "tests/bus/MockService.h"
#include "tests/bus/PrivateBus.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace wingbell;

namespace {

constexpr int timeout = 30'000; // milliseconds; what is waited for takes a few, unless busy

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
        QVERIFY(QDir(m_folder->path()).mkdir(u"a show"_s));
        MockService manager(*m_bus, u"file-manager"_s);
        m_revealer->reveal(m_folder->filePath(u"a show/roles.json"_s)); // no such file
        QTRY_VERIFY_WITH_TIMEOUT(!manager.log().isEmpty(), timeout);
        QCOMPARE(
            manager.finish(),
            (QStringList{asked(u"ShowItems"_s, u"/a%20show/roles.json"_s), u"caller left"_s}));
        QCOMPARE(m_opened, QStringList());
    }

    void theFileManagerIsAskedForTheNearestFolderWhereItsOwnIsMissing()
    {
        MockService manager(*m_bus, u"file-manager"_s);
        m_revealer->reveal(m_folder->filePath(u"no show/at all/roles.json"_s));
        QTRY_VERIFY_WITH_TIMEOUT(!manager.log().isEmpty(), timeout);
        QCOMPARE(manager.finish(), (QStringList{asked(u"ShowFolders"_s, {}), u"caller left"_s}));
        QCOMPARE(m_opened, QStringList());
    }

    void aFileManagerThatRefusesAMissingFileIsAskedForItsFolder()
    {
        MockService manager(
            *m_bus, u"file-manager"_s, {u"--behaviour"_s, u"refuse-missing-files"_s});
        m_revealer->reveal(m_folder->filePath(u"roles.json"_s));
        QTRY_VERIFY_WITH_TIMEOUT(manager.log().size() >= 3, timeout);
        QCOMPARE(
            manager.finish(), (QStringList{
                                  asked(u"ShowItems"_s, u"/roles.json"_s),
                                  asked(u"ShowFolders"_s, {}), u"caller left"_s}));
        QCOMPARE(m_opened, QStringList());
    }

    void aFileManagerThatRefusesEverythingIsDoneWithout()
    {
        const MockService manager(*m_bus, u"file-manager"_s, {u"--behaviour"_s, u"refuse"_s});
        m_revealer->reveal(m_folder->filePath(u"roles.json"_s));
        QTRY_COMPARE_WITH_TIMEOUT(m_opened, QStringList{m_folder->path()}, timeout);
    }

    void aFileManagerThatHangsIsDoneWithout()
    {
        MockService manager(*m_bus, u"file-manager"_s, {u"--behaviour"_s, u"hang"_s});
        m_revealer->reveal(m_folder->filePath(u"roles.json"_s));
        QTRY_COMPARE_WITH_TIMEOUT(m_opened, QStringList{m_folder->path()}, timeout);
        QCOMPARE(manager.log().count(asked(u"ShowItems"_s, u"/roles.json"_s)), 1);
    }

    /// A second press because nothing happens would otherwise restart the wait.
    void pressingAgainWhileItHangsPutsNothingOff()
    {
        MockService manager(*m_bus, u"file-manager"_s, {u"--behaviour"_s, u"hang"_s});
        QTimer presses;
        connect(&presses, &QTimer::timeout, this, [this] {
            if (m_opened.isEmpty()) { // what is pressed later is a request of its own
                m_revealer->reveal(m_folder->filePath(u"roles.json"_s));
            }
        });
        presses.start(100);
        QTRY_VERIFY_WITH_TIMEOUT(!m_opened.isEmpty(), timeout);
        QCOMPARE(m_opened, QStringList{m_folder->path()});
        QCOMPARE(manager.log().count(asked(u"ShowItems"_s, u"/roles.json"_s)), 1);
    }

    void onceAnsweredItMayBeAskedAgain()
    {
        MockService manager(*m_bus, u"file-manager"_s);
        for (int time = 1; time <= 2; ++time) {
            m_revealer->reveal(m_folder->filePath(u"roles.json"_s));
            QTRY_COMPARE_WITH_TIMEOUT(manager.log().count(u"caller left"_s), time, timeout);
        }
        QCOMPARE(manager.log().count(asked(u"ShowItems"_s, u"/roles.json"_s)), 2);
    }

    void withoutAFileManagerTheFolderIsOpened()
    {
        m_revealer->reveal(m_folder->filePath(u"roles.json"_s));
        QTRY_COMPARE_WITH_TIMEOUT(m_opened, QStringList{m_folder->path()}, timeout);
    }

    void withoutABusTheFolderIsOpened()
    {
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
        m_revealer->reveal(m_folder->filePath(u"roles.json"_s));
        QTRY_COMPARE_WITH_TIMEOUT(m_opened, QStringList{m_folder->path()}, timeout);
    }

    void theNearestFolderThatExistsIsFound()
    {
        QCOMPARE(FileRevealer::nearestFolder(m_folder->filePath(u"x"_s)), m_folder->path());
        QCOMPARE(FileRevealer::nearestFolder(m_folder->filePath(u"x/y/z"_s)), m_folder->path());
        QCOMPARE(FileRevealer::nearestFolder(u"/nowhere/at/all"_s), u"/"_s);
    }

private:
    /// The call as the file manager notes it, for what lies at `below` in the folder.
    [[nodiscard]] QString asked(const QString& method, const QString& below) const
    {
        return u"org.freedesktop.FileManager1.%1([\"file://%2%3\"], \"\")"_s.arg(
            method, m_folder->path(), below);
    }

    std::unique_ptr<PrivateBus> m_bus;
    std::unique_ptr<QTemporaryDir> m_folder;
    QStringList m_opened;
    std::unique_ptr<FileRevealer> m_revealer;
};

WINGBELL_GUILESS_TEST(FileRevealerTest)
#include "FileRevealerTest.moc"

#include "server/ServerController.h"
#include "tests/TestProgram.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using wingbell::ServerController;

class ServerLookupTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_root = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir(m_root->path()).mkpath(u"bin"_s));
        QVERIFY(QDir(m_root->path()).mkpath(u"libexec/wingbell-control"_s));
    }
    void cleanup() { m_root.reset(); }

    void aFileInTheLibexecFolderIsFound()
    {
        QVERIFY(QFile(serverPath()).open(QIODevice::WriteOnly));
        QCOMPARE(ServerController::embeddedServer(binFolder()), serverPath());
    }

    void aLinkToAFileIsFound()
    {
        QVERIFY(QFile::link(u"/bin/true"_s, serverPath()));
        QCOMPARE(ServerController::embeddedServer(binFolder()), serverPath());
    }

    void nothingIsFoundWhereNothingIs() { QVERIFY(!ServerController::embeddedServer(binFolder())); }

    void aFolderIsNoServer()
    {
        QVERIFY(QDir().mkdir(serverPath()));
        QVERIFY(!ServerController::embeddedServer(binFolder()));
    }

    void aPipeIsNoServer()
    {
        QCOMPARE(::mkfifo(QFile::encodeName(serverPath()).constData(), 0700), 0);
        QVERIFY(!ServerController::embeddedServer(binFolder()));
    }

    void aDanglingLinkIsNoServer()
    {
        QVERIFY(QFile::link(m_root->filePath(u"gone"_s), serverPath()));
        QVERIFY(!ServerController::embeddedServer(binFolder()));
    }

    void aServerWithAnExtensionIsAnother()
    {
        QVERIFY(QFile(serverPath() + u".bin"_s).open(QIODevice::WriteOnly));
        QVERIFY(!ServerController::embeddedServer(binFolder()));
    }

private:
    QString binFolder() const { return m_root->filePath(u"bin"_s); }
    QString serverPath() const
    {
        return m_root->filePath(u"libexec/wingbell-control/IntercomServer"_s);
    }

    std::unique_ptr<QTemporaryDir> m_root;
};

WINGBELL_APPLESS_TEST(ServerLookupTest)
#include "ServerLookupTest.moc"

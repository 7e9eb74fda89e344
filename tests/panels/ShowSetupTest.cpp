#include "panels/setup/ShowSetup.h"
#include "tests/TestProgram.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace wingbell;

class ShowSetupTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_config = std::make_unique<ShowConfig>(QDir(m_folder->path()));
        m_setup = std::make_unique<ShowSetup>();
        m_setup->setConfig(m_config.get());
    }
    void cleanup()
    {
        m_setup.reset();
        m_config.reset();
        m_folder.reset();
    }

    void aValidPortIsStoredAndMarksAnEdit();
    void anInvalidPortChangesNothing();
    void typingTheStoredPortMarksAnEdit();
    void theFieldShowsTheStoredPort();
    void showingAShowIsNoEdit();
    void anotherNameMarksAnEdit();
    void aReloadThatBringsAnotherNameEndsUnsaved();
    void aReloadThatKeepsTheNameEndsSaved();
    void theRestartWarningNeedsARunningServerAndEdits();
    void aSaveEndsTheRestartWarning();
    void aSaveInTheSameBatchAsAnotherNameIsTheLastWord();

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ShowConfig> m_config;
    std::unique_ptr<ShowSetup> m_setup;
};

void ShowSetupTest::aValidPortIsStoredAndMarksAnEdit()
{
    m_setup->setOscPortBinding(u"+8000"_s);
    QCOMPARE(m_config->oscPort(), 8000);
    QVERIFY(m_config->hasUnsavedChanges());
}

void ShowSetupTest::anInvalidPortChangesNothing()
{
    for (const QString& text : {QString(), u"0"_s, u"65536"_s, u"47000 "_s, u"port"_s}) {
        m_setup->setOscPortBinding(text);
    }
    QCOMPARE(m_config->oscPort(), 47000);
    QVERIFY(!m_config->hasUnsavedChanges());
}

void ShowSetupTest::typingTheStoredPortMarksAnEdit()
{
    QSignalSpy port(m_config.get(), &ShowConfig::oscPortChanged);
    m_setup->setOscPortBinding(u"047000"_s);
    QVERIFY(m_config->hasUnsavedChanges());
    QCOMPARE(port.size(), 0);
}

void ShowSetupTest::theFieldShowsTheStoredPort()
{
    QSignalSpy text(m_setup.get(), &ShowSetup::rebuilt);
    QCOMPARE(m_setup->oscPortBinding(), u"47000"_s);
    m_config->setOscPort(-12345678);
    QCOMPARE(m_setup->oscPortBinding(), u"-12345678"_s);
    QCOMPARE(text.size(), 1);
}

void ShowSetupTest::showingAShowIsNoEdit()
{
    QCoreApplication::processEvents();
    QVERIFY(!m_config->hasUnsavedChanges());
}

void ShowSetupTest::anotherNameMarksAnEdit()
{
    m_config->setShow(u"Fall Recital"_s);
    QVERIFY(m_config->hasUnsavedChanges());
}

void ShowSetupTest::aReloadThatBringsAnotherNameEndsUnsaved()
{
    m_config->setShow(u"Fall Recital"_s);
    QSignalSpy unsaved(m_config.get(), &ShowConfig::hasUnsavedChangesChanged);
    m_config->load();
    QVERIFY(m_config->hasUnsavedChanges());
    QCOMPARE(unsaved.size(), 2);
}

void ShowSetupTest::aReloadThatKeepsTheNameEndsSaved()
{
    m_config->addRole();
    m_config->load();
    QCoreApplication::processEvents();
    QVERIFY(!m_config->hasUnsavedChanges());
}

void ShowSetupTest::theRestartWarningNeedsARunningServerAndEdits()
{
    QSignalSpy told(m_setup.get(), &ShowSetup::needsRestartChanged);
    QVERIFY(!m_setup->needsRestart());
    m_config->addRole();
    QVERIFY(!m_setup->needsRestart());
    m_setup->setServerIsRunning(true);
    QVERIFY(m_setup->needsRestart());
    m_config->load();
    QVERIFY(!m_setup->needsRestart());
    m_config->removeChannel(u"Main"_s);
    QVERIFY(m_setup->needsRestart());
    m_setup->setServerIsRunning(false);
    QVERIFY(!m_setup->needsRestart());
    QCOMPARE(told.size(), 4);
}

void ShowSetupTest::aSaveEndsTheRestartWarning()
{
    m_setup->setServerIsRunning(true);
    m_config->addRole();
    QVERIFY(m_setup->needsRestart());
    QVERIFY(m_config->save());
    QVERIFY(!m_setup->needsRestart());
}

void ShowSetupTest::aSaveInTheSameBatchAsAnotherNameIsTheLastWord()
{
    m_setup->setServerIsRunning(true);
    m_config->setShow(u"Fall Recital"_s);
    QVERIFY(m_setup->needsRestart());
    QVERIFY(m_config->save());
    QCoreApplication::processEvents();
    QVERIFY(!m_config->hasUnsavedChanges());
    QVERIFY(!m_setup->needsRestart());
}

WINGBELL_GUILESS_TEST(ShowSetupTest)
#include "ShowSetupTest.moc"

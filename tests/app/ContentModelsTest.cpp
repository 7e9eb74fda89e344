#include "app/ContentModels.h"
#include "tests/TestProgram.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using namespace Qt::StringLiterals;
using namespace wingbell;

class ContentModelsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theStoreIsLoadedWithTheModels()
    {
        const QTemporaryDir folder;
        {
            ShowConfig other(QDir(folder.path()));
            other.setShow(u"Recital"_s);
            QVERIFY(other.save());
        }
        ContentModels models{QDir(folder.path())};
        QCOMPARE(models.config()->show(), u"Recital"_s);
        QVERIFY(!models.config()->hasUnsavedChanges());
        QVERIFY(models.server() == nullptr);
    }

    void theFirstShowingBringsTheController()
    {
        const QTemporaryDir folder;
        ContentModels models{QDir(folder.path())};
        QSignalSpy told(&models, &ContentModels::serverChanged);
        models.viewShown();
        QVERIFY(models.server() != nullptr);
        QCOMPARE(&models.server()->config(), models.config());
        QVERIFY(!models.server()->isStarting());
        QVERIFY(!models.server()->isRunning());
        QVERIFY(models.server()->logLines().isEmpty());
        QCOMPARE(told.size(), 1);
    }

    void aSecondShowingKeepsTheControllerAndItsLog()
    {
        const QTemporaryDir folder;
        ContentModels models{QDir(folder.path())};
        QSignalSpy told(&models, &ContentModels::serverChanged);
        models.viewShown();
        ServerController* const server = models.server();
        models.viewShown();
        QCOMPARE(models.server(), server);
        QCOMPARE(told.size(), 1);
    }

    void theShowFileIsTheSharedOne()
    {
        QCOMPARE(ContentModels::showFile(), u"/Users/Shared/Wingbell/roles.json"_s);
    }
};

WINGBELL_GUILESS_TEST(ContentModelsTest)
#include "ContentModelsTest.moc"

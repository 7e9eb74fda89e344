#include "model/ShowConfig.h"
#include "model/ShowFile.h"
#include "tests/TestProgram.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>

using namespace Qt::StringLiterals;
using namespace wingbell;

/// When the store tells that an operation is done.
class ShowOperationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anOperationIsDoneOnceAndLast();
    void anEditThatAnOperationCausesBelongsToIt();
    void aRestoredShowIsAnEdit();
    void aChannelsNameHasNoSpaceAtItsEnds_data();
    void aChannelsNameHasNoSpaceAtItsEnds();
};

void ShowOperationTest::anOperationIsDoneOnceAndLast()
{
    const QTemporaryDir folder;
    ShowConfig config(QDir(folder.path()));
    const Role role = config.roles().at(0);
    const QList<std::function<void()>> edits = {
        [&] { config.addChannel(u"Pit"_s); },
        [&] { config.removeChannel(u"Main"_s); },
        [&] { config.addRole(); },
        [&] { config.toggleTalk(role, u"Pit"_s); },
        [&] { config.toggleListen(role, u"Pit"_s); },
        [&] { config.renameRole(role, u"Caller"_s); },
        [&] { config.removeRole(role); },
        [&] { config.restore(defaultShow()); },
        [&] { config.setShow(u"Gala"_s); },
        [&] { config.setChannels({}); },
        [&] { config.setRoles({}); },
        [&] { config.setOscPort(1); },
        [&] { config.load(); },
    };
    bool isUnsaved = false;
    int count = 0;
    connect(&config, &ShowConfig::operationDone, this, [&] {
        ++count;
        isUnsaved = config.hasUnsavedChanges();
    });
    for (const auto& edit : edits) {
        count = 0;
        edit();
        QCOMPARE(count, 1);
        QCOMPARE(isUnsaved, config.hasUnsavedChanges());
    }
    QVERIFY(config.save());
    config.setHasUnsavedChanges(true);
    QCOMPARE(count, 1);
}

void ShowOperationTest::anEditThatAnOperationCausesBelongsToIt()
{
    const QTemporaryDir folder;
    ShowConfig config(QDir(folder.path()));
    connect(&config, &ShowConfig::channelsChanged, this, [&] { config.addRole(); });
    QSignalSpy done(&config, &ShowConfig::operationDone);
    config.removeChannel(u"Main"_s);
    QCOMPARE(done.size(), 1);
}

void ShowOperationTest::aRestoredShowIsAnEdit()
{
    const QTemporaryDir folder;
    ShowConfig config(QDir(folder.path()));
    config.removeChannel(u"Main"_s);
    QVERIFY(config.save());
    config.restore(defaultShow());
    QCOMPARE(config.showFile(), defaultShow()); // the roles' ids too
    QVERIFY(config.hasUnsavedChanges());
}

void ShowOperationTest::aChannelsNameHasNoSpaceAtItsEnds_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("trimmed");

    const auto row = [](const char* name, const QString& given, const QString& trimmed) {
        QTest::newRow(name) << given << trimmed;
    };
    row("nothing", {}, {});
    row("plain", u"Tech"_s, u"Tech"_s);
    row("spaces", u"  Tech  "_s, u"Tech"_s);
    row("tabs", u"\tTech\t"_s, u"Tech"_s);
    row("no-break and ideographic space", u"\u00A0\u3000Tech\u2003\u202F"_s, u"Tech"_s);
    row("only spaces", u" \t\u2002 "_s, {});
    row("a line break stays", u" Tech\n"_s, u"Tech\n"_s);
    row("a line break shields the space before it", u"Tech \n"_s, u"Tech \n"_s);
    row("a line separator stays", u"Tech\u2028"_s, u"Tech\u2028"_s);
    row("a carriage return stays", u"\rTech"_s, u"\rTech"_s);
    row("inner space stays", u" Green  Room "_s, u"Green  Room"_s);
}

void ShowOperationTest::aChannelsNameHasNoSpaceAtItsEnds()
{
    QFETCH(const QString, given);
    QFETCH(const QString, trimmed);
    QCOMPARE(ShowConfig::channelName(given), trimmed);
}

WINGBELL_APPLESS_TEST(ShowOperationTest)
#include "ShowOperationTest.moc"

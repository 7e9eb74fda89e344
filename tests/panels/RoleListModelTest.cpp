#include "panels/setup/RoleListModel.h"
#include "tests/TestProgram.h"

#include <QAbstractItemModelTester>
#include <QPersistentModelIndex>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using namespace Qt::StringLiterals;
using namespace wingbell;

class RoleListModelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cardsKeepTheirIdentityWhenOthersComeAndGo();
    void aRenameChangesOneCardAlone();
    void aReloadKeepsTheCardsOfRolesWithTheSameNameAndPlace();
    void everyCardKnowsItsStore();

private:
    static QString nameAt(const RoleListModel& cards, int row)
    {
        return cards.index(row).data(RoleListModel::RoleRole).value<Role>().name;
    }
};

void RoleListModelTest::cardsKeepTheirIdentityWhenOthersComeAndGo()
{
    const QTemporaryDir folder;
    ShowConfig config(QDir(folder.path()));
    RoleListModel cards;
    const QAbstractItemModelTester tester(&cards);
    cards.setConfig(&config);
    QCOMPARE(cards.rowCount(), 6);
    const QPersistentModelIndex sound(cards.index(2));
    const QPersistentModelIndex lighting(cards.index(1));
    config.removeRole(config.roles().at(1));
    config.addRole();
    QVERIFY(!lighting.isValid());
    QVERIFY(sound.isValid());
    QCOMPARE(sound.row(), 1);
    QCOMPARE(nameAt(cards, 1), u"Sound"_s);
    QCOMPARE(nameAt(cards, 5), u"New Role"_s);
}

void RoleListModelTest::aRenameChangesOneCardAlone()
{
    const QTemporaryDir folder;
    ShowConfig config(QDir(folder.path()));
    RoleListModel cards;
    cards.setConfig(&config);
    QSignalSpy changed(&cards, &RoleListModel::dataChanged);
    QSignalSpy removed(&cards, &RoleListModel::rowsRemoved);
    config.renameRole(config.roles().at(3), u"Fly"_s);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.first().first().toModelIndex().row(), 3);
    QCOMPARE(removed.size(), 0);
    QCOMPARE(nameAt(cards, 3), u"Fly"_s);
}

void RoleListModelTest::aReloadKeepsTheCardsOfRolesWithTheSameNameAndPlace()
{
    const QTemporaryDir folder;
    ShowConfig config(QDir(folder.path()));
    QVERIFY(config.save());
    RoleListModel cards;
    const QAbstractItemModelTester tester(&cards);
    cards.setConfig(&config);
    config.renameRole(config.roles().at(1), u"Fly"_s); // not saved: the reload undoes it
    config.removeRole(config.roles().at(4));
    config.addRole(); // in the place of the last one
    config.toggleTalk(config.roles().at(0), config.channels().constLast());
    const QPersistentModelIndex first(cards.index(0));
    const QPersistentModelIndex renamed(cards.index(1));
    const QPersistentModelIndex moved(cards.index(4));
    const QPersistentModelIndex added(cards.index(5));
    config.load();
    QVERIFY(!moved.isValid());
    QVERIFY(!added.isValid());
    QCOMPARE(cards.rowCount(), 6);
    QCOMPARE(first.row(), 0);
    QCOMPARE(renamed.row(), 1);
    for (int row = 0; row < 6; ++row) {
        const Role shown = cards.index(row).data(RoleListModel::RoleRole).value<Role>();
        QVERIFY(shown == config.roles().at(row)); // the new ids, too
    }
}

void RoleListModelTest::everyCardKnowsItsStore()
{
    const QTemporaryDir folder;
    ShowConfig config(QDir(folder.path()));
    RoleListModel cards;
    cards.setConfig(&config);
    QCOMPARE(cards.index(0).data(RoleListModel::ConfigRole).value<ShowConfig*>(), &config);
    QCOMPARE(cards.roleNames().value(RoleListModel::RoleRole), "role");
    QCOMPARE(cards.roleNames().value(RoleListModel::ConfigRole), "config");
}

WINGBELL_GUI_TEST(RoleListModelTest)
#include "RoleListModelTest.moc"

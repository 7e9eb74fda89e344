#include "panels/setup/ChannelChips.h"
#include "panels/setup/RoleCards.h"
#include "tests/TestProgram.h"

#include <QAbstractItemModelTester>
#include <QPersistentModelIndex>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <random>

using namespace wingbell;

class KeyedRowsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void chipsFollowTheChannelsAndTheSelection();
    void aSelectedNameThatIsNoChannelHasNoChip();
    void aToggleChangesOneChipAlone();
    void anyListBecomesAnyOther();
    void cardsKeepTheirIdentityWhenOthersComeAndGo();
    void aRenameChangesOneCardAlone();
    void aReloadBringsNewCards();
    void everyCardKnowsItsStore();

private:
    static QStringList names(const ChannelChips& chips)
    {
        QStringList result;
        for (int row = 0; row < chips.rowCount(); ++row) {
            const QModelIndex index = chips.index(row);
            result.append(
                index.data(ChannelChips::NameRole).toString() +
                (index.data(ChannelChips::SelectedRole).toBool() ? u"*"_qs : QString()));
        }
        return result;
    }
    static QString nameAt(const RoleCards& cards, int row)
    {
        return cards.index(row).data(RoleCards::RoleRole).value<Role>().name;
    }
};

void KeyedRowsTest::chipsFollowTheChannelsAndTheSelection()
{
    ChannelChips chips;
    const QAbstractItemModelTester tester(&chips);
    chips.setChannels({u"A"_qs, u"B"_qs, u"C"_qs});
    chips.setSelected({u"C"_qs, u"A"_qs});
    QCOMPARE(names(chips), (QStringList{u"A*"_qs, u"B"_qs, u"C*"_qs}));
    chips.setChannels({u"A"_qs, u"C"_qs});
    QCOMPARE(names(chips), (QStringList{u"A*"_qs, u"C*"_qs}));
}

void KeyedRowsTest::aSelectedNameThatIsNoChannelHasNoChip()
{
    ChannelChips chips;
    chips.setChannels({u"A"_qs});
    chips.setSelected({u"Nowhere"_qs});
    QCOMPARE(names(chips), QStringList{u"A"_qs});
}

void KeyedRowsTest::aToggleChangesOneChipAlone()
{
    ChannelChips chips;
    chips.setChannels({u"A"_qs, u"B"_qs, u"C"_qs});
    QSignalSpy changed(&chips, &ChannelChips::dataChanged);
    QSignalSpy removed(&chips, &ChannelChips::rowsRemoved);
    chips.setSelected({u"B"_qs});
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.first().first().toModelIndex().row(), 1);
    QCOMPARE(removed.size(), 0);
}

void KeyedRowsTest::anyListBecomesAnyOther()
{
    ChannelChips chips;
    const QAbstractItemModelTester tester(&chips);
    std::mt19937 random(7); // NOLINT: the same lists every time
    for (int round = 0; round < 500; ++round) {
        QStringList channels;
        const unsigned count = random() % 8;
        for (unsigned index = 0; index < count; ++index) {
            channels.append(QString(QChar(u'a' + static_cast<char16_t>(random() % 6))));
        }
        chips.setChannels(channels); // with repetitions, as a file edited by hand may have
        QCOMPARE(names(chips), channels);
    }
}

void KeyedRowsTest::cardsKeepTheirIdentityWhenOthersComeAndGo()
{
    const QTemporaryDir folder;
    ShowConfig config(QDir(folder.path()));
    RoleCards cards;
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
    QCOMPARE(nameAt(cards, 1), u"Sound"_qs);
    QCOMPARE(nameAt(cards, 5), u"New Role"_qs);
}

void KeyedRowsTest::aRenameChangesOneCardAlone()
{
    const QTemporaryDir folder;
    ShowConfig config(QDir(folder.path()));
    RoleCards cards;
    cards.setConfig(&config);
    QSignalSpy changed(&cards, &RoleCards::dataChanged);
    QSignalSpy removed(&cards, &RoleCards::rowsRemoved);
    config.renameRole(config.roles().at(3), u"Fly"_qs);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.first().first().toModelIndex().row(), 3);
    QCOMPARE(removed.size(), 0);
    QCOMPARE(nameAt(cards, 3), u"Fly"_qs);
}

void KeyedRowsTest::aReloadBringsNewCards()
{
    const QTemporaryDir folder;
    ShowConfig config(QDir(folder.path()));
    QVERIFY(config.save());
    RoleCards cards;
    cards.setConfig(&config);
    const QPersistentModelIndex first(cards.index(0));
    config.load();
    QVERIFY(!first.isValid());
    QCOMPARE(cards.rowCount(), 6);
}

void KeyedRowsTest::everyCardKnowsItsStore()
{
    const QTemporaryDir folder;
    ShowConfig config(QDir(folder.path()));
    RoleCards cards;
    cards.setConfig(&config);
    QCOMPARE(cards.index(0).data(RoleCards::ConfigRole).value<ShowConfig*>(), &config);
    QCOMPARE(cards.roleNames().value(RoleCards::RoleRole), "role");
    QCOMPARE(cards.roleNames().value(RoleCards::ConfigRole), "config");
}

WINGBELL_GUI_TEST(KeyedRowsTest)
#include "KeyedRowsTest.moc"

#include "panels/setup/ChannelListModel.h"
#include "tests/TestProgram.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

#include <random>

using namespace Qt::StringLiterals;
using namespace wingbell;

class ChannelListModelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void chipsFollowTheChannelsAndTheSelection();
    void aSelectedNameThatIsNoChannelHasNoChip();
    void aToggleChangesOneChipAlone();
    void anyListBecomesAnyOther();

private:
    static QStringList names(const ChannelListModel& chips)
    {
        QStringList result;
        for (int row = 0; row < chips.rowCount(); ++row) {
            const QModelIndex index = chips.index(row);
            result.append(
                index.data(ChannelListModel::NameRole).toString() +
                (index.data(ChannelListModel::SelectedRole).toBool() ? u"*"_s : QString()));
        }
        return result;
    }
};

void ChannelListModelTest::chipsFollowTheChannelsAndTheSelection()
{
    ChannelListModel chips;
    const QAbstractItemModelTester tester(&chips);
    chips.setChannels({u"A"_s, u"B"_s, u"C"_s});
    chips.setSelected({u"C"_s, u"A"_s});
    QCOMPARE(names(chips), (QStringList{u"A*"_s, u"B"_s, u"C*"_s}));
    chips.setChannels({u"A"_s, u"C"_s});
    QCOMPARE(names(chips), (QStringList{u"A*"_s, u"C*"_s}));
}

void ChannelListModelTest::aSelectedNameThatIsNoChannelHasNoChip()
{
    ChannelListModel chips;
    chips.setChannels({u"A"_s});
    chips.setSelected({u"Nowhere"_s});
    QCOMPARE(names(chips), QStringList{u"A"_s});
}

void ChannelListModelTest::aToggleChangesOneChipAlone()
{
    ChannelListModel chips;
    chips.setChannels({u"A"_s, u"B"_s, u"C"_s});
    QSignalSpy changed(&chips, &ChannelListModel::dataChanged);
    QSignalSpy removed(&chips, &ChannelListModel::rowsRemoved);
    chips.setSelected({u"B"_s});
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.first().first().toModelIndex().row(), 1);
    QCOMPARE(removed.size(), 0);
}

void ChannelListModelTest::anyListBecomesAnyOther()
{
    ChannelListModel chips;
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

WINGBELL_GUI_TEST(ChannelListModelTest)
#include "ChannelListModelTest.moc"

#include "panels/console/ConsoleModel.h"
#include "tests/TestProgram.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

#include <utility>

using namespace Qt::StringLiterals;
using namespace wingbell;

class ConsoleModelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesAreRowsInTheirOrder();
    void aFallOfTheCountTakesRowsFromTheEnd();
    void aRiseOfTheCountAddsRowsAtTheEnd();
    void otherTextsInAsManyRowsChangeDataAlone();
    void theSameLinesTellNothing();
    void equalLinesAreRowsOfTheirOwn();
    void aSelectionMovesWithItsLines();
    void aSelectionOfEqualLinesMovesWithItsLines();
    void aSelectionShrinksWithItsLinesAndGoesWithTheLast();
    void aSelectionBySignsMovesWithItsLine();
    void aSelectionGoesWithTheLog();
    void selectedPartsAreJoinedVerbatim();
    void wordsAndLinesAreSelectedWhole_data();
    void wordsAndLinesAreSelectedWhole();
    void theKeysMoveTheCurrentLine();
    void theKeysBeginAtWhatIsSeen();
    void anAddressIsFoundByItsRow();
    void aWordIsLongBeyondAThousandCharacters_data();
    void aWordIsLongBeyondAThousandCharacters();

private:
    static QStringList shown(const ConsoleModel& lines)
    {
        QStringList texts;
        for (int row = 0; row < lines.rowCount(); ++row) {
            texts.append(lines.index(row).data(ConsoleModel::LineRole).toString());
        }
        return texts;
    }
    /// Lines "1" and so on from that number, as many as that, after those that were dropped.
    static void showFrom(ConsoleModel& lines, int first, int count)
    {
        QStringList texts;
        for (int number = first; number < first + count; ++number) {
            texts.append(QString::number(number));
        }
        lines.setLines(texts, first);
    }
    /// Of every row, whether it is selected as a whole, as the view would draw it by what it was
    /// told.
    static QString drawn(const ConsoleModel& lines)
    {
        QString rows;
        for (int row = 0; row < lines.rowCount(); ++row) {
            const QModelIndex index = lines.index(row);
            const bool isWhole = index.data(ConsoleModel::IsWholeRole).toBool();
            const bool isPart = index.data(ConsoleModel::SelectionBeginRole).toInt() <
                                index.data(ConsoleModel::SelectionEndRole).toInt();
            rows += isWhole ? u'#' : isPart ? u'+' : u'.';
        }
        return rows;
    }
};

void ConsoleModelTest::linesAreRowsInTheirOrder()
{
    ConsoleModel lines;
    const QAbstractItemModelTester tester(&lines);
    QSignalSpy counts(&lines, &ConsoleModel::countDiffers);
    lines.setLines({u"a"_s, u"b"_s});
    QCOMPARE(shown(lines), (QStringList{u"a"_s, u"b"_s}));
    QCOMPARE(counts.size(), 1);
    QCOMPARE(lines.roleNames().value(ConsoleModel::LineRole), "line");
}

void ConsoleModelTest::aFallOfTheCountTakesRowsFromTheEnd()
{
    ConsoleModel lines;
    const QAbstractItemModelTester tester(&lines);
    lines.setLines({u"a"_s, u"b"_s, u"c"_s});
    QSignalSpy counts(&lines, &ConsoleModel::countDiffers);
    QSignalSpy removed(&lines, &ConsoleModel::rowsRemoved);
    QSignalSpy resets(&lines, &ConsoleModel::modelReset);
    QSignalSpy changed(&lines, &ConsoleModel::dataChanged);
    lines.setLines({u"x"_s});
    QCOMPARE(shown(lines), QStringList{u"x"_s});
    QCOMPARE(removed.size(), 1);
    QCOMPARE(removed.first().at(1).toInt(), 1);
    QCOMPARE(removed.first().at(2).toInt(), 2);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(counts.size(), 1);
    QCOMPARE(resets.size(), 0);
}

void ConsoleModelTest::aRiseOfTheCountAddsRowsAtTheEnd()
{
    ConsoleModel lines;
    const QAbstractItemModelTester tester(&lines);
    lines.setLines({u"a"_s, u"b"_s});
    QSignalSpy inserted(&lines, &ConsoleModel::rowsInserted);
    QSignalSpy changed(&lines, &ConsoleModel::dataChanged);
    lines.setLines({u"a"_s, u"x"_s, u"c"_s, u"d"_s});
    QCOMPARE(shown(lines), (QStringList{u"a"_s, u"x"_s, u"c"_s, u"d"_s}));
    QCOMPARE(inserted.size(), 1);
    QCOMPARE(inserted.first().at(1).toInt(), 2);
    QCOMPARE(inserted.first().at(2).toInt(), 3);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.first().at(0).toModelIndex().row(), 1);
    QCOMPARE(changed.first().at(1).toModelIndex().row(), 1);
}

void ConsoleModelTest::otherTextsInAsManyRowsChangeDataAlone()
{
    ConsoleModel lines;
    const QAbstractItemModelTester tester(&lines);
    lines.setLines({u"a"_s, u"b"_s, u"c"_s});
    QSignalSpy counts(&lines, &ConsoleModel::countDiffers);
    QSignalSpy changed(&lines, &ConsoleModel::dataChanged);
    lines.setLines({u"b"_s, u"c"_s, u"d"_s});
    QCOMPARE(shown(lines), (QStringList{u"b"_s, u"c"_s, u"d"_s}));
    QCOMPARE(changed.size(), 1);
    QCOMPARE(counts.size(), 0);
}

void ConsoleModelTest::theSameLinesTellNothing()
{
    ConsoleModel lines;
    lines.setLines({u"a"_s});
    QSignalSpy counts(&lines, &ConsoleModel::countDiffers);
    QSignalSpy changed(&lines, &ConsoleModel::dataChanged);
    lines.setLines({u"a"_s});
    QCOMPARE(counts.size(), 0);
    QCOMPARE(changed.size(), 0);
}

void ConsoleModelTest::equalLinesAreRowsOfTheirOwn()
{
    ConsoleModel lines;
    lines.setLines({u"a"_s, u"a"_s});
    QCOMPARE(shown(lines), (QStringList{u"a"_s, u"a"_s}));
}

void ConsoleModelTest::aSelectionMovesWithItsLines()
{
    ConsoleModel lines;
    const QAbstractItemModelTester tester(&lines);
    showFrom(lines, 0, 6);
    lines.select(3, 0, ConsoleModel::Lines, false);
    lines.select(4, 0, ConsoleModel::Lines, true);
    QCOMPARE(drawn(lines), u"...##."_s);
    QCOMPARE(lines.currentRow(), 4);
    QSignalSpy told(&lines, &ConsoleModel::selectionChanged);
    showFrom(lines, 2, 6);
    QCOMPARE(drawn(lines), u".##..."_s);
    QCOMPARE(lines.currentRow(), 2);
    QCOMPARE(lines.selectedText(), u"3\n4"_s);
    QCOMPARE(told.size(), 1);
    showFrom(lines, 2, 9);
    QCOMPARE(drawn(lines), u".##......"_s);
}

void ConsoleModelTest::aSelectionOfEqualLinesMovesWithItsLines()
{
    ConsoleModel lines;
    const QStringList equal(4, u"again"_s);
    lines.setLines(equal);
    lines.select(2, 0, ConsoleModel::Lines, false);
    QSignalSpy changed(&lines, &ConsoleModel::dataChanged);
    lines.setLines(equal, 1);
    QCOMPARE(drawn(lines), u".#.."_s);
    QVERIFY(changed.last().at(2).value<QList<int>>().contains(ConsoleModel::IsWholeRole));
}

void ConsoleModelTest::aSelectionShrinksWithItsLinesAndGoesWithTheLast()
{
    for (const bool downwards : {true, false}) {
        ConsoleModel lines;
        showFrom(lines, 0, 4);
        lines.select(downwards ? 0 : 2, 0, ConsoleModel::Lines, false);
        lines.select(downwards ? 2 : 0, 0, ConsoleModel::Lines, true);
        showFrom(lines, 1, 4);
        QCOMPARE(drawn(lines), u"##.."_s);
        showFrom(lines, 2, 4);
        QCOMPARE(drawn(lines), u"#..."_s);
        QCOMPARE(lines.currentRow(), 0);
        QSignalSpy told(&lines, &ConsoleModel::selectionChanged);
        showFrom(lines, 3, 4);
        QCOMPARE(drawn(lines), u"...."_s);
        QCOMPARE(lines.currentRow(), -1);
        QVERIFY(!lines.hasSelection());
        QCOMPARE(told.size(), 1);
    }
}

void ConsoleModelTest::aSelectionBySignsMovesWithItsLine()
{
    ConsoleModel lines;
    lines.setLines({u"old"_s, u"a line"_s, u"b line"_s, u"c"_s});
    lines.select(1, 2, ConsoleModel::Characters, false);
    lines.select(2, 1, ConsoleModel::Characters, true);
    QCOMPARE(drawn(lines), u".++."_s);
    QCOMPARE(lines.selectedText(), u"line\nb"_s);
    lines.setLines({u"a line"_s, u"b line"_s, u"c"_s, u"d"_s}, 1);
    QCOMPARE(lines.index(0).data(ConsoleModel::SelectionBeginRole).toInt(), 2);
    QCOMPARE(lines.index(0).data(ConsoleModel::SelectionEndRole).toInt(), 6);
    QCOMPARE(lines.selectedText(), u"line\nb"_s);
    // Drawn on, it goes on from where it was begun.
    lines.select(2, 1, ConsoleModel::Characters, true);
    QCOMPARE(lines.selectedText(), u"line\nb line\nc"_s);
    lines.setLines({u"b line"_s, u"c"_s, u"d"_s, u"e"_s}, 2);
    QCOMPARE(lines.selectedText(), u"b line\nc"_s);
    lines.select(0, 1, ConsoleModel::Characters, true);
    QCOMPARE(lines.selectedText(), u"b"_s);
}

void ConsoleModelTest::aSelectionGoesWithTheLog()
{
    ConsoleModel lines;
    showFrom(lines, 0, 3);
    lines.selectAll();
    QCOMPARE(drawn(lines), u"###"_s);
    showFrom(lines, 3, 3); // cleared, and filled again within a frame
    QCOMPARE(drawn(lines), u"..."_s);
    lines.selectAll();
    lines.setLines({});
    QVERIFY(!lines.hasSelection());
    lines.setLines({u"new"_s});
    QCOMPARE(drawn(lines), u"."_s);
}

void ConsoleModelTest::selectedPartsAreJoinedVerbatim()
{
    ConsoleModel lines;
    lines.setLines({u" <b>one</b> "_s, QString(), u"\ttwo "_s});
    QCOMPARE(lines.selectedText(), QString());
    lines.selectAll();
    QCOMPARE(lines.selectedText(), u" <b>one</b> \n\n\ttwo "_s);
    lines.select(0, 12, ConsoleModel::Characters, false);
    QVERIFY2(!lines.hasSelection(), "a press selects nothing");
    QCOMPARE(lines.currentRow(), 0);
    lines.select(2, 1, ConsoleModel::Characters, true);
    QCOMPARE(lines.selectedText(), u"\n\t"_s);
    lines.clearSelection();
    QVERIFY(!lines.hasSelection());
    QCOMPARE(lines.currentRow(), -1);
}

void ConsoleModelTest::wordsAndLinesAreSelectedWhole_data()
{
    QTest::addColumn<ConsoleModel::Unit>("unit");
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<QString>("text");
    QTest::newRow("a word") << ConsoleModel::Words << 5 << 5 << u"crew"_s;
    QTest::newRow("at its beginning") << ConsoleModel::Words << 4 << 4 << u"crew"_s;
    QTest::newRow("behind the last") << ConsoleModel::Words << 13 << 13 << u"join"_s;
    QTest::newRow("forwards") << ConsoleModel::Words << 5 << 10 << u"crew join"_s;
    QTest::newRow("backwards") << ConsoleModel::Words << 10 << 1 << u"The crew join"_s;
    QTest::newRow("a line") << ConsoleModel::Lines << 5 << 5 << u"The crew join"_s;
}

void ConsoleModelTest::wordsAndLinesAreSelectedWhole()
{
    QFETCH(const ConsoleModel::Unit, unit);
    QFETCH(const int, from);
    QFETCH(const int, to);
    ConsoleModel lines;
    lines.setLines({u"The crew join"_s, u"next"_s});
    lines.select(0, from, unit, false);
    lines.select(0, to, unit, true);
    QTEST(lines.selectedText(), "text");
}

void ConsoleModelTest::theKeysMoveTheCurrentLine()
{
    ConsoleModel lines;
    QVERIFY(!lines.moveBy(Qt::Key_Down, -1, -1, false));
    showFrom(lines, 0, 20);
    QVERIFY(!lines.moveBy(Qt::Key_Left, 3, 7, false));
    lines.select(5, 0, ConsoleModel::Lines, false);
    const auto rowAfter = [&lines](Qt::Key key, bool extends = false) {
        return lines.moveBy(key, 3, 7, extends) ? lines.currentRow() : -1;
    };
    QCOMPARE(rowAfter(Qt::Key_Down), 6);
    QCOMPARE(rowAfter(Qt::Key_Up), 5);
    QCOMPARE(rowAfter(Qt::Key_PageDown), 9);
    QCOMPARE(rowAfter(Qt::Key_PageUp), 5);
    QCOMPARE(lines.selectedText(), u"5"_s);
    QCOMPARE(rowAfter(Qt::Key_Down, true), 6);
    QCOMPARE(rowAfter(Qt::Key_Down, true), 7);
    QCOMPARE(lines.selectedText(), u"5\n6\n7"_s);
    QCOMPARE(rowAfter(Qt::Key_PageUp, true), 3);
    QCOMPARE(lines.selectedText(), u"3\n4\n5"_s);
    QCOMPARE(rowAfter(Qt::Key_Home, true), 0);
    QCOMPARE(rowAfter(Qt::Key_Up, true), 0);
    QCOMPARE(lines.selectedText(), u"0\n1\n2\n3\n4\n5"_s);
    QCOMPARE(rowAfter(Qt::Key_End), 19);
    QCOMPARE(rowAfter(Qt::Key_PageDown), 19);
    QCOMPARE(lines.selectedText(), u"19"_s);
    QCOMPARE(rowAfter(Qt::Key_Home), 0);
    // After a click or a drag, the keys take whole lines.
    lines.select(8, 1, ConsoleModel::Characters, false);
    QCOMPARE(rowAfter(Qt::Key_Down, true), 9);
    QCOMPARE(lines.selectedText(), u"8\n9"_s);
}

void ConsoleModelTest::theKeysBeginAtWhatIsSeen()
{
    for (const auto& [key, row] :
         {std::pair(Qt::Key_Down, 3),
          {Qt::Key_Up, 7},
          {Qt::Key_PageDown, 7},
          {Qt::Key_PageUp, 3},
          {Qt::Key_Home, 0},
          {Qt::Key_End, 19}}) {
        ConsoleModel lines;
        showFrom(lines, 0, 20);
        QVERIFY(lines.moveBy(key, 3, 7, false));
        QCOMPARE(lines.currentRow(), row);
    }
}

void ConsoleModelTest::anAddressIsFoundByItsRow()
{
    ConsoleModel lines;
    lines.setLines({u"plain"_s, u"at http://one/ or http://two/"_s});
    QCOMPARE(lines.addressIn(-1), QString());
    QCOMPARE(lines.addressIn(0), QString());
    QCOMPARE(lines.addressIn(1), u"http://one/"_s);
    QCOMPARE(lines.addressIn(1, 20), u"http://two/"_s);
}

void ConsoleModelTest::aWordIsLongBeyondAThousandCharacters_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("isLong");
    QTest::newRow("none") << QString() << false;
    QTest::newRow("as long as may be") << QString(1000, u'x') << false;
    QTest::newRow("longer") << QString(1001, u'x') << true;
    QTest::newRow("words") << u"of many words "_s.repeated(1000) << false;
    QTest::newRow("a long word among others")
        << u"one "_s + QString(1001, u'x') + u" two"_s << true;
    QTest::newRow("two that are not") << QString(900, u'x') + u'\t' + QString(900, u'x') << false;
}

void ConsoleModelTest::aWordIsLongBeyondAThousandCharacters()
{
    QFETCH(const QString, line);
    QFETCH(const bool, isLong);
    ConsoleModel lines;
    lines.setLines({line});
    QCOMPARE(lines.index(0).data(ConsoleModel::HasLongWordRole).toBool(), isLong);
    QSignalSpy changed(&lines, &ConsoleModel::dataChanged);
    lines.setLines({QString(2000, u'y')});
    QVERIFY(changed.first().at(2).value<QList<int>>().contains(ConsoleModel::HasLongWordRole));
    QVERIFY(lines.index(0).data(ConsoleModel::HasLongWordRole).toBool());
}

WINGBELL_GUILESS_TEST(ConsoleModelTest)
#include "ConsoleModelTest.moc"

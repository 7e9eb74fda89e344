#include "panels/ConsoleLines.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

using namespace wingbell;

class ConsoleLinesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesAreRowsInTheirOrder();
    void aFallOfTheCountTakesRowsFromTheEnd();
    void aRiseOfTheCountAddsRowsAtTheEnd();
    void otherTextsInAsManyRowsChangeDataAlone();
    void theSameLinesTellNothing();
    void equalLinesAreRowsOfTheirOwn();
    void aWordIsLongBeyondAThousandCharacters_data();
    void aWordIsLongBeyondAThousandCharacters();

private:
    static QStringList shown(const ConsoleLines& lines)
    {
        QStringList texts;
        for (int row = 0; row < lines.rowCount(); ++row) {
            texts.append(lines.index(row).data(ConsoleLines::LineRole).toString());
        }
        return texts;
    }
};

void ConsoleLinesTest::linesAreRowsInTheirOrder()
{
    ConsoleLines lines;
    const QAbstractItemModelTester tester(&lines);
    QSignalSpy counts(&lines, &ConsoleLines::countDiffers);
    lines.setLines({u"a"_qs, u"b"_qs});
    QCOMPARE(shown(lines), (QStringList{u"a"_qs, u"b"_qs}));
    QCOMPARE(counts.size(), 1);
    QCOMPARE(lines.roleNames().value(ConsoleLines::LineRole), "line");
}

void ConsoleLinesTest::aFallOfTheCountTakesRowsFromTheEnd()
{
    ConsoleLines lines;
    const QAbstractItemModelTester tester(&lines);
    lines.setLines({u"a"_qs, u"b"_qs, u"c"_qs});
    QSignalSpy counts(&lines, &ConsoleLines::countDiffers);
    QSignalSpy removed(&lines, &ConsoleLines::rowsRemoved);
    QSignalSpy resets(&lines, &ConsoleLines::modelReset);
    QSignalSpy changed(&lines, &ConsoleLines::dataChanged);
    lines.setLines({u"x"_qs});
    QCOMPARE(shown(lines), QStringList{u"x"_qs});
    QCOMPARE(removed.size(), 1);
    QCOMPARE(removed.first().at(1).toInt(), 1);
    QCOMPARE(removed.first().at(2).toInt(), 2);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(counts.size(), 1);
    QCOMPARE(resets.size(), 0);
}

void ConsoleLinesTest::aRiseOfTheCountAddsRowsAtTheEnd()
{
    ConsoleLines lines;
    const QAbstractItemModelTester tester(&lines);
    lines.setLines({u"a"_qs, u"b"_qs});
    QSignalSpy inserted(&lines, &ConsoleLines::rowsInserted);
    QSignalSpy changed(&lines, &ConsoleLines::dataChanged);
    lines.setLines({u"a"_qs, u"x"_qs, u"c"_qs, u"d"_qs});
    QCOMPARE(shown(lines), (QStringList{u"a"_qs, u"x"_qs, u"c"_qs, u"d"_qs}));
    QCOMPARE(inserted.size(), 1);
    QCOMPARE(inserted.first().at(1).toInt(), 2);
    QCOMPARE(inserted.first().at(2).toInt(), 3);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.first().at(0).toModelIndex().row(), 1);
    QCOMPARE(changed.first().at(1).toModelIndex().row(), 1);
}

void ConsoleLinesTest::otherTextsInAsManyRowsChangeDataAlone()
{
    ConsoleLines lines;
    const QAbstractItemModelTester tester(&lines);
    lines.setLines({u"a"_qs, u"b"_qs, u"c"_qs});
    QSignalSpy counts(&lines, &ConsoleLines::countDiffers);
    QSignalSpy changed(&lines, &ConsoleLines::dataChanged);
    lines.setLines({u"b"_qs, u"c"_qs, u"d"_qs});
    QCOMPARE(shown(lines), (QStringList{u"b"_qs, u"c"_qs, u"d"_qs}));
    QCOMPARE(changed.size(), 1);
    QCOMPARE(counts.size(), 0);
}

void ConsoleLinesTest::theSameLinesTellNothing()
{
    ConsoleLines lines;
    lines.setLines({u"a"_qs});
    QSignalSpy counts(&lines, &ConsoleLines::countDiffers);
    QSignalSpy changed(&lines, &ConsoleLines::dataChanged);
    lines.setLines({u"a"_qs});
    QCOMPARE(counts.size(), 0);
    QCOMPARE(changed.size(), 0);
}

void ConsoleLinesTest::equalLinesAreRowsOfTheirOwn()
{
    ConsoleLines lines;
    lines.setLines({u"a"_qs, u"a"_qs});
    QCOMPARE(shown(lines), (QStringList{u"a"_qs, u"a"_qs}));
}

void ConsoleLinesTest::aWordIsLongBeyondAThousandCharacters_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("isLong");
    QTest::newRow("none") << QString() << false;
    QTest::newRow("as long as may be") << QString(1000, u'x') << false;
    QTest::newRow("longer") << QString(1001, u'x') << true;
    QTest::newRow("words") << u"of many words "_qs.repeated(1000) << false;
    QTest::newRow("a long word among others")
        << u"one "_qs + QString(1001, u'x') + u" two"_qs << true;
    QTest::newRow("two that are not") << QString(900, u'x') + u'\t' + QString(900, u'x') << false;
}

void ConsoleLinesTest::aWordIsLongBeyondAThousandCharacters()
{
    QFETCH(const QString, line);
    QFETCH(const bool, isLong);
    ConsoleLines lines;
    lines.setLines({line});
    QCOMPARE(lines.index(0).data(ConsoleLines::HasLongWordRole).toBool(), isLong);
    QSignalSpy changed(&lines, &ConsoleLines::dataChanged);
    lines.setLines({QString(2000, u'y')});
    QVERIFY(changed.first().at(2).value<QList<int>>().contains(ConsoleLines::HasLongWordRole));
    QVERIFY(lines.index(0).data(ConsoleLines::HasLongWordRole).toBool());
}

QTEST_GUILESS_MAIN(ConsoleLinesTest)
#include "ConsoleLinesTest.moc"

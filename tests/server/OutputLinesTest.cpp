#include "server/ServerProcess.h"
#include "tests/TestProgram.h"

#include <QtTest>

using namespace Qt::StringLiterals;
using wingbell::linesOfChunk;

class OutputLinesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aChunkIsSplitAtLineFeeds_data();
    void aChunkIsSplitAtLineFeeds();
    void aChunkThatIsNoTextIsDropped_data();
    void aChunkThatIsNoTextIsDropped();
};

void OutputLinesTest::aChunkIsSplitAtLineFeeds_data()
{
    QTest::addColumn<QByteArray>("chunk");
    QTest::addColumn<QStringList>("lines");
    const auto row = [](const char* name, const QByteArray& chunk, const QStringList& lines) {
        QTest::newRow(name) << chunk << lines;
    };
    row("nothing", "", {});
    row("one line feed", "\n", {});
    row("only line feeds", "\n\n\n", {});
    row("empty pieces are dropped", "a\n\nb\n", {u"a"_s, u"b"_s});
    row("no line feed at the end", "a\nb", {u"a"_s, u"b"_s});
    row("line feed at the start", "\na", {u"a"_s});
    row("spaces and tabs stay", "  a\t \n", {u"  a\t "_s});
    row("a line of spaces is a line", "  \n", {u"  "_s});
    row("a CR LF pair does not split", "x\r\ny", {u"x\r\ny"_s});
    row("a CR LF pair alone is a line", "\r\n", {u"\r\n"_s});
    row("a CR LF pair at the end stays", "x\r\n", {u"x\r\n"_s});
    row("an LF after a CR LF pair splits", "x\r\n\ny", {u"x\r\n"_s, u"y"_s});
    row("a CR alone stays", "x\ry\n", {u"x\ry"_s});
    row("a second CR joins with the LF", "x\r\r\ny\n", {u"x\r\r\ny"_s});
    row("LF before CR splits", "x\n\ry\n", {u"x"_s, u"\ry"_s});
    row("other line ends do not split", "a\u2028b\u0085c\x0b\x0c\n",
        {u"a\u2028b\u0085c\x0b\x0c"_s});
    row("zero bytes are characters", QByteArray("a\0b\n", 4), {QString(u"a\0b"_s)});
    row("emoji and combining marks", "\u25B6\uFE0E e\u0301\n", {u"\u25B6\uFE0E e\u0301"_s});
    row("a leading U+FEFF is a character", "\xEF\xBB\xBFx\n", {u"\uFEFFx"_s});
    row("markup is text", "<b>x</b>&amp;\n", {u"<b>x</b>&amp;"_s});
}

void OutputLinesTest::aChunkIsSplitAtLineFeeds()
{
    QFETCH(const QByteArray, chunk);
    QFETCH(const QStringList, lines);
    QCOMPARE(linesOfChunk(chunk).value(), lines);
}

void OutputLinesTest::aChunkThatIsNoTextIsDropped_data()
{
    QTest::addColumn<QByteArray>("chunk");
    QTest::newRow("cut at its end") << QByteArray("good\ncaf\xc3");
    QTest::newRow("cut at its start") << QByteArray("\xa9\ngood\n");
    QTest::newRow("cut emoji") << QByteArray("\xf0\x9f\x94");
    QTest::newRow("Latin-1") << QByteArray("caf\xe9\n");
    QTest::newRow("overlong") << QByteArray("\xc0\x8a");
    QTest::newRow("surrogate") << QByteArray("\xed\xa0\x80");
    QTest::newRow("beyond Unicode") << QByteArray("\xf4\x90\x80\x80");
    QTest::newRow("no start byte") << QByteArray("\xff");
}

void OutputLinesTest::aChunkThatIsNoTextIsDropped()
{
    QFETCH(const QByteArray, chunk);
    QVERIFY(!linesOfChunk(chunk));
}

WINGBELL_APPLESS_TEST(OutputLinesTest)
#include "OutputLinesTest.moc"

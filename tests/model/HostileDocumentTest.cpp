#include "model/ShowFile.h"
#include "tests/TestProgram.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace Qt::StringLiterals;
using namespace wingbell;

namespace {

/// A document that is a show but for `value`, which has an unknown key: whether it is read
/// depends only on whether `value` is JSON.
QByteArray showWithExtra(const QByteArray& value)
{
    return R"({"show":"S","extra":)" + value + R"(,"channels":[],"roles":[]})";
}

} // namespace

class HostileDocumentTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void validJsonUnderAnUnknownKeyIsRead_data();
    void validJsonUnderAnUnknownKeyIsRead();
    void invalidJsonUnderAnUnknownKeyIsRefused_data();
    void invalidJsonUnderAnUnknownKeyIsRefused();
    void damagedDocumentsAreRefused_data();
    void damagedDocumentsAreRefused();
    void everyTruncationIsRefused();
    void everyChangedByteIsReadOrRefused();
    void aMillionBracketsAreRefused();
    void nestingIsReadUpToALimit();
    void theLargestDocumentIsRead();
};

void HostileDocumentTest::validJsonUnderAnUnknownKeyIsRead_data()
{
    QTest::addColumn<QByteArray>("value");
    const auto row = [](const QByteArray& value) {
        QTest::newRow(value.left(40).constData()) << value;
    };
    row("[]");
    row("{}");
    row("[[]   ]");
    row("[\"\"]");
    row("[null, 1, \"1\", {}]");
    row("[1\n]");
    row(" [1]");
    row("[2] ");
    row("123e65");
    row("0e+1");
    row("0e1");
    row("-0");
    row("-0.0");
    row("1E+2");
    row("1E-2");
    row("123.456e78");
    row("-0.000000000000000000000000000000000000000000000000000000000000000000000000000001");
    row("1e-400");
    row("123456789012345678901234567890");
    row("-123456789012345678901234567890");
    row(R"({"a":"b","a":"c"})");
    row(R"({"":0})");
    row(R"({"foo\u0000bar": 42})");
    row(R"({"min": -1.0e+28, "max": 1.0e+28})");
    row(R"("\u0060\u012a\u12AB")");
    row(R"("\uD801\udc37")");
    row(R"("\ud83d\ude39\ud83d\udc8d")");
    row(R"("\"\\\/\b\f\n\r\t")");
    row(R"("\\u0000")");
    row(R"("\u0012")");
    row(R"("\uFFFF")");
    row(R"("\uDBFF\uDFFF")");
    row("\"\xe2\x80\xa8\xe2\x80\xa9\"");
    row("\"\xf4\x8f\xbf\xbf\"");
    row("\"\x7f\"");
    row("\"a/*b*/c/*d//e\"");
    row("\" \"");
    row("true");
    row("false");
    row("null");
}

void HostileDocumentTest::validJsonUnderAnUnknownKeyIsRead()
{
    QFETCH(const QByteArray, value);
    const auto reading = decodeShow(showWithExtra(value));
    QVERIFY(reading);
    QCOMPARE(reading->show, u"S"_s);
}

void HostileDocumentTest::invalidJsonUnderAnUnknownKeyIsRefused_data()
{
    QTest::addColumn<QByteArray>("value");
    const auto row = [](const QByteArray& value) {
        QTest::newRow(value.left(40).toPercentEncoding(" []{}\",:\\").constData()) << value;
    };
    row("");
    row("[1 true]");
    row("[a]");
    row("[\"\": 1]");
    row("[\"\"],");
    row("[,1]");
    row("[1,,2]");
    row("[\"x\"]]");
    row("[\"x\",]");
    row("[\"x\"");
    row("[3[4]]");
    row("[1:2]");
    row("[,]");
    row("[-]");
    row("[   , \"\"]");
    row("[*]");
    row("++1234");
    row("+1");
    row("+Inf");
    row("-01");
    row("-1.0.");
    row("-2.");
    row("-NaN");
    row(".-1");
    row(".2e-3");
    row("0.1.2");
    row("0.3e+");
    row("0.3e");
    row("0.e1");
    row("0_1");
    row("0E+");
    row("0E");
    row("1.0e-");
    row("1 000.0");
    row("1eE2");
    row("2.e3");
    row("9.e+");
    row("Inf");
    row("NaN");
    row("-Infinity");
    row("\xef\xbc\x91");
    row("1+2");
    row("0x1");
    row("0x42");
    row("1e400"); // by the letter it is JSON; the parser cannot hold it
    row("-012");
    row("-.123");
    row("1.8011670033376514H-308");
    row("1.2a-3");
    row("012");
    row("- 1");
    row("{\"x\"::\"b\"}");
    row("{key: 'value'}");
    row("{\"a\":\"a\" 123}");
    row("{\"x\", null}");
    row("{\"a\" b}");
    row("{:\"b\"}");
    row("{\"a\" \"b\"}");
    row("{\"a\":");
    row("{1:1}");
    row("{9999E9999:1}");
    row("{null:null,null:null}");
    row("{\"id\":0,,,,,}");
    row("{'a':0}");
    row("{\"id\":0,}");
    row("{\"a\":\"b\"}/**/");
    row("{\"a\":\"b\"}//");
    row("{a: \"b\"}");
    row("{\"a\":\"a");
    row("{ \"foo\" : \"bar\", \"a\" }");
    row(" ");
    row("[\"\\uD800\\\"]");
    row("\"\\uD800\\u1\"");
    row("\"\\uD800\\u\"");
    row("\"\\uD800\"");
    row("\"\\uDC00\"");
    row("\"\\uDC00\\uD800\"");
    row("\"\\uD800\\uD800\\uDC00\"");
    row("\"\\uD800abc\"");
    row("\"\\x00\"");
    row("\"\\");
    row("\"\t\"");
    row("\"\n\"");
    row("\"\\\xf0\x9f\x8c\x80\"");
    row("\"\\a\"");
    row("\"\\u00A\"");
    row("\"\\uqqqq\"");
    row("\"\\u\xe5\"");
    row("\\u0020\"asd\"");
    row("\\n");
    row("'single'");
    row("abc");
    row("\"");
    row("\"\\UA66D\"");
    row("\"\xff\"");
    row("\"\xe9\"");
    row("\"\xc0\xaf\"");
    row("\"\xed\xa0\x80\"");
    row("\"\xf4\xbf\xbf\xbf\"");
    row("\"\x81\"");
    row("\"\xf0\x80\x80\x80\"");
    row("\"\xe2\x82");
    row("<null>");
    row("[\xe2\x81\xa0]");
    row("\x0c[]");
    row("\xc2\xa0[]");
    row("True");
    row("nul");
    row("tru");
    row(QByteArray(1, '\0'));
    row(QByteArray("\"a\0b\"", 5));
    row(QByteArray("7\0", 2));
}

void HostileDocumentTest::invalidJsonUnderAnUnknownKeyIsRefused()
{
    QFETCH(const QByteArray, value);
    const auto reading = decodeShow(showWithExtra(value));
    QVERIFY(!reading);
    QVERIFY(!reading.error().reason.isEmpty());
}

void HostileDocumentTest::damagedDocumentsAreRefused_data()
{
    QTest::addColumn<QByteArray>("document");
    const QByteArray show = showWithExtra("0");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("space") << QByteArray("  \n");
    QTest::newRow("something behind it") << show + "x";
    QTest::newRow("twice") << show + show;
    QTest::newRow("a bracket behind it") << show + "}";
    QTest::newRow("a zero byte behind it") << show + '\0';
    QTest::newRow("zero byte and more behind it") << show + '\0' + "garbage";
    QTest::newRow("comment") << "/* a show */" + show;
    QTest::newRow("UTF-16") << QByteArray("\xff\xfe{\0\"\0", 6);
    QTest::newRow("Latin-1 name") << QByteArray("{\"show\":\"\xe9\",\"channels\":[],\"roles\":[]}");
    QTest::newRow("lone surrogate in the name")
        << QByteArray(R"({"show":"\ud800","channels":[],"roles":[]})");
    QTest::newRow("bytes of a picture") << QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
}

void HostileDocumentTest::damagedDocumentsAreRefused()
{
    QFETCH(const QByteArray, document);
    QVERIFY(!decodeShow(document));
}

void HostileDocumentTest::everyTruncationIsRefused()
{
    const QByteArray document =
        R"({"show":"é","channels":["A","B"],"roles":[{"name":"N","talk":["A"],"listen":[]}],"oscPort":1})";
    QVERIFY(decodeShow(document));
    for (qsizetype length = 0; length < document.size(); ++length) {
        QVERIFY2(!decodeShow(document.left(length)), qPrintable(QString::number(length)));
    }
}

void HostileDocumentTest::everyChangedByteIsReadOrRefused()
{
    const QByteArray document =
        R"({"show":"é","channels":["A"],"roles":[{"name":"N","talk":["A"],"listen":[]}],"oscPort":1})";
    for (qsizetype at = 0; at < document.size(); ++at) {
        for (int value = 0; value < 256; ++value) {
            QByteArray changed = document;
            changed[at] = static_cast<char>(value);
            const auto reading = decodeShow(changed);
            QVERIFY(reading.has_value() || !reading.error().reason.isEmpty());
        }
    }
}

void HostileDocumentTest::aMillionBracketsAreRefused()
{
    constexpr qsizetype depth = 1'000'000;
    const QByteArray open(depth, '[');
    const QByteArray close(depth, ']');
    QByteArray objects;
    for (qsizetype level = 0; level < depth; ++level) {
        objects += "{\"a\":";
    }
    QVERIFY(!decodeShow(open));
    QVERIFY(!decodeShow(open + close));
    QVERIFY(!decodeShow(objects));
    QVERIFY(!decodeShow(showWithExtra(open)));
    QVERIFY(!decodeShow(showWithExtra(objects)));
    QVERIFY(!decodeShow(showWithExtra(open + close)));
    QVERIFY(!decodeShow(R"({"show":"S","channels":)" + open + close + R"(,"roles":[]})"));
}

void HostileDocumentTest::nestingIsReadUpToALimit()
{
    const auto nested = [](qsizetype depth) { // the document itself is the first level
        return showWithExtra(QByteArray(depth - 1, '[') + QByteArray(depth - 1, ']'));
    };
    QVERIFY(decodeShow(nested(100)));
    QCOMPARE(decodeShow(nested(101)).error().reason, u"it is nested too deeply"_s);
}

void HostileDocumentTest::theLargestDocumentIsRead()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"roles.json"_s);
    const auto readDocument = [&path](const QByteArray& document) {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(document) == document.size() &&
                       file.flush()
                   ? readShow(path)
                   : failure(ShowError{u"not written"_s});
    };
    const QByteArray name(maxShowDocumentSize / 2, 'x');
    QByteArray document = "{\"show\":\"" + name + R"(","channels":[],"roles":[],"more":[)" +
                          QByteArray("1,").repeated(maxShowDocumentSize / 8) + "1]}";
    document = document.leftJustified(maxShowDocumentSize);
    QCOMPARE(document.size(), maxShowDocumentSize);
    QCOMPARE(readDocument(document).value().show.size(), name.size());
    QCOMPARE(readDocument(document + ' ').error().reason, u"it is larger than a show can be"_s);
}

WINGBELL_APPLESS_TEST(HostileDocumentTest)
#include "HostileDocumentTest.moc"

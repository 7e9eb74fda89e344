#include "base/LineText.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace std::chrono_literals;
using namespace wingbell;

class LineTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyLineBreakBecomesASpace();
    void controlsAreReplaced();
    void invisibleCharactersAreReplaced_data();
    void invisibleCharactersAreReplaced();
    void textThatDisturbsNothingStays();
    void charactersAreCountedAsCodePoints();
    void aCharacterLongerThanTheLimitIsPartedAfterAll();
    void aLongTextIsQuotedInPart();
    void blankIsWhatShowsNothing();
    void aDurationIsToldInHoursMinutesAndSeconds();
    void unitsThatAreNoneAreLeftOutOfADuration();
    void aDurationIsRoundedDown();
};

void LineTextTest::everyLineBreakBecomesASpace()
{
    QCOMPARE(
        onOneLine(u"a\nb\rc\td\ve\ff\u0085g\u2028h\u2029i"), QStringLiteral("a b c d e f g h i"));
}

void LineTextTest::controlsAreReplaced()
{
    const QString text =
        QChar(u'\0') + QStringLiteral("\u001B[2J\u007F\u009B\u202Etxt\u2066\u200F");
    QCOMPARE(onOneLine(text), QStringLiteral("��[2J���txt��"));
}

void LineTextTest::invisibleCharactersAreReplaced_data()
{
    QTest::addColumn<uint>("character");
    for (const uint character : {0x00ADU,  0x034FU,  0x115FU,  0x180EU,  0x200BU,  0x200CU, 0x200DU,
                                 0x2060U,  0x2064U,  0x206FU,  0x3164U,  0xFEFFU,  0xFFA0U, 0xFFF9U,
                                 0x1D173U, 0xE0001U, 0xE0041U, 0xE007FU, 0xE0100U, 0xE0FFFU}) {
        QTest::addRow("U+%04X", character) << character;
    }
}

void LineTextTest::invisibleCharactersAreReplaced()
{
    QFETCH(const uint, character);
    QString text = QStringLiteral("Ma");
    text.append(QChar::fromUcs4(character));
    text.append(QStringLiteral("in"));
    QCOMPARE(onOneLine(text), QStringLiteral("Ma\uFFFDin"));
}

void LineTextTest::textThatDisturbsNothingStays()
{
    const QString text =
        QStringLiteral("Bühne \"A\" 👩‍🚀 👩🏽‍⚕️ ❤️‍🔥 שלום %1 \\n");
    QCOMPARE(onOneLine(text), text);
}

void LineTextTest::charactersAreCountedAsCodePoints()
{
    QCOMPARE(firstCharacters(u"🎭🎭🎭", 2), QStringView(u"🎭🎭"));
    QCOMPARE(firstCharacters(u"🎭🎭", 2), QStringView(u"🎭🎭"));
    QCOMPARE(firstCharacters(u"abc", 0), QStringView());
    QCOMPARE(firstCharacters(u"ae\u0301b", 2), QStringView(u"a"));
}

void LineTextTest::aCharacterLongerThanTheLimitIsPartedAfterAll()
{
    QCOMPARE(firstCharacters(u"e\u0301\u0301\u0301", 2), QStringView(u"e\u0301"));
}

void LineTextTest::aLongTextIsQuotedInPart()
{
    QCOMPARE(quoted(u"Stage"), QStringLiteral("\"Stage\""));
    QCOMPARE(quoted(u"Stage", 5), QStringLiteral("\"Stage\""));
    QCOMPARE(quoted(u"Stage", 4), QStringLiteral("\"Stag…\""));
}

void LineTextTest::blankIsWhatShowsNothing()
{
    QVERIFY(isBlank(u""));
    QVERIFY(isBlank(u" \t\n\u00A0\u3000\u200B\u0007"));
    QVERIFY(!isBlank(u" . "));
    QVERIFY(!isBlank(u"🎭"));
}

void LineTextTest::aDurationIsToldInHoursMinutesAndSeconds()
{
    QCOMPARE(durationInWords(192s), QStringLiteral("3 minutes 12 seconds"));
    QCOMPARE(durationInWords(1h + 1min + 1s), QStringLiteral("1 hour 1 minute 1 second"));
    QCOMPARE(durationInWords(30h + 59min + 59s), QStringLiteral("30 hours 59 minutes 59 seconds"));
}

void LineTextTest::unitsThatAreNoneAreLeftOutOfADuration()
{
    QCOMPARE(durationInWords(2s), QStringLiteral("2 seconds"));
    QCOMPARE(durationInWords(1min), QStringLiteral("1 minute"));
    QCOMPARE(durationInWords(2h + 5s), QStringLiteral("2 hours 5 seconds"));
}

void LineTextTest::aDurationIsRoundedDown()
{
    QCOMPARE(durationInWords(1999ms), QStringLiteral("1 second"));
    QCOMPARE(durationInWords(999ms), QStringLiteral("less than a second"));
    QCOMPARE(durationInWords(0ms), QStringLiteral("less than a second"));
    QCOMPARE(durationInWords(-5s), QStringLiteral("less than a second"));
}

WINGBELL_APPLESS_TEST(LineTextTest)
#include "LineTextTest.moc"

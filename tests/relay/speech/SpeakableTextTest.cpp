#include "relay/speech/SpeakableText.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

class SpeakableTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ordinaryTextStaysAsItIs_data();
    void ordinaryTextStaysAsItIs();
    void whatCouldBeACommandBecomesASpace_data();
    void whatCouldBeACommandBecomesASpace();
    void nothingToSayIsEmpty();
    void aLongTextIsCutBetweenCharacters();
};

void SpeakableTextTest::ordinaryTextStaysAsItIs_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char* const text :
         {"Places, please.", "-v de", "--stdout", "\"Quotes\" and 'more' `too` $(date)",
          "<speak><break time=\"9s\"/></speak>", "B\xC3\xBChne frei",
          "\xF0\x9F\x98\x80 5 \xE2\x82\xAC", "a & b | c ; d > e", "100 %"}) {
        QTest::newRow(text) << QByteArray(text);
    }
}

void SpeakableTextTest::ordinaryTextStaysAsItIs()
{
    QFETCH(QByteArray, text);
    QCOMPARE(QByteArray::fromStdString(speakableText(text.toStdString())), text);
}

void SpeakableTextTest::whatCouldBeACommandBecomesASpace_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("speakable");
    const auto row = [](const char* name, const QByteArray& text, const char* speakable) {
        QTest::newRow(name) << text << QByteArray(speakable);
    };
    row("a command byte",
        "a\x01"
        "50sb",
        "a 50sb");
    row("an escape sequence", "a\x1B(31mb", "a (31mb");
    row("a zero", QByteArray("a\0b", 3), "a b");
    row("a line feed", "a\nb\r\tc", "a b  c");
    row("delete",
        "a\x7F"
        "b",
        "a b");
    row("a control character of two bytes",
        "a\xC2\x85"
        "b",
        "a b");
    row("a line separator",
        "a\xE2\x80\xA8"
        "b",
        "a b");
    row("phonemes", "[[h@l'oU]] [a]", "h@l'oU    a");
    row("brackets in brackets", "[[[[x]]]]", "x");
    row("no UTF-8",
        "a\xFF\xFE"
        "b",
        "a  b");
    row("half a character", "a\xF0\x9F", "a");
    row("half a surrogate pair",
        "a\xED\xA0\x80"
        "b",
        "a   b");
    row("spaces around it", " \n a \x01 ", "a");
}

void SpeakableTextTest::whatCouldBeACommandBecomesASpace()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, speakable);
    QCOMPARE(QByteArray::fromStdString(speakableText(text.toStdString())), speakable);
}

void SpeakableTextTest::nothingToSayIsEmpty()
{
    QCOMPARE(speakableText(""), std::string());
    QCOMPARE(speakableText(" \n\t\x01\x02 [] "), std::string());
}

void SpeakableTextTest::aLongTextIsCutBetweenCharacters()
{
    QCOMPARE(speakableText(std::string(longestSpeakableText, 'a')).size(), longestSpeakableText);
    QCOMPARE(
        speakableText(std::string(longestSpeakableText + 1, 'a')),
        std::string(longestSpeakableText, 'a'));
    std::string umlauts = "a";
    for (std::size_t count = 0; count < longestSpeakableText; ++count) {
        umlauts += "\xC3\xBC";
    }
    QCOMPARE(speakableText(umlauts), umlauts.substr(0, longestSpeakableText - 1));
}

WINGBELL_GUILESS_TEST(SpeakableTextTest)
#include "SpeakableTextTest.moc"

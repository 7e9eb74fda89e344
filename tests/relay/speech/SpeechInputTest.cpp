#include "relay/speech/SpeechInput.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <array>

using namespace wingbell;

class SpeechInputTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ordinaryTextStaysAsItIs_data();
    void ordinaryTextStaysAsItIs();
    void whatCouldBeACommandBecomesASpace_data();
    void whatCouldBeACommandBecomesASpace();
    void nothingToSayIsEmpty();
    void aLongTextIsCutBetweenCharacters();

    void aLocaleNamesItsLanguage_data();
    void aLocaleNamesItsLanguage();
    void whatIsNoLocaleIsEnglish_data();
    void whatIsNoLocaleIsEnglish();
    void theFirstVariableThatIsSetCounts();
};

void SpeechInputTest::ordinaryTextStaysAsItIs_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char* const text :
         {"Places, please.", "-v de", "--stdout", "\"Quotes\" and 'more' `too` $(date)",
          "<speak><break time=\"9s\"/></speak>", "B\xC3\xBChne frei",
          "\xF0\x9F\x98\x80 5 \xE2\x82\xAC", "a & b | c ; d > e", "100 %"}) {
        QTest::newRow(text) << QByteArray(text);
    }
}

void SpeechInputTest::ordinaryTextStaysAsItIs()
{
    QFETCH(QByteArray, text);
    QCOMPARE(QByteArray::fromStdString(speakableText(text.toStdString())), text);
}

void SpeechInputTest::whatCouldBeACommandBecomesASpace_data()
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

void SpeechInputTest::whatCouldBeACommandBecomesASpace()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, speakable);
    QCOMPARE(QByteArray::fromStdString(speakableText(text.toStdString())), speakable);
}

void SpeechInputTest::nothingToSayIsEmpty()
{
    QCOMPARE(speakableText(""), std::string());
    QCOMPARE(speakableText(" \n\t\x01\x02 [] "), std::string());
}

void SpeechInputTest::aLongTextIsCutBetweenCharacters()
{
    QCOMPARE(speakableText(std::string(maxSpeakableText, 'a')).size(), maxSpeakableText);
    QCOMPARE(
        speakableText(std::string(maxSpeakableText + 1, 'a')), std::string(maxSpeakableText, 'a'));
    std::string umlauts = "a";
    for (std::size_t count = 0; count < maxSpeakableText; ++count) {
        umlauts += "\xC3\xBC";
    }
    QCOMPARE(speakableText(umlauts), umlauts.substr(0, maxSpeakableText - 1));
}

void SpeechInputTest::aLocaleNamesItsLanguage_data()
{
    QTest::addColumn<QByteArray>("locale");
    QTest::addColumn<QByteArray>("voice");
    const auto row = [](const char* locale, const char* voice) {
        QTest::newRow(locale) << QByteArray(locale) << QByteArray(voice);
    };
    row("de_DE.UTF-8", "de");
    row("de", "de");
    row("DE_de", "de");
    row("de_DE@euro", "de");
    row("de.UTF-8", "de");
    row("sr@latin", "sr");
    row("en_GB.UTF-8", "en");
    row("ast_ES", "ast");
    row("zh_CN.GB18030", "zh");
}

void SpeechInputTest::aLocaleNamesItsLanguage()
{
    QFETCH(QByteArray, locale);
    QFETCH(QByteArray, voice);
    QCOMPARE(QByteArray::fromStdString(voiceForLocale(locale.toStdString())), voice);
}

void SpeechInputTest::whatIsNoLocaleIsEnglish_data()
{
    QTest::addColumn<QByteArray>("locale");
    for (const char* const locale :
         {"", "C", "C.UTF-8", "POSIX", "_DE", ".UTF-8", "-v", "d3_DE", "d\xC3\xA4", "../../x",
          "d /", "/usr/share/locale/de"}) {
        QTest::newRow(locale) << QByteArray(locale);
    }
}

void SpeechInputTest::whatIsNoLocaleIsEnglish()
{
    QFETCH(QByteArray, locale);
    QCOMPARE(voiceForLocale(locale.toStdString()), std::string("en"));
}

void SpeechInputTest::theFirstVariableThatIsSetCounts()
{
    const std::array<const char*, 3> names = {"LC_ALL", "LC_MESSAGES", "LANG"};
    const auto voiceWith = [&names](const std::array<const char*, 3>& locales) {
        for (std::size_t place = 0; place < names.size(); ++place) {
            if (locales.at(place) == nullptr) {
                qunsetenv(names.at(place));
            } else {
                qputenv(names.at(place), locales.at(place));
            }
        }
        return systemVoice();
    };
    QCOMPARE(voiceWith({"fr_FR", "de_DE", "it_IT"}), std::string("fr"));
    QCOMPARE(voiceWith({"C", "de_DE", "it_IT"}), std::string("en"));
    QCOMPARE(voiceWith({"", "de_DE", "it_IT"}), std::string("de"));
    QCOMPARE(voiceWith({nullptr, nullptr, "it_IT"}), std::string("it"));
    QCOMPARE(voiceWith({nullptr, nullptr, nullptr}), std::string("en"));
}

WINGBELL_GUILESS_TEST(SpeechInputTest)
#include "SpeechInputTest.moc"

#include "relay/speech/SpeechVoice.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <array>

using namespace wingbell;

class SpeechVoiceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aLocaleNamesItsLanguage_data();
    void aLocaleNamesItsLanguage();
    void whatIsNoLocaleIsEnglish_data();
    void whatIsNoLocaleIsEnglish();
    void theFirstVariableThatIsSetCounts();
};

void SpeechVoiceTest::aLocaleNamesItsLanguage_data()
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

void SpeechVoiceTest::aLocaleNamesItsLanguage()
{
    QFETCH(QByteArray, locale);
    QFETCH(QByteArray, voice);
    QCOMPARE(QByteArray::fromStdString(voiceForLocale(locale.toStdString())), voice);
}

void SpeechVoiceTest::whatIsNoLocaleIsEnglish_data()
{
    QTest::addColumn<QByteArray>("locale");
    for (const char* const locale :
         {"", "C", "C.UTF-8", "POSIX", "_DE", ".UTF-8", "-v", "d3_DE", "d\xC3\xA4", "../../x",
          "d /", "/usr/share/locale/de"}) {
        QTest::newRow(locale) << QByteArray(locale);
    }
}

void SpeechVoiceTest::whatIsNoLocaleIsEnglish()
{
    QFETCH(QByteArray, locale);
    QCOMPARE(voiceForLocale(locale.toStdString()), std::string("en"));
}

void SpeechVoiceTest::theFirstVariableThatIsSetCounts()
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

WINGBELL_GUILESS_TEST(SpeechVoiceTest)
#include "SpeechVoiceTest.moc"

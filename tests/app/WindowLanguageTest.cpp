#include "app/WingbellControlApp.h"
#include "tests/TestProgram.h"

#include <QCoreApplication>
#include <QtTest>

using namespace Qt::StringLiterals;
using namespace wingbell;

namespace {

QString toSave()
{
    return QCoreApplication::translate("ShowSetupPanel", "Save Show");
}

} // namespace

class WindowLanguageTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aLanguageIsChosenAsTheDesktopAsksForIt_data();
    void aLanguageIsChosenAsTheDesktopAsksForIt();
    void textsAreInThatLanguageAsLongAsItIsHeld();
    void aLanguageThatIsNotSpokenLeavesTheSourcesTexts();
};

void WindowLanguageTest::aLanguageIsChosenAsTheDesktopAsksForIt_data()
{
    QTest::addColumn<QStringList>("wanted");
    QTest::addColumn<bool>("german");
    QTest::newRow("German") << QStringList{u"de"_s} << true;
    QTest::newRow("of Germany") << QStringList{u"de-DE"_s, u"de-Latn-DE"_s, u"de"_s} << true;
    QTest::newRow("of Austria") << QStringList{u"de-AT"_s, u"de-Latn-AT"_s} << true;
    QTest::newRow("of Switzerland") << QStringList{u"de-CH"_s, u"de-Latn-CH"_s} << true;
    QTest::newRow("English") << QStringList{u"en"_s} << false;
    QTest::newRow("English before German") << QStringList{u"en-GB"_s, u"de-DE"_s} << false;
    QTest::newRow("German before English") << QStringList{u"de-DE"_s, u"en-GB"_s} << true;
    QTest::newRow("one it does not speak") << QStringList{u"fr-FR"_s, u"fr"_s} << false;
    QTest::newRow("the next best") << QStringList{u"fr-FR"_s, u"fr"_s, u"de"_s} << true;
    QTest::newRow("after an unknown one") << QStringList{u"xx-YY"_s, u"de"_s} << true;
    QTest::newRow("Low German is another one") << QStringList{u"nds-DE"_s, u"nds"_s} << false;
    QTest::newRow("no language") << QStringList{u"C"_s} << false;
    QTest::newRow("no language before German") << QStringList{u"C"_s, u"de"_s} << false;
    QTest::newRow("nothing") << QStringList{} << false;
    QTest::newRow("no names") << QStringList{QString(), u"-"_s, u"--de"_s} << false;
}

void WindowLanguageTest::aLanguageIsChosenAsTheDesktopAsksForIt()
{
    QFETCH(const QStringList, wanted);
    QFETCH(const bool, german);
    QCOMPARE(
        WindowLanguage::catalogueFor(wanted),
        german ? std::optional(u":/translations/wingbell_de.qm"_s) : std::nullopt);
}

void WindowLanguageTest::textsAreInThatLanguageAsLongAsItIsHeld()
{
    {
        const WindowLanguage german(QStringList{u"de-AT"_s});
        QCOMPARE(toSave(), u"Show speichern"_s);
        QCOMPARE(
            QCoreApplication::translate("ShowSetupPanel", "Saved \u2713"), u"Gespeichert \u2713"_s);
    }
    QCOMPARE(toSave(), u"Save Show"_s);
}

void WindowLanguageTest::aLanguageThatIsNotSpokenLeavesTheSourcesTexts()
{
    const WindowLanguage french(QStringList{u"fr"_s});
    QCOMPARE(toSave(), u"Save Show"_s);
}

WINGBELL_GUILESS_TEST(WindowLanguageTest)
#include "WindowLanguageTest.moc"

#include "app/WingbellControlApp.h"
#include "tests/TestProgram.h"

#include <QCoreApplication>
#include <QtTest>

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
    QTest::newRow("German") << QStringList{u"de"_qs} << true;
    QTest::newRow("of Germany") << QStringList{u"de-DE"_qs, u"de-Latn-DE"_qs, u"de"_qs} << true;
    QTest::newRow("of Austria") << QStringList{u"de-AT"_qs, u"de-Latn-AT"_qs} << true;
    QTest::newRow("of Switzerland") << QStringList{u"de-CH"_qs, u"de-Latn-CH"_qs} << true;
    QTest::newRow("English") << QStringList{u"en"_qs} << false;
    QTest::newRow("English before German") << QStringList{u"en-GB"_qs, u"de-DE"_qs} << false;
    QTest::newRow("German before English") << QStringList{u"de-DE"_qs, u"en-GB"_qs} << true;
    QTest::newRow("one it does not speak") << QStringList{u"fr-FR"_qs, u"fr"_qs} << false;
    QTest::newRow("the next best") << QStringList{u"fr-FR"_qs, u"fr"_qs, u"de"_qs} << true;
    QTest::newRow("after an unknown one") << QStringList{u"xx-YY"_qs, u"de"_qs} << true;
    QTest::newRow("Low German is another one") << QStringList{u"nds-DE"_qs, u"nds"_qs} << false;
    QTest::newRow("no language") << QStringList{u"C"_qs} << false;
    QTest::newRow("no language before German") << QStringList{u"C"_qs, u"de"_qs} << false;
    QTest::newRow("nothing") << QStringList{} << false;
    QTest::newRow("no names") << QStringList{QString(), u"-"_qs, u"--de"_qs} << false;
}

void WindowLanguageTest::aLanguageIsChosenAsTheDesktopAsksForIt()
{
    QFETCH(const QStringList, wanted);
    QFETCH(const bool, german);
    QCOMPARE(
        WindowLanguage::catalogueFor(wanted),
        german ? std::optional(u":/translations/wingbell_de.qm"_qs) : std::nullopt);
}

void WindowLanguageTest::textsAreInThatLanguageAsLongAsItIsHeld()
{
    {
        const WindowLanguage german(QStringList{u"de-AT"_qs});
        QCOMPARE(toSave(), u"Show speichern"_qs);
        QCOMPARE(
            QCoreApplication::translate("ShowSetupPanel", "Saved \u2713"),
            u"Gespeichert \u2713"_qs);
    }
    QCOMPARE(toSave(), u"Save Show"_qs);
}

void WindowLanguageTest::aLanguageThatIsNotSpokenLeavesTheSourcesTexts()
{
    const WindowLanguage french(QStringList{u"fr"_qs});
    QCOMPARE(toSave(), u"Save Show"_qs);
}

WINGBELL_GUILESS_TEST(WindowLanguageTest)
#include "WindowLanguageTest.moc"

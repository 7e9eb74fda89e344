#include "model/HorizontalSpace.h"
#include "tests/TestProgram.h"

#include <QtTest>

using wingbell::trimmedOfHorizontalSpace;

class HorizontalSpaceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void spacesAndTabsGoFromBothEnds_data();
    void spacesAndTabsGoFromBothEnds();
};

void HorizontalSpaceTest::spacesAndTabsGoFromBothEnds_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("trimmed");

    const auto row = [](const char* name, const QString& given, const QString& trimmed) {
        QTest::newRow(name) << given << trimmed;
    };
    row("nothing", {}, {});
    row("plain", u"Tech"_qs, u"Tech"_qs);
    row("spaces", u"  Tech  "_qs, u"Tech"_qs);
    row("tabs", u"\tTech\t"_qs, u"Tech"_qs);
    row("no-break and ideographic space", u"\u00A0\u3000Tech\u2003\u202F"_qs, u"Tech"_qs);
    row("only spaces", u" \t\u2002 "_qs, {});
    row("a line break stays", u" Tech\n"_qs, u"Tech\n"_qs);
    row("a line break shields the space before it", u"Tech \n"_qs, u"Tech \n"_qs);
    row("a line separator stays", u"Tech\u2028"_qs, u"Tech\u2028"_qs);
    row("a carriage return stays", u"\rTech"_qs, u"\rTech"_qs);
    row("inner space stays", u" Green  Room "_qs, u"Green  Room"_qs);
}

void HorizontalSpaceTest::spacesAndTabsGoFromBothEnds()
{
    QFETCH(const QString, given);
    QFETCH(const QString, trimmed);
    QCOMPARE(trimmedOfHorizontalSpace(given), trimmed);
}

WINGBELL_APPLESS_TEST(HorizontalSpaceTest)
#include "HorizontalSpaceTest.moc"

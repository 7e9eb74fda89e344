#include "panels/controls/DisplayText.h"
#include "tests/TestProgram.h"

#include <QFontMetricsF>
#include <QtTest>

using namespace Qt::StringLiterals;
using wingbell::DisplayText;

class DisplayTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPathThatFitsIsShownWhole();
    void aPathTooLongLosesItsBeginning();
    void aPathOfTwoLinesIsShownWhole();

private:
    const QFont m_font{QStringLiteral("DejaVu Sans Mono"), 10};
    const QString m_path = u"/Users/Shared/Wingbell/roles.json"_s;
};

void DisplayTextTest::aPathThatFitsIsShownWhole()
{
    const double width = QFontMetricsF(m_font).horizontalAdvance(m_path) + 1;
    QCOMPARE(DisplayText::elidedAtHead(m_path, m_font, width, 2), m_path);
}

void DisplayTextTest::aPathOfTwoLinesIsShownWhole()
{
    const double width = QFontMetricsF(m_font).horizontalAdvance(m_path) / 2 + 20;
    QCOMPARE(DisplayText::elidedAtHead(m_path, m_font, width, 2), m_path);
}

void DisplayTextTest::aPathTooLongLosesItsBeginning()
{
    const QString longPath = u"/a/very/long/way/down"_s.repeated(10) + m_path;
    const double width = QFontMetricsF(m_font).horizontalAdvance(m_path);
    const QString shown = DisplayText::elidedAtHead(longPath, m_font, width, 2);
    QVERIFY(shown.startsWith(u'\u2026'));
    QVERIFY(shown.endsWith(u"roles.json"_s));
    QVERIFY(longPath.endsWith(shown.sliced(1)));
    const double advance = QFontMetricsF(m_font).horizontalAdvance(shown);
    QVERIFY(advance <= 2 * width);
    QVERIFY2(advance > 1.7 * width, "no more is taken away than must be");
}

WINGBELL_GUI_TEST(DisplayTextTest)
#include "DisplayTextTest.moc"

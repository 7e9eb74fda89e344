#include "base/Utf8.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace wingbell;

class Utf8Test : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyByteOrderMarkIsKept();
    void onlyValidUtf8IsText();
};

void Utf8Test::everyByteOrderMarkIsKept()
{
    QCOMPARE(textFromUtf8("\xEF\xBB\xBF\xEF\xBB\xBFx\xEF\xBB\xBF"), u"\uFEFF\uFEFFx\uFEFF"_s);
    QCOMPARE(textFromUtf8("\xC3\xA9"), u"\u00E9"_s);
    QCOMPARE(textFromUtf8(QByteArrayView()), QString());
}

void Utf8Test::onlyValidUtf8IsText()
{
    QCOMPARE(textIfUtf8("\xEF\xBB\xBF\xC3\xA9").value(), u"\uFEFF\u00E9"_s);
    QCOMPARE(textIfUtf8(QByteArrayView()).value(), QString());
    for (const char* bytes :
         {"\xE9", "x\xC0\xAF", "\xED\xA0\x80", "\xF4\xBF\xBF\xBF", "\xE2\x82"}) {
        QVERIFY(!textIfUtf8(bytes));
    }
}

WINGBELL_APPLESS_TEST(Utf8Test)
#include "Utf8Test.moc"

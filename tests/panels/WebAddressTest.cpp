#include "panels/console/ConsoleModel.h"
#include "tests/TestProgram.h"

#include <QtTest>

using namespace Qt::StringLiterals;
using namespace wingbell;

class WebAddressTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anAddressEndsWhereItEnds_data();
    void anAddressEndsWhereItEnds();
    void whatCannotBeReadForWhatItIsIsNoAddress_data();
    void whatCannotBeReadForWhatItIsIsNoAddress();
    void ofSeveralItIsTheOneAtThePlaceOrTheFirst();
};

void WebAddressTest::anAddressEndsWhereItEnds_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("address");
    const QString card = u"https://192.168.1.5:47000/card#code=123456"_s;
    const auto row = [](const char* name, const QString& line, const QString& address) {
        QTest::newRow(name) << line << address;
    };
    row("alone", card, card);
    row("at the end", u"To print: "_s + card, card);
    row("in a sentence", u"See "_s + card + u", then press."_s, card);
    row("at a full stop", card + u'.', card);
    row("in brackets", u"(see "_s + card + u")."_s, card);
    row("in quotation marks", u"\u201c"_s + card + u"\u201d"_s, card);
    row("before three points", card + u"\u2026"_s, card);
    row("between signs", u'<' + card + u'>', card);
    row("brackets of its own", u"http://desk/a_(b)"_s, u"http://desk/a_(b)"_s);
    row("IPv6", u"at https://[fe80::1]:47000/, with"_s, u"https://[fe80::1]:47000/"_s);
    row("IPv6 in brackets", u"[https://[fe80::1]]"_s, u"https://[fe80::1]"_s);
    row("great letters", u"HTTPS://desk.local/"_s, u"https://desk.local/"_s);
    row("tab after it", card + u"\tnext"_s, card);
    const QString maxLength = u"http://desk/"_s + QString(288, u'x');
    row("as long as may be", maxLength, maxLength);
}

void WebAddressTest::anAddressEndsWhereItEnds()
{
    QFETCH(const QString, line);
    QTEST(QString::fromLatin1(webAddressIn(line).toEncoded()), "address");
}

void WebAddressTest::whatCannotBeReadForWhatItIsIsNoAddress_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("nothing") << QString();
    QTest::newRow("plain text") << u"Server stopped."_s;
    QTest::newRow("without a scheme") << u"www.example.org 192.168.1.5:47000"_s;
    QTest::newRow("file") << u"file:///etc/passwd"_s;
    QTest::newRow("script") << u"javascript:alert(1)"_s;
    QTest::newRow("other scheme") << u"shttp://desk/ \u00e4http://desk/"_s;
    QTest::newRow("scheme alone") << u"http:// https://, https:///card"_s;
    QTest::newRow("user's name") << u"https://desk.local@example.org/"_s;
    QTest::newRow("other script") << u"https://ex\u00e4mple.org/"_s;
    QTest::newRow("letters put together") << u"https://exa\u0308mple.org/"_s;
    QTest::newRow("unseen letter") << u"https://example\u200b.org/"_s;
    QTest::newRow("no port") << u"https://desk:99999/"_s;
    QTest::newRow("too long to be shown") << QString(u"http://desk/"_s + QString(289, u'x'));
}

void WebAddressTest::whatCannotBeReadForWhatItIsIsNoAddress()
{
    QFETCH(const QString, line);
    QCOMPARE(webAddressIn(line), QUrl());
}

void WebAddressTest::ofSeveralItIsTheOneAtThePlaceOrTheFirst()
{
    const QString line = u"From http://one/, or http://two/. Not https://u@three/"_s;
    const QUrl one(u"http://one/"_s);
    const QUrl two(u"http://two/"_s);
    QCOMPARE(webAddressIn(line), one);
    const qsizetype begin = line.indexOf(u"http://two/"_s);
    for (const qsizetype place : {begin, begin + 10}) {
        QCOMPARE(webAddressIn(line, place), two);
    }
    for (const qsizetype place : {qsizetype(0), begin - 1, begin + 11, line.size()}) {
        QCOMPARE(webAddressIn(line, place), one);
    }
}

WINGBELL_APPLESS_TEST(WebAddressTest)
#include "WebAddressTest.moc"

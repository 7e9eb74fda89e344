#include "panels/setup/ShowSetup.h"
#include "tests/TestProgram.h"

#include <QtTest>

using namespace Qt::StringLiterals;
using namespace wingbell;

class OscPortTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onlyAWholeNumberFrom1To65535IsAPort_data();
    void onlyAWholeNumberFrom1To65535IsAPort();
};

void OscPortTextTest::onlyAWholeNumberFrom1To65535IsAPort_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<std::optional<qint64>>("port");
    const auto row = [](const QString& text, std::optional<qint64> port) {
        QTest::newRow(qPrintable(u"'%1'"_s.arg(text))) << text << port;
    };
    row(u"1"_s, 1);
    row(u"47000"_s, 47000);
    row(u"65535"_s, 65535);
    row(u"+8000"_s, 8000);
    row(u"00080"_s, 80);
    row(u"047000"_s, 47000);
    row(u"+000000000000000000000000000000000000000000080"_s, 80);
    row({}, std::nullopt);
    row(u"0"_s, std::nullopt);
    row(u"-0"_s, std::nullopt);
    row(u"-1"_s, std::nullopt);
    row(u"65536"_s, std::nullopt);
    row(u"9223372036854775807"_s, std::nullopt);
    row(u"9223372036854775808"_s, std::nullopt);
    row(u"18446744073709551617"_s, std::nullopt); // 1, were it to wrap around
    row(u"99999999999999999999999999999999999999"_s, std::nullopt);
    row(u" 47000"_s, std::nullopt);
    row(u"47000 "_s, std::nullopt);
    row(u"47000\n"_s, std::nullopt);
    row(u"4.7e4"_s, std::nullopt);
    row(u"47000.0"_s, std::nullopt);
    row(u"47,000"_s, std::nullopt);
    row(u"47 000"_s, std::nullopt);
    row(u"+"_s, std::nullopt);
    row(u"-"_s, std::nullopt);
    row(u"++8000"_s, std::nullopt);
    row(u"+-8000"_s, std::nullopt);
    row(u"8000+"_s, std::nullopt);
    row(u"0x50"_s, std::nullopt);
    row(u"\u0664\u0667"_s, std::nullopt); // Arabic digits
    row(u"\uFF18\uFF10"_s, std::nullopt); // full-width digits
}

void OscPortTextTest::onlyAWholeNumberFrom1To65535IsAPort()
{
    QFETCH(const QString, text);
    QFETCH(const std::optional<qint64>, port);
    QCOMPARE(ShowSetup::oscPortFromText(text), port);
}

WINGBELL_APPLESS_TEST(OscPortTextTest)
#include "OscPortTextTest.moc"

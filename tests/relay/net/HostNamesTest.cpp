#include "relay/net/NetworkAddresses.h"
#include "tests/TestProgram.h"

#include <QTest>

using wingbell::hostNames;

class HostNamesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aMachineIsFoundByItsNames_data();
    void aMachineIsFoundByItsNames();
    void whatIsNoNameOfAHostGivesNone_data();
    void whatIsNoNameOfAHostGivesNone();
};

void HostNamesTest::aMachineIsFoundByItsNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("names");
    const auto row = [](const QString& name, const QStringList& names) {
        QTest::newRow(qPrintable(name)) << name << names;
    };
    row(QStringLiteral("desk"), {QStringLiteral("desk"), QStringLiteral("desk.local")});
    row(QStringLiteral("Desk-2"), {QStringLiteral("desk-2"), QStringLiteral("desk-2.local")});
    row(QStringLiteral("desk.theatre.org"),
        {QStringLiteral("desk.theatre.org"), QStringLiteral("desk.local")});
    row(QStringLiteral("desk.local"), {QStringLiteral("desk.local")});
    row(QStringLiteral("5"), {QStringLiteral("5"), QStringLiteral("5.local")});
    row(QString(63, QLatin1Char('a')),
        {QString(63, QLatin1Char('a')), QString(63, QLatin1Char('a')) + QStringLiteral(".local")});
}

void HostNamesTest::aMachineIsFoundByItsNames()
{
    QFETCH(QString, name);
    QTEST(hostNames(name), "names");
}

void HostNamesTest::whatIsNoNameOfAHostGivesNone_data()
{
    QTest::addColumn<QString>("name");
    for (const char* name :
         {"", " ", ".", "desk.", ".desk", "desk..org", "-desk", "desk-", "my desk", "desk/2",
          "192.168.1.5", "localhost", "(none)", "desk\n"}) {
        QTest::newRow(name) << QString::fromLatin1(name);
    }
    QTest::newRow("umlaut") << QStringLiteral("bühne");
    QTest::newRow("long label") << QString(64, QLatin1Char('a'));
    QTest::newRow("long name") << QStringLiteral("desk.").repeated(60) + QStringLiteral("org");
}

void HostNamesTest::whatIsNoNameOfAHostGivesNone()
{
    QFETCH(QString, name);
    QCOMPARE(hostNames(name), QStringList());
}

WINGBELL_APPLESS_TEST(HostNamesTest)
#include "HostNamesTest.moc"

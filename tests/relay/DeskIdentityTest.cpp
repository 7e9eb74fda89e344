#include "relay/DeskIdentity.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

namespace {

/// A computer with these addresses, the page at those of them that it can be opened by.
DeskPlace at(const QStringList& addresses, const QStringList& urls)
{
    DeskPlace place;
    for (const QString& address : addresses) {
        place.names.addresses.emplace_back(address);
    }
    place.urls = urls;
    return place;
}

const QString loopback = QStringLiteral("127.0.0.1");
const QString home = QStringLiteral("192.168.1.20");
const QString away = QStringLiteral("10.0.0.7");
const QString linkLocal = QStringLiteral("fe80::7");

} // namespace

class DeskIdentityTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anotherAddressIsAMove();
    void aNetworkThatComesLateIsAMove();
    void aNetworkThatHasGoneIsNone();
    void anAddressThatNoPageCanBeOpenedByIsNone();
};

void DeskIdentityTest::anotherAddressIsAMove()
{
    QVERIFY(hasMoved(at({home, loopback}, {home}), at({away, loopback}, {away})));
    QVERIFY(hasMoved(at({home, loopback}, {home}), at({home, away, loopback}, {home, away})));
}

void DeskIdentityTest::aNetworkThatComesLateIsAMove()
{
    QVERIFY(hasMoved(at({loopback}, {loopback}), at({home, loopback}, {home})));
}

void DeskIdentityTest::aNetworkThatHasGoneIsNone()
{
    const DeskPlace before = at({home, loopback}, {home});
    QVERIFY(!hasMoved(before, at({loopback}, {loopback})));
    QVERIFY(!hasMoved(before, before)); // it is back
}

void DeskIdentityTest::anAddressThatNoPageCanBeOpenedByIsNone()
{
    QVERIFY(!hasMoved(at({home, loopback}, {home}), at({home, linkLocal, loopback}, {home})));
}

WINGBELL_APPLESS_TEST(DeskIdentityTest)
#include "DeskIdentityTest.moc"

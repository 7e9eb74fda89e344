#include "relay/link/PathTable.h"

#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

namespace {

DatagramPath pathOf(std::uint8_t lastByte, std::uint16_t port = 1000)
{
    DatagramPath path;
    path.peer.sin6_family = AF_INET6;
    path.peer.sin6_addr.s6_addr[15] = lastByte;
    path.peer.sin6_port = htons(port);
    return path;
}

} // namespace

class PathTableTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachPathLeadsToItsPeer();
    void aPathIsForgottenByItsOwnerOnly();
    void aFullTableTakesNoMore();
};

void PathTableTest::eachPathLeadsToItsPeer()
{
    PathTable table(100);
    for (std::uint8_t peer = 50; peer > 0; --peer) {
        QVERIFY(table.set(pathOf(peer), peer));
    }
    for (std::uint8_t peer = 1; peer <= 50; ++peer) {
        QCOMPARE(table.find(pathOf(peer)), std::optional<std::uint16_t>(peer));
    }
    QCOMPARE(table.find(pathOf(51)), std::nullopt);
    QCOMPARE(table.find(pathOf(1, 1001)), std::nullopt);
}

void PathTableTest::aPathIsForgottenByItsOwnerOnly()
{
    PathTable table(4);
    QVERIFY(table.set(pathOf(1), 1));
    QVERIFY(table.set(pathOf(1), 2));
    table.remove(pathOf(1), 1);
    QCOMPARE(table.find(pathOf(1)), std::optional<std::uint16_t>(2));
    table.remove(pathOf(1), 2);
    QCOMPARE(table.find(pathOf(1)), std::nullopt);
}

void PathTableTest::aFullTableTakesNoMore()
{
    PathTable table(2);
    QVERIFY(table.set(pathOf(1), 1));
    QVERIFY(table.set(pathOf(2), 2));
    QVERIFY(!table.set(pathOf(3), 3));
    QVERIFY(table.set(pathOf(2), 4));
}

WINGBELL_APPLESS_TEST(PathTableTest)
#include "PathTableTest.moc"

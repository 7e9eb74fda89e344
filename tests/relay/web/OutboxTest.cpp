#include "relay/web/Outbox.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

class OutboxTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everythingComesOutInOrderWhateverIsTaken_data();
    void everythingComesOutInOrderWhateverIsTaken();
    void nothingIsCopied();
    void nothingPushedIsNothing();
};

void OutboxTest::everythingComesOutInOrderWhateverIsTaken_data()
{
    QTest::addColumn<int>("most");
    for (const int most : {1, 2, 3, 5, 100}) {
        QTest::addRow("%d at once", most) << most;
    }
}

void OutboxTest::everythingComesOutInOrderWhateverIsTaken()
{
    QFETCH(int, most);
    Outbox outbox;
    outbox.push("abc");
    outbox.push("d");
    outbox.push("efghi");
    QByteArray all;
    while (!outbox.isEmpty()) {
        const QByteArrayView front = outbox.front(most);
        QVERIFY(!front.isEmpty());
        QVERIFY(front.size() <= most);
        all.append(front);
        outbox.drop(front.size());
    }
    QCOMPARE(all, QByteArray("abcdefghi"));
}

void OutboxTest::nothingIsCopied()
{
    const QByteArray page(100000, 'x');
    Outbox outbox;
    outbox.push(page);
    QCOMPARE(static_cast<const void*>(outbox.front(1).data()), page.constData());
}

void OutboxTest::nothingPushedIsNothing()
{
    Outbox outbox;
    outbox.push({});
    QVERIFY(outbox.isEmpty());
    QVERIFY(outbox.front(10).isEmpty());
}

WINGBELL_GUILESS_TEST(OutboxTest)
#include "OutboxTest.moc"

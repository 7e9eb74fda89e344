#include "relay/http/EventQueue.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

class EventQueueTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eventsComeInTheOrderOfTheirNames();
    void onlyTheNewestOfANameIsKept();
    void takingLeavesNothing();
    void linesOfDataStayLines_data();
    void linesOfDataStayLines();
};

void EventQueueTest::eventsComeInTheOrderOfTheirNames()
{
    EventQueue queue;
    queue.put("desk", "{}");
    queue.put("beat", "1");
    QCOMPARE(queue.take(), QByteArray("event: desk\ndata: {}\n\nevent: beat\ndata: 1\n\n"));
}

void EventQueueTest::onlyTheNewestOfANameIsKept()
{
    EventQueue queue;
    queue.put("desk", "1");
    queue.put("beat", "");
    queue.put("desk", "2");
    QCOMPARE(queue.take(), QByteArray("event: desk\ndata: 2\n\nevent: beat\ndata: \n\n"));
}

void EventQueueTest::takingLeavesNothing()
{
    EventQueue queue;
    QVERIFY(queue.isEmpty());
    queue.put("desk", "1");
    QVERIFY(!queue.isEmpty());
    (void)queue.take();
    QVERIFY(queue.isEmpty());
    QCOMPARE(queue.take(), QByteArray());
}

void EventQueueTest::linesOfDataStayLines_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("line feed") << QByteArray("a\nb") << QByteArray("data: a\ndata: b\n\n");
    QTest::newRow("both") << QByteArray("a\r\nb") << QByteArray("data: a\ndata: b\n\n");
    QTest::newRow("carriage return") << QByteArray("a\rb") << QByteArray("data: a\ndata: b\n\n");
    QTest::newRow("an event in it")
        << QByteArray("a\n\nevent: b") << QByteArray("data: a\ndata: \ndata: event: b\n\n");
}

void EventQueueTest::linesOfDataStayLines()
{
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, text);
    EventQueue queue;
    queue.put("desk", data);
    QCOMPARE(queue.take(), QByteArray("event: desk\n").append(text));
}

WINGBELL_GUILESS_TEST(EventQueueTest)
#include "EventQueueTest.moc"

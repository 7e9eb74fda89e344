#include "bus/BusConnection.h"
#include "tests/TestProgram.h"
#include "tests/bus/MockService.h"
#include "tests/bus/PrivateBus.h"

#include <QFile>
#include <QSignalSpy>
#include <QTest>

#include <optional>

namespace wingbell {

namespace {

using Bus = BusConnection::Bus;

constexpr std::chrono::milliseconds patient = std::chrono::hours(1);
constexpr std::chrono::milliseconds impatient = std::chrono::milliseconds(100);

BusCall showItems()
{
    return {
        .service = QStringLiteral("org.freedesktop.FileManager1"),
        .path = QStringLiteral("/org/freedesktop/FileManager1"),
        .interface = QStringLiteral("org.freedesktop.FileManager1"),
        .method = QStringLiteral("ShowItems"),
        .arguments =
            {QStringList{QStringLiteral("file:///a"), QStringLiteral("file:///b")}, QString()},
    };
}

QString shownItems()
{
    return QString::fromUtf8(
        R"(org.freedesktop.FileManager1.ShowItems(["file:///a", "file:///b"], ""))");
}

/// Takes the answer to one call.
class Answer
{
public:
    [[nodiscard]] BusConnection::Handler handler()
    {
        return [this](BusMessage& message) {
            ++m_count;
            m_isValid = message.isValid();
            m_isError = message.isError();
        };
    }
    [[nodiscard]] int count() const { return m_count; }
    [[nodiscard]] bool isRefusal() const { return m_isValid && m_isError; }
    [[nodiscard]] bool isMissing() const { return !m_isValid && m_isError; }
    [[nodiscard]] bool isGood() const { return m_isValid && !m_isError; }

private:
    int m_count = 0;
    bool m_isValid = false;
    bool m_isError = false;
};

} // namespace

class BusConnectionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_bus.emplace();
        QVERIFY(m_bus->isRunning());
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus->address());
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    }

    void cleanup() { m_bus.reset(); }

    void aCallMadeBeforeTheConnectionStandsIsAnswered()
    {
        MockService service(*m_bus, QStringLiteral("file-manager"));
        QVERIFY(service.isRunning());
        BusConnection connection(Bus::Session, patient);
        Answer answer;
        connection.call(showItems(), answer.handler());
        QCOMPARE(answer.count(), 0);
        QTRY_COMPARE(answer.count(), 1);
        QVERIFY(answer.isGood());
        QCOMPARE(service.finish(), QStringList{shownItems()});
    }

    void aCallToAMissingServiceIsRefused()
    {
        BusConnection connection(Bus::Session, patient);
        Answer answer;
        connection.call(showItems(), answer.handler());
        QTRY_COMPARE(answer.count(), 1);
        QVERIFY(answer.isRefusal());
    }

    void aServiceIsLaunchedOnlyForACallThatAllowsIt()
    {
        const QString mark = m_bus->directory() + QStringLiteral("/launched");
        QVERIFY(m_bus->addLaunchable(
            showItems().service, QStringLiteral("touch %1; exit 1").arg(mark)));
        BusConnection connection(Bus::Session, patient);
        Answer first;
        connection.call(showItems(), first.handler());
        QTRY_COMPARE(first.count(), 1);
        QVERIFY(first.isRefusal());
        QVERIFY(!QFile::exists(mark));

        BusCall launching = showItems();
        launching.mayStartService = true;
        Answer second;
        connection.call(launching, second.handler());
        QTRY_COMPARE(second.count(), 1); // refused: what was launched is no service
        QVERIFY(QFile::exists(mark));
    }

    void aCallThatIsNotAnsweredIsGivenUp()
    {
        MockService service(
            *m_bus, QStringLiteral("file-manager"),
            {QStringLiteral("--behaviour"), QStringLiteral("hang")});
        QVERIFY(service.isRunning());
        BusConnection connection(Bus::Session, impatient);
        QSignalSpy closed(&connection, &BusConnection::closed);
        Answer answer;
        connection.call(showItems(), answer.handler());
        QTRY_COMPARE(answer.count(), 1);
        QVERIFY(answer.isMissing());
        service.answer(); // too late
        QTRY_VERIFY(service.log().contains(QStringLiteral("answered")));
        Answer next; // comes after the late one
        connection.call(
            {.service = QStringLiteral("org.freedesktop.DBus"),
             .path = QStringLiteral("/org/freedesktop/DBus"),
             .interface = QStringLiteral("org.freedesktop.DBus"),
             .method = QStringLiteral("GetId"),
             .arguments = {}},
            next.handler());
        QTRY_COMPARE(next.count(), 1);
        QCOMPARE(answer.count(), 1);
        QCOMPARE(closed.count(), 0);
    }

    void aCallThatCannotBeSentIsAnsweredFromTheEventLoop()
    {
        BusConnection connection(Bus::Session, patient);
        BusCall call = showItems();
        call.path = QStringLiteral("no path");
        Answer answer;
        connection.call(call, answer.handler());
        QCOMPARE(answer.count(), 0);
        QTRY_COMPARE(answer.count(), 1);
        QVERIFY(answer.isMissing());
    }

    void anUnreachableBusAnswersEveryCallAndCloses()
    {
        BusConnection connection(Bus::System, patient);
        QSignalSpy closed(&connection, &BusConnection::closed);
        Answer first;
        Answer second;
        connection.call(showItems(), first.handler());
        connection.call(showItems(), second.handler());
        QCOMPARE(closed.count(), 0);
        QTRY_COMPARE(closed.count(), 1);
        QVERIFY(first.isMissing());
        QVERIFY(second.isMissing());
        QCOMPARE(first.count(), 1);
        QCOMPARE(second.count(), 1);
        Answer late;
        connection.call(showItems(), late.handler());
        QTRY_COMPARE(late.count(), 1);
        QVERIFY(late.isMissing());
        QCOMPARE(closed.count(), 1);
    }

    void aBusThatDiesAnswersEveryCallAndCloses()
    {
        MockService service(
            *m_bus, QStringLiteral("file-manager"),
            {QStringLiteral("--behaviour"), QStringLiteral("hang")});
        QVERIFY(service.isRunning());
        BusConnection connection(Bus::Session, patient);
        QSignalSpy closed(&connection, &BusConnection::closed);
        Answer first;
        Answer second;
        connection.call(showItems(), first.handler());
        connection.call(showItems(), second.handler());
        QTRY_COMPARE(service.log().count(shownItems()), 2);
        service.kill();
        m_bus->stop();
        QTRY_COMPARE(closed.count(), 1);
        QCOMPARE(first.count(), 1);
        QCOMPARE(second.count(), 1);
        QVERIFY(!first.isGood());
        QVERIFY(!second.isGood());
    }

    void anAnswerMayDestroyTheConnection_data()
    {
        QTest::addColumn<Bus>("bus");
        QTest::newRow("an answer") << Bus::Session;
        QTest::newRow("an answer that never came") << Bus::System;
    }

    void anAnswerMayDestroyTheConnection()
    {
        QFETCH(const Bus, bus);
        auto connection = std::make_unique<BusConnection>(bus, patient);
        int answers = 0;
        const auto destroy = [&](BusMessage&) {
            ++answers;
            connection.reset();
        };
        connection->call(showItems(), destroy);
        connection->call(showItems(), destroy);
        QTRY_VERIFY(!connection);
        QCOMPARE(answers, 1);
    }

    void closingMayDestroyTheConnection()
    {
        auto connection = std::make_unique<BusConnection>(Bus::System, patient);
        connect(connection.get(), &BusConnection::closed, this, [&] { connection.reset(); });
        QTRY_VERIFY(!connection);
    }

    void anAnswerMayRunAnEventLoopOfItsOwn()
    {
        BusConnection connection(Bus::Session, patient);
        Answer inner;
        bool done = false;
        connection.call(showItems(), [&](BusMessage&) {
            connection.call(showItems(), inner.handler());
            QTRY_COMPARE(inner.count(), 1);
            done = true;
        });
        QTRY_VERIFY(done);
    }

    void theOwnersOfAWatchedNameAreTold()
    {
        BusConnection connection(Bus::Session, patient);
        QStringList owners;
        connection.watchOwner(
            showItems().service, [&](const QString& owner) { owners.append(owner); });
        Answer answer; // by then the bus knows what to tell
        connection.call(showItems(), answer.handler());
        QTRY_COMPARE(answer.count(), 1);
        {
            MockService service(*m_bus, QStringLiteral("file-manager"));
            QTRY_COMPARE(owners.count(), 1);
            QVERIFY(owners.first().startsWith(u':'));
        }
        QTRY_COMPARE(owners.count(), 2);
        QCOMPARE(owners.last(), QString());
    }

private:
    std::optional<PrivateBus> m_bus;
};

WINGBELL_GUILESS_TEST(BusConnectionTest)

} // namespace wingbell

#include "BusConnectionTest.moc"

#include "server/BusConnection.h"
#include "server/DesktopSleepInhibitor.h"
#include "tests/server/PrivateBus.h"

#include <QProcess>
#include <QtTest>

#include <memory>

using namespace wingbell;

namespace {

constexpr int patience = 30'000; // milliseconds; what is waited for takes a few, unless busy

/// An object on a private bus made by dbusmock, a mock of another hand than ours.
class MockedObject
{
public:
    MockedObject(const PrivateBus& bus, QString name, QString path, QString interface)
        : m_name(std::move(name))
        , m_path(std::move(path))
        , m_interface(std::move(interface))
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(
            QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QString::fromLatin1(bus.address()));
        environment.insert(QStringLiteral("PYTHONUNBUFFERED"), QStringLiteral("1"));
        m_process.setProcessEnvironment(environment);
        dieWithTheTest(m_process);
        m_process.start(
            QStringLiteral("/usr/bin/python3"),
            {QStringLiteral("-m"), QStringLiteral("dbusmock"), QStringLiteral("--session"), m_name,
             m_path, m_interface});
    }
    Q_DISABLE_COPY_MOVE(MockedObject)
    ~MockedObject()
    {
        m_process.kill();
        m_process.waitForFinished();
    }

    /// Gives the object a method that runs `code`. False until the object is there.
    bool addMethod(const QString& name, const QString& in, const QString& out, const QString& code)
    {
        std::optional<bool> added;
        BusConnection bus(BusConnection::Bus::Session, std::chrono::seconds(5));
        bus.call(
            {.service = m_name,
             .path = m_path,
             .interface = QStringLiteral("org.freedesktop.DBus.Mock"),
             .method = QStringLiteral("AddMethod"),
             .arguments = {m_interface, name, in, out, code}},
            [&added](const BusMessage& answer) { added = !answer.isError(); });
        return QTest::qWaitFor([&added] { return added.has_value(); }, patience) && *added;
    }

    /// The calls of those methods so far, each as its name and arguments, without the time.
    QStringList calls()
    {
        m_output += m_process.readAllStandardOutput();
        QStringList calls;
        for (const QByteArray& line : m_output.split('\n')) {
            const qsizetype afterTime = line.indexOf(' ');
            const QString call = QString::fromUtf8(line.mid(afterTime + 1));
            if (call.startsWith(u"Inhibit "_qs) || call.startsWith(u"Un"_qs)) {
                calls.append(call);
            }
        }
        return calls;
    }

private:
    QString m_name;
    QString m_path;
    QString m_interface;
    QProcess m_process;
    QByteArray m_output;
};

} // namespace

class MockedDesktopTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_bus = std::make_unique<PrivateBus>();
        QVERIFY(m_bus->isRunning());
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus->address());
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    }
    void cleanup() { m_bus.reset(); }

    void theSessionManagerHoldsOffSuspendAlone()
    {
        MockedObject manager(
            *m_bus, u"org.gnome.SessionManager"_qs, u"/org/gnome/SessionManager"_qs,
            u"org.gnome.SessionManager"_qs);
        QTRY_VERIFY_WITH_TIMEOUT(
            manager.addMethod(u"Inhibit"_qs, u"susu"_qs, u"u"_qs, u"ret = 77"_qs), patience);
        QVERIFY(manager.addMethod(u"Uninhibit"_qs, u"u"_qs, {}, {}));

        DesktopSleepInhibitor inhibitor;
        const quint32 identifier = inhibitor.inhibit(u"Wingbell show is running"_qs);
        const QString taken = u"Inhibit \"WingbellControl\" 0 \"Wingbell show is running\" 4"_qs;
        QTRY_COMPARE_WITH_TIMEOUT(manager.calls(), QStringList{taken}, patience);
        inhibitor.release(identifier);
        QTRY_COMPARE_WITH_TIMEOUT(
            manager.calls(), (QStringList{taken, u"Uninhibit 77"_qs}), patience);
    }

    void thePowerManagerStandsInForTheSessionManager()
    {
        MockedObject manager(
            *m_bus, u"org.freedesktop.PowerManagement"_qs,
            u"/org/freedesktop/PowerManagement/Inhibit"_qs,
            u"org.freedesktop.PowerManagement.Inhibit"_qs);
        QTRY_VERIFY_WITH_TIMEOUT(
            manager.addMethod(u"Inhibit"_qs, u"ss"_qs, u"u"_qs, u"ret = 5"_qs), patience);
        QVERIFY(manager.addMethod(u"UnInhibit"_qs, u"u"_qs, {}, {}));

        DesktopSleepInhibitor inhibitor;
        const quint32 identifier = inhibitor.inhibit(u"Wingbell show is running"_qs);
        const QString taken = u"Inhibit \"WingbellControl\" \"Wingbell show is running\""_qs;
        QTRY_COMPARE_WITH_TIMEOUT(manager.calls(), QStringList{taken}, patience);
        inhibitor.release(identifier);
        QTRY_COMPARE_WITH_TIMEOUT(
            manager.calls(), (QStringList{taken, u"UnInhibit 5"_qs}), patience);
    }

private:
    std::unique_ptr<PrivateBus> m_bus;
};

QTEST_GUILESS_MAIN(MockedDesktopTest)
#include "MockedDesktopTest.moc"

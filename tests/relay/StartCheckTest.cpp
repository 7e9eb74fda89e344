#include "relay/StartCheck.h"
#include "relay/log/Messages.h"
#include "tests/TestProgram.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <map>
#include <memory>

using namespace wingbell;
using namespace std::chrono_literals;

namespace {

InterfaceAddress addressOf(const char* interface, const char* address)
{
    return {
        QString::fromLatin1(interface), QHostAddress(QString::fromLatin1(address)), true, false,
        true};
}

InterfaceAddress wireless(const char* interface)
{
    InterfaceAddress address = addressOf(interface, "192.168.1.7");
    address.wireless = true;
    return address;
}

const std::vector<NeededPort> neededPorts = {
    {QStringLiteral("tcp"), 47000}, {QStringLiteral("udp"), 47100}};
const QStringList bothPorts = {QStringLiteral("TCP port 47000"), QStringLiteral("UDP port 47100")};

} // namespace

using Addresses = std::vector<InterfaceAddress>;
using Values = std::map<QString, QByteArray>;

Q_DECLARE_METATYPE(Addresses)
Q_DECLARE_METATYPE(Values)
Q_DECLARE_METATYPE(ComputerState)
Q_DECLARE_METATYPE(std::string)

class StartCheckTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void whereAllIsWellNothingIsSaid();
    void eachProblemHasOneLine_data();
    void eachProblemHasOneLine();
    void aBatteryCountsWhileItIsDischarged_data();
    void aBatteryCountsWhileItIsDischarged();
    void severalBatteriesCountTogether();
    void addressesCountOfAdaptersThatAreUp_data();
    void addressesCountOfAdaptersThatAreUp();
    void aPortNeedsARuleOfUfw_data();
    void aPortNeedsARuleOfUfw();
    void ufwIsLeftAloneWhereItDropsNothingOrCannotBeRead_data();
    void ufwIsLeftAloneWhereItDropsNothingOrCannotBeRead();
    void powerSavingIsAskedOfEachWirelessInterfaceThatIsUp();
    void aWirelessInterfaceThatCannotBeAskedIsNoProblem_data();
    void aWirelessInterfaceThatCannotBeAskedIsNoProblem();
    void aLanguageWithoutAVoiceIsMissed_data();
    void aLanguageWithoutAVoiceIsMissed();
    void programsThatHangDelayNothingAndEnd();

private:
    [[nodiscard]] QString pathOf(const QString& name) const { return m_root->filePath(name); }
    void write(const QString& name, const QByteArray& content) const;
    /// A program that `script`, a shell's, stands for.
    [[nodiscard]] QString writeProgram(const QString& name, const QByteArray& script) const;
    void writeSupply(const QString& name, const std::map<QString, QByteArray>& values) const;
    [[nodiscard]] std::optional<int> percent() const
    {
        return dischargingPercent(pathOf(QStringLiteral("sys/class/power_supply")));
    }
    [[nodiscard]] ComputerState check(
        const std::string& voice, const QString& speech,
        std::vector<InterfaceAddress> addresses) const
    {
        return StartCheck({voice, speech.toStdString(), m_root->path(), 30s}, std::move(addresses))
            .finish(neededPorts);
    }

    std::unique_ptr<QTemporaryDir> m_root;
};

void StartCheckTest::init()
{
    m_root = std::make_unique<QTemporaryDir>();
    QVERIFY(m_root->isValid());
}

void StartCheckTest::write(const QString& name, const QByteArray& content) const
{
    const QString path = pathOf(name);
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
}

QString StartCheckTest::writeProgram(const QString& name, const QByteArray& script) const
{
    write(name, "#!/bin/sh\n" + script + "\n");
    QFile file(pathOf(name));
    return file.setPermissions(QFile::ReadOwner | QFile::ExeOwner) ? file.fileName() : QString();
}

void StartCheckTest::writeSupply(
    const QString& name, const std::map<QString, QByteArray>& values) const
{
    for (const auto& [key, value] : values) {
        write(QStringLiteral("sys/class/power_supply/%1/%2").arg(name, key), value + '\n');
    }
}

void StartCheckTest::whereAllIsWellNothingIsSaid()
{
    // As in a computer that tells nothing of itself.
    const ComputerState state = check("en", {}, {addressOf("eth0", "192.168.1.7")});
    QCOMPARE(startProblems(state), QStringList());
    ComputerState good;
    good.batteryPercent = 30;
    QCOMPARE(startProblems(good), QStringList());
}

void StartCheckTest::eachProblemHasOneLine_data()
{
    QTest::addColumn<ComputerState>("state");
    QTest::addColumn<QString>("line");
    const auto row = [](const char* name, Message message, const QStringList& arguments,
                        const auto& set) {
        ComputerState state;
        set(state);
        QTest::newRow(name) << state << messageText(message, arguments);
    };
    row("battery", Message::LowBattery, {QStringLiteral("29")},
        [](ComputerState& state) { state.batteryPercent = 29; });
    row("link-local", Message::OnlyLinkLocal, {},
        [](ComputerState& state) { state.hasOnlyLinkLocal = true; });
    row("ufw", Message::BlockedByUfw, {QStringLiteral("TCP port 47000 and UDP port 47100")},
        [](ComputerState& state) { state.portsWithoutUfwRule = bothPorts; });
    row("Wi-Fi", Message::WifiPowerSaving, {QStringLiteral("wlan0, wlan1")},
        [](ComputerState& state) {
            state.powerSavingWifi = QStringList{QStringLiteral("wlan0"), QStringLiteral("wlan1")};
        });
    row("voice", Message::NoVoice, {QStringLiteral("zu")},
        [](ComputerState& state) { state.missingVoice = QStringLiteral("zu"); });
}

void StartCheckTest::eachProblemHasOneLine()
{
    QFETCH(ComputerState, state);
    QFETCH(QString, line);
    QCOMPARE(startProblems(state), QStringList(line));
}

void StartCheckTest::aBatteryCountsWhileItIsDischarged_data()
{
    QTest::addColumn<Values>("changed");
    QTest::addColumn<int>("percent"); // -1: none
    const auto row = [](const char* name, const char* key, const char* value, int percent) {
        QTest::newRow(name) << Values{{QString::fromLatin1(key), value}} << percent;
    };
    row("discharging", "capacity", "29", 29);
    row("charging", "status", "Charging", -1);
    row("full", "status", "Full", -1);
    row("of a mouse", "scope", "Device", -1);
    row("not there", "present", "0", -1);
    row("without a capacity", "capacity", "", -1);
    row("no battery", "type", "UPS", -1);
}

void StartCheckTest::aBatteryCountsWhileItIsDischarged()
{
    QFETCH(Values, changed);
    QFETCH(int, percent);
    const std::optional<int> expected = percent < 0 ? std::nullopt : std::optional(percent);
    Values battery = {
        {QStringLiteral("type"), "Battery"},
        {QStringLiteral("status"), "Discharging"},
        {QStringLiteral("present"), "1"},
        {QStringLiteral("capacity"), "12"}};
    for (const auto& [key, value] : changed) {
        battery[key] = value;
    }
    writeSupply(QStringLiteral("BAT0"), battery);
    QCOMPARE(this->percent(), expected);
    writeSupply(
        QStringLiteral("AC"), {{QStringLiteral("type"), "Mains"}, {QStringLiteral("online"), "0"}});
    QCOMPARE(this->percent(), expected);
    writeSupply(QStringLiteral("AC"), {{QStringLiteral("online"), "1"}});
    QCOMPARE(this->percent(), std::optional<int>());
}

void StartCheckTest::severalBatteriesCountTogether()
{
    const auto battery = [](const char* status, const char* now) {
        return std::map<QString, QByteArray>{
            {QStringLiteral("type"), "Battery"},
            {QStringLiteral("status"), status},
            {QStringLiteral("energy_now"), now},
            {QStringLiteral("energy_full"), "40000000"}};
    };
    writeSupply(QStringLiteral("BAT0"), battery("Discharging", "4000000"));
    QCOMPARE(percent(), std::optional(10));
    writeSupply(QStringLiteral("BAT1"), battery("Unknown", "36000000"));
    QCOMPARE(percent(), std::optional(50));
}

void StartCheckTest::addressesCountOfAdaptersThatAreUp_data()
{
    QTest::addColumn<Addresses>("addresses");
    QTest::addColumn<bool>("isProblem");
    const InterfaceAddress made4 = addressOf("eth0", "169.254.7.8");
    const InterfaceAddress made6 = addressOf("eth0", "fe80::7");
    const InterfaceAddress given = addressOf("eth1", "10.0.0.7");
    InterfaceAddress loopback = addressOf("lo", "127.0.0.1");
    loopback.loopback = true;
    InterfaceAddress container = addressOf("docker0", "172.17.0.1");
    container.hasDevice = false;
    InterfaceAddress off = given;
    off.up = false;
    QTest::newRow("none") << Addresses{} << false;
    QTest::newRow("the loopback only") << Addresses{loopback} << false;
    QTest::newRow("link-local only") << Addresses{loopback, made4, made6} << true;
    QTest::newRow("and one of containers") << Addresses{made4, container} << true;
    QTest::newRow("and one that is off") << Addresses{made4, off} << true;
    QTest::newRow("and a given one") << Addresses{made4, made6, given} << false;
    QTest::newRow("IPv6, given") << Addresses{made6, addressOf("eth0", "fd00::7")} << false;
}

void StartCheckTest::addressesCountOfAdaptersThatAreUp()
{
    QFETCH(Addresses, addresses);
    QFETCH(bool, isProblem);
    QCOMPARE(check("en", {}, addresses).hasOnlyLinkLocal, isProblem);
}

void StartCheckTest::aPortNeedsARuleOfUfw_data()
{
    QTest::addColumn<QByteArray>("rules");
    QTest::addColumn<QStringList>("missing");
    const auto row = [](const char* name, const char* rules, const QStringList& missing) {
        QTest::newRow(name) << QByteArray(rules) << missing;
    };
    const QStringList tcp = bothPorts.mid(0, 1);
    const QStringList udp = bothPorts.mid(1);
    row("none", "*filter\n### RULES ###\n### END RULES ###\n", bothPorts);
    row("as the guide says",
        "### tuple ### allow tcp 47000 0.0.0.0/0 any 0.0.0.0/0 in\n"
        "### tuple ### allow udp 47000,47100:47109 0.0.0.0/0 any 0.0.0.0/0 in\n",
        {});
    row("both protocols", "### tuple ### allow any 47000 0.0.0.0/0 any 0.0.0.0/0 in\n", udp);
    row("one protocol", "### tuple ### allow udp 47000:47109 0.0.0.0/0 any 0.0.0.0/0 in\n", tcp);
    row("a network", "### tuple ### allow any any 0.0.0.0/0 any 192.168.1.0/24 in\n", {});
    row("an interface", "### tuple ### allow any any 0.0.0.0/0 any 0.0.0.0/0 in_eth0\n", {});
    row("a limited rate, and logged",
        "### tuple ### limit_log any 47000:47100 0.0.0.0/0 any 0.0.0.0/0 in comment=61\n", {});
    row("others",
        "### tuple ### allow tcp 22 0.0.0.0/0 any 0.0.0.0/0 in\n"
        "### tuple ### deny any any 0.0.0.0/0 any 0.0.0.0/0 in\n"
        "### tuple ### allow tcp 470 0.0.0.0/0 47000 0.0.0.0/0 in\n",
        bothPorts);
}

void StartCheckTest::aPortNeedsARuleOfUfw()
{
    QFETCH(QByteArray, rules);
    QFETCH(QStringList, missing);
    write(QStringLiteral("etc/ufw/ufw.conf"), "# on at the start\nENABLED=yes\nLOGLEVEL=low\n");
    write(QStringLiteral("etc/default/ufw"), "DEFAULT_INPUT_POLICY=\"DROP\"\n");
    write(QStringLiteral("etc/ufw/user.rules"), rules);
    QCOMPARE(check("en", {}, {}).portsWithoutUfwRule, missing);
}

void StartCheckTest::ufwIsLeftAloneWhereItDropsNothingOrCannotBeRead_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content"); // null: the file is missing
    QTest::newRow("disabled") << QStringLiteral("etc/ufw/ufw.conf")
                              << QByteArray("#ENABLED=yes\nENABLED=no\n");
    QTest::newRow("accepting") << QStringLiteral("etc/default/ufw")
                               << QByteArray("DEFAULT_INPUT_POLICY=\"ACCEPT\"\n");
    QTest::newRow("rules unreadable") << QStringLiteral("etc/ufw/user.rules") << QByteArray();
    QTest::newRow("not installed") << QStringLiteral("etc/ufw/ufw.conf") << QByteArray();
}

void StartCheckTest::ufwIsLeftAloneWhereItDropsNothingOrCannotBeRead()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, content);
    write(QStringLiteral("etc/ufw/ufw.conf"), "ENABLED=yes\n");
    write(QStringLiteral("etc/default/ufw"), "DEFAULT_INPUT_POLICY=\"DROP\"\n");
    write(QStringLiteral("etc/ufw/user.rules"), "*filter\n");
    QCOMPARE(check("en", {}, {}).portsWithoutUfwRule, bothPorts);
    if (content.isNull()) {
        QVERIFY(QFile::remove(pathOf(name)));
    } else {
        write(name, content);
    }
    QCOMPARE(check("en", {}, {}).portsWithoutUfwRule, QStringList());
}

void StartCheckTest::powerSavingIsAskedOfEachWirelessInterfaceThatIsUp()
{
    QVERIFY(!writeProgram(
                 QStringLiteral("usr/sbin/iw"),
                 "[ \"$1 $3 $4\" = 'dev get power_save' ] || exit 1\n"
                 "[ \"$2\" = wlan1 ] && echo 'Power save: off' || echo 'Power save: on'")
                 .isEmpty());
    InterfaceAddress off = wireless("wlan3");
    off.up = false;
    const auto addresses = {
        wireless("wlan0"),
        wireless("wlan0"),
        wireless("wlan1"),
        wireless("wlan2"),
        off,
        addressOf("eth0", "10.0.0.7")};
    QCOMPARE(
        check("en", {}, addresses).powerSavingWifi,
        (QStringList{QStringLiteral("wlan0"), QStringLiteral("wlan2")}));
}

void StartCheckTest::aWirelessInterfaceThatCannotBeAskedIsNoProblem_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::newRow("missing") << QByteArray();
    QTest::newRow("failing") << QByteArray("echo 'command failed: No such device (-19)'; exit 237");
    QTest::newRow("other words") << QByteArray("echo 'Power save: unknown'");
    QTest::newRow("killed") << QByteArray("kill -KILL $$");
}

void StartCheckTest::aWirelessInterfaceThatCannotBeAskedIsNoProblem()
{
    QFETCH(QByteArray, script);
    if (!script.isEmpty()) {
        QVERIFY(!writeProgram(QStringLiteral("usr/sbin/iw"), script).isEmpty());
    }
    QCOMPARE(check("en", {}, {wireless("wlan0")}).powerSavingWifi, QStringList());
}

void StartCheckTest::aLanguageWithoutAVoiceIsMissed_data()
{
    QTest::addColumn<std::string>("voice");
    QTest::addColumn<QString>("program");
    QTest::addColumn<bool>("isMissed");
    const QString espeak = QStringLiteral("/usr/bin/espeak-ng");
    QTest::newRow("German") << std::string("de") << espeak << false;
    QTest::newRow("Zulu") << std::string("zu") << espeak << true;
    QTest::newRow("no program") << std::string("zu") << QString() << false;
    QTest::newRow("not startable") << std::string("zu") << QStringLiteral("/nonexistent") << false;
}

void StartCheckTest::aLanguageWithoutAVoiceIsMissed()
{
    QFETCH(std::string, voice);
    QFETCH(QString, program);
    QFETCH(bool, isMissed);
    QCOMPARE(
        check(voice, program, {}).missingVoice,
        isMissed ? std::optional(QString::fromStdString(voice)) : std::nullopt);
}

void StartCheckTest::programsThatHangDelayNothingAndEnd()
{
    const QString hangs =
        writeProgram(QStringLiteral("usr/sbin/iw"), "echo $$ >>\"$0.processes\"; exec sleep 1000");
    const QString list = hangs + QStringLiteral(".processes");
    QStringList processes;
    {
        StartCheck check({"de", hangs.toStdString(), m_root->path(), 300ms}, {wireless("wlan0")});
        QTRY_VERIFY_WITH_TIMEOUT(
            (QFile(list).exists() &&
             [&] {
                 QFile file(list);
                 processes = file.open(QIODevice::ReadOnly)
                                 ? QString::fromLatin1(file.readAll()).split(QLatin1Char('\n'))
                                 : QStringList();
                 return processes.size() == 3; // the last is empty
             }()),
            30'000);
        const ComputerState state = check.finish(neededPorts);
        QCOMPARE(startProblems(state), QStringList());
    }
    for (const QString& process : processes.mid(0, 2)) {
        QVERIFY(!QFileInfo::exists(QStringLiteral("/proc/") + process));
    }
}

WINGBELL_GUILESS_TEST(StartCheckTest)
#include "StartCheckTest.moc"

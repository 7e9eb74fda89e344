#include "relay/StartCheck.h"

#include "base/RegularFile.h"
#include "relay/log/Messages.h"
#include "relay/speech/SpeechInput.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>

namespace wingbell {

namespace {

/// Below this a battery may not last the evening.
constexpr int lowPercent = 30;

/// The first line of a small file of the kernel's; empty if it cannot be read.
QString valueOf(const QDir& folder, const char* name)
{
    QFile file(folder.filePath(QString::fromLatin1(name)));
    constexpr qint64 maxSize = 4096;
    return file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.read(maxSize)).trimmed()
                                          : QString();
}

/// How much `battery` holds and how much it can hold, in any unit; the percentage where it tells no
/// more, and nullopt where it tells nothing.
std::optional<std::pair<double, double>> contentOf(const QDir& battery)
{
    for (const auto& [now, full] :
         {std::pair("energy_now", "energy_full"), std::pair("charge_now", "charge_full")}) {
        const double whole = valueOf(battery, full).toDouble();
        if (whole > 0) {
            return std::pair(valueOf(battery, now).toDouble(), whole);
        }
    }
    bool isNumber = false;
    const double percent = valueOf(battery, "capacity").toDouble(&isNumber);
    return isNumber ? std::optional(std::pair(percent, 100.0)) : std::nullopt;
}

/// The ports of a rule: "any", "47000", "47100:47109", or several with commas between them.
bool namesPort(const QString& ports, quint16 port)
{
    if (ports == QLatin1String("any")) {
        return true;
    }
    const QStringList parts = ports.split(QLatin1Char(','));
    return std::any_of(parts.begin(), parts.end(), [port](const QString& part) {
        const int first = part.section(QLatin1Char(':'), 0, 0).toInt();
        const int last = part.section(QLatin1Char(':'), -1).toInt();
        return first <= port && port <= last;
    });
}

/// Whether a rule of ufw's lets something in to `needed`. Such a rule stands in a comment:
/// "### tuple ### allow tcp 47000 0.0.0.0/0 any 192.168.1.0/24 in".
bool allows(const QString& line, const NeededPort& needed)
{
    static const QRegularExpression tuple(
        QStringLiteral(R"(^### tuple ### (allow|limit)\S* (\S+) (\S+) )"));
    const QRegularExpressionMatch match = tuple.match(line);
    return match.hasMatch() &&
           (match.captured(2) == QLatin1String("any") || match.captured(2) == needed.protocol) &&
           namesPort(match.captured(3), needed.port);
}

/// The text of a file that this user may read.
std::optional<QString> textOf(const QString& path)
{
    constexpr qsizetype maxSize = 1 << 20;
    const auto bytes = readRegularFile(path, maxSize);
    return bytes ? std::optional(QString::fromUtf8(*bytes)) : std::nullopt;
}

bool hasLine(const QString& text, const QString& pattern)
{
    return QRegularExpression(
               pattern,
               QRegularExpression::MultilineOption | QRegularExpression::CaseInsensitiveOption)
        .match(text)
        .hasMatch();
}

} // namespace

QStringList startProblems(const ComputerState& state)
{
    QStringList lines;
    if (state.batteryPercent && *state.batteryPercent < lowPercent) {
        lines.append(messageText(Message::LowBattery, {QString::number(*state.batteryPercent)}));
    }
    if (state.hasOnlyLinkLocal) {
        lines.append(messageText(Message::OnlyLinkLocal));
    }
    if (!state.portsWithoutUfwRule.isEmpty()) {
        lines.append(messageText(
            Message::BlockedByUfw, {state.portsWithoutUfwRule.join(QStringLiteral(" and "))}));
    }
    if (!state.powerSavingWifi.isEmpty()) {
        lines.append(messageText(
            Message::WifiPowerSaving, {state.powerSavingWifi.join(QStringLiteral(", "))}));
    }
    if (state.missingVoice) {
        lines.append(messageText(Message::NoVoice, {*state.missingVoice}));
    }
    return lines;
}

std::optional<int> dischargingPercent(const QString& powerSupplies)
{
    bool isDischarging = false;
    double held = 0;
    double whole = 0;
    const QDir all(powerSupplies);
    for (const QString& name : all.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QDir supply(all.filePath(name));
        const QString type = valueOf(supply, "type");
        const bool isOfDevice = valueOf(supply, "scope") == QLatin1String("Device");
        if (type != QLatin1String("Battery")) {
            if (!isOfDevice && valueOf(supply, "online") == QLatin1String("1")) {
                return std::nullopt;
            }
            continue;
        }
        const auto content = contentOf(supply);
        if (isOfDevice || valueOf(supply, "present") == QLatin1String("0") || !content) {
            continue;
        }
        isDischarging = isDischarging || valueOf(supply, "status") == QLatin1String("Discharging");
        held += content->first;
        whole += content->second;
    }
    if (!isDischarging || whole <= 0) {
        return std::nullopt;
    }
    return static_cast<int>(100 * held / whole);
}

bool hasOnlyLinkLocal(const std::vector<InterfaceAddress>& addresses)
{
    bool hasAny = false;
    for (const InterfaceAddress& found : addresses) {
        if (!found.up || found.loopback || !found.hasDevice) {
            continue;
        }
        if (!found.address.isLinkLocal()) {
            return false;
        }
        hasAny = true;
    }
    return hasAny;
}

QStringList portsWithoutUfwRule(const QString& root, const std::vector<NeededPort>& needed)
{
    const auto state = textOf(root + QStringLiteral("/etc/ufw/ufw.conf"));
    const auto defaults = textOf(root + QStringLiteral("/etc/default/ufw"));
    const auto rules = textOf(root + QStringLiteral("/etc/ufw/user.rules"));
    if (!state || !defaults || !rules ||
        !hasLine(*state, QStringLiteral(R"re(^\s*ENABLED="?yes"?\s*$)re")) ||
        !hasLine(
            *defaults, QStringLiteral(R"re(^\s*DEFAULT_INPUT_POLICY="?(DROP|REJECT)"?\s*$)re"))) {
        return {};
    }
    QStringList missing;
    const QStringList lines = rules->split(QLatin1Char('\n'));
    for (const NeededPort& port : needed) {
        const bool isAllowed =
            std::any_of(lines.begin(), lines.end(), [&port](const QString& line) {
                return allows(line, port);
            });
        if (!isAllowed) {
            missing.append(
                QStringLiteral("%1 port %2").arg(port.protocol.toUpper()).arg(port.port));
        }
    }
    return missing;
}

StartCheck::StartCheck(const Settings& settings, std::vector<InterfaceAddress> addresses)
    : m_root(settings.root)
    , m_addresses(std::move(addresses))
    , m_deadline(Clock::now() + settings.timeout)
    , m_voice(QString::fromStdString(settings.voice))
{
    if (settings.voice != englishVoice && !settings.speechProgram.empty()) {
        m_speech =
            run(QString::fromStdString(settings.speechProgram),
                {QStringLiteral("-q"), QStringLiteral("-v"), m_voice, QString()});
    }
    const QString iw = m_root + QStringLiteral("/usr/sbin/iw");
    if (!QFileInfo(iw).isExecutable()) {
        return;
    }
    QStringList wireless;
    for (const InterfaceAddress& found : m_addresses) {
        if (found.up && found.wireless && !wireless.contains(found.interface)) {
            wireless.append(found.interface);
            m_wifi.emplace_back(
                found.interface, run(iw, {QStringLiteral("dev"), found.interface,
                                          QStringLiteral("get"), QStringLiteral("power_save")}));
        }
    }
}

StartCheck::~StartCheck()
{
    const auto end = [](const Program& program) {
        if (program && program->state() != QProcess::NotRunning) {
            program->kill();
            program->waitForFinished();
        }
    };
    end(m_speech);
    for (const auto& [interface, program] : m_wifi) {
        end(program);
    }
}

ComputerState StartCheck::finish(const std::vector<NeededPort>& needed)
{
    ComputerState state;
    state.batteryPercent = dischargingPercent(m_root + QStringLiteral("/sys/class/power_supply"));
    state.hasOnlyLinkLocal = wingbell::hasOnlyLinkLocal(m_addresses);
    state.portsWithoutUfwRule = wingbell::portsWithoutUfwRule(m_root, needed);
    for (const auto& [interface, program] : m_wifi) {
        if (hasEnded(*program) &&
            program->readAllStandardOutput().simplified() == "Power save: on") {
            state.powerSavingWifi.append(interface);
        }
    }
    // This is how it says that it has no such voice; the synthesizer then speaks English.
    constexpr int noSuchVoice = 1;
    if (m_speech && hasEnded(*m_speech) && m_speech->exitCode() == noSuchVoice) {
        state.missingVoice = m_voice;
    }
    return state;
}

StartCheck::Program StartCheck::run(const QString& program, const QStringList& arguments) const
{
    auto started = std::make_unique<QProcess>();
    started->setStandardInputFile(QProcess::nullDevice());
    started->setStandardErrorFile(QProcess::nullDevice());
    started->start(program, arguments);
    return started;
}

/// By itself, before the deadline.
bool StartCheck::hasEnded(QProcess& program) const
{
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(m_deadline - Clock::now()).count();
    if (program.state() != QProcess::NotRunning &&
        !program.waitForFinished(static_cast<int>(std::max<qint64>(left, 0)))) {
        return false;
    }
    return program.error() != QProcess::FailedToStart &&
           program.exitStatus() == QProcess::NormalExit;
}

} // namespace wingbell

#pragma once

#include "relay/net/NetworkAddresses.h"

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace wingbell {

/// What can go wrong tonight because of this computer, as far as it can be told. What cannot be
/// told counts as good: a false alarm makes people overlook the next one.
struct ComputerState
{
    std::optional<int> batteryPercent; ///< while it runs on its batteries: how full they are
    bool hasOnlyLinkLocal = false;     ///< its adapters have addresses, and all of them link-local
    QStringList powerSavingWifi;       ///< interfaces
    QStringList portsWithoutUfwRule;   ///< for a person: "TCP port 47000"; empty without ufw
    std::optional<QString> missingVoice; ///< the language for which there is none
};

/// One line for each problem; none if all is well.
[[nodiscard]] QStringList startProblems(const ComputerState& state);

/// How full the batteries are all together, in percent, if one of them is being discharged; nullopt
/// on mains power and where it cannot be told. Batteries of mice and keyboards do not count.
/// `powerSupplies` is /sys/class/power_supply.
[[nodiscard]] std::optional<int> dischargingPercent(const QString& powerSupplies);

[[nodiscard]] bool hasOnlyLinkLocal(const std::vector<InterfaceAddress>& addresses);

/// A port that the crew's phones have to reach.
struct NeededPort
{
    QString protocol; ///< "tcp" or "udp"
    quint16 port = 0;
};

/// Those of `needed` that no rule of ufw allows, if it is enabled and drops the others by default,
/// and if this user may read its rules. `root` is the root of the file system.
[[nodiscard]] QStringList
portsWithoutUfwRule(const QString& root, const std::vector<NeededPort>& needed);

/// Looks at this computer. The programs that it asks run from its making on, beside the start of
/// the server.
///
/// To be made and finished before the confinement. Not thread-safe.
class StartCheck
{
public:
    struct Settings
    {
        std::string voice;                      ///< the language to speak
        std::string speechProgram;              ///< the path of espeak-ng; empty if there is none
        QString root;                           ///< of the file system, without a slash at its end
        std::chrono::milliseconds timeout{300}; ///< for the programs, since the making
    };

    StartCheck(const Settings& settings, std::vector<InterfaceAddress> addresses);
    Q_DISABLE_COPY_MOVE(StartCheck)
    /// Kills what is still running.
    ~StartCheck();

    /// Waits for the programs until the timeout.
    [[nodiscard]] ComputerState finish(const std::vector<NeededPort>& needed);

private:
    using Clock = std::chrono::steady_clock;
    using Program = std::unique_ptr<QProcess>;

    [[nodiscard]] Program run(const QString& program, const QStringList& arguments) const;
    [[nodiscard]] bool hasEnded(QProcess& program) const;

    QString m_root;
    std::vector<InterfaceAddress> m_addresses;
    Clock::time_point m_deadline;
    QString m_voice;
    Program m_speech; ///< nullptr: nothing to find out
    std::vector<std::pair<QString, Program>> m_wifi;
};

} // namespace wingbell

#include "relay/net/PortHolder.h"

#include <QProcess>
#include <QRegularExpression>
#include <QStringList>

namespace wingbell {

namespace {

std::optional<PortHolder> holderOf(const QString& options, quint16 port)
{
    constexpr int timeoutMs = 1000;
    constexpr qint64 maxOutput = 4096;
    QProcess ss;
    ss.setStandardInputFile(QProcess::nullDevice());
    ss.setStandardErrorFile(QProcess::nullDevice());
    ss.start(QStringLiteral("ss"), {options, QStringLiteral("sport = :%1").arg(port)});
    if (!ss.waitForFinished(timeoutMs)) {
        ss.kill();
        ss.waitForFinished();
        return std::nullopt;
    }
    return firstHolder(ss.read(maxOutput));
}

} // namespace

std::optional<PortHolder> firstHolder(QByteArrayView sockets)
{
    static const QRegularExpression user(QStringLiteral(R"re(users:\(\("(.*?)",pid=(\d+),)re"));
    const QRegularExpressionMatch match = user.match(QString::fromUtf8(sockets));
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    return PortHolder{match.captured(1), match.captured(2).toLongLong()};
}

std::optional<PortHolder> udpPortHolder(quint16 port)
{
    return holderOf(QStringLiteral("-Haunp"), port);
}

std::optional<PortHolder> tcpPortHolder(quint16 port)
{
    return holderOf(QStringLiteral("-Hltnp"), port);
}

} // namespace wingbell

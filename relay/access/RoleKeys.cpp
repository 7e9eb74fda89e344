#include "relay/access/RoleKeys.h"

#include <QByteArray>
#include <QCryptographicHash>

namespace wingbell {

namespace {

/// `occurrence` counts from 0 on.
QString keyFor(const QByteArray& name, int occurrence)
{
    constexpr char alphabet[] = "abcdefghijklmnopqrstuvwxyz234567";
    constexpr qsizetype length = 8;
    constexpr int bitsEach = 5;
    constexpr unsigned mask = (1U << bitsEach) - 1;
    // No name holds a line feed and a number, or it only gets another key than it might have.
    const QByteArray named = occurrence == 0 ? name : name + '\n' + QByteArray::number(occurrence);
    const QByteArray hash = QCryptographicHash::hash(named, QCryptographicHash::Sha256);
    quint64 bits = 0;
    for (qsizetype byte = 0; byte < length * bitsEach / 8; ++byte) {
        bits = bits << 8 | static_cast<quint8>(hash.at(byte));
    }
    QString key;
    for (qsizetype at = length - 1; at >= 0; --at) {
        key += QLatin1Char(alphabet[bits >> (bitsEach * at) & mask]);
    }
    return key;
}

} // namespace

RoleKeys::RoleKeys(const QStringList& names)
{
    QHash<QByteArray, int> occurrences;
    for (const QString& name : names) {
        const QByteArray utf8 = name.toUtf8();
        QString key;
        do {
            key = keyFor(utf8, occurrences[utf8]++);
        } while (m_roles.contains(key));
        m_roles.insert(key, m_keys.size());
        m_keys.append(key);
    }
}

std::optional<qsizetype> RoleKeys::roleOf(const QString& key) const
{
    const auto role = m_roles.constFind(key);
    return role == m_roles.constEnd() ? std::nullopt : std::optional(role.value());
}

} // namespace wingbell

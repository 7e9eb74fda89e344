#include "relay/access/CardKeys.h"

#include "relay/access/StateDirectory.h"

#include <QRandomGenerator>

#include <array>
#include <new>
#include <openssl/crypto.h>
#include <openssl/hmac.h>

namespace wingbell {

namespace {

constexpr qsizetype secretBytes = 32;
constexpr qsizetype keyBytes = 16;

/// OpenSSL's takes half as long as Qt's, and anyone may ask for this.
QByteArray hmac(const QByteArray& secret, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest = {};
    unsigned size = 0;
    if (HMAC(
            EVP_sha256(), secret.constData(), static_cast<int>(secret.size()),
            reinterpret_cast<const unsigned char*>(bytes.constData()),
            static_cast<std::size_t>(bytes.size()), digest.data(), &size) == nullptr) {
        throw std::bad_alloc(); // nothing else can be wrong
    }
    return QByteArray(reinterpret_cast<const char*>(digest.data()), static_cast<qsizetype>(size));
}

QByteArray randomSecret()
{
    std::array<quint32, secretBytes / sizeof(quint32)> random = {};
    QRandomGenerator::system()->generate(random.begin(), random.end());
    return QByteArray(reinterpret_cast<const char*>(random.data()), sizeof random);
}

QString keyOf(const QByteArray& digest)
{
    return QString::fromLatin1(digest.first(keyBytes).toBase64(
        QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

bool isEqual(QStringView given, const QString& key)
{
    return given.size() == key.size() &&
           CRYPTO_memcmp(
               given.utf16(), key.utf16(),
               static_cast<std::size_t>(key.size()) * sizeof(char16_t)) == 0;
}

} // namespace

CardKeys::CardKeys(const QByteArray& secret, const QString& show)
    : m_showSecret(hmac(secret, show))
    , m_deskKey(keyOf(hmac(secret, QStringLiteral("key of the desk's own page"))))
    , m_doorKey(keyFor({}))
{
}

QString CardKeys::keyFor(const QString& role) const
{
    return keyOf(hmac(m_showSecret, role));
}

bool CardKeys::isDeskKey(QStringView given) const
{
    return isEqual(given, m_deskKey);
}

bool CardKeys::matches(QStringView given, const QString& role) const
{
    return isEqual(given, m_doorKey) || isEqual(given, keyFor(role));
}

StoredCardSecret loadOrCreateCardSecret(const StateDirectory& folder)
{
    const QString file = QStringLiteral("card-secret");
    const auto stored = folder.read(file);
    if (stored) {
        const QByteArray text = stored->trimmed();
        const QByteArray secret = QByteArray::fromHex(text);
        if (secret.size() == secretBytes && secret.toHex() == text) {
            return {secret, {}, {}};
        }
    }
    const QString because =
        stored
            ? QStringLiteral("the file holds no secret")
            : (stored.error().kind == FileError::Kind::Missing ? QString() : stored.error().reason);
    const QByteArray secret = randomSecret();
    const QByteArray line = secret.toHex() + '\n';
    const auto written = folder.write(file, line);
    return {secret, because, written ? QString() : written.error().reason};
}

} // namespace wingbell

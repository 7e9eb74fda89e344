#include "relay/access/Certificate.h"
#include "relay/access/StateDirectory.h"
#include "tests/TestProgram.h"

#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

constexpr CertificateTime now{1'700'000'000s};

struct Files
{
    QByteArray key;
    QByteArray certificate;
};

/// A certificate for these names, in the words of OpenSSL's configuration.
Files files(const QByteArray& names, KeyHandle key = newKey(), CertificateTime from = now - 24h)
{
    const X509Handle made = signedCertificate(
        {"theatre", from, from + std::chrono::days(90), {{NID_subject_alt_name, names}}}, *key,
        nullptr, *key);
    const QByteArray pem = pemText(*key, *made).value();
    const qsizetype begin = pem.indexOf("-----BEGIN CERTIFICATE");
    return {pem.first(begin), pem.sliced(begin)};
}

const CertificateNames machine = {
    {QHostAddress(QStringLiteral("192.168.1.5"))},
    {QStringLiteral("desk"), QStringLiteral("desk.local")}};

} // namespace

class TheatreCertificateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void withoutFilesThereIsNone();
    void aCertificateIsUsedUnderItsNames_data();
    void aCertificateIsUsedUnderItsNames();
    void itsChainIsServedToo();
    void whatDoesNotFitIsTold_data();
    void whatDoesNotFitIsTold();
    void aKeyThatOthersCanReadIsRefused();
    void oneFileAloneIsTold();
    void aKeyWithAPassphraseIsTold();

private:
    [[nodiscard]] StateDirectory folder() const
    {
        return StateDirectory(m_place->filePath(QStringLiteral("wingbell")));
    }
    void put(const Files& files) const
    {
        QVERIFY(folder().write(QStringLiteral("theatre-key.pem"), files.key));
        QVERIFY(folder().write(QStringLiteral("theatre-certificate.pem"), files.certificate));
    }
    [[nodiscard]] auto loaded() const { return loadTheatreCertificate(folder(), machine, now); }
    [[nodiscard]] QString error() const
    {
        const auto outcome = loaded();
        return outcome ? QString() : outcome.error();
    }

    std::unique_ptr<QTemporaryDir> m_place;
};

void TheatreCertificateTest::init()
{
    m_place = std::make_unique<QTemporaryDir>();
    QVERIFY(m_place->isValid());
}

void TheatreCertificateTest::withoutFilesThereIsNone()
{
    QVERIFY(loaded().has_value() && !loaded().value());
}

void TheatreCertificateTest::aCertificateIsUsedUnderItsNames_data()
{
    QTest::addColumn<QByteArray>("names");
    QTest::addColumn<bool>("isRsa");
    QTest::addColumn<QStringList>("hosts");
    const QStringList own(QStringLiteral("intercom.example.org"));
    QTest::newRow("name") << QByteArray("DNS:Intercom.example.org") << false << own;
    QTest::newRow("RSA") << QByteArray("DNS:intercom.example.org") << true << own;
    QTest::newRow("wildcard") << QByteArray("DNS:*.example.org") << false
                              << QStringList(QStringLiteral("desk.example.org"));
    QTest::newRow("address") << QByteArray("IP:192.168.1.5") << false << QStringList();
}

void TheatreCertificateTest::aCertificateIsUsedUnderItsNames()
{
    QFETCH(const QByteArray, names);
    QFETCH(const bool, isRsa);
    QFETCH(const QStringList, hosts);
    const Files made = files(names, isRsa ? KeyHandle(EVP_RSA_gen(2048)) : newKey());
    put(made);
    QCOMPARE(error(), QString());
    const TheatreCertificate certificate = loaded().value().value();
    QCOMPARE(certificate.hostNames, hosts);
    QVERIFY(certificate.pem.contains(made.key) && certificate.pem.contains(made.certificate));
    QCOMPARE(certificate.fingerprint, fingerprintOf(derOf(*certificateIn(made.certificate))));
    QVERIFY(certificate.validUntil == now + std::chrono::days(89));
}

void TheatreCertificateTest::itsChainIsServedToo()
{
    Files made = files("DNS:intercom.example.org");
    const QByteArray issuer = files("DNS:issuer").certificate;
    made.certificate += issuer;
    put(made);
    QVERIFY(loaded().value()->pem.endsWith(issuer));
}

void TheatreCertificateTest::whatDoesNotFitIsTold_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QByteArray>("certificate");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const Files& made, const char* reason) {
        QTest::newRow(name) << made.key << made.certificate << QString::fromLatin1(reason);
    };
    const Files good = files("DNS:intercom.example.org");
    row("another key", {files("DNS:a").key, good.certificate}, "belongs to another certificate");
    row("no key", {"nothing", good.certificate}, "theatre-key.pem holds no private key");
    row("no certificate", {good.key, "nothing"}, "theatre-certificate.pem holds no certificate");
    row("over", files("DNS:a", newKey(), now - std::chrono::days(90)), "it has expired");
    row("not yet", files("DNS:a", newKey(), now + 1h), "not valid yet");
    row("of another computer", files("IP:192.168.1.6"), "names no host and no address");
}

void TheatreCertificateTest::whatDoesNotFitIsTold()
{
    QFETCH(const QByteArray, key);
    QFETCH(const QByteArray, certificate);
    QFETCH(const QString, reason);
    put({key, certificate});
    QVERIFY2(error().contains(reason), qPrintable(error()));
}

void TheatreCertificateTest::aKeyThatOthersCanReadIsRefused()
{
    put(files("DNS:intercom.example.org"));
    const QString path = folder().path() + QStringLiteral("/theatre-key.pem");
    QCOMPARE(::chmod(path.toLocal8Bit().constData(), 0644), 0);
    QCOMPARE(error(), path + QStringLiteral(": other users could read it"));
}

void TheatreCertificateTest::oneFileAloneIsTold()
{
    QVERIFY(folder().write(
        QStringLiteral("theatre-certificate.pem"), files("DNS:intercom.example.org").certificate));
    QVERIFY2(error().contains(QStringLiteral("theatre-key.pem: ")), qPrintable(error()));
}

void TheatreCertificateTest::aKeyWithAPassphraseIsTold()
{
    const KeyHandle key = newKey();
    BIO* target = ::BIO_new(::BIO_s_mem());
    QCOMPARE(
        ::PEM_write_bio_PrivateKey(
            target, key.get(), ::EVP_aes_128_cbc(), reinterpret_cast<const unsigned char*>("word"),
            4, nullptr, nullptr),
        1);
    char* bytes = nullptr;
    const long size = ::BIO_get_mem_data(target, &bytes);
    const QByteArray locked(bytes, size);
    ::BIO_free(target);
    put({locked, files("DNS:intercom.example.org").certificate});
    QVERIFY2(error().contains(QStringLiteral("without a passphrase")), qPrintable(error()));
}

WINGBELL_APPLESS_TEST(TheatreCertificateTest)
#include "TheatreCertificateTest.moc"

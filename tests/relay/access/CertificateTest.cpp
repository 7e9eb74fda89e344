#include "relay/access/CertificateAuthority.h"
#include "tests/TestProgram.h"

#include <QCryptographicHash>
#include <QSet>
#include <QSslCertificate>
#include <QTest>

#include <memory>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

struct FreeCertificate
{
    void operator()(X509* certificate) const { ::X509_free(certificate); }
};
using Handle = std::unique_ptr<X509, FreeCertificate>;

/// In 2023.
constexpr Certificate::Time now{1'700'000'000s};

QHostAddress ip(const char* text)
{
    return QHostAddress(QString::fromLatin1(text));
}

CertificateNames names()
{
    return {
        {ip("192.168.1.5"), ip("fd00::5"), ip("fe80::5")},
        {QStringLiteral("desk"), QStringLiteral("desk.local")}};
}

const CertificateAuthority& authority()
{
    static const auto made = CertificateAuthority::make(names().hostNames, now).value();
    return made;
}

std::optional<Certificate> issued(const CertificateNames& names, Certificate::Time time)
{
    return authority().issue(names, time);
}

Handle opened(const QByteArray& pem)
{
    BIO* source = ::BIO_new_mem_buf(pem.constData(), static_cast<int>(pem.size()));
    Handle certificate(::PEM_read_bio_X509(source, nullptr, nullptr, nullptr));
    ::BIO_free(source);
    return certificate;
}

Handle made()
{
    return opened(issued(names(), now).value().pem());
}

QByteArray section(const QByteArray& pem, const QByteArray& kind)
{
    const QByteArray begin = "-----BEGIN " + kind + "-----\n";
    const QByteArray end = "-----END " + kind + "-----\n";
    const qsizetype from = pem.indexOf(begin);
    return from < 0 ? QByteArray() : pem.mid(from, pem.indexOf(end) + end.size() - from);
}

} // namespace

class CertificateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itStandsBehindEveryAddressAndName();
    void itStandsBehindNothingElse();
    void itServesAndSignsNoOther();
    void itIsGoodFromADayBackAndBelowTheLimit();
    void itSaysWhoseItIs();
    void keyAndNumberAreNewEachTime();
    void itsFingerprintIsItsDigest();
    void itIsReadBackAsItWas();
    void textAroundItDoesNotMatter();
    void anythingElseIsNoCertificate_data();
    void anythingElseIsNoCertificate();
    void aChangedByteIsSeen();
    void aKeyOfAnotherCertificateIsRefused();
    void aKeyWithAPassphraseIsNotAskedFor();
    void coveringIsAboutAllThatIsAsked();
    void whatNoCertificateCanNameIsLeftOut();
    void namesBeyondTheBoundAreLeftOut();
    void noErrorIsLeftForOthers();
};

void CertificateTest::itStandsBehindEveryAddressAndName()
{
    const Handle certificate = made();
    for (const char* address : {"192.168.1.5", "fd00::5", "fe80::5", "127.0.0.1", "::1"}) {
        QVERIFY2(::X509_check_ip_asc(certificate.get(), address, 0) == 1, address);
    }
    for (const char* name : {"desk", "desk.local", "localhost", "DESK.local"}) {
        QVERIFY2(::X509_check_host(certificate.get(), name, 0, 0, nullptr) == 1, name);
    }
}

void CertificateTest::itStandsBehindNothingElse()
{
    const Handle certificate = made();
    for (const char* address : {"192.168.1.6", "fd00::6", "127.0.0.2"}) {
        QVERIFY2(::X509_check_ip_asc(certificate.get(), address, 0) == 0, address);
    }
    for (const char* name : {"desk.org", "x.desk.local", "WingbellControl desk"}) {
        QVERIFY2(::X509_check_host(certificate.get(), name, 0, 0, nullptr) == 0, name);
    }
}

void CertificateTest::itServesAndSignsNoOther()
{
    const Handle certificate = made();
    QCOMPARE(::X509_get_version(certificate.get()), long{X509_VERSION_3});
    QCOMPARE(::X509_check_ca(certificate.get()), 0);
    QCOMPARE(::X509_get_extended_key_usage(certificate.get()), unsigned{XKU_SSL_SERVER});
    QCOMPARE(::X509_get_key_usage(certificate.get()), unsigned{KU_DIGITAL_SIGNATURE});
    QCOMPARE(::X509_check_purpose(certificate.get(), X509_PURPOSE_SSL_SERVER, 0), 1);
    QCOMPARE(::X509_self_signed(certificate.get(), 1), 0);
}

void CertificateTest::itIsGoodFromADayBackAndBelowTheLimit()
{
    const auto certificate = issued(names(), now);
    QVERIFY(certificate->validFrom() == now - 24h);
    QVERIFY(certificate->validUntil() - certificate->validFrom() <= std::chrono::days(398));
    QVERIFY(certificate->validUntil() - now > std::chrono::days(365));
    const Handle handle = opened(certificate->pem());
    int days = 0;
    int seconds = 0;
    QCOMPARE(
        ::ASN1_TIME_diff(
            &days, &seconds, ::X509_get0_notBefore(handle.get()),
            ::X509_get0_notAfter(handle.get())),
        1);
    QVERIFY2(days > 365 && days <= 398, qPrintable(QString::number(days)));
}

void CertificateTest::itSaysWhoseItIs()
{
    const QByteArray pem = issued(names(), now)->pem();
    const QSslCertificate certificate(section(pem, "CERTIFICATE"));
    QCOMPARE(
        certificate.subjectInfo(QSslCertificate::CommonName),
        QStringList(QStringLiteral("WingbellControl desk")));
    const QString issuer = certificate.issuerInfo(QSslCertificate::CommonName).value(0);
    QVERIFY2(issuer.startsWith(QStringLiteral("Wingbell desk authority ")), qPrintable(issuer));
}

void CertificateTest::keyAndNumberAreNewEachTime()
{
    QSet<QByteArray> keys;
    QSet<QByteArray> numbers;
    for (int round = 0; round < 20; ++round) {
        const QByteArray pem = issued(names(), now)->pem();
        keys.insert(section(pem, "PRIVATE KEY"));
        const QSslCertificate certificate(section(pem, "CERTIFICATE"));
        numbers.insert(certificate.serialNumber());
        QVERIFY(!certificate.serialNumber().startsWith('-'));
    }
    QCOMPARE(keys.size(), qsizetype{20});
    QCOMPARE(numbers.size(), qsizetype{20});
}

void CertificateTest::itsFingerprintIsItsDigest()
{
    const auto certificate = issued(names(), now);
    const QSslCertificate same(section(certificate->pem(), "CERTIFICATE"));
    QCOMPARE(
        certificate->fingerprint(),
        QString::fromLatin1(same.digest(QCryptographicHash::Sha256).toHex(':').toUpper()));
}

void CertificateTest::itIsReadBackAsItWas()
{
    const auto before = issued(names(), now);
    const auto after = Certificate::fromPem(before->pem());
    QVERIFY(after);
    QCOMPARE(after->pem(), before->pem());
    QCOMPARE(after->fingerprint(), before->fingerprint());
    QVERIFY(after->validFrom() == before->validFrom());
    QVERIFY(after->validUntil() == before->validUntil());
    QVERIFY(after->names() == before->names());
    QVERIFY(after->covers(names()));
}

void CertificateTest::textAroundItDoesNotMatter()
{
    const QByteArray pem = issued(names(), now)->pem();
    const auto certificate = Certificate::fromPem("my own note\n" + pem + "and another\n");
    QVERIFY(certificate);
    QCOMPARE(certificate->pem(), pem);
    QVERIFY(Certificate::fromPem(section(pem, "CERTIFICATE") + section(pem, "PRIVATE KEY")));
}

void CertificateTest::anythingElseIsNoCertificate_data()
{
    QTest::addColumn<QByteArray>("pem");
    const QByteArray pem = issued(names(), now)->pem();
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("some text") << QByteArray("certificate");
    QTest::newRow("no key") << section(pem, "CERTIFICATE");
    QTest::newRow("no certificate") << section(pem, "PRIVATE KEY");
    QTest::newRow("cut off") << pem.chopped(40);
    QTest::newRow("no base64") << QByteArray(pem).replace("MI", "??");
    QTest::newRow("only the frame")
        << QByteArray("-----BEGIN CERTIFICATE-----\n-----END CERTIFICATE-----\n");
    QTest::newRow("zeros") << QByteArray(1000, '\0');
}

void CertificateTest::anythingElseIsNoCertificate()
{
    QFETCH(QByteArray, pem);
    QVERIFY(!Certificate::fromPem(pem));
}

void CertificateTest::aChangedByteIsSeen()
{
    const auto certificate = issued(names(), now);
    const QByteArray frame = "-----BEGIN CERTIFICATE-----\n";
    const QByteArray pem = certificate->pem();
    const qsizetype first = pem.indexOf(frame) + frame.size();
    const qsizetype behind = pem.indexOf("-----END CERTIFICATE-----");
    for (qsizetype at = first; at < behind; at += 13) {
        QByteArray changed = pem;
        changed[at] = changed.at(at) == 'A' ? 'B' : 'A';
        const auto read = Certificate::fromPem(changed);
        // Bits that only fill up the last character say nothing.
        QVERIFY(
            !read || !authority().hasIssued(*read) ||
            read->fingerprint() == certificate->fingerprint());
    }
}

void CertificateTest::aKeyOfAnotherCertificateIsRefused()
{
    const QByteArray one = issued(names(), now)->pem();
    const QByteArray other = issued(names(), now)->pem();
    QVERIFY(!Certificate::fromPem(section(one, "PRIVATE KEY") + section(other, "CERTIFICATE")));
}

void CertificateTest::aKeyWithAPassphraseIsNotAskedFor()
{
    const QByteArray pem = issued(names(), now)->pem();
    BIO* source = ::BIO_new_mem_buf(pem.constData(), static_cast<int>(pem.size()));
    EVP_PKEY* key = ::PEM_read_bio_PrivateKey(source, nullptr, nullptr, nullptr);
    BIO* target = ::BIO_new(::BIO_s_mem());
    QCOMPARE(
        ::PEM_write_bio_PrivateKey(
            target, key, ::EVP_aes_128_cbc(), reinterpret_cast<const unsigned char*>("word"), 4,
            nullptr, nullptr),
        1);
    char* bytes = nullptr;
    const long size = ::BIO_get_mem_data(target, &bytes);
    const QByteArray locked(bytes, size);
    ::BIO_free(target);
    ::BIO_free(source);
    ::EVP_PKEY_free(key);
    QVERIFY(locked.contains("ENCRYPTED"));
    QVERIFY(!Certificate::fromPem(locked + section(pem, "CERTIFICATE")));
}

void CertificateTest::coveringIsAboutAllThatIsAsked()
{
    const auto certificate = issued(names(), now);
    QVERIFY(certificate->covers({}));
    QVERIFY(certificate->covers(names()));
    QVERIFY(certificate->covers({{ip("fd00::5")}, {QStringLiteral("DESK")}}));
    QVERIFY(certificate->covers({{ip("127.0.0.1"), ip("::1")}, {QStringLiteral("localhost")}}));
    QVERIFY(!certificate->covers({{ip("192.168.1.5"), ip("192.168.1.6")}, {}}));
    QVERIFY(!certificate->covers({{}, {QStringLiteral("desk"), QStringLiteral("desk2")}}));
}

void CertificateTest::whatNoCertificateCanNameIsLeftOut()
{
    const CertificateNames odd = {
        {},
        {QString(), QStringLiteral("bühne"), QStringLiteral("a b"), QString(254, QLatin1Char('a')),
         QStringLiteral("evil") + QChar(QChar::Null) + QStringLiteral(".org"),
         QStringLiteral("*")}};
    const auto certificate = issued(odd, now);
    QVERIFY(certificate);
    QCOMPARE(certificate->names().hostNames, QStringList(QStringLiteral("localhost")));
    QVERIFY(certificate->covers(odd));
}

void CertificateTest::namesBeyondTheBoundAreLeftOut()
{
    CertificateNames many;
    for (quint32 number = 0; number < 200; ++number) {
        many.addresses.emplace_back(0x0A000000 + number);
        many.hostNames.append(QStringLiteral("desk%1.local").arg(number));
    }
    const auto once = many.addresses;
    many.addresses.insert(many.addresses.end(), once.begin(), once.end());
    const auto certificate = issued(many, now);
    QVERIFY(certificate);
    QCOMPARE(certificate->names().addresses.size(), Certificate::maxNames);
    QCOMPARE(
        static_cast<std::size_t>(certificate->names().hostNames.size()), Certificate::maxNames);
    QVERIFY(
        certificate->covers({{ip("10.0.0.0"), ip("10.0.0.61")}, {QStringLiteral("desk0.local")}}));
    QVERIFY(!certificate->covers({{ip("10.0.0.62")}, {}}));
    QVERIFY(certificate->covers(many)); // or every start would make a new one
}

void CertificateTest::noErrorIsLeftForOthers()
{
    ::ERR_clear_error();
    QVERIFY(!Certificate::fromPem("nothing"));
    QVERIFY(issued(names(), now));
    QCOMPARE(::ERR_peek_error(), 0UL);
}

WINGBELL_APPLESS_TEST(CertificateTest)
#include "CertificateTest.moc"

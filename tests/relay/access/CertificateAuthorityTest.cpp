#include "relay/access/CertificateAuthority.h"
#include "relay/access/StateDirectory.h"
#include "tests/TestProgram.h"

#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>

#include <memory>
#include <openssl/x509v3.h>
#include <sys/stat.h>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

constexpr CertificateTime now{1'700'000'000s};
const QString file = QStringLiteral("authority.pem");
const QStringList desk = {QStringLiteral("desk"), QStringLiteral("desk.local")};

QHostAddress ip(const QString& text)
{
    return QHostAddress(text);
}

CertificateAuthority authority()
{
    return CertificateAuthority::make(desk, now).value();
}

/// What a browser that trusts `root` alone says at `time` of a page at `host`, an address or a
/// name, that has `pem`: X509_V_OK, or why it warns.
int verdict(
    const QByteArray& root, const QByteArray& pem, const QByteArray& host, CertificateTime time)
{
    const X509Handle trusted = certificateIn(root);
    const X509Handle shown = certificateIn(pem);
    const OpenSslHandle<X509_STORE, X509_STORE_free> store(X509_STORE_new());
    const OpenSslHandle<X509_STORE_CTX, X509_STORE_CTX_free> context(X509_STORE_CTX_new());
    if (trusted) {
        X509_STORE_add_cert(store.get(), trusted.get());
    }
    X509_STORE_CTX_init(context.get(), store.get(), shown.get(), nullptr);
    X509_STORE_CTX_set_default(context.get(), "ssl_server");
    X509_VERIFY_PARAM* const rules = X509_STORE_CTX_get0_param(context.get());
    X509_VERIFY_PARAM_set_time(rules, std::chrono::system_clock::to_time_t(time));
    if (QHostAddress(QString::fromLatin1(host)).isNull()) {
        X509_VERIFY_PARAM_set1_host(rules, host.constData(), 0);
    } else {
        X509_VERIFY_PARAM_set1_ip_asc(rules, host.constData());
    }
    X509_verify_cert(context.get());
    return X509_STORE_CTX_get_error(context.get());
}

/// A certificate for `host` alone, made by a thief of the authority's key.
QByteArray stolenFor(const CertificateAuthority& authority, const QByteArray& host)
{
    const KeyHandle key = newKey();
    const KeyHandle stolen = keyIn(authority.pem());
    const X509Handle issuer = certificateIn(authority.pem());
    const QByteArray kind = QHostAddress(QString::fromLatin1(host)).isNull() ? "DNS:" : "IP:";
    const X509Handle made = signedCertificate(
        {"thief", now, now + 24h, {{NID_subject_alt_name, kind + host}}}, *key, issuer.get(),
        *stolen);
    return pemText(*key, *made).value();
}

} // namespace

class CertificateAuthorityTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void whoTrustsItSeesNoWarning_data();
    void whoTrustsItSeesNoWarning();
    void whoDoesNotTrustItIsWarned();
    void itCannotVouchForTheInternet_data();
    void itCannotVouchForTheInternet();
    void itSignsNoOtherAuthority();
    void throughMovesAndYearsThereIsNoWarning();
    void itLeavesOutWhatItMayNotName();
    void aRenamedDeskIsStillNamedLocally();
    void itIsReadBackAsItWas();
    void anythingElseIsNoAuthority_data();
    void anythingElseIsNoAuthority();
    void anAuthorityWithoutLimitsIsRefused();
    void theProfileHoldsTheCertificate();
    void theProfilesOfTwoDesksAreTwo();
    void itIsKept();
    void aWrongClockDoesNotReplaceIt();
    void itIsReplacedBeforeItExpires();
    void aDamagedOneIsReplacedAndTold();
    void oneThatOthersCouldReadIsReplacedAndTold();
    void oneThatCannotBeKeptIsTold();

private:
    [[nodiscard]] StateDirectory folder() const
    {
        return StateDirectory(m_place->filePath(QStringLiteral("wingbell")));
    }
    [[nodiscard]] StoredAuthority stored(CertificateTime time = now) const
    {
        return loadOrCreateAuthority(folder(), desk, time).value();
    }

    std::unique_ptr<QTemporaryDir> m_place;
};

void CertificateAuthorityTest::init()
{
    m_place = std::make_unique<QTemporaryDir>();
    QVERIFY(m_place->isValid());
}

void CertificateAuthorityTest::whoTrustsItSeesNoWarning_data()
{
    QTest::addColumn<QString>("host");
    for (const char* host :
         {"10.1.2.3", "172.16.0.1", "172.31.255.254", "192.168.1.5", "169.254.7.7", "127.0.0.1",
          "fd00::5", "fe80::5", "::1", "desk", "desk.local", "localhost"}) {
        QTest::newRow(host) << QString::fromLatin1(host);
    }
}

void CertificateAuthorityTest::whoTrustsItSeesNoWarning()
{
    QFETCH(const QString, host);
    const CertificateAuthority root = authority();
    CertificateNames names;
    if (ip(host).isNull()) {
        names.hostNames.append(host);
    } else {
        names.addresses.push_back(ip(host));
    }
    const auto certificate = root.issue(names, now).value();
    QVERIFY(root.hasIssued(certificate));
    QCOMPARE(verdict(root.pem(), certificate.pem(), host.toLatin1(), now), X509_V_OK);
    QCOMPARE(
        verdict(root.pem(), certificate.pem(), "10.9.9.9", now), X509_V_ERR_IP_ADDRESS_MISMATCH);
}

void CertificateAuthorityTest::whoDoesNotTrustItIsWarned()
{
    const CertificateAuthority root = authority();
    const auto certificate = root.issue({{ip(QStringLiteral("10.1.2.3"))}, {}}, now).value();
    QCOMPARE(
        verdict({}, certificate.pem(), "10.1.2.3", now),
        X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY);
    const CertificateAuthority other = authority();
    QVERIFY(verdict(other.pem(), certificate.pem(), "10.1.2.3", now) != X509_V_OK);
    QVERIFY(!other.hasIssued(certificate));
}

void CertificateAuthorityTest::itCannotVouchForTheInternet_data()
{
    QTest::addColumn<QByteArray>("host");
    for (const char* host :
         {"www.example.org", "example.org", "desk.example.org", "notdesk", "mylocal", "8.8.8.8",
          "172.32.0.1", "192.169.0.1", "11.0.0.1", "169.253.0.1", "128.0.0.1", "2001:db8::1",
          "fec0::1", "::2"}) {
        QTest::newRow(host) << QByteArray(host);
    }
}

void CertificateAuthorityTest::itCannotVouchForTheInternet()
{
    QFETCH(const QByteArray, host);
    const CertificateAuthority root = authority();
    QCOMPARE(
        verdict(root.pem(), stolenFor(root, host), host, now + 1h), X509_V_ERR_PERMITTED_VIOLATION);
    // So it is the name that is refused.
    QCOMPARE(verdict(root.pem(), stolenFor(root, "10.0.0.1"), "10.0.0.1", now + 1h), X509_V_OK);
}

void CertificateAuthorityTest::itSignsNoOtherAuthority()
{
    const CertificateAuthority root = authority();
    const X509Handle certificate = certificateIn(root.pem());
    QCOMPARE(::X509_check_ca(certificate.get()), 1);
    QCOMPARE(::X509_get_pathlen(certificate.get()), 0L);
    QCOMPARE(::X509_get_key_usage(certificate.get()), unsigned{KU_KEY_CERT_SIGN});
}

void CertificateAuthorityTest::throughMovesAndYearsThereIsNoWarning()
{
    const QByteArray installed = stored().authority.pem();
    QSet<QString> fingerprints;
    for (int day = 0; day <= 800; day += 8) {
        const CertificateTime time = now + std::chrono::days(day);
        const QString address = QStringLiteral("192.168.%1.5").arg(day / 40);
        const CertificateNames names = {{ip(address), ip(QStringLiteral("fd00::5"))}, desk};
        const StoredAuthority today = stored(time);
        QCOMPARE(today.replacedBecause, QString());
        const auto shown = loadOrCreateCertificate(folder(), today.authority, names, time).value();
        fingerprints.insert(shown.certificate.fingerprint());
        for (const QByteArray& host :
             {address.toLatin1(), QByteArray("fd00::5"), QByteArray("desk.local")}) {
            QCOMPARE(verdict(installed, shown.certificate.pem(), host, time), X509_V_OK);
        }
        QVERIFY(
            shown.certificate.validUntil() - shown.certificate.validFrom() <=
            std::chrono::days(398));
    }
    QVERIFY(fingerprints.size() > 20); // each of which would have been a warning
}

void CertificateAuthorityTest::itLeavesOutWhatItMayNotName()
{
    const CertificateNames names = {
        {ip(QStringLiteral("203.0.113.7")), ip(QStringLiteral("192.168.1.5")),
         ip(QStringLiteral("2001:db8::7"))},
        {QStringLiteral("desk"), QStringLiteral("www.example.org")}};
    const CertificateAuthority root = authority();
    const auto certificate = root.issue(names, now).value();
    QCOMPARE(verdict(root.pem(), certificate.pem(), "192.168.1.5", now), X509_V_OK);
    QCOMPARE(verdict(root.pem(), certificate.pem(), "desk", now), X509_V_OK);
    QVERIFY(!certificate.names().hostNames.contains(QStringLiteral("www.example.org")));
    QCOMPARE(certificate.names().addresses.size(), std::size_t{3}); // with the loopback's two
}

void CertificateAuthorityTest::aRenamedDeskIsStillNamedLocally()
{
    const CertificateNames names = {
        {}, {QStringLiteral("stage"), QStringLiteral("Stage.local"), QStringLiteral("x.desk")}};
    QCOMPARE(
        authority().permitted(names).hostNames,
        (QStringList{QStringLiteral("Stage.local"), QStringLiteral("x.desk")}));
}

void CertificateAuthorityTest::itIsReadBackAsItWas()
{
    const CertificateAuthority before = authority();
    const auto after = CertificateAuthority::fromPem(before.pem());
    QVERIFY(after);
    QCOMPARE(after->pem(), before.pem());
    QCOMPARE(after->der(), before.der());
    QCOMPARE(after->fingerprint(), before.fingerprint());
    QCOMPARE(after->appleProfile(), before.appleProfile());
    QVERIFY(after->validUntil() == before.validUntil());
    QVERIFY(before.validUntil() > now + std::chrono::days(3600));
    QVERIFY(after->permitted({{}, desk}).hostNames == desk);
    QVERIFY(after->hasIssued(before.issue({}, now).value()));
}

void CertificateAuthorityTest::anythingElseIsNoAuthority_data()
{
    QTest::addColumn<QByteArray>("pem");
    const QByteArray pem = authority().pem();
    const QByteArray other = authority().pem();
    const qsizetype certificate = pem.indexOf("-----BEGIN CERTIFICATE");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("no key") << pem.sliced(certificate);
    QTest::newRow("no certificate") << pem.first(certificate);
    QTest::newRow("another's key")
        << other.first(other.indexOf("-----BEGIN CERTIFICATE")) + pem.sliced(certificate);
    QTest::newRow("cut off") << pem.chopped(40);
    QTest::newRow("what it issued") << authority().issue({}, now).value().pem();
}

void CertificateAuthorityTest::anythingElseIsNoAuthority()
{
    QFETCH(const QByteArray, pem);
    QVERIFY(!CertificateAuthority::fromPem(pem));
}

void CertificateAuthorityTest::anAuthorityWithoutLimitsIsRefused()
{
    const KeyHandle key = newKey();
    const X509Handle free = signedCertificate(
        {"free", now, now + 24h, {{NID_basic_constraints, "critical,CA:TRUE"}}}, *key, nullptr,
        *key);
    QVERIFY(!CertificateAuthority::fromPem(pemText(*key, *free).value()));
}

void CertificateAuthorityTest::theProfileHoldsTheCertificate()
{
    const CertificateAuthority root = authority();
    QXmlStreamReader reader(root.appleProfile());
    QStringList texts;
    while (!reader.atEnd()) {
        if (reader.readNext() == QXmlStreamReader::Characters && !reader.isWhitespace()) {
            texts.append(reader.text().toString());
        }
    }
    QVERIFY2(!reader.hasError(), qPrintable(reader.errorString()));
    QVERIFY(texts.contains(QString::fromLatin1(root.der().toBase64())));
    QCOMPARE(texts.count(QStringLiteral("PayloadUUID")), 2);
    QVERIFY(texts.contains(QStringLiteral("com.apple.security.root")));
    QVERIFY(texts.contains(QStringLiteral("Configuration")));
}

void CertificateAuthorityTest::theProfilesOfTwoDesksAreTwo()
{
    const auto identifier = [](const QByteArray& profile) {
        const QByteArray begin = "<string>wingbell.authority.";
        return profile.sliced(profile.lastIndexOf(begin) + begin.size(), 36);
    };
    const CertificateAuthority root = authority();
    QCOMPARE(identifier(root.appleProfile()), identifier(root.appleProfile()));
    QVERIFY(identifier(root.appleProfile()) != identifier(authority().appleProfile()));
}

void CertificateAuthorityTest::itIsKept()
{
    const StoredAuthority first = stored();
    QCOMPARE(first.replacedBecause, QString());
    QCOMPARE(first.notStoredBecause, QString());
    QCOMPARE(stored(now + 24h).authority.pem(), first.authority.pem());
    struct stat status = {};
    QCOMPARE(::stat((folder().path() + QLatin1Char('/') + file).toLocal8Bit(), &status), 0);
    QCOMPARE(status.st_mode & 0777U, 0600U);
}

void CertificateAuthorityTest::aWrongClockDoesNotReplaceIt()
{
    const StoredAuthority first = stored();
    QCOMPARE(stored(CertificateTime(0s)).authority.pem(), first.authority.pem());
}

void CertificateAuthorityTest::itIsReplacedBeforeItExpires()
{
    const StoredAuthority first = stored();
    const CertificateTime due = first.authority.validUntil() - CertificateAuthority::renewedBefore;
    QCOMPARE(stored(due - 1s).authority.pem(), first.authority.pem());
    QVERIFY(first.authority.issue({}, due - 1s)->validUntil() <= first.authority.validUntil());
    const StoredAuthority second = stored(due);
    QVERIFY(second.replacedBecause.contains(QStringLiteral("expire")));
    QCOMPARE(stored(due).authority.pem(), second.authority.pem());
}

void CertificateAuthorityTest::aDamagedOneIsReplacedAndTold()
{
    QVERIFY(folder().write(file, "nothing"));
    QCOMPARE(stored().replacedBecause, QStringLiteral("the one before is damaged"));
    QCOMPARE(stored().replacedBecause, QString());
}

void CertificateAuthorityTest::oneThatOthersCouldReadIsReplacedAndTold()
{
    const StoredAuthority first = stored();
    const QByteArray path = (folder().path() + QLatin1Char('/') + file).toLocal8Bit();
    QCOMPARE(::chmod(path.constData(), 0644), 0);
    const StoredAuthority second = stored();
    QVERIFY(second.replacedBecause.endsWith(QStringLiteral("other users could read it")));
    QVERIFY(second.authority.pem() != first.authority.pem());
}

void CertificateAuthorityTest::oneThatCannotBeKeptIsTold()
{
    const auto made =
        loadOrCreateAuthority(StateDirectory(QStringLiteral("/dev/null/wingbell")), desk, now);
    QVERIFY(made->notStoredBecause.contains(QStringLiteral("/dev/null/wingbell")));
}

WINGBELL_APPLESS_TEST(CertificateAuthorityTest)
#include "CertificateAuthorityTest.moc"

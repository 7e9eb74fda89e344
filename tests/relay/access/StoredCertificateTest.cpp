#include "relay/access/CertificateAuthority.h"
#include "relay/access/StateDirectory.h"
#include "tests/TestProgram.h"

#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <sys/stat.h>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

constexpr Certificate::Time now{1'700'000'000s};
const QString file = QStringLiteral("certificate.pem");

QHostAddress ip(const char* text)
{
    return QHostAddress(QString::fromLatin1(text));
}

CertificateNames at(const char* address)
{
    return {{ip(address)}, {QStringLiteral("desk"), QStringLiteral("desk.local")}};
}

const CertificateAuthority& authority()
{
    static const auto made =
        CertificateAuthority::make({QStringLiteral("desk"), QStringLiteral("stage")}, now).value();
    return made;
}

/// The private key, as the server loads it.
QByteArray keyOf(const Certificate& certificate)
{
    const QByteArray& pem = certificate.pem();
    return pem.first(pem.indexOf("-----END PRIVATE KEY-----"));
}

} // namespace

class StoredCertificateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void aCertificateIsKept();
    void fewerAddressesNeedNoNewOne();
    void aNewAddressNeedsANewOne();
    void aNewNameNeedsANewOne();
    void twoNetworksNeedOneInTheEnd();
    void theLatestAddressesCountMost();
    void itIsRenewedBeforeItExpires();
    void itIsRenewedWhenTheClockWasWrong();
    void oneOfAnotherAuthorityIsReplaced();
    void whatTheAuthorityDoesNotPermitNeedsNoNewOne();
    void aDamagedOneIsReplaced_data();
    void aDamagedOneIsReplaced();
    void oneThatOthersCouldReadOrWriteIsReplaced_data();
    void oneThatOthersCouldReadOrWriteIsReplaced();
    void oneThatCannotBeKeptIsTold();

private:
    [[nodiscard]] StateDirectory folder() const
    {
        return StateDirectory(m_place->filePath(QStringLiteral("wingbell")));
    }
    [[nodiscard]] StoredCertificate
    kept(const CertificateNames& names, Certificate::Time time = now) const
    {
        return loadOrCreateCertificate(folder(), authority(), names, time).value();
    }
    [[nodiscard]] bool isKept(const CertificateNames& names, Certificate::Time time = now) const
    {
        return kept(names, time).newBecause.isEmpty();
    }

    std::unique_ptr<QTemporaryDir> m_place;
};

void StoredCertificateTest::init()
{
    m_place = std::make_unique<QTemporaryDir>();
    QVERIFY(m_place->isValid());
}

void StoredCertificateTest::aCertificateIsKept()
{
    const StoredCertificate first = kept(at("192.168.1.5"));
    QCOMPARE(first.newBecause, QStringLiteral("there was none"));
    QCOMPARE(first.notStoredBecause, QString());
    QVERIFY(first.certificate.covers(at("192.168.1.5")));
    const StoredCertificate second = kept(at("192.168.1.5"));
    QCOMPARE(second.newBecause, QString());
    QCOMPARE(second.notStoredBecause, QString());
    QCOMPARE(second.certificate.pem(), first.certificate.pem());
}

void StoredCertificateTest::fewerAddressesNeedNoNewOne()
{
    (void)kept(at("192.168.1.5"));
    QVERIFY(isKept({}));
    QVERIFY(isKept({{}, {QStringLiteral("desk")}}));
}

void StoredCertificateTest::aNewAddressNeedsANewOne()
{
    const StoredCertificate first = kept(at("192.168.1.5"));
    const StoredCertificate second = kept(at("10.0.0.5"));
    QVERIFY(second.newBecause.contains(QStringLiteral("addresses")));
    QVERIFY(second.certificate.covers(at("10.0.0.5")));
    QVERIFY(second.certificate.fingerprint() != first.certificate.fingerprint());
}

void StoredCertificateTest::aNewNameNeedsANewOne()
{
    (void)kept(at("192.168.1.5"));
    const StoredCertificate second = kept({{ip("192.168.1.5")}, {QStringLiteral("stage")}});
    QVERIFY(!second.newBecause.isEmpty());
    QVERIFY(second.certificate.covers({{}, {QStringLiteral("stage"), QStringLiteral("desk")}}));
}

void StoredCertificateTest::twoNetworksNeedOneInTheEnd()
{
    (void)kept(at("192.168.1.5"));
    (void)kept(at("10.0.0.5"));
    QVERIFY(isKept(at("192.168.1.5")));
    QVERIFY(isKept(at("10.0.0.5")));
}

void StoredCertificateTest::theLatestAddressesCountMost()
{
    for (quint32 number = 0; number < 100; ++number) {
        const QHostAddress address(0x0A000000 + number);
        QVERIFY(kept({{address}, {}}).certificate.covers({{address}, {}}));
    }
    QVERIFY(isKept(at("10.0.0.99")) || kept({{ip("10.0.0.99")}, {}}).newBecause.isEmpty());
    QVERIFY(!kept({{ip("10.0.0.0")}, {}}).newBecause.isEmpty());
}

void StoredCertificateTest::itIsRenewedBeforeItExpires()
{
    const StoredCertificate first = kept(at("192.168.1.5"));
    const auto due = first.certificate.validUntil() - std::chrono::days(30);
    QVERIFY(isKept(at("192.168.1.5"), due - 1s));
    const StoredCertificate second = kept(at("10.0.0.5"), due);
    QVERIFY(second.newBecause.contains(QStringLiteral("expire")));
    QVERIFY(second.certificate.validFrom() == due - 24h);
    QVERIFY(second.certificate.covers(at("192.168.1.5")));
    QVERIFY(isKept(at("10.0.0.5"), due));
}

void StoredCertificateTest::itIsRenewedWhenTheClockWasWrong()
{
    (void)kept(at("192.168.1.5"), now);
    QVERIFY(isKept(at("192.168.1.5"), now - 24h));
    const StoredCertificate second = kept(at("192.168.1.5"), now - 25h);
    QVERIFY(second.newBecause.contains(QStringLiteral("clock")));
    QVERIFY(isKept(at("192.168.1.5"), now - 25h));
}

void StoredCertificateTest::oneOfAnotherAuthorityIsReplaced()
{
    const auto other = CertificateAuthority::make({QStringLiteral("desk")}, now).value();
    QVERIFY(folder().write(file, other.issue(at("192.168.1.5"), now)->pem()));
    QVERIFY(kept(at("192.168.1.5")).newBecause.contains(QStringLiteral("authority")));
    QVERIFY(isKept(at("192.168.1.5")));
}

void StoredCertificateTest::whatTheAuthorityDoesNotPermitNeedsNoNewOne()
{
    const CertificateNames more = {
        {ip("192.168.1.5"), ip("203.0.113.7"), ip("2001:db8::7")},
        {QStringLiteral("renamed"), QStringLiteral("renamed.local")}};
    QVERIFY(!kept(more).certificate.covers(more));
    QVERIFY(isKept(more));
    QVERIFY(
        kept(more).certificate.covers({{ip("192.168.1.5")}, {QStringLiteral("renamed.local")}}));
}

void StoredCertificateTest::aDamagedOneIsReplaced_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("no certificate");
    QTest::newRow("half") << authority().issue(at("192.168.1.5"), now)->pem().first(300);
}

void StoredCertificateTest::aDamagedOneIsReplaced()
{
    QFETCH(QByteArray, bytes);
    QVERIFY(folder().write(file, bytes));
    const StoredCertificate made = kept(at("192.168.1.5"));
    QCOMPARE(made.newBecause, QStringLiteral("the one before is damaged"));
    QCOMPARE(made.notStoredBecause, QString());
    QVERIFY(isKept(at("192.168.1.5")));
}

void StoredCertificateTest::oneThatOthersCouldReadOrWriteIsReplaced_data()
{
    QTest::addColumn<unsigned>("mode");
    QTest::addColumn<QString>("reason");
    QTest::newRow("read") << 0644U << QStringLiteral("other users could read it");
    QTest::newRow("write") << 0666U << QStringLiteral("others could have written it");
}

void StoredCertificateTest::oneThatOthersCouldReadOrWriteIsReplaced()
{
    QFETCH(const unsigned, mode);
    QFETCH(const QString, reason);
    const StoredCertificate first = kept(at("192.168.1.5"));
    const QByteArray path = (folder().path() + QLatin1Char('/') + file).toLocal8Bit();
    QCOMPARE(::chmod(path.constData(), mode), 0);
    const StoredCertificate second = kept(at("192.168.1.5"));
    QVERIFY2(second.newBecause.contains(reason), qPrintable(second.newBecause));
    QVERIFY(keyOf(second.certificate) != keyOf(first.certificate));
    QVERIFY(second.certificate.fingerprint() != first.certificate.fingerprint());
    QVERIFY(isKept(at("192.168.1.5")));
}

void StoredCertificateTest::oneThatCannotBeKeptIsTold()
{
    const StoredCertificate made = loadOrCreateCertificate(
                                       StateDirectory(QStringLiteral("/dev/null/wingbell")),
                                       authority(), at("192.168.1.5"), now)
                                       .value();
    QVERIFY(made.certificate.covers(at("192.168.1.5")));
    QVERIFY(made.notStoredBecause.contains(QStringLiteral("/dev/null/wingbell")));
}

WINGBELL_APPLESS_TEST(StoredCertificateTest)
#include "StoredCertificateTest.moc"

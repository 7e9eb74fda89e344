#include "relay/http/RequestLimiter.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;
using namespace std::chrono_literals;

namespace {

const RequestLimiter::Clock::time_point start(1000s);

int admitted(
    RequestLimiter& limiter, const QHostAddress& peer, RequestLimiter::Clock::time_point now)
{
    int count = 0;
    while (count < 1000 && limiter.admit(peer, now)) {
        ++count;
    }
    return count;
}

} // namespace

class RequestLimiterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void soManyAtOnceAreAdmittedAndNoMore();
    void theBucketFillsAtItsRateAndNoFurther();
    void addressesDoNotCountForEachOther();
    void ofManyAddressesTheQuietAreForgotten();
    void beyondTheTableNewAddressesShare();
};

void RequestLimiterTest::soManyAtOnceAreAdmittedAndNoMore()
{
    RequestLimiter limiter(40, 100);
    QCOMPARE(admitted(limiter, QHostAddress(1), start), 100);
    QVERIFY(!limiter.admit(QHostAddress(1), start));
}

void RequestLimiterTest::theBucketFillsAtItsRateAndNoFurther()
{
    RequestLimiter limiter(40, 100);
    QCOMPARE(admitted(limiter, QHostAddress(1), start), 100);
    QCOMPARE(admitted(limiter, QHostAddress(1), start + 500ms), 20);
    QCOMPARE(admitted(limiter, QHostAddress(1), start + 1h), 100);
}

void RequestLimiterTest::addressesDoNotCountForEachOther()
{
    RequestLimiter limiter(1, 2);
    QCOMPARE(admitted(limiter, QHostAddress(1), start), 2);
    QCOMPARE(admitted(limiter, QHostAddress(2), start), 2);
    QCOMPARE(admitted(limiter, QHostAddress(QStringLiteral("fe80::1")), start), 2);
}

void RequestLimiterTest::ofManyAddressesTheQuietAreForgotten()
{
    RequestLimiter limiter(1, 2);
    for (quint32 address = 0; address < quint32{RequestLimiter::maxAddresses}; ++address) {
        QVERIFY(limiter.admit(QHostAddress(address), start));
    }
    QCOMPARE(admitted(limiter, QHostAddress(7), start + 2s), 2);
    // These have buckets of their own again.
    QCOMPARE(admitted(limiter, QHostAddress(1000000), start + 2s), 2);
    QCOMPARE(admitted(limiter, QHostAddress(1000001), start + 2s), 2);
    QVERIFY(!limiter.admit(QHostAddress(7), start + 2s));
}

void RequestLimiterTest::beyondTheTableNewAddressesShare()
{
    RequestLimiter limiter(1, 3);
    for (quint32 address = 0; address < quint32{RequestLimiter::maxAddresses}; ++address) {
        QVERIFY(limiter.admit(QHostAddress(address), start));
    }
    QVERIFY(limiter.admit(QHostAddress(1000001), start));
    QVERIFY(limiter.admit(QHostAddress(1000002), start));
    QVERIFY(limiter.admit(QHostAddress(1000003), start));
    QVERIFY(!limiter.admit(QHostAddress(1000004), start));
    QVERIFY(limiter.admit(QHostAddress(1), start));
}

WINGBELL_GUILESS_TEST(RequestLimiterTest)
#include "RequestLimiterTest.moc"

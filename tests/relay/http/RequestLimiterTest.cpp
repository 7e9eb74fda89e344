#include "relay/http/RequestLimiter.h"

#include <QTest>

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>

using namespace wingbell;
using namespace std::chrono_literals;

namespace {

const RequestLimiter::Clock::time_point start(1000s);

sockaddr_storage ipv4(std::uint32_t address, quint16 port = 1)
{
    sockaddr_in four = {};
    four.sin_family = AF_INET;
    four.sin_port = htons(port);
    four.sin_addr.s_addr = htonl(address);
    sockaddr_storage result = {};
    std::memcpy(&result, &four, sizeof four);
    return result;
}

sockaddr_storage ipv6(const char* address)
{
    sockaddr_in6 six = {};
    six.sin6_family = AF_INET6;
    ::inet_pton(AF_INET6, address, &six.sin6_addr);
    sockaddr_storage result = {};
    std::memcpy(&result, &six, sizeof six);
    return result;
}

int admitted(
    RequestLimiter& limiter, const sockaddr_storage& peer, RequestLimiter::Clock::time_point now)
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
    void thePortDoesNotMatterAndNeitherDoesTheSocketsFamily();
    void ofManyAddressesTheQuietAreForgotten();
    void beyondTheTableNewAddressesShare();
};

void RequestLimiterTest::soManyAtOnceAreAdmittedAndNoMore()
{
    RequestLimiter limiter(40, 100);
    QCOMPARE(admitted(limiter, ipv4(1), start), 100);
    QVERIFY(!limiter.admit(ipv4(1), start));
}

void RequestLimiterTest::theBucketFillsAtItsRateAndNoFurther()
{
    RequestLimiter limiter(40, 100);
    QCOMPARE(admitted(limiter, ipv4(1), start), 100);
    QCOMPARE(admitted(limiter, ipv4(1), start + 500ms), 20);
    QCOMPARE(admitted(limiter, ipv4(1), start + 1h), 100);
}

void RequestLimiterTest::addressesDoNotCountForEachOther()
{
    RequestLimiter limiter(1, 2);
    QCOMPARE(admitted(limiter, ipv4(1), start), 2);
    QCOMPARE(admitted(limiter, ipv4(2), start), 2);
    QCOMPARE(admitted(limiter, ipv6("fe80::1"), start), 2);
}

void RequestLimiterTest::thePortDoesNotMatterAndNeitherDoesTheSocketsFamily()
{
    RequestLimiter limiter(1, 2);
    QVERIFY(limiter.admit(ipv4(0x7f000001, 5), start));
    QVERIFY(limiter.admit(ipv4(0x7f000001, 6), start));
    QVERIFY(!limiter.admit(ipv6("::ffff:127.0.0.1"), start));
}

void RequestLimiterTest::ofManyAddressesTheQuietAreForgotten()
{
    RequestLimiter limiter(1, 2);
    for (std::uint32_t address = 0; address < RequestLimiter::maxAddresses; ++address) {
        QVERIFY(limiter.admit(ipv4(address), start));
    }
    QCOMPARE(admitted(limiter, ipv4(7), start + 2s), 2);
    // These have buckets of their own again.
    QCOMPARE(admitted(limiter, ipv4(1000000), start + 2s), 2);
    QCOMPARE(admitted(limiter, ipv4(1000001), start + 2s), 2);
    QVERIFY(!limiter.admit(ipv4(7), start + 2s));
}

void RequestLimiterTest::beyondTheTableNewAddressesShare()
{
    RequestLimiter limiter(1, 3);
    for (std::uint32_t address = 0; address < RequestLimiter::maxAddresses; ++address) {
        QVERIFY(limiter.admit(ipv4(address), start));
    }
    QVERIFY(limiter.admit(ipv4(1000001), start));
    QVERIFY(limiter.admit(ipv4(1000002), start));
    QVERIFY(limiter.admit(ipv4(1000003), start));
    QVERIFY(!limiter.admit(ipv4(1000004), start));
    QVERIFY(limiter.admit(ipv4(1), start));
}

QTEST_GUILESS_MAIN(RequestLimiterTest)
#include "RequestLimiterTest.moc"

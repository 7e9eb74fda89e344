#include "base/TokenBucket.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace std::chrono_literals;
using wingbell::TokenBucket;

namespace {

constexpr TokenBucket::Clock::time_point start{1000s};

/// How many can be taken at `now`.
int taken(TokenBucket& bucket, TokenBucket::Clock::time_point now)
{
    int count = 0;
    while (bucket.take(now)) {
        ++count;
    }
    return count;
}

} // namespace

class TokenBucketTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void allMayComeAtOnce();
    void oneComesBackAtATime();
    void itTellsHowLongToWait();
    void itNeverHoldsMoreThanAtFirst();
    void aQuietTimeBeforeTheFirstCountsForNothing();
    void nothingIsLostBetweenTwoLooks();
    void itIsFullOnceAllTokensAreBack();
};

void TokenBucketTest::allMayComeAtOnce()
{
    TokenBucket bucket(3, 10s);
    QCOMPARE(taken(bucket, start), 3);
    QCOMPARE(taken(bucket, start), 0);
}

void TokenBucketTest::oneComesBackAtATime()
{
    TokenBucket bucket(3, 10s);
    QCOMPARE(taken(bucket, start), 3);
    QCOMPARE(taken(bucket, start + 9999ms), 0);
    QCOMPARE(taken(bucket, start + 10s), 1);
    QCOMPARE(taken(bucket, start + 19s), 0);
    QCOMPARE(taken(bucket, start + 20s), 1);
    QCOMPARE(taken(bucket, start + 45s), 2);
}

void TokenBucketTest::itTellsHowLongToWait()
{
    TokenBucket bucket(1, 10s);
    QVERIFY(bucket.untilNext(start) == 0s);
    QVERIFY(bucket.take(start));
    QVERIFY(bucket.untilNext(start) == 10s);
    QVERIFY(bucket.untilNext(start + 4s) == 6s);
    QVERIFY(bucket.nextToken() == start + 10s);
    QVERIFY(bucket.untilNext(start + 10s) == 0s);
    QVERIFY(bucket.nextToken() <= start + 10s);
}

void TokenBucketTest::itNeverHoldsMoreThanAtFirst()
{
    TokenBucket bucket(3, 10s);
    QCOMPARE(taken(bucket, start), 3);
    QCOMPARE(taken(bucket, start + 24h), 3);
    QCOMPARE(taken(bucket, start + 24h + 10s), 1);
}

void TokenBucketTest::aQuietTimeBeforeTheFirstCountsForNothing()
{
    TokenBucket bucket(2, 10s);
    QVERIFY(bucket.untilNext(start + 25s) == 0s);
    QCOMPARE(taken(bucket, start + 25s), 2);
    QVERIFY(bucket.untilNext(start + 26s) == 9s);
}

void TokenBucketTest::nothingIsLostBetweenTwoLooks()
{
    TokenBucket bucket(5, 10s);
    int count = taken(bucket, start);
    for (auto now = start; now <= start + 1000s; now += 700ms) {
        count += taken(bucket, now);
    }
    QCOMPARE(count, 5 + 99);
}

void TokenBucketTest::itIsFullOnceAllTokensAreBack()
{
    TokenBucket bucket(2, 10s);
    QVERIFY(bucket.isFull(start));
    QCOMPARE(taken(bucket, start), 2);
    QVERIFY(!bucket.isFull(start));
    QVERIFY(!bucket.isFull(start + 19s));
    QVERIFY(bucket.isFull(start + 20s));
}

WINGBELL_APPLESS_TEST(TokenBucketTest)
#include "TokenBucketTest.moc"

#include "relay/crew/RandomBytes.h"
#include "tests/TestProgram.h"

#include <QSet>
#include <QTest>

using wingbell::randomBytes;

class RandomBytesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void asManyComeAsAreAskedFor();
    void noTwoAreAlike();
};

void RandomBytesTest::asManyComeAsAreAskedFor()
{
    for (const qsizetype count : {0, 1, 16, 256, 257, 4096}) {
        QCOMPARE(randomBytes(count).size(), count);
    }
}

void RandomBytesTest::noTwoAreAlike()
{
    QSet<QByteArray> seen;
    for (int round = 0; round < 1000; ++round) {
        seen.insert(randomBytes(16));
    }
    QCOMPARE(seen.size(), qsizetype{1000});
}

WINGBELL_APPLESS_TEST(RandomBytesTest)
#include "RandomBytesTest.moc"

#include "relay/link/RtpStream.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

class RtpStreamTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aHeaderIsWrittenAsTheProtocolHasIt();
    void sequenceAndTimeGoOnAndWrapAround();
};

void RtpStreamTest::aHeaderIsWrittenAsTheProtocolHasIt()
{
    RtpStream stream(0x01020304, 0x0506, 0x0708090A);
    const RtpStream::Header expected = {0x80, 0x80 | 111, 5, 6, 7, 8, 9, 10, 1, 2, 3, 4};
    QCOMPARE(stream.next(111, 960), expected);
}

void RtpStreamTest::sequenceAndTimeGoOnAndWrapAround()
{
    RtpStream stream(1, 0xFFFF, 0xFFFFFFFF);
    (void)stream.next(111, 960);
    const RtpStream::Header expected = {0x80, 111, 0, 0, 0, 0, 0x03, 0xBF, 0, 0, 0, 1};
    QCOMPARE(stream.next(111, 960), expected); // without the mark of a stream's first packet
}

WINGBELL_APPLESS_TEST(RtpStreamTest)
#include "RtpStreamTest.moc"

#include "relay/log/LineWriter.h"
#include "tests/TestProgram.h"

#include <QElapsedTimer>
#include <QTemporaryFile>
#include <QTest>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

/// A pipe that holds a single page, read without waiting.
class Pipe
{
public:
    Pipe()
    {
        std::array<int, 2> ends = {-1, -1};
        if (::pipe2(ends.data(), O_CLOEXEC) == 0) {
            m_read = FileDescriptor(ends[0]);
            m_write = FileDescriptor(ends[1]);
            ::fcntl(m_read.get(), F_SETFL, O_NONBLOCK);
            ::fcntl(m_write.get(), F_SETPIPE_SZ, LineWriter::maxLineBytes);
        }
    }

    [[nodiscard]] int writeEnd() const { return m_write.get(); }
    void closeReadEnd() { m_read = FileDescriptor(); }

    [[nodiscard]] QByteArray takeAll() const
    {
        std::array<char, LineWriter::maxLineBytes> bytes = {};
        const ssize_t count = ::read(m_read.get(), bytes.data(), bytes.size());
        return count > 0 ? QByteArray(bytes.data(), count) : QByteArray();
    }

private:
    FileDescriptor m_read;
    FileDescriptor m_write;
};

/// What comes out of `pipe` while `writer` writes all that it kept.
QByteArray takeAllKept(const Pipe& pipe, LineWriter& writer)
{
    QByteArray all = pipe.takeAll();
    while (writer.awaitedDescriptor() >= 0) {
        writer.resume();
        const QByteArray more = pipe.takeAll();
        if (more.isEmpty()) {
            break;
        }
        all += more;
    }
    return all;
}

/// A line that fills a pipe to the last byte.
QString fillingLine()
{
    return QString(LineWriter::maxLineBytes - 1, QLatin1Char('x'));
}

} // namespace

class LineWriterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { ::signal(SIGPIPE, SIG_IGN); }
    void aLineIsWrittenAtOnce();
    void aLineStaysOneLine();
    void aLineLongerThanAPipeTakesIsCutAtACharacter();
    void linesWaitForASlowReader();
    void linesBeyondTheBoundAreCounted();
    void aReaderThatIsGoneIsNoTrouble();
    void theDescriptorKeepsItsSettings();
    void finishingGivesUpOnAStuckReader();
    void filesAndSocketsAreWrittenToo();
    void aClosedDescriptorIsNoTrouble();
};

void LineWriterTest::aLineIsWrittenAtOnce()
{
    const Pipe pipe;
    LineWriter writer(pipe.writeEnd());
    writer.write(QStringLiteral("Bühne 🎭"));
    QCOMPARE(writer.awaitedDescriptor(), -1);
    QCOMPARE(pipe.takeAll(), QByteArray("Bühne 🎭\n"));
}

void LineWriterTest::aLineStaysOneLine()
{
    const Pipe pipe;
    LineWriter writer(pipe.writeEnd());
    writer.write(QStringLiteral("a\nb\r\nc\u2028d"));
    QCOMPARE(pipe.takeAll(), QByteArray("a b  c d\n"));
}

void LineWriterTest::aLineLongerThanAPipeTakesIsCutAtACharacter()
{
    const Pipe pipe;
    LineWriter writer(pipe.writeEnd());
    writer.write(QStringLiteral("a") + QStringLiteral("ü").repeated(3000));
    const QByteArray expected = "a" + QByteArray("ü").repeated(2047) + "\n";
    QCOMPARE(expected.size(), LineWriter::maxLineBytes);
    QCOMPARE(pipe.takeAll(), expected);

    writer.write(QStringLiteral("ü").repeated(3000));
    QCOMPARE(pipe.takeAll(), QByteArray("ü").repeated(2047) + "\n");
}

void LineWriterTest::linesWaitForASlowReader()
{
    const Pipe pipe;
    LineWriter writer(pipe.writeEnd());
    writer.write(fillingLine());
    writer.write(QStringLiteral("first"));
    writer.write(QStringLiteral("second"));
    QVERIFY(writer.awaitedDescriptor() >= 0);
    QCOMPARE(takeAllKept(pipe, writer), fillingLine().toUtf8() + "\nfirst\nsecond\n");
    QCOMPARE(writer.awaitedDescriptor(), -1);
}

void LineWriterTest::linesBeyondTheBoundAreCounted()
{
    const Pipe pipe;
    LineWriter writer(pipe.writeEnd());
    writer.write(fillingLine());
    QByteArray kept;
    for (std::size_t line = 0; line < LineWriter::maxWaitingLines; ++line) {
        writer.write(QString::number(line));
        kept += QByteArray::number(static_cast<qulonglong>(line)) + '\n';
    }
    for (int line = 0; line < 1000; ++line) {
        writer.write(QStringLiteral("too much"));
    }
    QCOMPARE(
        takeAllKept(pipe, writer), fillingLine().toUtf8() + '\n' + kept +
                                       "1000 lines dropped: nothing was reading the output.\n");
    writer.write(QStringLiteral("again"));
    QCOMPARE(pipe.takeAll(), QByteArray("again\n"));
}

void LineWriterTest::aReaderThatIsGoneIsNoTrouble()
{
    Pipe pipe;
    LineWriter writer(pipe.writeEnd());
    writer.write(fillingLine());
    writer.write(QStringLiteral("waits"));
    pipe.closeReadEnd();
    writer.resume();
    QCOMPARE(writer.awaitedDescriptor(), -1);
    writer.write(QStringLiteral("lost"));
    QCOMPARE(writer.awaitedDescriptor(), -1);
}

void LineWriterTest::theDescriptorKeepsItsSettings()
{
    const Pipe pipe;
    const int before = ::fcntl(pipe.writeEnd(), F_GETFL);
    {
        LineWriter writer(pipe.writeEnd());
        writer.write(fillingLine());
        writer.write(QStringLiteral("waits"));
        QCOMPARE(::fcntl(pipe.writeEnd(), F_GETFL), before);
    }
    QCOMPARE(::fcntl(pipe.writeEnd(), F_GETFL), before);
}

void LineWriterTest::finishingGivesUpOnAStuckReader()
{
    const Pipe pipe;
    LineWriter writer(pipe.writeEnd());
    writer.write(fillingLine());
    writer.write(QStringLiteral("waits"));
    QElapsedTimer timer;
    timer.start();
    writer.finish(50ms);
    QVERIFY(timer.elapsed() >= 50);
    QVERIFY(writer.awaitedDescriptor() >= 0);
    QCOMPARE(pipe.takeAll(), fillingLine().toUtf8() + '\n');
    writer.finish(10s);
    QCOMPARE(pipe.takeAll(), QByteArray("waits\n"));
}

void LineWriterTest::filesAndSocketsAreWrittenToo()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    LineWriter(file.handle()).write(QStringLiteral("to a file"));
    QVERIFY(file.seek(0));
    QCOMPARE(file.readAll(), QByteArray("to a file\n"));

    std::array<int, 2> ends = {-1, -1};
    QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    const FileDescriptor ours(ends[0]);
    const FileDescriptor theirs(ends[1]);
    LineWriter(theirs.get()).write(QStringLiteral("to a socket"));
    std::array<char, 100> bytes = {};
    const ssize_t count = ::recv(ours.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    QVERIFY(count > 0);
    QCOMPARE(QByteArray(bytes.data(), count), QByteArray("to a socket\n"));
}

void LineWriterTest::aClosedDescriptorIsNoTrouble()
{
    LineWriter writer(-1);
    writer.write(QStringLiteral("lost"));
    LineWriter other(1'000'000);
    other.write(QStringLiteral("lost"));
    QCOMPARE(other.awaitedDescriptor(), -1);
}

WINGBELL_APPLESS_TEST(LineWriterTest)
#include "LineWriterTest.moc"

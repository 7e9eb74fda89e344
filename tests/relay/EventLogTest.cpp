#include "relay/EventLog.h"
#include "base/FileDescriptor.h"
#include "relay/log/LineWriter.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

using Clock = EventLog::Clock;

constexpr std::array rejections = {
    Message::EmptyPacket, Message::UnknownAddress, Message::UnknownChannel, Message::NoText,
    Message::BlankText,   Message::NotUtf8,        Message::QueueFull};

} // namespace

class EventLogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void howToJoinStaysInSightHoweverMuchIsRejected();
    void howToJoinStaysInSightHoweverManyComeAndGo();
    void howToJoinIsNotRepeatedWhileItIsInSight();
    void theLastLineIsNotFollowedByHowToJoin();

private:
    /// Tells what is due until `time`, as the main loop does.
    void passUntil(Clock::time_point time);
    /// Reads what was written since the last call; counts the lines behind the code.
    void read();
    void rejectForASecond();

    std::array<FileDescriptor, 2> m_pipe;
    std::unique_ptr<LineWriter> m_output;
    std::unique_ptr<EventLog> m_log;
    Clock::time_point m_now{1000s};
    std::size_t m_lines = 0;
    std::size_t m_repeats = 0;
    std::size_t m_behind = 0;     ///< lines since the code was told
    std::size_t m_mostBehind = 0; ///< of all times that the code was told again
};

void EventLogTest::init()
{
    std::array<int, 2> ends = {};
    QCOMPARE(::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    m_log.reset();
    m_pipe = {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
    m_output = std::make_unique<LineWriter>(m_pipe[1].get());
    m_log = std::make_unique<EventLog>(
        *m_output, [] {}, [this] { return m_now; });
    m_log->tellHowToJoin(
        {QStringLiteral("address and code"), QStringLiteral("fingerprint"),
         QStringLiteral("card")});
    read();
    m_lines = m_repeats = m_behind = m_mostBehind = 0;
}

void EventLogTest::passUntil(Clock::time_point time)
{
    for (auto due = m_log->nextDue(); due && *due <= time; due = m_log->nextDue()) {
        m_now = std::max(m_now, *due);
        m_log->tellHeldBack(m_now);
    }
    m_now = time;
    read();
}

void EventLogTest::read()
{
    QByteArray all;
    std::array<char, 65536> bytes = {};
    for (ssize_t count = 1; count > 0;) {
        count = ::read(m_pipe[0].get(), bytes.data(), bytes.size());
        all.append(bytes.data(), std::max<ssize_t>(count, 0));
        m_output->resume();
    }
    for (const QByteArray& line : all.split('\n')) {
        if (line.isEmpty()) {
            continue;
        }
        ++m_lines;
        ++m_behind;
        m_mostBehind = std::max(m_mostBehind, m_behind);
        if (line == "address and code") {
            ++m_repeats;
            m_behind = 0;
        }
    }
}

void EventLogTest::rejectForASecond()
{
    const QHostAddress sender;
    for (int time = 0; time < 100; ++time) {
        for (const Message reason : rejections) {
            m_log->rejected(reason, {}, sender);
        }
        passUntil(m_now + 10ms);
    }
}

void EventLogTest::howToJoinStaysInSightHoweverMuchIsRejected()
{
    constexpr int seconds = 1000;
    for (int second = 0; second < seconds; ++second) {
        rejectForASecond();
    }
    passUntil(m_now + 60s);
    QVERIFY2(m_lines <= seconds + 10 + 60 + 3 * m_repeats, qPrintable(QString::number(m_lines)));
    QVERIFY(m_repeats >= 3);
    QVERIFY2(m_mostBehind < 400, qPrintable(QString::number(m_mostBehind)));
}

void EventLogTest::howToJoinStaysInSightHoweverManyComeAndGo()
{
    const QString role = QStringLiteral("Caller");
    const QString address = QStringLiteral("192.168.1.5");
    for (int second = 0; second < 120; ++second) {
        for (int person = 0; person < 10; ++person) {
            m_log->joined(role, address, true);
            m_log->left(role, address, Departure::Left);
        }
        passUntil(m_now + 1s);
    }
    QVERIFY(m_repeats >= 2);
    QVERIFY2(m_mostBehind < 400, qPrintable(QString::number(m_mostBehind)));
    // Not more often than that is of use: the people who come and go are to be seen as well.
    QVERIFY(m_repeats <= 4);
}

void EventLogTest::howToJoinIsNotRepeatedWhileItIsInSight()
{
    for (std::size_t line = 0; line + 1 < EventLog::maxLinesBehind; ++line) {
        m_log->tell(QStringLiteral("a line"));
    }
    passUntil(m_now + 1h);
    QCOMPARE(m_repeats, std::size_t{0});
    QVERIFY(!m_log->nextDue());
    m_log->tell(QStringLiteral("one more"));
    QVERIFY(m_log->nextDue());
    passUntil(m_now);
    QCOMPARE(m_repeats, std::size_t{1});
    QVERIFY(!m_log->nextDue());
}

void EventLogTest::theLastLineIsNotFollowedByHowToJoin()
{
    for (std::size_t line = 0; line < EventLog::maxLinesBehind; ++line) {
        m_log->tell(QStringLiteral("a line"));
    }
    m_log->tellHeldBack(Clock::time_point::max());
    read();
    QCOMPARE(m_repeats, std::size_t{0});
}

WINGBELL_APPLESS_TEST(EventLogTest)
#include "EventLogTest.moc"

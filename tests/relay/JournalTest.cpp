#include "relay/Journal.h"
#include "base/FileDescriptor.h"
#include "relay/words/LineWriter.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

using Clock = Journal::Clock;

constexpr std::array refusals = {
    LineCause::Unreadable,          LineCause::UnknownAddress, LineCause::UnknownChannel,
    LineCause::WrongArguments,      LineCause::Blank,          LineCause::NotUtf8,
    LineCause::TooManyAnnouncements};

} // namespace

class JournalTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void howToJoinStaysInSightHoweverMuchIsRefused();
    void howToJoinStaysInSightHoweverManyComeAndGo();
    void howToJoinIsNotRepeatedWhileItIsInSight();
    void theLastLineIsNotFollowedByHowToJoin();

private:
    /// Tells what is due until `time`, as the main loop does.
    void passUntil(Clock::time_point time);
    /// Reads what was written since the last call; counts the lines behind the code.
    void read();
    void refuseForASecond();

    std::array<FileDescriptor, 2> m_pipe;
    std::unique_ptr<LineWriter> m_output;
    std::unique_ptr<Journal> m_journal;
    Clock::time_point m_now{1000s};
    std::size_t m_lines = 0;
    std::size_t m_repeats = 0;
    std::size_t m_behind = 0;     ///< lines since the code was told
    std::size_t m_mostBehind = 0; ///< of all times that the code was told again
};

void JournalTest::init()
{
    std::array<int, 2> ends = {};
    QCOMPARE(::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    m_journal.reset();
    m_pipe = {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
    m_output = std::make_unique<LineWriter>(m_pipe[1].get());
    m_journal = std::make_unique<Journal>(
        *m_output, [] {}, [this] { return m_now; });
    m_journal->tellHowToJoin(
        {QStringLiteral("address and code"), QStringLiteral("fingerprint"),
         QStringLiteral("card")});
    read();
    m_lines = m_repeats = m_behind = m_mostBehind = 0;
}

void JournalTest::passUntil(Clock::time_point time)
{
    for (auto due = m_journal->nextDue(); due && *due <= time; due = m_journal->nextDue()) {
        m_now = std::max(m_now, *due);
        m_journal->tellHeldBack(m_now);
    }
    m_now = time;
    read();
}

void JournalTest::read()
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

void JournalTest::refuseForASecond()
{
    const sockaddr_storage sender = {};
    for (int time = 0; time < 100; ++time) {
        for (const LineCause refusal : refusals) {
            m_journal->refused({refusal, QStringLiteral("it is wrong")}, sender);
        }
        passUntil(m_now + 10ms);
    }
}

void JournalTest::howToJoinStaysInSightHoweverMuchIsRefused()
{
    constexpr int seconds = 1000;
    for (int second = 0; second < seconds; ++second) {
        refuseForASecond();
    }
    passUntil(m_now + 60s);
    QVERIFY2(m_lines <= seconds + 10 + 60 + 3 * m_repeats, qPrintable(QString::number(m_lines)));
    QVERIFY(m_repeats >= 3);
    QVERIFY2(m_mostBehind < 400, qPrintable(QString::number(m_mostBehind)));
}

void JournalTest::howToJoinStaysInSightHoweverManyComeAndGo()
{
    const QString role = QStringLiteral("Caller");
    const QString address = QStringLiteral("192.168.1.5");
    for (int second = 0; second < 120; ++second) {
        for (int person = 0; person < 10; ++person) {
            m_journal->joined(role, address, true);
            m_journal->left(role, address, Departure::Left);
        }
        passUntil(m_now + 1s);
    }
    QVERIFY(m_repeats >= 2);
    QVERIFY2(m_mostBehind < 400, qPrintable(QString::number(m_mostBehind)));
    // Not more often than that is of use: the people who come and go are to be seen as well.
    QVERIFY(m_repeats <= 4);
}

void JournalTest::howToJoinIsNotRepeatedWhileItIsInSight()
{
    for (std::size_t line = 0; line + 1 < LineReminder::maxLinesBehind; ++line) {
        m_journal->tell(QStringLiteral("a line"));
    }
    passUntil(m_now + 1h);
    QCOMPARE(m_repeats, std::size_t{0});
    QVERIFY(!m_journal->nextDue());
    m_journal->tell(QStringLiteral("one more"));
    QVERIFY(m_journal->nextDue());
    passUntil(m_now);
    QCOMPARE(m_repeats, std::size_t{1});
    QVERIFY(!m_journal->nextDue());
}

void JournalTest::theLastLineIsNotFollowedByHowToJoin()
{
    for (std::size_t line = 0; line < LineReminder::maxLinesBehind; ++line) {
        m_journal->tell(QStringLiteral("a line"));
    }
    m_journal->tellHeldBack(Clock::time_point::max());
    read();
    QCOMPARE(m_repeats, std::size_t{0});
}

QTEST_APPLESS_MAIN(JournalTest)
#include "JournalTest.moc"

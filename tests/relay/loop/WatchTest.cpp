#include "relay/loop/Watch.h"
#include "base/FileDescriptor.h"
#include "relay/loop/MainLoop.h"
#include "relay/loop/MainThread.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <glib.h>
#include <thread>
#include <vector>

using namespace wingbell;
using namespace std::chrono_literals;

namespace {

struct Pipe
{
    Pipe()
    {
        std::array<int, 2> ends = {-1, -1};
        if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) == 0) {
            reading = FileDescriptor(ends.front());
            writing = FileDescriptor(ends.back());
        }
    }

    void write() const { QCOMPARE(::write(writing.get(), ".", 1), ssize_t{1}); }

    FileDescriptor reading;
    FileDescriptor writing;
};

/// Whatever is due now is done; true when there was something.
bool turn()
{
    return g_main_context_iteration(nullptr, FALSE) == TRUE;
}

} // namespace

class WatchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatCanBeReadIsToldUntilItIsRead();
    void whatTakesSomethingIsTold();
    void anEndedWatchTellsNothing();
    void aWatchMayEndItselfWhileItTells();
    void aMovedWatchGoesOn();
    void aDelayEndsOnce();
    void aPeriodEndsAgainAndAgain();
    void workFromAnotherThreadIsDoneHereInOrder();
};

void WatchTest::whatCanBeReadIsToldUntilItIsRead()
{
    const Pipe pipe;
    int told = 0;
    const Watch watch = Watch::readable(pipe.reading.get(), [&told] { ++told; });
    QVERIFY(!turn());
    pipe.write();
    QVERIFY(turn());
    QVERIFY(turn());
    QCOMPARE(told, 2);
}

void WatchTest::whatTakesSomethingIsTold()
{
    const Pipe pipe;
    int told = 0;
    const Watch watch = Watch::writable(pipe.writing.get(), [&told] { ++told; });
    QVERIFY(turn());
    QCOMPARE(told, 1);
}

void WatchTest::anEndedWatchTellsNothing()
{
    const Pipe pipe;
    pipe.write();
    int told = 0;
    Watch watch = Watch::readable(pipe.reading.get(), [&told] { ++told; });
    QVERIFY(watch.isActive());
    watch = Watch();
    QVERIFY(!watch.isActive());
    QVERIFY(!turn());
    QCOMPARE(told, 0);
}

void WatchTest::aWatchMayEndItselfWhileItTells()
{
    const Pipe pipe;
    pipe.write();
    int told = 0;
    Watch watch;
    watch = Watch::readable(pipe.reading.get(), [&] {
        watch = Watch();
        ++told;
    });
    QVERIFY(turn());
    QVERIFY(!turn());
    QCOMPARE(told, 1);
}

void WatchTest::aMovedWatchGoesOn()
{
    const Pipe pipe;
    pipe.write();
    int told = 0;
    Watch first = Watch::readable(pipe.reading.get(), [&told] { ++told; });
    const Watch second = std::move(first);
    QVERIFY(turn());
    QCOMPARE(told, 1);
}

void WatchTest::aDelayEndsOnce()
{
    MainLoop loop;
    int told = 0;
    const Watch once = Watch::after(0ms, [&told] { ++told; });
    const Watch end = Watch::after(5ms, [&loop] { loop.quit(); });
    loop.run();
    QCOMPARE(told, 1);
}

void WatchTest::aPeriodEndsAgainAndAgain()
{
    MainLoop loop;
    int told = 0;
    const Watch watch = Watch::every(1ms, [&] {
        if (++told == 3) {
            loop.quit();
        }
    });
    loop.run();
    QCOMPARE(told, 3);
}

void WatchTest::workFromAnotherThreadIsDoneHereInOrder()
{
    MainLoop loop;
    const std::thread::id here = std::this_thread::get_id();
    std::vector<int> done;
    std::thread other([&] {
        for (int number = 0; number < 100; ++number) {
            postToMainThread([&done, here, number] {
                if (std::this_thread::get_id() == here) {
                    done.push_back(number);
                }
            });
        }
        postToMainThread([&loop] { loop.quit(); });
    });
    loop.run();
    other.join();
    QCOMPARE(done.size(), std::size_t{100});
    QVERIFY(std::is_sorted(done.begin(), done.end()));
}

WINGBELL_APPLESS_TEST(WatchTest)
#include "WatchTest.moc"

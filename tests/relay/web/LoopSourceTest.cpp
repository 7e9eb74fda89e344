#include "relay/web/LoopSource.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <array>
#include <poll.h>
#include <unistd.h>

using namespace wingbell;
using namespace std::chrono_literals;

class LoopSourceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void aDescriptorIsWaitedForOnlyWhenAwaited();
    void aTimeComesOnceAndNotBeforeItIsDue();
    void aTimeThatWasSetCanBeTakenBack();
    void soonComesFromTheLoopAndOnce();
    void itMayBeDestroyedFromInsideItsCall();

private:
    std::array<int, 2> m_pipe = {};
};

void LoopSourceTest::init()
{
    QVERIFY(::pipe(m_pipe.data()) == 0);
}

void LoopSourceTest::cleanup()
{
    ::close(m_pipe[0]);
    ::close(m_pipe[1]);
}

void LoopSourceTest::aDescriptorIsWaitedForOnlyWhenAwaited()
{
    int ready = 0;
    int times = 0;
    LoopSource source(m_pipe[0], [&](short events) {
        ready += (events & POLLIN) != 0 ? 1 : 0;
        source.await(0);
    });
    LoopSource other([&](short) { ++times; });
    QVERIFY(::write(m_pipe[1], "x", 1) == 1);
    other.wakeSoon();
    QTRY_COMPARE(times, 1);
    QCOMPARE(ready, 0);
    source.await(POLLIN);
    QTRY_COMPARE(ready, 1);
    other.wakeSoon();
    QTRY_COMPARE(times, 2);
    QCOMPARE(ready, 1);
}

void LoopSourceTest::aTimeComesOnceAndNotBeforeItIsDue()
{
    std::vector<LoopSource::Clock::time_point> calls;
    LoopSource source([&](short events) {
        QCOMPARE(events, short(0));
        calls.push_back(LoopSource::Clock::now());
    });
    const auto due = LoopSource::Clock::now() + 30ms;
    source.wakeAt(due);
    QTRY_COMPARE(calls.size(), std::size_t(1));
    QVERIFY(calls.front() >= due);
    bool isLater = false;
    LoopSource end([&](short) { isLater = true; });
    end.wakeAt(LoopSource::Clock::now() + 30ms);
    QTRY_VERIFY(isLater);
    QCOMPARE(calls.size(), std::size_t(1));
}

void LoopSourceTest::aTimeThatWasSetCanBeTakenBack()
{
    int calls = 0;
    bool isLater = false;
    LoopSource source([&](short) { ++calls; });
    LoopSource end([&](short) { isLater = true; });
    source.wakeAt(LoopSource::Clock::now() + 5ms);
    source.wakeAt(std::nullopt);
    end.wakeAt(LoopSource::Clock::now() + 20ms);
    QTRY_VERIFY(isLater);
    QCOMPARE(calls, 0);
}

void LoopSourceTest::soonComesFromTheLoopAndOnce()
{
    int calls = 0;
    LoopSource source([&](short) { ++calls; });
    source.wakeSoon();
    source.wakeSoon();
    QCOMPARE(calls, 0);
    QTRY_COMPARE(calls, 1);
}

void LoopSourceTest::itMayBeDestroyedFromInsideItsCall()
{
    auto text = std::make_shared<QByteArray>("still here");
    std::unique_ptr<LoopSource> source;
    QByteArray seen;
    source = std::make_unique<LoopSource>([&source, &seen, text](short) {
        source.reset();
        seen = *text;
    });
    source->wakeSoon();
    QTRY_COMPARE(seen, QByteArray("still here"));
}

WINGBELL_GUILESS_TEST(LoopSourceTest)
#include "LoopSourceTest.moc"

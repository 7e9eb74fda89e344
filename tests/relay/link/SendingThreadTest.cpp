#include "relay/link/SendingThread.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <atomic>
#include <memory>
#include <semaphore>

using namespace wingbell;

namespace {

/// Tells of each call and, when asked to, is slow about it.
class TellingSender final : public SendingThread::Sender
{
public:
    void sendWaiting() override
    {
        ++calls;
        called.release();
        if (isSlow) {
            mayGoOn.acquire();
        }
    }

    std::atomic<int> calls{0};
    std::atomic<bool> isSlow{false};
    std::counting_semaphore<> called{0};
    std::counting_semaphore<> mayGoOn{0};
};

} // namespace

class SendingThreadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everySenderIsCalledWhenWoken();
    void aWakeWhileItWorksIsNotLost();
    void aSenderThatIsGoneIsCalledNoMore();
    void itEndsWhileItRests();
};

void SendingThreadTest::everySenderIsCalledWhenWoken()
{
    const auto first = std::make_shared<TellingSender>();
    const auto second = std::make_shared<TellingSender>();
    SendingThread thread;
    thread.add(first);
    thread.add(second);
    thread.wake();
    first->called.acquire();
    second->called.acquire();
    QCOMPARE(first->calls.load(), 1);
}

void SendingThreadTest::aWakeWhileItWorksIsNotLost()
{
    const auto sender = std::make_shared<TellingSender>();
    sender->isSlow = true;
    SendingThread thread;
    thread.add(sender);
    thread.wake();
    sender->called.acquire();
    thread.wake(); // it is at work for the first one
    sender->isSlow = false;
    sender->mayGoOn.release();
    sender->called.acquire();
    QCOMPARE(sender->calls.load(), 2);
}

void SendingThreadTest::aSenderThatIsGoneIsCalledNoMore()
{
    const auto staying = std::make_shared<TellingSender>();
    auto going = std::make_shared<TellingSender>();
    const std::weak_ptr<TellingSender> gone = going;
    SendingThread thread;
    thread.add(going);
    thread.add(staying);
    thread.wake();
    staying->called.acquire();
    going.reset();
    thread.wake();
    staying->called.acquire();
    QVERIFY(gone.expired());
}

void SendingThreadTest::itEndsWhileItRests()
{
    const auto sender = std::make_shared<TellingSender>();
    {
        SendingThread thread;
        thread.add(sender);
    }
    QVERIFY(sender.use_count() == 1);
}

WINGBELL_APPLESS_TEST(SendingThreadTest)
#include "SendingThreadTest.moc"

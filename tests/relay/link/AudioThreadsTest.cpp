#include "relay/audio/MixerThread.h"
#include "relay/audio/Room.h"
#include "relay/link/MediaTransport.h"
#include "relay/link/WebRtcLink.h"
#include "tests/TestProgram.h"
#include "tests/relay/audio/TalkingClient.h"
#include "tests/relay/link/Phone.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <dlfcn.h>
#include <pthread.h>
#include <string_view>
#include <thread>
#include <unistd.h>

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void __libc_free(void*);
}

namespace {

std::atomic<bool> isCounting = false;
std::atomic<int> memoryCalls = 0;
std::atomic<int> locks = 0;
std::atomic<int> lines = 0;
std::atomic<int> otherCalls = 0;

constexpr std::array<std::string_view, 8> encryption = {"libsrtp2.",    "libnss3.",  "libnssutil3.",
                                                        "libsoftokn3.", "libfreebl", "libnspr4.",
                                                        "libnice.",     "libgnutls."};

/// Whether this is the mixer thread or the network thread. Neither allocates nor locks.
bool isAudioThread()
{
    std::array<char, 16> name = {};
    (void)::pthread_getname_np(::pthread_self(), name.data(), name.size());
    return std::strcmp(name.data(), "mixer") == 0 || std::strcmp(name.data(), "network") == 0;
}

/// Whether it is code of the libraries that encrypt packets (libsrtp, which has NSS do it) and sign
/// connectivity checks (libnice, which has GnuTLS do it). They allocate and lock for each of them.
bool isEncryption(const void* caller)
{
    Dl_info info = {};
    if (::dladdr(caller, &info) == 0 || info.dli_fname == nullptr) {
        return false;
    }
    const std::string_view file = info.dli_fname;
    return std::any_of(encryption.begin(), encryption.end(), [file](std::string_view library) {
        return file.find(library) != std::string_view::npos;
    });
}

void count(std::atomic<int>& calls, const void* caller)
{
    if (!isCounting) {
        return;
    }
    if (!isAudioThread() || isEncryption(caller)) {
        ++otherCalls;
    } else {
        ++calls;
    }
}

} // namespace

// Every library of this program calls these in place of the C library's.
extern "C" {

void* malloc(std::size_t size)
{
    count(memoryCalls, __builtin_return_address(0));
    return __libc_malloc(size);
}

void* calloc(std::size_t number, std::size_t size)
{
    count(memoryCalls, __builtin_return_address(0));
    return __libc_calloc(number, size);
}

void* realloc(void* memory, std::size_t size)
{
    count(memoryCalls, __builtin_return_address(0));
    return __libc_realloc(memory, size);
}

void free(void* memory)
{
    if (memory != nullptr) {
        count(memoryCalls, __builtin_return_address(0));
    }
    __libc_free(memory);
}

int pthread_mutex_lock(pthread_mutex_t* mutex)
{
    using Lock = int (*)(pthread_mutex_t*);
    static const auto lock = reinterpret_cast<Lock>(::dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    count(locks, __builtin_return_address(0));
    return lock(mutex);
}

ssize_t write(int descriptor, const void* bytes, std::size_t size)
{
    using Write = ssize_t (*)(int, const void*, std::size_t);
    static const auto real = reinterpret_cast<Write>(::dlsym(RTLD_NEXT, "write"));
    if (descriptor == STDOUT_FILENO || descriptor == STDERR_FILENO) {
        count(lines, __builtin_return_address(0));
    }
    return real(descriptor, bytes, size);
}
}

using namespace wingbell;

namespace {

/// Takes all the time of every core.
class Load
{
public:
    Load()
    {
        for (unsigned thread = 0; thread < 2 * std::thread::hardware_concurrency(); ++thread) {
            m_threads.emplace_back([this] {
                while (!m_isOver) {
                }
            });
        }
    }

    ~Load()
    {
        m_isOver = true;
        for (std::thread& thread : m_threads) {
            thread.join();
        }
    }

    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

private:
    std::atomic<bool> m_isOver = false;
    std::vector<std::thread> m_threads;
};

/// An announcement of a quarter of a second.
class Hum : public AudioSource
{
public:
    std::size_t read(std::span<float> samples) override
    {
        std::fill(samples.begin(), samples.end(), 0.1F);
        m_samplesLeft -= static_cast<int>(samples.size());
        return samples.size();
    }

    [[nodiscard]] bool isFinished() const override { return m_samplesLeft <= 0; }

private:
    std::atomic<int> m_samplesLeft = sampleRate / 4;
};

/// A desk with its audio threads.
struct Desk
{
    Room room{2, 960};
    MixerThread mixer{room};
    MediaTransport transport{newSocket(), DtlsContext::make(), {960, [] {
                                                                    return std::vector{QHostAddress(
                                                                        QHostAddress::LocalHost)};
                                                                }}};
};

/// A member of the crew whose call stands.
struct Member
{
    explicit Member(Desk& desk)
        : m_room(desk.room)
        , link(desk.transport.makeLink())
        , id(m_room.join(ChannelSet::all(2), ChannelSet::all(2), link).value())
        , phone(link->offer())
    {
        MediaAnswer answer = phone.answer();
        answer.takesRed = true;
        link->takeAnswer(answer, m_room.receiver(id));
        phone.check();
        QTRY_VERIFY((phone.receive(), phone.responses > 0));
        phone.shakeHands();
        QTRY_VERIFY(phone.isConnected());
        QTRY_COMPARE(link->state(), MediaLink::State::Connected);
    }

    ~Member()
    {
        m_room.leave(id);
        link->close();
    }

    Member(const Member&) = delete;
    Member& operator=(const Member&) = delete;

    /// Says the next 20 ms, loses some, and asks for what it has not got.
    void speak(int packet)
    {
        const std::vector<std::uint8_t> bytes = m_talker.next();
        if (packet % 5 != 0) {
            phone.send(bytes);
        }
        phone.receive();
        if (packet % 3 == 0 && !phone.media.empty()) {
            phone.askFor(phone.media.back()[2], phone.media.back()[3]);
        }
    }

private:
    Room& m_room;
    TalkingClient m_talker{tone(440), maxCycleSamples, phoneSource};

public:
    std::shared_ptr<MediaLink> link;
    ParticipantId id;
    Phone phone;
};

} // namespace

class AudioThreadsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void neitherAllocatesNorWaitsNorWritesALine();
};

void AudioThreadsTest::neitherAllocatesNorWaitsNorWritesALine()
{
    const Load load;
    Desk desk;
    Member talker(desk);
    Member listener(desk);
    desk.room.setTalk(talker.id, ChannelSet::all(2));
    isCounting = true;
    for (int packet = 0; packet < 150; ++packet) {
        const std::uint64_t cycles = desk.mixer.cycles();
        talker.speak(packet);
        listener.speak(packet);
        talker.phone.check();
        listener.phone.sendForged();
        desk.room.setLevels(listener.id, {packet % 20 < 10 ? 0.5F : 1.0F, 1});
        if (packet % 20 == 0) {
            QVERIFY(desk.room.announce(std::make_shared<Hum>(), ChannelSet::all(2)));
        }
        if (packet % 40 == 0) {
            const Member another(desk); // joins and leaves
        }
        QVERIFY(QTest::qWaitFor([&] { return desk.mixer.cycles() > cycles; }));
    }
    isCounting = false;
    QVERIFY(desk.room.received(talker.id).packets > 50);
    QVERIFY(listener.phone.packets > 50);
    QVERIFY(otherCalls > 100); // the counting counts
    QCOMPARE(memoryCalls.load(), 0);
    QCOMPARE(locks.load(), 0);
    QCOMPARE(lines.load(), 0);
}

WINGBELL_GUILESS_TEST(AudioThreadsTest)
#include "AudioThreadsTest.moc"

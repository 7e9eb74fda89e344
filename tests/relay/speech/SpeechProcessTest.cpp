#include "relay/speech/SpeechProcess.h"
#include "tests/TestProgram.h"
#include "tests/fixtures/ChildProcesses.h"
#include "tests/relay/speech/SpeechProgram.h"

#include <QTest>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace wingbell;

namespace {

/// Until something happens to `descriptor`, or much too long.
bool happens(int descriptor, short what)
{
    pollfd waiting = {descriptor, what, 0};
    return ::poll(&waiting, 1, 30000) == 1;
}

QByteArray readAll(const SpeechProcess& process)
{
    QByteArray all;
    QByteArray buffer(65536, '\0');
    while (happens(process.output(), POLLIN)) {
        const ssize_t count = ::read(process.output(), buffer.data(), 65536);
        if (count <= 0) {
            break;
        }
        all += buffer.first(count);
    }
    return all;
}

} // namespace

class SpeechProcessTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QVERIFY(childProcesses().isEmpty()); }

    void itGetsItsTextAndGivesItsOutput();
    void itInheritsNeitherSignalsNorDescriptors();
    void aMissingProgramIsAnError();
    void aProgramThatMayNotBeRunIsAnError();
    void itsStatusIsTold();
    void itEndsWithItsOwner();
    void aStoppedOneEndsWithItsOwnerToo();
};

void SpeechProcessTest::itGetsItsTextAndGivesItsOutput()
{
    const SpeechProgram program(QStringLiteral("notes"));
    QVERIFY(program.isThere());
    SpeechProcess process(program.path(), {"--flag", "two words", ""});
    QCOMPARE(process.error(), 0);
    QCOMPARE(::write(process.input(), "Hello", 5), ssize_t{5});
    process.closeInput();
    QVERIFY(readAll(process).startsWith("RIFF"));
    QVERIFY(happens(process.end(), POLLIN));
    QCOMPARE(process.waitForEnd(), 0);
    const QStringList notes = program.notes();
    QCOMPARE(notes.at(0), QStringLiteral("argument --flag"));
    QCOMPARE(notes.at(1), QStringLiteral("argument two words"));
    QCOMPARE(notes.last(), QStringLiteral("text Hello"));
}

void SpeechProcessTest::itInheritsNeitherSignalsNorDescriptors()
{
    sigset_t blocked = {};
    sigset_t before = {};
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGINT);
    QCOMPARE(::sigprocmask(SIG_BLOCK, &blocked, &before), 0);
    const auto pipeBefore = ::signal(SIGPIPE, SIG_IGN);
    const auto hangUpBefore = ::signal(SIGHUP, SIG_IGN);
    const FileDescriptor handedOn(::open("/dev/null", O_RDONLY)); // without O_CLOEXEC
    QVERIFY(handedOn.isOpen());

    const SpeechProgram program(QStringLiteral("notes"));
    SpeechProcess process(program.path(), {});
    process.closeInput();
    QVERIFY(!readAll(process).isEmpty());

    ::signal(SIGHUP, hangUpBefore);
    ::signal(SIGPIPE, pipeBefore);
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
    QCOMPARE(program.notes(), QStringList{QStringLiteral("text ")});
}

void SpeechProcessTest::aMissingProgramIsAnError()
{
    const SpeechProcess missing("/nowhere/espeak-ng", {});
    QCOMPARE(missing.error(), ENOENT);
    const SpeechProcess notInPath("no-program-of-this-name", {});
    QCOMPARE(notInPath.error(), ENOENT);
}

void SpeechProcessTest::aProgramThatMayNotBeRunIsAnError()
{
    const SpeechProcess folder("/tmp", {});
    QCOMPARE(folder.error(), EACCES);
}

void SpeechProcessTest::itsStatusIsTold()
{
    const SpeechProgram failing(QStringLiteral("exits-midway"));
    SpeechProcess process(failing.path(), {});
    QVERIFY(happens(process.end(), POLLIN));
    const int status = process.waitForEnd();
    QVERIFY(WIFEXITED(status));
    QCOMPARE(WEXITSTATUS(status), 3);

    const SpeechProgram dying(QStringLiteral("dies"));
    SpeechProcess other(dying.path(), {});
    QCOMPARE(WTERMSIG(other.waitForEnd()), SIGTERM);
}

void SpeechProcessTest::itEndsWithItsOwner()
{
    const SpeechProgram program(QStringLiteral("hangs"));
    {
        const SpeechProcess process(program.path(), {});
        QCOMPARE(childProcesses().size(), 1);
    }
    QVERIFY(childProcesses().isEmpty());
}

void SpeechProcessTest::aStoppedOneEndsWithItsOwnerToo()
{
    const SpeechProgram program(QStringLiteral("hangs"));
    const SpeechProcess process(program.path(), {});
    QCOMPARE(::kill(childProcesses().value(0), SIGSTOP), 0);
}

WINGBELL_GUILESS_TEST(SpeechProcessTest)
#include "SpeechProcessTest.moc"

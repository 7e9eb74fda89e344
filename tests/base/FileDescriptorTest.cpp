#include "base/FileDescriptor.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

using namespace wingbell;

namespace {

FileDescriptor nullDevice()
{
    return FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC));
}

bool isOpen(int descriptor)
{
    return ::fcntl(descriptor, F_GETFD) != -1;
}

} // namespace

class FileDescriptorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itIsClosedWithItsOwner();
    void aMoveHandsItOver();
    void closedStandardDescriptorsAreOpened_data();
    void closedStandardDescriptorsAreOpened();
};

void FileDescriptorTest::itIsClosedWithItsOwner()
{
    int number = -1;
    {
        const FileDescriptor descriptor = nullDevice();
        number = descriptor.get();
        QVERIFY(descriptor.isOpen());
        QVERIFY(isOpen(number));
    }
    QVERIFY(!isOpen(number));
    QVERIFY(!FileDescriptor().isOpen());
    QVERIFY(FileDescriptor().close());
}

void FileDescriptorTest::aMoveHandsItOver()
{
    FileDescriptor first = nullDevice();
    const int number = first.get();
    FileDescriptor second = nullDevice();
    const int replaced = second.get();
    second = std::move(first);
    QCOMPARE(second.get(), number);
    QVERIFY(isOpen(number));
    QVERIFY(!isOpen(replaced));
    QVERIFY(second.close());
    QVERIFY(!second.isOpen());
    QVERIFY(!isOpen(number));
}

void FileDescriptorTest::closedStandardDescriptorsAreOpened_data()
{
    QTest::addColumn<int>("closed");
    QTest::newRow("input") << STDIN_FILENO;
    QTest::newRow("output") << STDOUT_FILENO;
    QTest::newRow("error") << STDERR_FILENO;
}

void FileDescriptorTest::closedStandardDescriptorsAreOpened()
{
    QFETCH(int, closed);
    const pid_t child = ::fork(); // a child process may close its own
    if (child == 0) {
        (void)::close(closed);
        ensureStandardDescriptorsOpen();
        const FileDescriptor next = nullDevice();
        ::_exit(isOpen(closed) && next.get() > STDERR_FILENO ? 0 : 1);
    }
    int status = -1;
    QCOMPARE(::waitpid(child, &status, 0), child);
    QCOMPARE(status, 0);
}

WINGBELL_APPLESS_TEST(FileDescriptorTest)
#include "FileDescriptorTest.moc"

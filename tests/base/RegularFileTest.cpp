#include "base/RegularFile.h"
#include "tests/TestProgram.h"

#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using namespace wingbell;

namespace {

constexpr qsizetype maxSize = qsizetype{1024} * 1024;

void write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

} // namespace

/// How a file is written is tried where shows are saved, in ShowConfigTest.
class RegularFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatIsNoRegularFileIsRefusedAtOnce_data();
    void whatIsNoRegularFileIsRefusedAtOnce();
    void anEnormousFileIsRefused();
    void aFileOfTheLargestSizeIsRead();
    void aLinkIsFollowed();
};

void RegularFileTest::whatIsNoRegularFileIsRefusedAtOnce_data()
{
    QTest::addColumn<QString>("kind");
    for (const char* kind : {"missing", "folder", "pipe", "device", "dangling link", "loop"}) {
        QTest::newRow(kind) << QString::fromLatin1(kind);
    }
}

void RegularFileTest::whatIsNoRegularFileIsRefusedAtOnce()
{
    QFETCH(const QString, kind);
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"file"_s);
    if (kind == u"folder"_s) {
        QVERIFY(QDir().mkdir(path));
    } else if (kind == u"pipe"_s) {
        QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    } else if (kind == u"device"_s) {
        QVERIFY(QFile::link(u"/dev/zero"_s, path));
    } else if (kind == u"dangling link"_s) {
        QVERIFY(QFile::link(folder.filePath(u"nowhere"_s), path));
    } else if (kind == u"loop"_s) {
        QVERIFY(QFile::link(path, path));
    }
    const auto bytes = readRegularFile(path, maxSize);
    QVERIFY(!bytes);
    QVERIFY(!bytes.error().reason.isEmpty());
    QCOMPARE(
        bytes.error().kind == FileError::Kind::Missing,
        kind == u"missing"_s || kind == u"dangling link"_s);
}

void RegularFileTest::anEnormousFileIsRefused()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"file"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(qint64{40} * 1024 * 1024 * 1024)); // sparse: takes no room
    file.close();
    QCOMPARE(readRegularFile(file.fileName(), maxSize).error().kind, FileError::Kind::TooLarge);
}

void RegularFileTest::aFileOfTheLargestSizeIsRead()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"file"_s);
    const QByteArray bytes(maxSize, 'x');
    write(path, bytes);
    QCOMPARE(readRegularFile(path, maxSize).value(), bytes);
    write(path, bytes + 'x');
    QCOMPARE(readRegularFile(path, maxSize).error().kind, FileError::Kind::TooLarge);
}

void RegularFileTest::aLinkIsFollowed()
{
    const QTemporaryDir folder;
    write(folder.filePath(u"elsewhere"_s), "bytes");
    QVERIFY(QFile::link(folder.filePath(u"elsewhere"_s), folder.filePath(u"file"_s)));
    QCOMPARE(readRegularFile(folder.filePath(u"file"_s), maxSize).value(), "bytes");
}

WINGBELL_APPLESS_TEST(RegularFileTest)
#include "RegularFileTest.moc"

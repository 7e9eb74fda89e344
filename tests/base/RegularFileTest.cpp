#include "base/RegularFile.h"
#include "tests/TestProgram.h"

#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

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
    const QString path = folder.filePath(u"file"_qs);
    if (kind == u"folder"_qs) {
        QVERIFY(QDir().mkdir(path));
    } else if (kind == u"pipe"_qs) {
        QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    } else if (kind == u"device"_qs) {
        QVERIFY(QFile::link(u"/dev/zero"_qs, path));
    } else if (kind == u"dangling link"_qs) {
        QVERIFY(QFile::link(folder.filePath(u"nowhere"_qs), path));
    } else if (kind == u"loop"_qs) {
        QVERIFY(QFile::link(path, path));
    }
    const auto bytes = readRegularFile(path, maxSize);
    QVERIFY(!bytes);
    QVERIFY(!bytes.error().reason.isEmpty());
    QCOMPARE(
        bytes.error().kind == FileError::Kind::Missing,
        kind == u"missing"_qs || kind == u"dangling link"_qs);
}

void RegularFileTest::anEnormousFileIsRefused()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"file"_qs));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(qint64{40} * 1024 * 1024 * 1024)); // sparse: takes no room
    file.close();
    QCOMPARE(readRegularFile(file.fileName(), maxSize).error().kind, FileError::Kind::TooLarge);
}

void RegularFileTest::aFileOfTheLargestSizeIsRead()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"file"_qs);
    const QByteArray bytes(maxSize, 'x');
    write(path, bytes);
    QCOMPARE(readRegularFile(path, maxSize).value(), bytes);
    write(path, bytes + 'x');
    QCOMPARE(readRegularFile(path, maxSize).error().kind, FileError::Kind::TooLarge);
}

void RegularFileTest::aLinkIsFollowed()
{
    const QTemporaryDir folder;
    write(folder.filePath(u"elsewhere"_qs), "bytes");
    QVERIFY(QFile::link(folder.filePath(u"elsewhere"_qs), folder.filePath(u"file"_qs)));
    QCOMPARE(readRegularFile(folder.filePath(u"file"_qs), maxSize).value(), "bytes");
}

WINGBELL_APPLESS_TEST(RegularFileTest)
#include "RegularFileTest.moc"

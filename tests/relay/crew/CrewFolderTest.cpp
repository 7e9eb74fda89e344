#include "relay/crew/CrewFolder.h"
#include "tests/TestProgram.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <sys/stat.h>
#include <unistd.h>

using namespace wingbell;

namespace {

const QString name = QStringLiteral("secret");

unsigned modeOf(const QString& path)
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 07777U : 0;
}

void setMode(const QString& path, unsigned mode)
{
    QCOMPARE(::chmod(QFile::encodeName(path).constData(), mode), 0);
}

void put(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

} // namespace

class CrewFolderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void whatIsWrittenIsReadAgain();
    void nothingIsThereAtFirst();
    void theFolderIsForTheUserAlone();
    void theFileIsForTheUserAlone();
    void aFileIsReplacedAsAWhole();
    void nothingIsLeftBesideTheFile();
    void anOpenFolderIsClosedToOthers();
    void aFileThatOthersCouldReadIsNotBelieved();
    void aFileThatOthersCouldWriteIsNotBelieved();
    void aLinkInPlaceOfTheFileIsNotFollowed();
    void aLinkInPlaceOfTheFolderIsNotFollowed();
    void aLinkInPlaceOfTheFileIsReplaced();
    void aPipeIsNotWaitedFor();
    void aFolderInPlaceOfTheFileIsAProblem();
    void aFileInPlaceOfTheFolderIsAProblem();
    void anotherOwnersFileIsNotBelieved();
    void anotherOwnersFolderIsNotUsed();
    void aFileThatIsTooLargeIsAProblem();
    void aProblemNamesThePath();
    void whereNoFolderCanBeMadeThatIsTold();
    void theStandardPathFollowsTheConvention_data();
    void theStandardPathFollowsTheConvention();

private:
    [[nodiscard]] QString path() const
    {
        return m_place->filePath(QStringLiteral("state/wingbell"));
    }
    [[nodiscard]] QString filePath() const { return path() + QLatin1Char('/') + name; }
    [[nodiscard]] CrewFolder folder() const { return CrewFolder(path()); }

    std::unique_ptr<QTemporaryDir> m_place;
};

void CrewFolderTest::init()
{
    m_place = std::make_unique<QTemporaryDir>();
    QVERIFY(m_place->isValid());
}

void CrewFolderTest::whatIsWrittenIsReadAgain()
{
    const QByteArray bytes("one\0two\n\xFF", 9);
    QVERIFY(!folder().write(name, bytes));
    const CrewFolder::Reading reading = folder().read(name);
    QCOMPARE(reading.bytes.value(), bytes);
    QCOMPARE(reading.problem, QString());
}

void CrewFolderTest::nothingIsThereAtFirst()
{
    QVERIFY(!folder().read(name).bytes);
    QCOMPARE(folder().read(name).problem, QString());
    QVERIFY(!QFileInfo::exists(path()));
    QVERIFY(!folder().write(QStringLiteral("other"), "x"));
    QVERIFY(!folder().read(name).bytes);
    QCOMPARE(folder().read(name).problem, QString());
}

void CrewFolderTest::theFolderIsForTheUserAlone()
{
    const mode_t before = ::umask(0);
    const auto problem = folder().write(name, "x");
    ::umask(before);
    QVERIFY(!problem);
    QCOMPARE(modeOf(path()), 0700U);
    QCOMPARE(modeOf(m_place->filePath(QStringLiteral("state"))), 0700U);
}

void CrewFolderTest::theFileIsForTheUserAlone()
{
    const mode_t before = ::umask(0);
    const auto problem = folder().write(name, "x");
    ::umask(before);
    QVERIFY(!problem);
    QCOMPARE(modeOf(filePath()), 0600U);
}

void CrewFolderTest::aFileIsReplacedAsAWhole()
{
    QVERIFY(!folder().write(name, QByteArray(10000, 'a')));
    QFile old(filePath());
    QVERIFY(old.open(QIODevice::ReadOnly));
    QVERIFY(!folder().write(name, "b"));
    QCOMPARE(folder().read(name).bytes.value(), QByteArray("b"));
    QCOMPARE(old.readAll(), QByteArray(10000, 'a'));
}

void CrewFolderTest::nothingIsLeftBesideTheFile()
{
    QVERIFY(!folder().write(name, "a"));
    QVERIFY(!folder().write(name, "b"));
    QVERIFY(QDir(path()).mkdir(QStringLiteral("taken")));
    QVERIFY(QDir(path()).mkdir(QStringLiteral("taken/inside")));
    QVERIFY(folder().write(QStringLiteral("taken"), "c"));
    QCOMPARE(
        QDir(path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
        (QStringList{name, QStringLiteral("taken")}));
}

void CrewFolderTest::anOpenFolderIsClosedToOthers()
{
    QVERIFY(QDir().mkpath(path()));
    setMode(path(), 0777);
    (void)folder().read(name);
    QCOMPARE(modeOf(path()), 0700U);
    setMode(path(), 0755);
    QVERIFY(!folder().write(name, "x"));
    QCOMPARE(modeOf(path()), 0700U);
}

void CrewFolderTest::aFileThatOthersCouldReadIsNotBelieved()
{
    QVERIFY(!folder().write(name, "x"));
    setMode(filePath(), 0700);
    QCOMPARE(folder().read(name).bytes.value(), QByteArray("x"));
    QCOMPARE(modeOf(filePath()), 0600U);
    for (const unsigned mode : {0644U, 0640U, 0604U}) {
        setMode(filePath(), mode);
        QVERIFY(!folder().read(name).bytes);
        QVERIFY(folder().read(name).problem.endsWith(QStringLiteral("other users could read it")));
    }
    QVERIFY(!folder().write(name, "y"));
    QCOMPARE(folder().read(name).bytes.value(), QByteArray("y"));
    QCOMPARE(modeOf(filePath()), 0600U);
}

void CrewFolderTest::aFileThatOthersCouldWriteIsNotBelieved()
{
    QVERIFY(!folder().write(name, "x"));
    for (const unsigned mode : {0660U, 0602U, 0666U}) {
        setMode(filePath(), mode);
        QVERIFY(!folder().read(name).bytes);
        QVERIFY(
            folder().read(name).problem.endsWith(QStringLiteral("others could have written it")));
    }
    QVERIFY(!folder().write(name, "y"));
    QCOMPARE(folder().read(name).bytes.value(), QByteArray("y"));
}

void CrewFolderTest::aLinkInPlaceOfTheFileIsNotFollowed()
{
    QVERIFY(!folder().write(QStringLiteral("target"), "x"));
    QVERIFY(QFile::link(QStringLiteral("target"), filePath()));
    QVERIFY(!folder().read(name).bytes);
    QVERIFY(folder().read(name).problem.endsWith(QStringLiteral("it is a symbolic link")));
}

void CrewFolderTest::aLinkInPlaceOfTheFolderIsNotFollowed()
{
    const QString elsewhere = m_place->filePath(QStringLiteral("elsewhere"));
    QVERIFY(QDir().mkpath(elsewhere));
    QVERIFY(QDir().mkpath(m_place->filePath(QStringLiteral("state"))));
    QVERIFY(QFile::link(elsewhere, path()));
    QVERIFY(folder().read(name).problem.endsWith(QStringLiteral("it is a symbolic link")));
    QVERIFY(folder().write(name, "x").value().endsWith(QStringLiteral("it is a symbolic link")));
    QVERIFY(QDir(elsewhere).isEmpty());
}

void CrewFolderTest::aLinkInPlaceOfTheFileIsReplaced()
{
    QVERIFY(!folder().write(QStringLiteral("target"), "x"));
    QVERIFY(QFile::link(QStringLiteral("target"), filePath()));
    QVERIFY(!folder().write(name, "y"));
    QVERIFY(!QFileInfo(filePath()).isSymLink());
    QCOMPARE(folder().read(QStringLiteral("target")).bytes.value(), QByteArray("x"));
    QCOMPARE(folder().read(name).bytes.value(), QByteArray("y"));
}

void CrewFolderTest::aPipeIsNotWaitedFor()
{
    QVERIFY(QDir().mkpath(path()));
    QCOMPARE(::mkfifo(QFile::encodeName(filePath()).constData(), 0600), 0);
    QVERIFY(!folder().read(name).bytes);
    QVERIFY(folder().read(name).problem.endsWith(QStringLiteral("it is not a regular file")));
    QVERIFY(!folder().write(name, "x"));
    QCOMPARE(folder().read(name).bytes.value(), QByteArray("x"));
}

void CrewFolderTest::aFolderInPlaceOfTheFileIsAProblem()
{
    QVERIFY(QDir().mkpath(filePath()));
    QVERIFY(!folder().read(name).bytes);
    QVERIFY(!folder().read(name).problem.isEmpty());
    QVERIFY(folder().write(name, "x"));
}

void CrewFolderTest::aFileInPlaceOfTheFolderIsAProblem()
{
    QVERIFY(QDir().mkpath(m_place->filePath(QStringLiteral("state"))));
    put(path(), "a file");
    QVERIFY(!folder().read(name).bytes);
    QVERIFY(!folder().read(name).problem.isEmpty());
    QVERIFY(folder().write(name, "x"));
}

void CrewFolderTest::anotherOwnersFileIsNotBelieved()
{
    if (::geteuid() != 0) {
        QSKIP("only the administrator can give a file away");
    }
    QVERIFY(!folder().write(name, "x"));
    QCOMPARE(::chown(QFile::encodeName(filePath()).constData(), 65534, 65534), 0);
    QVERIFY(!folder().read(name).bytes);
    QVERIFY(folder().read(name).problem.endsWith(QStringLiteral("it belongs to somebody else")));
    QVERIFY(!folder().write(name, "y"));
    QCOMPARE(folder().read(name).bytes.value(), QByteArray("y"));
}

void CrewFolderTest::anotherOwnersFolderIsNotUsed()
{
    QString foreign = QStringLiteral("/usr");
    if (::geteuid() == 0) {
        QVERIFY(!folder().write(name, "x"));
        QCOMPARE(::chown(QFile::encodeName(path()).constData(), 65534, 65534), 0);
        foreign = path();
    }
    const unsigned before = modeOf(foreign);
    QVERIFY(!CrewFolder(foreign).read(name).bytes);
    QVERIFY(CrewFolder(foreign).read(name).problem.endsWith(
        QStringLiteral("it belongs to somebody else")));
    QVERIFY(CrewFolder(foreign).write(name, "x"));
    QCOMPARE(modeOf(foreign), before);
}

void CrewFolderTest::aFileThatIsTooLargeIsAProblem()
{
    QVERIFY(!folder().write(name, QByteArray(CrewFolder::largestFile, 'a')));
    QCOMPARE(folder().read(name).bytes.value().size(), CrewFolder::largestFile);
    QVERIFY(!folder().write(name, QByteArray(CrewFolder::largestFile + 1, 'a')));
    QVERIFY(!folder().read(name).bytes);
    QVERIFY(!folder().read(name).problem.isEmpty());
}

void CrewFolderTest::aProblemNamesThePath()
{
    QVERIFY(QDir().mkpath(filePath()));
    QVERIFY(folder().read(name).problem.startsWith(filePath()));
    QVERIFY(folder().write(name, "x").value().startsWith(filePath()));
}

void CrewFolderTest::whereNoFolderCanBeMadeThatIsTold()
{
    const CrewFolder nowhere(QStringLiteral("/dev/null/state/wingbell"));
    QVERIFY(!nowhere.read(name).bytes);
    QVERIFY(nowhere.write(name, "x").value().startsWith(nowhere.path()));
    QVERIFY(CrewFolder(QString()).write(name, "x"));
    const CrewFolder kernels(QStringLiteral("/proc/wingbell"));
    QVERIFY(kernels.write(name, "x"));
}

void CrewFolderTest::theStandardPathFollowsTheConvention_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("path");
    const QString usual = QDir::homePath() + QStringLiteral("/.local/state/wingbell");
    QTest::newRow("unset") << QString() << usual;
    QTest::newRow("empty") << QStringLiteral("") << usual;
    QTest::newRow("relative") << QStringLiteral("state") << usual;
    QTest::newRow("absolute") << QStringLiteral("/var/state")
                              << QStringLiteral("/var/state/wingbell");
    QTest::newRow("slash at the end")
        << QStringLiteral("/var/state/") << QStringLiteral("/var/state/wingbell");
}

void CrewFolderTest::theStandardPathFollowsTheConvention()
{
    QFETCH(QString, state);
    QProcessEnvironment environment;
    if (!state.isNull()) {
        environment.insert(QStringLiteral("XDG_STATE_HOME"), state);
    }
    QTEST(CrewFolder::standardPath(environment), "path");
}

WINGBELL_APPLESS_TEST(CrewFolderTest)
#include "CrewFolderTest.moc"

#include "relay/access/StateDirectory.h"
#include "relay/access/CrewCode.h"
#include "tests/TestProgram.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <barrier>
#include <functional>
#include <grp.h>
#include <memory>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

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

#define SHARED_FOLDER()                                                                            \
    if (::geteuid() != 0) {                                                                        \
        QSKIP("only the administrator can make a folder for all users");                           \
    }                                                                                              \
    makeShared()

constexpr gid_t crewGroup = 42'000;
constexpr gid_t otherGroup = 42'001;
constexpr uid_t stageManager = 42'010;
constexpr uid_t colleague = 42'011;

void give(const QString& path, uid_t user, gid_t group)
{
    QCOMPARE(::lchown(QFile::encodeName(path).constData(), user, group), 0);
}

/// True if `attempt` is, in a process of this user.
bool isTrueFor(uid_t user, gid_t group, const std::function<bool()>& attempt)
{
    const pid_t child = ::fork();
    if (child == 0) {
        const bool isUser =
            ::setgroups(1, &group) == 0 && ::setgid(group) == 0 && ::setuid(user) == 0;
        ::_exit(isUser && attempt() ? 0 : 1);
    }
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

class StateDirectoryTest : public QObject
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
    void aFolderInPlaceOfTheFileIsAnError();
    void aFileInPlaceOfTheFolderIsAnError();
    void anotherOwnersFileIsNotBelieved();
    void anotherOwnersFolderIsNotUsed();
    void aFileThatIsTooLargeIsAnError();
    void anErrorNamesThePath();
    void whereNoFolderCanBeMadeThatIsTold();
    void theStandardPathFollowsTheConvention_data();
    void theStandardPathFollowsTheConvention();
    void serversThatStartAtOnceGetTheSameCode();
    void withoutASharedFolderTheUsersOwnIsUsed();
    void whatOneUserOfTheSharedFolderWritesTheOthersReadAndReplace();
    void aUserOutsideTheGroupKeepsTheirOwnFolderAndIsTold();
    void anUnsafeSharedFolderIsNotUsed_data();
    void anUnsafeSharedFolderIsNotUsed();
    void aSharedFileThatOthersCouldReadOrWriteIsNotBelieved_data();
    void aSharedFileThatOthersCouldReadOrWriteIsNotBelieved();
    void aSharedFileThatIsALinkIsNotFollowed();
    void aPrivateFilePutIntoTheSharedFolderIsGivenToTheGroup();
    void theSharedFolderKeepsItsMode();

private:
    /// As an administrator makes it.
    void makeShared();
    [[nodiscard]] QString sharedPath() const { return m_place->filePath(QStringLiteral("shared")); }
    [[nodiscard]] QString sharedFile() const { return sharedPath() + QLatin1Char('/') + name; }
    [[nodiscard]] StateDirectory shared() const
    {
        return StateDirectory(sharedPath(), StateDirectory::Sharing::Group);
    }
    [[nodiscard]] StateDirectory::Choice choice() const;
    [[nodiscard]] QString path() const
    {
        return m_place->filePath(QStringLiteral("state/wingbell"));
    }
    [[nodiscard]] QString filePath() const { return path() + QLatin1Char('/') + name; }
    [[nodiscard]] StateDirectory folder() const { return StateDirectory(path()); }

    std::unique_ptr<QTemporaryDir> m_place;
};

void StateDirectoryTest::init()
{
    m_place = std::make_unique<QTemporaryDir>();
    QVERIFY(m_place->isValid());
}

void StateDirectoryTest::whatIsWrittenIsReadAgain()
{
    const QByteArray bytes("one\0two\n\xFF", 9);
    QVERIFY(folder().write(name, bytes));
    QCOMPARE(folder().read(name).value(), bytes);
}

void StateDirectoryTest::nothingIsThereAtFirst()
{
    QCOMPARE(folder().read(name).error().kind, FileError::Kind::Missing);
    QVERIFY(!QFileInfo::exists(path()));
    QVERIFY(folder().write(QStringLiteral("other"), "x"));
    QCOMPARE(folder().read(name).error().kind, FileError::Kind::Missing);
}

void StateDirectoryTest::theFolderIsForTheUserAlone()
{
    const mode_t before = ::umask(0);
    const auto written = folder().write(name, "x");
    ::umask(before);
    QVERIFY(written);
    QCOMPARE(modeOf(path()), 0700U);
    QCOMPARE(modeOf(m_place->filePath(QStringLiteral("state"))), 0700U);
}

void StateDirectoryTest::theFileIsForTheUserAlone()
{
    const mode_t before = ::umask(0);
    const auto written = folder().write(name, "x");
    ::umask(before);
    QVERIFY(written);
    QCOMPARE(modeOf(filePath()), 0600U);
}

void StateDirectoryTest::aFileIsReplacedAsAWhole()
{
    QVERIFY(folder().write(name, QByteArray(10000, 'a')));
    QFile old(filePath());
    QVERIFY(old.open(QIODevice::ReadOnly));
    QVERIFY(folder().write(name, "b"));
    QCOMPARE(folder().read(name).value(), QByteArray("b"));
    QCOMPARE(old.readAll(), QByteArray(10000, 'a'));
}

void StateDirectoryTest::nothingIsLeftBesideTheFile()
{
    QVERIFY(folder().write(name, "a"));
    QVERIFY(folder().write(name, "b"));
    QVERIFY(QDir(path()).mkdir(QStringLiteral("taken")));
    QVERIFY(QDir(path()).mkdir(QStringLiteral("taken/inside")));
    QVERIFY(!folder().write(QStringLiteral("taken"), "c"));
    QCOMPARE(
        QDir(path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
        (QStringList{name, QStringLiteral("taken")}));
}

void StateDirectoryTest::anOpenFolderIsClosedToOthers()
{
    QVERIFY(QDir().mkpath(path()));
    setMode(path(), 0777);
    (void)folder().read(name);
    QCOMPARE(modeOf(path()), 0700U);
    setMode(path(), 0755);
    QVERIFY(folder().write(name, "x"));
    QCOMPARE(modeOf(path()), 0700U);
}

void StateDirectoryTest::aFileThatOthersCouldReadIsNotBelieved()
{
    QVERIFY(folder().write(name, "x"));
    setMode(filePath(), 0700);
    QCOMPARE(folder().read(name).value(), QByteArray("x"));
    QCOMPARE(modeOf(filePath()), 0600U);
    for (const unsigned mode : {0644U, 0640U, 0604U}) {
        setMode(filePath(), mode);
        QVERIFY(!folder().read(name));
        QVERIFY(folder().read(name).error().reason.endsWith(
            QStringLiteral("other users could read it")));
    }
    QVERIFY(folder().write(name, "y"));
    QCOMPARE(folder().read(name).value(), QByteArray("y"));
    QCOMPARE(modeOf(filePath()), 0600U);
}

void StateDirectoryTest::aFileThatOthersCouldWriteIsNotBelieved()
{
    QVERIFY(folder().write(name, "x"));
    for (const unsigned mode : {0660U, 0602U, 0666U}) {
        setMode(filePath(), mode);
        QVERIFY(!folder().read(name));
        QVERIFY(folder().read(name).error().reason.endsWith(
            QStringLiteral("others could have written it")));
    }
    QVERIFY(folder().write(name, "y"));
    QCOMPARE(folder().read(name).value(), QByteArray("y"));
}

void StateDirectoryTest::aLinkInPlaceOfTheFileIsNotFollowed()
{
    QVERIFY(folder().write(QStringLiteral("target"), "x"));
    QVERIFY(QFile::link(QStringLiteral("target"), filePath()));
    QVERIFY(!folder().read(name));
    QVERIFY(folder().read(name).error().reason.endsWith(QStringLiteral("it is a symbolic link")));
}

void StateDirectoryTest::aLinkInPlaceOfTheFolderIsNotFollowed()
{
    const QString elsewhere = m_place->filePath(QStringLiteral("elsewhere"));
    QVERIFY(QDir().mkpath(elsewhere));
    QVERIFY(QDir().mkpath(m_place->filePath(QStringLiteral("state"))));
    QVERIFY(QFile::link(elsewhere, path()));
    QVERIFY(folder().read(name).error().reason.endsWith(QStringLiteral("it is a symbolic link")));
    QVERIFY(
        folder().write(name, "x").error().reason.endsWith(QStringLiteral("it is a symbolic link")));
    QVERIFY(QDir(elsewhere).isEmpty());
}

void StateDirectoryTest::aLinkInPlaceOfTheFileIsReplaced()
{
    QVERIFY(folder().write(QStringLiteral("target"), "x"));
    QVERIFY(QFile::link(QStringLiteral("target"), filePath()));
    QVERIFY(folder().write(name, "y"));
    QVERIFY(!QFileInfo(filePath()).isSymLink());
    QCOMPARE(folder().read(QStringLiteral("target")).value(), QByteArray("x"));
    QCOMPARE(folder().read(name).value(), QByteArray("y"));
}

void StateDirectoryTest::aPipeIsNotWaitedFor()
{
    QVERIFY(QDir().mkpath(path()));
    QCOMPARE(::mkfifo(QFile::encodeName(filePath()).constData(), 0600), 0);
    QVERIFY(!folder().read(name));
    QVERIFY(
        folder().read(name).error().reason.endsWith(QStringLiteral("it is not a regular file")));
    QVERIFY(folder().write(name, "x"));
    QCOMPARE(folder().read(name).value(), QByteArray("x"));
}

void StateDirectoryTest::aFolderInPlaceOfTheFileIsAnError()
{
    QVERIFY(QDir().mkpath(filePath()));
    QVERIFY(!folder().read(name));
    QVERIFY(!folder().read(name).error().reason.isEmpty());
    QVERIFY(!folder().write(name, "x"));
}

void StateDirectoryTest::aFileInPlaceOfTheFolderIsAnError()
{
    QVERIFY(QDir().mkpath(m_place->filePath(QStringLiteral("state"))));
    put(path(), "a file");
    QVERIFY(!folder().read(name));
    QVERIFY(!folder().read(name).error().reason.isEmpty());
    QVERIFY(!folder().write(name, "x"));
}

void StateDirectoryTest::anotherOwnersFileIsNotBelieved()
{
    if (::geteuid() != 0) {
        QSKIP("only the administrator can give a file away");
    }
    QVERIFY(folder().write(name, "x"));
    QCOMPARE(::chown(QFile::encodeName(filePath()).constData(), 65534, 65534), 0);
    QVERIFY(!folder().read(name));
    QVERIFY(
        folder().read(name).error().reason.endsWith(QStringLiteral("it belongs to another user")));
    QVERIFY(folder().write(name, "y"));
    QCOMPARE(folder().read(name).value(), QByteArray("y"));
}

void StateDirectoryTest::anotherOwnersFolderIsNotUsed()
{
    QString foreign = QStringLiteral("/usr");
    if (::geteuid() == 0) {
        QVERIFY(folder().write(name, "x"));
        QCOMPARE(::chown(QFile::encodeName(path()).constData(), 65534, 65534), 0);
        foreign = path();
    }
    const unsigned before = modeOf(foreign);
    QVERIFY(!StateDirectory(foreign).read(name));
    QVERIFY(StateDirectory(foreign).read(name).error().reason.endsWith(
        QStringLiteral("it belongs to another user")));
    QVERIFY(!StateDirectory(foreign).write(name, "x"));
    QCOMPARE(modeOf(foreign), before);
}

void StateDirectoryTest::aFileThatIsTooLargeIsAnError()
{
    QVERIFY(folder().write(name, QByteArray(StateDirectory::maxFileSize, 'a')));
    QCOMPARE(folder().read(name).value().size(), StateDirectory::maxFileSize);
    QVERIFY(folder().write(name, QByteArray(StateDirectory::maxFileSize + 1, 'a')));
    QVERIFY(!folder().read(name));
    QVERIFY(!folder().read(name).error().reason.isEmpty());
}

void StateDirectoryTest::anErrorNamesThePath()
{
    QVERIFY(QDir().mkpath(filePath()));
    QVERIFY(folder().read(name).error().reason.startsWith(filePath()));
    QVERIFY(folder().write(name, "x").error().reason.startsWith(filePath()));
}

void StateDirectoryTest::whereNoFolderCanBeMadeThatIsTold()
{
    const StateDirectory nowhere(QStringLiteral("/dev/null/state/wingbell"));
    QVERIFY(!nowhere.read(name));
    QVERIFY(nowhere.write(name, "x").error().reason.startsWith(nowhere.path()));
    QVERIFY(!StateDirectory(QString()).write(name, "x"));
    const StateDirectory kernels(QStringLiteral("/proc/wingbell"));
    QVERIFY(!kernels.write(name, "x"));
}

void StateDirectoryTest::theStandardPathFollowsTheConvention_data()
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

void StateDirectoryTest::theStandardPathFollowsTheConvention()
{
    QFETCH(QString, state);
    QProcessEnvironment environment;
    if (!state.isNull()) {
        environment.insert(QStringLiteral("XDG_STATE_HOME"), state);
    }
    QTEST(StateDirectory::standardPath(environment), "path");
}

void StateDirectoryTest::serversThatStartAtOnceGetTheSameCode()
{
    constexpr int servers = 8;
    std::barrier start(servers);
    std::vector<QString> codes(servers);
    {
        std::vector<std::jthread> threads;
        for (QString& code : codes) {
            threads.emplace_back([this, &start, &code] {
                start.arrive_and_wait();
                const FileDescriptor lock = folder().lock();
                code = loadOrCreateCrewCode(folder()).code.text();
            });
        }
    }
    for (const QString& code : codes) {
        QCOMPARE(code, codes.front());
    }
}

void StateDirectoryTest::makeShared()
{
    setMode(m_place->path(), 0755);
    QVERIFY(QDir().mkpath(sharedPath()));
    give(sharedPath(), 0, crewGroup);
    setMode(sharedPath(), 02770);
}

StateDirectory::Choice StateDirectoryTest::choice() const
{
    QProcessEnvironment environment;
    environment.insert(
        QStringLiteral("XDG_STATE_HOME"), m_place->filePath(QStringLiteral("state")));
    environment.insert(QStringLiteral("WINGBELL_SHARED_STATE"), sharedPath());
    return StateDirectory::choose(environment);
}

void StateDirectoryTest::withoutASharedFolderTheUsersOwnIsUsed()
{
    QCOMPARE(choice().directory.path(), path());
    QCOMPARE(choice().sharedUnusedBecause, QString());
}

void StateDirectoryTest::whatOneUserOfTheSharedFolderWritesTheOthersReadAndReplace()
{
    SHARED_FOLDER();
    const mode_t before = ::umask(0077);
    QVERIFY(isTrueFor(stageManager, crewGroup, [this] {
        const auto chosen = choice();
        return chosen.directory.path() == sharedPath() && chosen.sharedUnusedBecause.isEmpty() &&
               chosen.directory.lock().isOpen() && chosen.directory.write(name, "x");
    }));
    QCOMPARE(modeOf(sharedFile()), 0660U);
    QCOMPARE(QFileInfo(sharedFile()).ownerId(), stageManager);
    QCOMPARE(QFileInfo(sharedFile()).groupId(), crewGroup);
    QVERIFY(isTrueFor(colleague, crewGroup, [this] {
        const auto chosen = choice().directory;
        return chosen.read(name).value_or(QByteArray()) == "x" && chosen.write(name, "y");
    }));
    QVERIFY(isTrueFor(stageManager, crewGroup, [this] {
        return choice().directory.read(name).value_or(QByteArray()) == "y";
    }));
    ::umask(before);
}

void StateDirectoryTest::aUserOutsideTheGroupKeepsTheirOwnFolderAndIsTold()
{
    SHARED_FOLDER();
    for (const unsigned mode : {02770U, 02775U}) {
        setMode(sharedPath(), mode);
        QVERIFY(isTrueFor(colleague, otherGroup, [this] {
            return choice().directory.path() == path() &&
                   choice().sharedUnusedBecause ==
                       QLatin1String("this user may not read and write it");
        }));
    }
}

void StateDirectoryTest::anUnsafeSharedFolderIsNotUsed_data()
{
    QTest::addColumn<std::function<void(const QString&)>>("spoil");
    QTest::addColumn<QString>("reason");
    using Spoil = std::function<void(const QString&)>;
    QTest::newRow("another owner")
        << Spoil([](const QString& path) { give(path, stageManager, crewGroup); })
        << QStringLiteral("it does not belong to root");
    QTest::newRow("writable by all") << Spoil([](const QString& path) { setMode(path, 02777); })
                                     << QStringLiteral("users outside its group may write in it");
    QTest::newRow("a link") << Spoil([](const QString& path) {
        QVERIFY(QFile::rename(path, path + QStringLiteral(" moved")));
        QVERIFY(QFile::link(path + QStringLiteral(" moved"), path));
    }) << QStringLiteral("it is a symbolic link");
    QTest::newRow("a file") << Spoil([](const QString& path) {
        QVERIFY(QDir().rmdir(path));
        put(path, "a file");
    }) << qt_error_string(ENOTDIR);
}

void StateDirectoryTest::anUnsafeSharedFolderIsNotUsed()
{
    QFETCH(std::function<void(const QString&)>, spoil);
    SHARED_FOLDER();
    spoil(sharedPath());
    QCOMPARE(choice().directory.path(), path());
    QTEST(choice().sharedUnusedBecause, "reason");
    QVERIFY(!shared().read(name));
    QVERIFY(!shared().write(name, "x"));
    QVERIFY(!shared().lock().isOpen());
}

void StateDirectoryTest::aSharedFileThatOthersCouldReadOrWriteIsNotBelieved_data()
{
    QTest::addColumn<unsigned>("mode");
    QTest::addColumn<gid_t>("group");
    QTest::addColumn<QString>("reason");
    const QString read = QStringLiteral("other users could read it");
    const QString written = QStringLiteral("others could have written it");
    QTest::newRow("readable by all") << 0664U << crewGroup << read;
    QTest::newRow("writable by all") << 0662U << crewGroup << written;
    QTest::newRow("readable by another group") << 0640U << otherGroup << read;
    QTest::newRow("writable by another group") << 0660U << otherGroup << written;
}

void StateDirectoryTest::aSharedFileThatOthersCouldReadOrWriteIsNotBelieved()
{
    QFETCH(unsigned, mode);
    QFETCH(gid_t, group);
    QFETCH(QString, reason);
    SHARED_FOLDER();
    QVERIFY(shared().write(name, "x"));
    give(sharedFile(), 0, group);
    setMode(sharedFile(), mode);
    QVERIFY(!shared().read(name));
    QVERIFY(shared().read(name).error().reason.endsWith(reason));
    QVERIFY(shared().write(name, "y"));
    QCOMPARE(shared().read(name).value(), QByteArray("y"));
    QCOMPARE(modeOf(sharedFile()), 0660U);
    QCOMPARE(QFileInfo(sharedFile()).groupId(), crewGroup);
}

void StateDirectoryTest::aSharedFileThatIsALinkIsNotFollowed()
{
    SHARED_FOLDER();
    QVERIFY(shared().write(QStringLiteral("target"), "x"));
    QVERIFY(QFile::link(QStringLiteral("target"), sharedFile()));
    QVERIFY(shared().read(name).error().reason.endsWith(QStringLiteral("it is a symbolic link")));
}

void StateDirectoryTest::aPrivateFilePutIntoTheSharedFolderIsGivenToTheGroup()
{
    SHARED_FOLDER();
    put(sharedFile(), "x");
    give(sharedFile(), stageManager, crewGroup);
    setMode(sharedFile(), 0600);
    QVERIFY(isTrueFor(stageManager, crewGroup, [this] {
        return shared().read(name).value_or(QByteArray()) == "x";
    }));
    QCOMPARE(modeOf(sharedFile()), 0660U);
    give(sharedFile(), 0, otherGroup);
    setMode(sharedFile(), 0600);
    QCOMPARE(shared().read(name).value(), QByteArray("x"));
    QCOMPARE(modeOf(sharedFile()), 0660U);
    QCOMPARE(QFileInfo(sharedFile()).groupId(), crewGroup);
}

void StateDirectoryTest::theSharedFolderKeepsItsMode()
{
    SHARED_FOLDER();
    QVERIFY(shared().write(name, "x"));
    QVERIFY(shared().read(name));
    QCOMPARE(modeOf(sharedPath()), 02770U);
}

WINGBELL_APPLESS_TEST(StateDirectoryTest)
#include "StateDirectoryTest.moc"

#include "model/ShowConfig.h"
#include "model/ShowFile.h"
#include "tests/TestProgram.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <memory>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace wingbell;

namespace {

/// Counts what a store tells about each of its properties.
struct Spies
{
    explicit Spies(ShowConfig& config)
        : show(&config, &ShowConfig::showChanged)
        , channels(&config, &ShowConfig::channelsChanged)
        , roles(&config, &ShowConfig::rolesChanged)
        , oscPort(&config, &ShowConfig::oscPortChanged)
        , unsaved(&config, &ShowConfig::hasUnsavedChangesChanged)
    {
    }

    /// The notifications since the last call: show, channels, roles, port, unsaved.
    QList<qsizetype> take()
    {
        QList<qsizetype> counts;
        for (QSignalSpy* spy : {&show, &channels, &roles, &oscPort, &unsaved}) {
            counts.append(spy->size());
            spy->clear();
        }
        return counts;
    }

    QSignalSpy show;
    QSignalSpy channels;
    QSignalSpy roles;
    QSignalSpy oscPort;
    QSignalSpy unsaved;
};

using Counts = QList<qsizetype>;

/// While it lives no file of this process grows beyond a size, as on a disk that is full by then.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
        : m_signal(std::signal(SIGXFSZ, SIG_IGN))
    {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit = {bytes, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        (void)std::signal(SIGXFSZ, m_signal);
    }
    Q_DISABLE_COPY_MOVE(FileSizeLimit)

private:
    rlimit m_before = {};
    void (*m_signal)(int);
};

// Two of the machine's users; that they have no names is no matter.
constexpr uid_t user = 54321;
constexpr uid_t stranger = 54322;

/// While it lives this process, which is root's, acts as that user.
class As
{
public:
    explicit As(uid_t acting) { m_acts = ::seteuid(acting) == 0; }
    ~As() { m_acts = m_acts && ::seteuid(0) == 0; }
    Q_DISABLE_COPY_MOVE(As)

private:
    bool m_acts = false;
};

void makeFolder(const QString& path, uid_t owner, mode_t mode)
{
    QVERIFY(QDir().mkpath(path));
    QCOMPARE(::chown(QFile::encodeName(path), owner, owner), 0);
    QCOMPARE(::chmod(QFile::encodeName(path), mode), 0);
}

void makeLink(const QString& target, const QString& path, uid_t owner)
{
    QCOMPARE(::symlink(QFile::encodeName(target), QFile::encodeName(path)), 0);
    QCOMPARE(::lchown(QFile::encodeName(path), owner, owner), 0);
}

const QByteArray smallShow =
    R"({"show":"Recital","channels":["Main","Fly"],"roles":[{"name":"Fly","talk":["Fly","X","Fly"],)"
    R"("listen":["Main"]},{"name":"","talk":[],"listen":["Fly"]}],"oscPort":8000})";

} // namespace

class ShowConfigTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void theShowStandsInTheSharedFolder();
    void withoutAFolderTheStoreHoldsTheDefaultShowAndWritesNothing();
    void theDocumentIsLoadedAtCreation();
    void anUnreadableDocumentGivesTheDefaultShowAndStaysUntilASave();
    void loadingTellsOfWhatDiffersOnly();
    void loadingADocumentGivesRolesOtherIdentities();
    void theFallbackKeepsTheIdentitiesOfTheDefaultRoles();
    void loadingDropsEditsAndClearsTheFlag();
    void loadingTellsInTheOrderOfTheDocumentAndOfTheFlagLast_data();
    void loadingTellsInTheOrderOfTheDocumentAndOfTheFlagLast();
    void propertiesTellOfNewValuesOnly();
    void plainWritesDoNotMarkAnEdit();

    void aNewChannelGoesToTheEndAndToNoRole();
    void aKnownNameWithSpacesAroundItChangesNothing();
    void aNameOfSpacesChangesNothing();
    void aLineBreakAtTheEndOfANameIsKept();
    void channelNamesDifferByCase();
    void removingMainTakesItFromEveryRole();
    void removingAnUnknownChannelMarksAnEdit();
    void removingAChannelTakesEveryMentionOfIt();
    void removingAChannelTellsOncePerList();
    void removingAChannelByItsOwnListEntryIsSafe();

    void aNewRoleIsNamedNewRoleAndHearsNothing();
    void removingARoleLooksAtItsIdentityOnly();
    void removingAStaleRoleMarksAnEdit();
    void togglingTakesAChannelOutAndPutsItBackAtTheEnd();
    void togglingTakesOneOfTwoMentions();
    void togglingListensApartFromTalks();
    void togglingWorksOnTheStoredRoleNotOnTheCopy();
    void togglingAStaleRoleDoesNothing();
    void aRoleMayBeGivenAChannelThatTheShowLacks();
    void renamingTakesTheTextAsTyped();
    void renamingAStaleRoleDoesNothing();

    void aSaveMakesTheFolderAndClearsTheFlag();
    void aSavedShowIsLoadedAgain();
    void aSaveThatFailsReturnsFalseAndKeepsTheFlag_data();
    void aSaveThatFailsReturnsFalseAndKeepsTheFlag();
    void aSaveWithoutRoomLeavesTheSavedShowWhole();
    void aSaveTooLargeToBeReadAgainLeavesTheSavedShowWhole();
    void aSaveReplacesALongerDocument();
    void aSaveWritesThroughALink();
    void aSaveNeverWritesThroughWhatAnotherUserMade_data();
    void aSaveNeverWritesThroughWhatAnotherUserMade();
    void aSaveWritesThroughTheUsersOwnLinks();
    void aSaveWritesAnotherUsersFileWhereThatIsOpenToAll();

private:
    QString documentPath() const { return ShowConfig::documentPath(folder()); }
    QDir folder() const { return QDir(m_root->filePath(u"Shared/Wingbell"_s)); }
    void writeDocument(const QByteArray& bytes) const;
    QByteArray document() const;

    std::unique_ptr<QTemporaryDir> m_root;
};

void ShowConfigTest::init()
{
    m_root = std::make_unique<QTemporaryDir>();
    QCOMPARE(::chmod(QFile::encodeName(m_root->path()), 0755), 0); // other users pass
}
void ShowConfigTest::cleanup()
{
    m_root.reset();
}

void ShowConfigTest::writeDocument(const QByteArray& bytes) const
{
    QVERIFY(QDir().mkpath(folder().path()));
    QFile file(documentPath());
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

QByteArray ShowConfigTest::document() const
{
    QFile file(documentPath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void ShowConfigTest::theShowStandsInTheSharedFolder()
{
    QCOMPARE(ShowConfig::configDirectory().path(), u"/Users/Shared/Wingbell"_s);
    QCOMPARE(ShowConfig::documentPath(), u"/Users/Shared/Wingbell/roles.json"_s);
}

void ShowConfigTest::withoutAFolderTheStoreHoldsTheDefaultShowAndWritesNothing()
{
    const ShowConfig config(folder());
    QCOMPARE(config.show(), defaultShow().show);
    QCOMPARE(config.channels(), defaultShow().channels);
    QCOMPARE(config.roles(), defaultShow().roles);
    QCOMPARE(config.oscPort(), 47000);
    QVERIFY(!config.hasUnsavedChanges());
    QVERIFY(QDir(m_root->path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
}

void ShowConfigTest::theDocumentIsLoadedAtCreation()
{
    writeDocument(smallShow);
    const ShowConfig config(folder());
    QCOMPARE(config.show(), u"Recital"_s);
    QCOMPARE(config.channels(), (QStringList{u"Main"_s, u"Fly"_s}));
    QCOMPARE(config.roles().size(), 2);
    QCOMPARE(config.roles().first().talk, (QStringList{u"Fly"_s, u"X"_s, u"Fly"_s}));
    QCOMPARE(config.oscPort(), 8000);
    QVERIFY(!config.hasUnsavedChanges());
}

void ShowConfigTest::anUnreadableDocumentGivesTheDefaultShowAndStaysUntilASave()
{
    writeDocument("{\"show\":");
    ShowConfig config(folder());
    QCOMPARE(config.roles(), defaultShow().roles);
    QVERIFY(!config.hasUnsavedChanges());
    config.load();
    QCOMPARE(document(), "{\"show\":");
    QVERIFY(config.save());
    QVERIFY(decodeShow(document()));
}

void ShowConfigTest::loadingTellsOfWhatDiffersOnly()
{
    writeDocument(smallShow);
    ShowConfig config(folder());
    Spies spies(config);
    config.load();
    QCOMPARE(spies.take(), (Counts{0, 0, 1, 0, 0})); // the roles are others, by their identity
    config.setOscPort(1);
    config.setShow(u"Other"_s);
    config.setHasUnsavedChanges(true);
    spies.take();
    config.load();
    QCOMPARE(spies.take(), (Counts{1, 0, 1, 1, 1}));
}

void ShowConfigTest::loadingADocumentGivesRolesOtherIdentities()
{
    writeDocument(smallShow);
    ShowConfig config(folder());
    const QUuid before = config.roles().first().id;
    config.load();
    QVERIFY(config.roles().first().id != before);
}

void ShowConfigTest::theFallbackKeepsTheIdentitiesOfTheDefaultRoles()
{
    ShowConfig config(folder());
    const ShowConfig other(folder());
    QCOMPARE(config.roles(), other.roles());
    Spies spies(config);
    config.load();
    QCOMPARE(config.roles(), defaultShow().roles);
    QCOMPARE(spies.take(), (Counts{0, 0, 0, 0, 0}));
}

void ShowConfigTest::loadingDropsEditsAndClearsTheFlag()
{
    ShowConfig config(folder());
    config.addChannel(u"Fly"_s);
    config.addRole();
    config.load();
    QCOMPARE(config.channels(), defaultShow().channels);
    QCOMPARE(config.roles(), defaultShow().roles);
    QVERIFY(!config.hasUnsavedChanges());
}

void ShowConfigTest::loadingTellsInTheOrderOfTheDocumentAndOfTheFlagLast_data()
{
    QTest::addColumn<bool>("readable");
    QTest::newRow("the document") << true;
    QTest::newRow("the default show") << false;
}

void ShowConfigTest::loadingTellsInTheOrderOfTheDocumentAndOfTheFlagLast()
{
    QFETCH(const bool, readable);
    ShowConfig config(folder());
    config.setShow(u"Other"_s);
    config.setChannels({});
    config.setRoles({});
    config.setOscPort(1);
    config.setHasUnsavedChanges(true);
    if (readable) {
        writeDocument(smallShow);
    }
    QStringList told;
    const auto note = [&](auto signal, const QString& name) {
        connect(&config, signal, this, [&told, name] { told.append(name); });
    };
    note(&ShowConfig::hasUnsavedChangesChanged, u"flag"_s);
    note(&ShowConfig::oscPortChanged, u"port"_s);
    note(&ShowConfig::rolesChanged, u"roles"_s);
    note(&ShowConfig::channelsChanged, u"channels"_s);
    note(&ShowConfig::showChanged, u"show"_s);
    config.load();
    QCOMPARE(told, (QStringList{u"show"_s, u"channels"_s, u"roles"_s, u"port"_s, u"flag"_s}));
    QCOMPARE(config.oscPort(), readable ? 8000 : 47000);
}

void ShowConfigTest::propertiesTellOfNewValuesOnly()
{
    ShowConfig config(folder());
    Spies spies(config);
    config.setShow(config.show());
    config.setChannels(config.channels());
    config.setRoles(config.roles());
    config.setOscPort(config.oscPort());
    config.setHasUnsavedChanges(config.hasUnsavedChanges());
    QCOMPARE(spies.take(), (Counts{0, 0, 0, 0, 0}));

    config.setShow(u"wingbell"_s);
    config.setChannels({u"Main"_s});
    config.setRoles({});
    config.setOscPort(-1);
    config.setHasUnsavedChanges(true);
    QCOMPARE(spies.take(), (Counts{1, 1, 1, 1, 1}));
}

void ShowConfigTest::plainWritesDoNotMarkAnEdit()
{
    ShowConfig config(folder());
    config.setShow(u"Other"_s);
    config.setChannels({});
    config.setRoles({});
    config.setOscPort(1);
    QVERIFY(!config.hasUnsavedChanges());
}

void ShowConfigTest::aNewChannelGoesToTheEndAndToNoRole()
{
    ShowConfig config(folder());
    Spies spies(config);
    config.addChannel(u"  Fly\t"_s);
    QCOMPARE(config.channels().last(), u"Fly"_s);
    QCOMPARE(config.channels().size(), 5);
    QCOMPARE(config.roles(), defaultShow().roles);
    QVERIFY(config.hasUnsavedChanges());
    QCOMPARE(spies.take(), (Counts{0, 1, 0, 0, 1}));
    config.addChannel(u"Rail"_s);
    QCOMPARE(spies.take(), (Counts{0, 1, 0, 0, 0}));
}

void ShowConfigTest::aKnownNameWithSpacesAroundItChangesNothing()
{
    ShowConfig config(folder());
    Spies spies(config);
    config.addChannel(u"  Tech  "_s);
    QCOMPARE(config.channels(), defaultShow().channels);
    QVERIFY(!config.hasUnsavedChanges());
    QCOMPARE(spies.take(), (Counts{0, 0, 0, 0, 0}));
}

void ShowConfigTest::aNameOfSpacesChangesNothing()
{
    ShowConfig config(folder());
    config.addChannel({});
    config.addChannel(u"  \t\u00A0 "_s);
    QCOMPARE(config.channels(), defaultShow().channels);
    QVERIFY(!config.hasUnsavedChanges());
}

void ShowConfigTest::aLineBreakAtTheEndOfANameIsKept()
{
    ShowConfig config(folder());
    config.addChannel(u" Tech\n"_s);
    QCOMPARE(config.channels().last(), u"Tech\n"_s);
    config.addChannel(u"\n"_s);
    QCOMPARE(config.channels().last(), u"\n"_s);
}

void ShowConfigTest::channelNamesDifferByCase()
{
    ShowConfig config(folder());
    config.addChannel(u"main"_s);
    QCOMPARE(config.channels().last(), u"main"_s);
    config.removeChannel(u"main"_s);
    QCOMPARE(config.channels(), defaultShow().channels);
}

void ShowConfigTest::removingMainTakesItFromEveryRole()
{
    ShowConfig config(folder());
    config.removeChannel(u"Main"_s);
    QCOMPARE(config.channels(), (QStringList{u"Tech"_s, u"Backstage"_s, u"Green Room"_s}));
    for (const Role& role : config.roles()) {
        QVERIFY(!role.talk.contains(u"Main"_s));
        QVERIFY(!role.listen.contains(u"Main"_s));
    }
    QCOMPARE(config.roles().last().listen, (QStringList{u"Tech"_s, u"Backstage"_s}));
    QVERIFY(config.hasUnsavedChanges());
}

void ShowConfigTest::removingAnUnknownChannelMarksAnEdit()
{
    ShowConfig config(folder());
    config.removeChannel(u" Main"_s);
    QCOMPARE(config.channels(), defaultShow().channels);
    QCOMPARE(config.roles(), defaultShow().roles);
    QVERIFY(config.hasUnsavedChanges());
}

void ShowConfigTest::removingAChannelTakesEveryMentionOfIt()
{
    writeDocument(smallShow);
    ShowConfig config(folder());
    config.setChannels({u"Fly"_s, u"Main"_s, u"Fly"_s});
    config.removeChannel(u"Fly"_s);
    QCOMPARE(config.channels(), QStringList{u"Main"_s});
    QCOMPARE(config.roles().first().talk, QStringList{u"X"_s});
    QCOMPARE(config.roles().last().listen, QStringList());
}

void ShowConfigTest::removingAChannelTellsOncePerList()
{
    ShowConfig config(folder());
    Spies spies(config);
    config.removeChannel(u"nowhere"_s);
    QCOMPARE(spies.take(), (Counts{0, 1, 2 * config.roles().size(), 0, 1}));
}

void ShowConfigTest::removingAChannelByItsOwnListEntryIsSafe()
{
    ShowConfig config(folder());
    config.removeChannel(config.channels().first());
    QCOMPARE(config.channels().first(), u"Tech"_s);
    QVERIFY(!config.roles().first().talk.contains(u"Main"_s));
}

void ShowConfigTest::aNewRoleIsNamedNewRoleAndHearsNothing()
{
    ShowConfig config(folder());
    Spies spies(config);
    config.addRole();
    config.addRole();
    QCOMPARE(config.roles().size(), 8);
    const Role& role = config.roles().last();
    QCOMPARE(role.name, u"New Role"_s);
    QVERIFY(role.talk.isEmpty());
    QVERIFY(role.listen.isEmpty());
    QVERIFY(role.id != config.roles().at(6).id);
    QCOMPARE(spies.take(), (Counts{0, 0, 2, 0, 1}));
}

void ShowConfigTest::removingARoleLooksAtItsIdentityOnly()
{
    ShowConfig config(folder());
    const Role second = config.roles().at(1);
    config.removeRole(Role{second.id, u"another name"_s, {}, {}});
    QCOMPARE(config.roles().size(), 5);
    QCOMPARE(config.roles().at(1).name, u"Sound"_s);
    QVERIFY(config.hasUnsavedChanges());
}

void ShowConfigTest::removingAStaleRoleMarksAnEdit()
{
    ShowConfig config(folder());
    Spies spies(config);
    Role stale = config.roles().first();
    stale.id = QUuid::createUuid();
    config.removeRole(stale);
    QCOMPARE(config.roles(), defaultShow().roles);
    QVERIFY(config.hasUnsavedChanges());
    QCOMPARE(spies.take(), (Counts{0, 0, 1, 0, 1}));
}

void ShowConfigTest::togglingTakesAChannelOutAndPutsItBackAtTheEnd()
{
    ShowConfig config(folder());
    const Role lighting = config.roles().at(1);
    Spies spies(config);
    config.toggleTalk(lighting, u"Main"_s);
    QCOMPARE(config.roles().at(1).talk, QStringList{u"Tech"_s});
    QVERIFY(config.hasUnsavedChanges());
    config.toggleTalk(lighting, u"Main"_s);
    QCOMPARE(config.roles().at(1).talk, (QStringList{u"Tech"_s, u"Main"_s}));
    QCOMPARE(config.roles().at(1).listen, lighting.listen);
    QCOMPARE(spies.take(), (Counts{0, 0, 2, 0, 1}));
}

void ShowConfigTest::togglingTakesOneOfTwoMentions()
{
    writeDocument(smallShow);
    ShowConfig config(folder());
    config.toggleTalk(config.roles().first(), u"Fly"_s);
    QCOMPARE(config.roles().first().talk, (QStringList{u"X"_s, u"Fly"_s}));
}

void ShowConfigTest::togglingListensApartFromTalks()
{
    ShowConfig config(folder());
    const Role director = config.roles().last();
    config.toggleListen(director, u"Green Room"_s);
    config.toggleListen(director, u"Tech"_s);
    QCOMPARE(
        config.roles().last().listen, (QStringList{u"Main"_s, u"Backstage"_s, u"Green Room"_s}));
    QVERIFY(config.roles().last().talk.isEmpty());
}

void ShowConfigTest::togglingWorksOnTheStoredRoleNotOnTheCopy()
{
    ShowConfig config(folder());
    Role copy = config.roles().first();
    copy.talk.clear();
    config.toggleTalk(copy, u"Main"_s);
    QCOMPARE(
        config.roles().first().talk, (QStringList{u"Tech"_s, u"Backstage"_s, u"Green Room"_s}));
}

void ShowConfigTest::togglingAStaleRoleDoesNothing()
{
    writeDocument(smallShow);
    ShowConfig config(folder());
    const Role stale = config.roles().first();
    config.load();
    const QList<Role> before = config.roles();
    Spies spies(config);
    config.toggleTalk(stale, u"Main"_s);
    config.toggleListen(stale, u"Main"_s);
    QCOMPARE(config.roles(), before);
    QVERIFY(!config.hasUnsavedChanges());
    QCOMPARE(spies.take(), (Counts{0, 0, 0, 0, 0}));
}

void ShowConfigTest::aRoleMayBeGivenAChannelThatTheShowLacks()
{
    ShowConfig config(folder());
    config.toggleTalk(config.roles().last(), u"Nowhere"_s);
    QCOMPARE(config.roles().last().talk, QStringList{u"Nowhere"_s});
    QCOMPARE(config.channels(), defaultShow().channels);
}

void ShowConfigTest::renamingTakesTheTextAsTyped()
{
    ShowConfig config(folder());
    Spies spies(config);
    config.renameRole(config.roles().first(), u"  Caller "_s);
    QCOMPARE(config.roles().first().name, u"  Caller "_s);
    QCOMPARE(config.roles().first().id, defaultShow().roles.first().id);
    config.renameRole(config.roles().first(), {});
    QCOMPARE(config.roles().first().name, QString());
    QCOMPARE(spies.take(), (Counts{0, 0, 2, 0, 1}));
}

void ShowConfigTest::renamingAStaleRoleDoesNothing()
{
    ShowConfig config(folder());
    const Role stale = config.roles().first();
    config.removeRole(stale);
    config.setHasUnsavedChanges(false);
    Spies spies(config);
    config.renameRole(stale, u"Ghost"_s);
    QCOMPARE(spies.take(), (Counts{0, 0, 0, 0, 0}));
}

void ShowConfigTest::aSaveMakesTheFolderAndClearsTheFlag()
{
    ShowConfig config(folder());
    config.addRole();
    Spies spies(config);
    QVERIFY(config.save());
    QVERIFY(!config.hasUnsavedChanges());
    QCOMPARE(spies.take(), (Counts{0, 0, 0, 0, 1}));
    QCOMPARE(
        folder().entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
        QStringList{u"roles.json"_s});
    QVERIFY(config.save());
}

void ShowConfigTest::aSavedShowIsLoadedAgain()
{
    ShowConfig config(folder());
    config.setShow(u"Fall Recital"_s);
    config.addChannel(u"A/B \u266B"_s);
    config.addRole();
    config.toggleListen(config.roles().last(), u"Nowhere"_s);
    config.setOscPort(70000);
    const QList<Role> roles = config.roles();
    const QStringList channels = config.channels();
    QVERIFY(config.save());
    config.load();
    QCOMPARE(config.show(), u"Fall Recital"_s);
    QCOMPARE(config.channels(), channels);
    QCOMPARE(config.oscPort(), 70000);
    QCOMPARE(config.roles().size(), roles.size());
    for (qsizetype index = 0; index < roles.size(); ++index) {
        QCOMPARE(config.roles().at(index).name, roles.at(index).name);
        QCOMPARE(config.roles().at(index).talk, roles.at(index).talk);
        QCOMPARE(config.roles().at(index).listen, roles.at(index).listen);
        QVERIFY(config.roles().at(index).id != roles.at(index).id);
    }
    QVERIFY(!config.hasUnsavedChanges());
}

void ShowConfigTest::aSaveThatFailsReturnsFalseAndKeepsTheFlag_data()
{
    QTest::addColumn<QString>("obstacle");
    for (const char* obstacle :
         {"a file in the place of the folder", "a file in the place of its parent",
          "a folder in the place of the document", "a pipe in the place of the document",
          "a full device in the place of the document"}) {
        QTest::newRow(obstacle) << QString::fromLatin1(obstacle);
    }
}

void ShowConfigTest::aSaveThatFailsReturnsFalseAndKeepsTheFlag()
{
    QFETCH(const QString, obstacle);
    const auto makeFile = [](const QString& path) {
        return QFile(path).open(QIODevice::WriteOnly);
    };
    const QString parent = m_root->filePath(u"Shared"_s);
    if (obstacle == u"a file in the place of its parent"_s) {
        QVERIFY(makeFile(parent));
    } else if (obstacle == u"a file in the place of the folder"_s) {
        QVERIFY(QDir().mkpath(parent));
        QVERIFY(makeFile(folder().path()));
    } else {
        QVERIFY(QDir().mkpath(folder().path()));
        if (obstacle.startsWith(u"a folder"_s)) {
            QVERIFY(QDir().mkdir(documentPath()));
        } else if (obstacle.startsWith(u"a pipe"_s)) {
            QCOMPARE(::mkfifo(QFile::encodeName(documentPath()).constData(), 0600), 0);
        } else {
            QVERIFY(QFile::link(u"/dev/full"_s, documentPath()));
        }
    }
    ShowConfig config(folder());
    config.addChannel(u"Fly"_s);
    const QStringList channels = config.channels();
    Spies spies(config);
    QVERIFY(!config.save());
    QVERIFY(config.hasUnsavedChanges());
    QCOMPARE(config.channels(), channels);
    QCOMPARE(spies.take(), (Counts{0, 0, 0, 0, 0}));
}

void ShowConfigTest::aSaveWithoutRoomLeavesTheSavedShowWhole()
{
    ShowConfig config(folder());
    QVERIFY(config.save());
    const QByteArray saved = document();
    config.addChannel(QString(4096, u'x'));
    {
        const FileSizeLimit limit(static_cast<rlim_t>(saved.size()) + 1);
        QVERIFY(!config.save());
    }
    QVERIFY(config.hasUnsavedChanges());
    QCOMPARE(document(), saved);
    QVERIFY(config.save());
    QVERIFY(document().size() > saved.size());
}

void ShowConfigTest::aSaveTooLargeToBeReadAgainLeavesTheSavedShowWhole()
{
    ShowConfig config(folder());
    QVERIFY(config.save());
    const QByteArray saved = document();
    config.setShow(QString(maxShowDocumentSize, u'x'));
    QVERIFY(!config.save());
    QCOMPARE(document(), saved);
}

void ShowConfigTest::aSaveReplacesALongerDocument()
{
    writeDocument(smallShow + QByteArray(100'000, ' '));
    ShowConfig config(folder());
    QVERIFY(config.save());
    QVERIFY(document().size() < 1000);
    QCOMPARE(decodeShow(document()).value().show, u"Recital"_s);
}

void ShowConfigTest::aSaveWritesThroughALink()
{
    QVERIFY(QDir().mkpath(folder().path()));
    const QString target = m_root->filePath(u"kept elsewhere.json"_s);
    QVERIFY(QFile::link(target, documentPath()));
    ShowConfig config(folder());
    QVERIFY(config.save());
    QVERIFY(QFileInfo(documentPath()).isSymLink());
    QVERIFY(readShow(target));
}

void ShowConfigTest::aSaveNeverWritesThroughWhatAnotherUserMade_data()
{
    QTest::addColumn<QString>("trap");
    for (const char* trap :
         {"their link in their folder", "their link in the user's folder",
          "the user's link in their folder", "the user's link to their link",
          "their link in place of the folder", "a further name in their folder",
          "a further name in a folder open to all"}) {
        QTest::newRow(trap) << QString::fromLatin1(trap);
    }
}

void ShowConfigTest::aSaveNeverWritesThroughWhatAnotherUserMade()
{
    QFETCH(const QString, trap);
    if (::geteuid() != 0) {
        QSKIP("only root can act as two users");
    }
    const QString file = m_root->filePath(u"home/roles.json"_s);
    makeFolder(m_root->filePath(u"home"_s), user, 0755);
    makeFolder(m_root->filePath(u"Shared"_s), 0, 0777); // without the sticky bit nothing else helps
    {
        const As owner(user);
        QFile kept(file);
        QVERIFY(kept.open(QIODevice::WriteOnly));
        kept.write("precious");
    }
    const bool theirs = trap.endsWith(u"their folder"_s);
    if (trap.endsWith(u"place of the folder"_s)) {
        makeLink(m_root->filePath(u"home"_s), folder().path(), stranger);
    } else {
        makeFolder(
            folder().path(), theirs ? stranger : user,
            theirs || trap.endsWith(u"open to all"_s) ? 0777 : 0755);
    }
    if (trap.startsWith(u"a further name"_s)) {
        QCOMPARE(::link(QFile::encodeName(file), QFile::encodeName(documentPath())), 0);
    } else if (trap.endsWith(u"their link"_s)) {
        const QString between = folder().filePath(u"between"_s);
        makeLink(file, between, stranger);
        makeLink(between, documentPath(), user);
    } else if (trap.contains(u"link in"_s) && !trap.endsWith(u"place of the folder"_s)) {
        makeLink(file, documentPath(), trap.startsWith(u"the user"_s) ? user : stranger);
    }

    const As saving(user);
    ShowConfig config(folder());
    config.addChannel(u"Fly"_s);
    QVERIFY(!config.save());
    QVERIFY(config.hasUnsavedChanges());
    QCOMPARE(document(), "precious");
}

void ShowConfigTest::aSaveWritesThroughTheUsersOwnLinks()
{
    if (::geteuid() != 0) {
        QSKIP("only root can act as another user");
    }
    // The system's own link leads to the folder, the user's to the file, which is not there yet.
    makeFolder(m_root->filePath(u"home"_s), user, 0755);
    QVERIFY(QDir().mkpath(m_root->filePath(u"Shared"_s)));
    makeLink(u"../home"_s, folder().path(), 0);
    const QString target = m_root->filePath(u"home/elsewhere.json"_s);
    makeLink(target, documentPath(), user);
    const As saving(user);
    ShowConfig config(folder());
    QVERIFY(config.save());
    QVERIFY(readShow(target));
}

void ShowConfigTest::aSaveWritesAnotherUsersFileWhereThatIsOpenToAll()
{
    if (::geteuid() != 0) {
        QSKIP("only root can act as another user");
    }
    makeFolder(m_root->filePath(u"Shared"_s), 0, 01777);
    makeFolder(folder().path(), stranger, 01777);
    writeDocument(smallShow);
    const QByteArray path = QFile::encodeName(documentPath());
    QCOMPARE(::chown(path, stranger, stranger), 0);
    QCOMPARE(::chmod(path, 0666), 0);
    {
        const As saving(user);
        ShowConfig config(folder());
        config.setShow(u"Ours"_s);
        QVERIFY(config.save());
    }
    QCOMPARE(readShow(documentPath()).value().show, u"Ours"_s);
    QCOMPARE(QFileInfo(documentPath()).ownerId(), stranger);
}

WINGBELL_APPLESS_TEST(ShowConfigTest)
#include "ShowConfigTest.moc"

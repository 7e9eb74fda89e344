#include "relay/sessions/ShowPatch.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

namespace {

QStringList list(const char* names)
{
    return QString::fromUtf8(names).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

ShowFile showWith(const QStringList& channels, const QStringList& talk, const QStringList& listen)
{
    ShowFile show;
    show.channels = channels;
    show.roles = {Role{QUuid::createUuid(), QStringLiteral("Caller"), talk, listen}};
    return show;
}

} // namespace

class ShowPatchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aRoleHasTheChannelsOfEitherListInTheShowsOrder();
    void aChannelNamedTwiceIsOneChannel();
    void aChannelThatTheShowLacksIsLeftOutAndToldOnce();
    void namesAreComparedToTheLetter();
    void anAnnouncementWithoutAChannelIsForAll();
};

void ShowPatchTest::aRoleHasTheChannelsOfEitherListInTheShowsOrder()
{
    const ShowPatch patch(showWith(list("A B C D"), list("D A"), list("B A")));
    const PatchedRole& role = patch.roles().front();
    QCOMPARE(role.channels, (std::vector<std::size_t>{0, 1, 3}));
    QVERIFY(role.talk.contains(0) && role.talk.contains(3) && !role.talk.contains(1));
    QVERIFY(role.listen.contains(0) && role.listen.contains(1) && !role.listen.contains(3));
}

void ShowPatchTest::aChannelNamedTwiceIsOneChannel()
{
    const ShowPatch patch(showWith(list("A B A C"), list("C A A"), {}));
    QCOMPARE(patch.channels(), list("A B C"));
    QCOMPARE(patch.roles().front().channels, (std::vector<std::size_t>{0, 2}));
}

void ShowPatchTest::aChannelThatTheShowLacksIsLeftOutAndToldOnce()
{
    const ShowPatch patch(showWith(list("A"), list("A X"), list("X Y")));
    QCOMPARE(patch.roles().front().channels, (std::vector<std::size_t>{0}));
    const QString caller = QStringLiteral("Caller");
    const std::vector<ShowPatch::Stray> strays = {
        {caller, QStringLiteral("X")}, {caller, QStringLiteral("Y")}};
    QCOMPARE(patch.strays(), strays);
}

void ShowPatchTest::namesAreComparedToTheLetter()
{
    const ShowPatch patch(showWith(list("Main"), list("main"), {}));
    QVERIFY(patch.roles().front().channels.empty());
    QCOMPARE(patch.strays().size(), std::size_t{1});
}

void ShowPatchTest::anAnnouncementWithoutAChannelIsForAll()
{
    const ShowPatch patch(showWith(list("A B"), {}, {}));
    QCOMPARE(patch.setOf(std::nullopt), ChannelSet::all(2));
    const ChannelSet second = patch.setOf(QStringLiteral("B"));
    QVERIFY(second.contains(1) && !second.contains(0));
}

WINGBELL_APPLESS_TEST(ShowPatchTest)
#include "ShowPatchTest.moc"

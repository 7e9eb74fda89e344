#include "relay/sessions/ShowPatch.h"
#include "tests/TestProgram.h"

#include <QCryptographicHash>
#include <QRegularExpression>
#include <QSet>
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

ShowPatch withRoles(const QStringList& names)
{
    ShowFile show;
    for (const QString& name : names) {
        show.roles.append(Role{QUuid::createUuid(), name, {}, {}});
    }
    return ShowPatch(show);
}

QStringList keysOf(const QStringList& names)
{
    const ShowPatch patch = withRoles(names);
    QStringList keys;
    for (const PatchedRole& role : patch.roles()) {
        keys.append(role.key);
    }
    return keys;
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
    void aKeyIsEightCharactersOfTheAlphabet();
    void aKeyIsTheBeginningOfTheNamesDigest();
    void aKeyStaysWhereverTheRoleStands();
    void rolesOfOneNameHaveKeysOfTheirOwn();
    void everyKeyFindsItsRole();
    void anyOtherKeyFindsNone();
    void noTwoRolesOfALargeShowShareAKey();
    void textThatIsNoTextHasKeysToo();
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
    const std::vector<UnknownChannel> unknown = {
        {caller, QStringLiteral("X")}, {caller, QStringLiteral("Y")}};
    QCOMPARE(patch.unknownChannels(), unknown);
}

void ShowPatchTest::namesAreComparedToTheLetter()
{
    const ShowPatch patch(showWith(list("Main"), list("main"), {}));
    QVERIFY(patch.roles().front().channels.empty());
    QCOMPARE(patch.unknownChannels().size(), std::size_t{1});
}

void ShowPatchTest::anAnnouncementWithoutAChannelIsForAll()
{
    const ShowPatch patch(showWith(list("A B"), {}, {}));
    QCOMPARE(patch.setOf(std::nullopt), ChannelSet::all(2));
    const ChannelSet second = patch.setOf(QStringLiteral("B"));
    QVERIFY(second.contains(1) && !second.contains(0));
}

void ShowPatchTest::aKeyIsEightCharactersOfTheAlphabet()
{
    const QRegularExpression shape(QStringLiteral("\\A[a-z2-7]{8}\\z"));
    const QStringList keys = keysOf(
        {QString(), QStringLiteral("Director"), QStringLiteral("Bühne 🎭"), QStringLiteral("\n1")});
    QCOMPARE(keys.size(), qsizetype{4});
    for (const QString& key : keys) {
        QVERIFY2(shape.match(key).hasMatch(), qPrintable(key));
    }
}

void ShowPatchTest::aKeyIsTheBeginningOfTheNamesDigest()
{
    // Read back, five bits a character, it must give the first five bytes.
    const QString alphabet = QStringLiteral("abcdefghijklmnopqrstuvwxyz234567");
    const QStringList keys = keysOf({QStringLiteral("Stage Manager")});
    quint64 bits = 0;
    for (const QChar character : keys.constFirst()) {
        bits = bits << 5 | static_cast<quint64>(alphabet.indexOf(character));
    }
    const QByteArray digest =
        QCryptographicHash::hash("Stage Manager", QCryptographicHash::Sha256).first(5);
    QCOMPARE(QByteArray::number(bits, 16).rightJustified(10, '0'), digest.toHex());
}

void ShowPatchTest::aKeyStaysWhereverTheRoleStands()
{
    const QStringList before = keysOf({QStringLiteral("Director"), QStringLiteral("Lights")});
    const QStringList after =
        keysOf({QStringLiteral("Lights"), QStringLiteral("Sound"), QStringLiteral("Director")});
    QCOMPARE(after.at(2), before.at(0));
    QCOMPARE(after.at(0), before.at(1));
}

void ShowPatchTest::rolesOfOneNameHaveKeysOfTheirOwn()
{
    const QStringList three = keysOf(QStringList(3, QStringLiteral("Follow spot")));
    QCOMPARE(QSet<QString>(three.begin(), three.end()).size(), qsizetype{3});
    const QStringList two = keysOf(
        {QStringLiteral("Follow spot"), QStringLiteral("Lights"), QStringLiteral("Follow spot")});
    QCOMPARE(two.at(0), three.at(0));
    QCOMPARE(two.at(2), three.at(1));
}

void ShowPatchTest::everyKeyFindsItsRole()
{
    const ShowPatch patch = withRoles(
        {QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("A"), QStringLiteral("C")});
    for (std::size_t role = 0; role < patch.roles().size(); ++role) {
        QCOMPARE(patch.roleWithKey(patch.roles().at(role).key).value(), role);
    }
}

void ShowPatchTest::anyOtherKeyFindsNone()
{
    const ShowPatch patch = withRoles({QStringLiteral("Director")});
    const QString key = patch.roles().front().key;
    for (const QString& other :
         {QString(), key.chopped(1), QString(key + QLatin1Char('a')), key.toUpper(),
          QStringLiteral("Director")}) {
        QVERIFY2(!patch.roleWithKey(other), qPrintable(other));
    }
    QVERIFY(!withRoles({}).roleWithKey(key));
}

void ShowPatchTest::noTwoRolesOfALargeShowShareAKey()
{
    QStringList names(1000, QStringLiteral("Crew"));
    for (int number = 0; number < 1000; ++number) {
        names.append(QString::number(number));
        names.append(QStringLiteral("Crew\n%1").arg(number)); // as a further "Crew" might be named
    }
    const QStringList keys = keysOf(names);
    const ShowPatch patch = withRoles(names);
    QCOMPARE(keys.size(), qsizetype{3000});
    QCOMPARE(QSet<QString>(keys.begin(), keys.end()).size(), qsizetype{3000});
    for (qsizetype role = 0; role < 3000; ++role) {
        QCOMPARE(patch.roleWithKey(keys.at(role)).value(), static_cast<std::size_t>(role));
    }
}

void ShowPatchTest::textThatIsNoTextHasKeysToo()
{
    const QStringList keys =
        keysOf({QString(QChar(0xD800)), QString(QChar(0xDC00)), QStringLiteral("?")});
    QCOMPARE(QSet<QString>(keys.begin(), keys.end()).size(), qsizetype{3});
}

WINGBELL_APPLESS_TEST(ShowPatchTest)
#include "ShowPatchTest.moc"

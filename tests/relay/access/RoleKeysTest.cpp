#include "relay/access/RoleKeys.h"
#include "tests/TestProgram.h"

#include <QCryptographicHash>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

using wingbell::RoleKeys;

class RoleKeysTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aKeyIsEightCharactersOfTheAlphabet();
    void aKeyIsTheBeginningOfTheNamesDigest();
    void aKeyStaysWhereverTheRoleStands();
    void rolesOfOneNameHaveKeysOfTheirOwn();
    void everyKeyFindsItsRole();
    void anyOtherKeyFindsNone();
    void noTwoRolesOfALargeShowShareAKey();
    void textThatIsNoTextHasKeysToo();
};

void RoleKeysTest::aKeyIsEightCharactersOfTheAlphabet()
{
    const QRegularExpression shape(QStringLiteral("\\A[a-z2-7]{8}\\z"));
    const RoleKeys keys(
        {QString(), QStringLiteral("Director"), QStringLiteral("Bühne 🎭"), QStringLiteral("\n1")});
    QCOMPARE(keys.keys().size(), qsizetype{4});
    for (const QString& key : keys.keys()) {
        QVERIFY2(shape.match(key).hasMatch(), qPrintable(key));
    }
}

void RoleKeysTest::aKeyIsTheBeginningOfTheNamesDigest()
{
    // Read back, five bits a character, it must give the first five bytes.
    const QString alphabet = QStringLiteral("abcdefghijklmnopqrstuvwxyz234567");
    const RoleKeys keys({QStringLiteral("Stage Manager")});
    quint64 bits = 0;
    for (const QChar character : keys.keys().constFirst()) {
        bits = bits << 5 | static_cast<quint64>(alphabet.indexOf(character));
    }
    const QByteArray digest =
        QCryptographicHash::hash("Stage Manager", QCryptographicHash::Sha256).first(5);
    QCOMPARE(QByteArray::number(bits, 16).rightJustified(10, '0'), digest.toHex());
}

void RoleKeysTest::aKeyStaysWhereverTheRoleStands()
{
    const RoleKeys before({QStringLiteral("Director"), QStringLiteral("Lights")});
    const RoleKeys after(
        {QStringLiteral("Lights"), QStringLiteral("Sound"), QStringLiteral("Director")});
    QCOMPARE(after.keys().at(2), before.keys().at(0));
    QCOMPARE(after.keys().at(0), before.keys().at(1));
}

void RoleKeysTest::rolesOfOneNameHaveKeysOfTheirOwn()
{
    const RoleKeys three(QStringList(3, QStringLiteral("Follow spot")));
    QCOMPARE(QSet<QString>(three.keys().begin(), three.keys().end()).size(), qsizetype{3});
    const RoleKeys two(
        {QStringLiteral("Follow spot"), QStringLiteral("Lights"), QStringLiteral("Follow spot")});
    QCOMPARE(two.keys().at(0), three.keys().at(0));
    QCOMPARE(two.keys().at(2), three.keys().at(1));
}

void RoleKeysTest::everyKeyFindsItsRole()
{
    const RoleKeys keys(
        {QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("A"), QStringLiteral("C")});
    for (qsizetype role = 0; role < keys.keys().size(); ++role) {
        QCOMPARE(keys.roleOf(keys.keys().at(role)).value(), role);
    }
}

void RoleKeysTest::anyOtherKeyFindsNone()
{
    const RoleKeys keys({QStringLiteral("Director")});
    const QString key = keys.keys().constFirst();
    for (const QString& other :
         {QString(), key.chopped(1), QString(key + QLatin1Char('a')), key.toUpper(),
          QStringLiteral("Director")}) {
        QVERIFY2(!keys.roleOf(other), qPrintable(other));
    }
    QVERIFY(!RoleKeys({}).roleOf(key));
}

void RoleKeysTest::noTwoRolesOfALargeShowShareAKey()
{
    QStringList names(1000, QStringLiteral("Crew"));
    for (int number = 0; number < 1000; ++number) {
        names.append(QString::number(number));
        names.append(QStringLiteral("Crew\n%1").arg(number)); // as a further "Crew" might be named
    }
    const RoleKeys keys(names);
    QCOMPARE(keys.keys().size(), qsizetype{3000});
    QCOMPARE(QSet<QString>(keys.keys().begin(), keys.keys().end()).size(), qsizetype{3000});
    for (qsizetype role = 0; role < 3000; ++role) {
        QCOMPARE(keys.roleOf(keys.keys().at(role)).value(), role);
    }
}

void RoleKeysTest::textThatIsNoTextHasKeysToo()
{
    const RoleKeys keys({QString(QChar(0xD800)), QString(QChar(0xDC00)), QStringLiteral("?")});
    QCOMPARE(QSet<QString>(keys.keys().begin(), keys.keys().end()).size(), qsizetype{3});
}

WINGBELL_APPLESS_TEST(RoleKeysTest)
#include "RoleKeysTest.moc"

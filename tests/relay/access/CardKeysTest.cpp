#include "relay/access/CardKeys.h"
#include "relay/access/StateDirectory.h"
#include "tests/TestProgram.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace wingbell;

namespace {

const QByteArray secret(32, 's');
const QString show = QStringLiteral("Hamlet");
const QString role = QStringLiteral("k7d2m9qa");
const QString door;

} // namespace

class CardKeysTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void aKeyIsOf128Bits();
    void aKeyIsTheSameEachTime();
    void aKeyIsOfOneShowAndOneRole();
    void theKeyOfTheDoorOpensWithAnyRole();
    void aRoleThatTheShowHasLostStillOpens();
    void anyOtherTextIsRefused_data();
    void anyOtherTextIsRefused();
    void namesThatRunIntoEachOtherHaveKeysOfTheirOwn();
    void theDesksKeyIsAnotherAndTheSameForEveryShow();
    void theSecretIsKept();
    void everySecretIsAnother();
    void aDamagedSecretIsReplaced_data();
    void aDamagedSecretIsReplaced();
    void aSecretThatOthersCouldReadIsReplaced();
    void aSecretThatCannotBeKeptIsTold();

private:
    [[nodiscard]] StateDirectory folder() const
    {
        return StateDirectory(m_place->filePath(QStringLiteral("wingbell")));
    }
    [[nodiscard]] QString path() const
    {
        return m_place->filePath(QStringLiteral("wingbell/card-secret"));
    }

    std::unique_ptr<QTemporaryDir> m_place;
};

void CardKeysTest::init()
{
    m_place = std::make_unique<QTemporaryDir>();
    QVERIFY(m_place->isValid());
}

void CardKeysTest::aKeyIsOf128Bits()
{
    const QString key = CardKeys(secret, show).keyFor(role);
    QVERIFY2(
        key.contains(QRegularExpression(QStringLiteral("^[A-Za-z0-9_-]{22}$"))), qPrintable(key));
}

void CardKeysTest::aKeyIsTheSameEachTime()
{
    QCOMPARE(CardKeys(secret, show).keyFor(role), CardKeys(secret, show).keyFor(role));
    QVERIFY(CardKeys(secret, show).matches(CardKeys(secret, show).keyFor(role), role));
}

void CardKeysTest::aKeyIsOfOneShowAndOneRole()
{
    const CardKeys keys(secret, show);
    const QString other = QStringLiteral("b3n8x1zz");
    QVERIFY(!keys.matches(keys.keyFor(role), other));
    QVERIFY(!keys.matches(keys.keyFor(role), door));
    QVERIFY(!keys.matches(CardKeys(secret, QStringLiteral("Macbeth")).keyFor(role), role));
    QVERIFY(!keys.matches(CardKeys(secret, QStringLiteral("Macbeth")).keyFor(door), door));
    QVERIFY(!keys.matches(CardKeys(QByteArray(32, 't'), show).keyFor(role), role));
}

void CardKeysTest::theKeyOfTheDoorOpensWithAnyRole()
{
    const CardKeys keys(secret, show);
    QVERIFY(keys.matches(keys.keyFor(door), door));
    QVERIFY(keys.matches(keys.keyFor(door), role));
}

void CardKeysTest::aRoleThatTheShowHasLostStillOpens()
{
    const CardKeys keys(secret, show);
    const QString lost = QStringLiteral("renamed2");
    QVERIFY(keys.matches(keys.keyFor(lost), lost));
}

void CardKeysTest::anyOtherTextIsRefused_data()
{
    const QString key = CardKeys(secret, show).keyFor(role);
    QTest::addColumn<QString>("given");
    QTest::newRow("empty") << QString();
    QTest::newRow("beginning") << key.chopped(1);
    QTest::newRow("more") << key + QLatin1Char('A');
    QTest::newRow("padding") << key + QStringLiteral("==");
    QTest::newRow("first differs") << QLatin1Char(key.at(0) == u'A' ? 'B' : 'A') + key.sliced(1);
    QTest::newRow("other case") << (key.toLower() == key ? key.toUpper() : key.toLower());
    QTest::newRow("same low bytes")
        << QString(key).replace(0, 1, QChar(0x100 + key.at(0).unicode()));
    QTest::newRow("digits") << QStringLiteral("482913");
    QTest::newRow("large") << QString(100000, QLatin1Char('A'));
}

void CardKeysTest::anyOtherTextIsRefused()
{
    QFETCH(QString, given);
    QVERIFY(!CardKeys(secret, show).matches(given, role));
}

void CardKeysTest::namesThatRunIntoEachOtherHaveKeysOfTheirOwn()
{
    const auto key = [](const QString& showName, const QString& roleKey) {
        return CardKeys(secret, showName).keyFor(roleKey);
    };
    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    QVERIFY(key(a + b, door) != key(a, b));
    QVERIFY(key(door, a + b) != key(a, b));
}

void CardKeysTest::theDesksKeyIsAnotherAndTheSameForEveryShow()
{
    const CardKeys keys(secret, show);
    QCOMPARE(keys.deskKey(), CardKeys(secret, QStringLiteral("Macbeth")).deskKey());
    QVERIFY(keys.deskKey() != CardKeys(QByteArray(32, 't'), show).deskKey());
    QCOMPARE(keys.deskKey().size(), keys.keyFor(door).size());
    QVERIFY(keys.isDeskKey(keys.deskKey()));
    QVERIFY(!keys.isDeskKey(keys.keyFor(door)));
    QVERIFY(!keys.isDeskKey(QString()));
    QVERIFY(!keys.matches(keys.deskKey(), role));
}

void CardKeysTest::theSecretIsKept()
{
    const StoredCardSecret first = loadOrCreateCardSecret(folder());
    QCOMPARE(first.secret.size(), 32);
    QCOMPARE(first.replacedBecause, QString());
    QCOMPARE(first.notStoredBecause, QString());
    QCOMPARE(loadOrCreateCardSecret(folder()).secret, first.secret);
    const auto ours = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
    QCOMPARE(QFile::permissions(path()), ours);
}

void CardKeysTest::everySecretIsAnother()
{
    const QByteArray first = loadOrCreateCardSecret(folder()).secret;
    QVERIFY(QFile::remove(path()));
    QVERIFY(loadOrCreateCardSecret(folder()).secret != first);
}

void CardKeysTest::aDamagedSecretIsReplaced_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("cut off") << QByteArray(63, 'a');
    QTest::newRow("too long") << QByteArray(66, 'a');
    QTest::newRow("not hexadecimal") << QByteArray(64, 'x');
    QTest::newRow("not text") << QByteArray(64, '\0');
}

void CardKeysTest::aDamagedSecretIsReplaced()
{
    QFETCH(QByteArray, bytes);
    QVERIFY(folder().write(QStringLiteral("card-secret"), bytes));
    const StoredCardSecret made = loadOrCreateCardSecret(folder());
    QCOMPARE(made.replacedBecause, QStringLiteral("the file holds no secret"));
    QCOMPARE(loadOrCreateCardSecret(folder()).replacedBecause, QString());
    QCOMPARE(loadOrCreateCardSecret(folder()).secret, made.secret);
}

void CardKeysTest::aSecretThatOthersCouldReadIsReplaced()
{
    const QByteArray before = loadOrCreateCardSecret(folder()).secret;
    QVERIFY(QFile::setPermissions(path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));
    const StoredCardSecret made = loadOrCreateCardSecret(folder());
    QVERIFY(made.secret != before);
    QVERIFY(made.replacedBecause.endsWith(QStringLiteral("other users could read it")));
}

void CardKeysTest::aSecretThatCannotBeKeptIsTold()
{
    const StoredCardSecret made =
        loadOrCreateCardSecret(StateDirectory(QStringLiteral("/dev/null/wingbell")));
    QCOMPARE(made.secret.size(), 32);
    QVERIFY(made.notStoredBecause.contains(QStringLiteral("/dev/null/wingbell")));
}

WINGBELL_APPLESS_TEST(CardKeysTest)
#include "CardKeysTest.moc"

#include "relay/osc/SayAddress.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;
using Kind = SayAddress::Kind;

class SayAddressTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sayAloneIsEveryChannel();
    void theRestOfTheAddressIsOneChannel_data();
    void theRestOfTheAddressIsOneChannel();
    void aNameThatMatchesNothingIsAnUnknownChannel_data();
    void aNameThatMatchesNothingIsAnUnknownChannel();
    void aNameAsItStandsGoesBeforeItsDecodedForm();
    void anyOtherAddressIsUnknown_data();
    void anyOtherAddressIsUnknown();
    void aShowWithoutChannelsStillHasEveryChannel();

private:
    const QSet<QString> m_channels = {
        QStringLiteral("A"),
        QStringLiteral("Green Room"),
        QStringLiteral("A/B"),
        QStringLiteral("100%"),
        QStringLiteral("[Fly] {1,*?}"),
        QStringLiteral("Bühne 🎭"),
        QStringLiteral("/"),
        QStringLiteral("A")};
};

void SayAddressTest::sayAloneIsEveryChannel()
{
    QCOMPARE(readSayAddress("/wingbell/say", m_channels).kind, Kind::EveryChannel);
}

void SayAddressTest::theRestOfTheAddressIsOneChannel_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("channel");
    const auto row = [](const char* name, const QString& channel) {
        QTest::newRow(name) << QByteArray(name) << channel;
    };
    row("A", QStringLiteral("A"));
    row("%41", QStringLiteral("A"));
    row("Green Room", QStringLiteral("Green Room"));
    row("Green%20Room", QStringLiteral("Green Room"));
    row("A/B", QStringLiteral("A/B"));
    row("A%2FB", QStringLiteral("A/B"));
    row("A%2fB", QStringLiteral("A/B"));
    row("100%", QStringLiteral("100%"));
    row("100%25", QStringLiteral("100%"));
    row("[Fly] {1,*?}", QStringLiteral("[Fly] {1,*?}"));
    row("%5BFly%5D%20%7B1%2C%2A%3F%7D", QStringLiteral("[Fly] {1,*?}"));
    row("B\xC3\xBChne \xF0\x9F\x8E\xAD", QStringLiteral("Bühne 🎭"));
    row("B%C3%BChne%20%F0%9F%8E%AD", QStringLiteral("Bühne 🎭"));
    row("/", QStringLiteral("/"));
}

void SayAddressTest::theRestOfTheAddressIsOneChannel()
{
    QFETCH(QByteArray, name);
    QFETCH(QString, channel);
    const SayAddress expected{Kind::OneChannel, channel};
    QCOMPARE(readSayAddress(QByteArray("/wingbell/say/" + name), m_channels), expected);
}

void SayAddressTest::aNameThatMatchesNothingIsAnUnknownChannel_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("other case") << QByteArray("a");
    QTest::newRow("space behind") << QByteArray("A ");
    QTest::newRow("slash behind") << QByteArray("A/");
    QTest::newRow("beginning only") << QByteArray("Green");
    QTest::newRow("plus is no space") << QByteArray("Green+Room");
    QTest::newRow("pattern") << QByteArray("*");
    QTest::newRow("decoded once only") << QByteArray("100%2525");
    QTest::newRow("broken sequence beside a whole one") << QByteArray("Green%20Room%");
    QTest::newRow("sequence cut off") << QByteArray("A%4");
    QTest::newRow("sequence of no digits") << QByteArray("%4G");
    QTest::newRow("sign is no digit") << QByteArray("%+1");
    QTest::newRow("decoded to no text") << QByteArray("B%FChne");
    QTest::newRow("no text") << QByteArray("B\xFChne");
    QTest::newRow("nothing") << QByteArray();
}

void SayAddressTest::aNameThatMatchesNothingIsAnUnknownChannel()
{
    QFETCH(QByteArray, name);
    const SayAddress expected{Kind::UnknownChannel, QString::fromUtf8(name)};
    QCOMPARE(readSayAddress(QByteArray("/wingbell/say/" + name), m_channels), expected);
}

void SayAddressTest::aNameAsItStandsGoesBeforeItsDecodedForm()
{
    const QSet<QString> both = {QStringLiteral("A B"), QStringLiteral("A%20B")};
    QCOMPARE(readSayAddress("/wingbell/say/A%20B", both).channel, QStringLiteral("A%20B"));
    QCOMPARE(readSayAddress("/wingbell/say/A%2520B", both).channel, QStringLiteral("A%20B"));
    QCOMPARE(readSayAddress("/wingbell/say/A B", both).channel, QStringLiteral("A B"));
}

void SayAddressTest::anyOtherAddressIsUnknown_data()
{
    QTest::addColumn<QByteArray>("address");
    for (const char* address :
         {"", "/", "/wingbell", "/wingbell/", "/wingbell/sa", "/wingbell/sayA", "/wingbell/say%2FA",
          "/Wingbell/say", "/wingbell/Say/A", "//wingbell/say", "/wingbell/*", "wingbell/say"}) {
        QTest::newRow(address) << QByteArray(address);
    }
}

void SayAddressTest::anyOtherAddressIsUnknown()
{
    QFETCH(QByteArray, address);
    QCOMPARE(readSayAddress(address, m_channels).kind, Kind::UnknownAddress);
}

void SayAddressTest::aShowWithoutChannelsStillHasEveryChannel()
{
    QCOMPARE(readSayAddress("/wingbell/say", {}).kind, Kind::EveryChannel);
    QCOMPARE(readSayAddress("/wingbell/say/A", {}).kind, Kind::UnknownChannel);
}

WINGBELL_APPLESS_TEST(SayAddressTest)
#include "SayAddressTest.moc"

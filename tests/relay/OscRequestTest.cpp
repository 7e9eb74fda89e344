#include "relay/osc/OscRequest.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

namespace {

using Code = OscError::Code;

using Reading = Result<OscRequest, OscError>;

const QSet<QString> channels = {
    QStringLiteral("A"),
    QStringLiteral("Green Room"),
    QStringLiteral("A/B"),
    QStringLiteral("100%"),
    QStringLiteral("[Fly] {1,*?}"),
    QStringLiteral("Bühne 🎭"),
    QStringLiteral("/"),
    QStringLiteral("A")};

Reading read(const QByteArray& text, const QByteArray& address = "/wingbell/say")
{
    return readOscRequest({address, "s", text}, channels);
}

Announcement accepted(const Reading& reading)
{
    const auto* const announcement = reading ? std::get_if<Announcement>(&*reading) : nullptr;
    return announcement ? *announcement : Announcement{std::nullopt, QStringLiteral("REJECTED")};
}

SignalRequest signalOf(const OscMessage& message)
{
    const Reading reading = readOscRequest(message, channels);
    const auto* const signal = reading ? std::get_if<SignalRequest>(&*reading) : nullptr;
    return signal ? *signal : SignalRequest{{}, std::nullopt, QStringLiteral("REJECTED")};
}

OscError rejected(const Reading& reading)
{
    return reading ? OscError{Code::EmptyPacket, QStringLiteral("ACCEPTED")} : reading.error();
}

} // namespace

class OscRequestTest : public QObject
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

    void oneTextIsAnnounced();
    void aSymbolIsATextToo();
    void spaceAroundATextIsNotAnnounced();
    void silenceIsAskedForWithoutOrWithArguments();
    void callsAndLightsNameChannelsAsSayDoes();
    void aLightMayHaveATextOrANumber();
    void aLightWithSomethingElseIsRejected_data();
    void aLightWithSomethingElseIsRejected();
    void theArgumentsOfACallAreIgnored();
    void aReplyBringsAPort();
    void aReplyWithoutAPortIsRejected();
    void whatCannotBeAnnouncedIsRejected_data();
    void whatCannotBeAnnouncedIsRejected();
    void aTextOfTheGreatestLengthStaysWhole();
    void aLongerTextIsCutAtACharacter();
    void aCutNeverPartsWhatLooksLikeOneCharacter();
};

void OscRequestTest::sayAloneIsEveryChannel()
{
    QCOMPARE(accepted(read("Go")), (Announcement{std::nullopt, QStringLiteral("Go")}));
}

void OscRequestTest::theRestOfTheAddressIsOneChannel_data()
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

void OscRequestTest::theRestOfTheAddressIsOneChannel()
{
    QFETCH(QByteArray, name);
    QFETCH(QString, channel);
    const Announcement expected{channel, QStringLiteral("Go")};
    QCOMPARE(accepted(read("Go", "/wingbell/say/" + name)), expected);
}

void OscRequestTest::aNameThatMatchesNothingIsAnUnknownChannel_data()
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
}

void OscRequestTest::aNameThatMatchesNothingIsAnUnknownChannel()
{
    QFETCH(QByteArray, name);
    const OscError expected{Code::UnknownChannel, QString::fromUtf8(name)};
    QCOMPARE(rejected(read("Go", "/wingbell/say/" + name)), expected);
}

void OscRequestTest::aNameAsItStandsGoesBeforeItsDecodedForm()
{
    const QSet<QString> both = {QStringLiteral("A B"), QStringLiteral("A%20B")};
    const auto channelOf = [&both](const QByteArray& address) {
        return accepted(readOscRequest({address, "s", "Go"}, both)).channel;
    };
    QCOMPARE(channelOf("/wingbell/say/A%20B"), QStringLiteral("A%20B"));
    QCOMPARE(channelOf("/wingbell/say/A%2520B"), QStringLiteral("A%20B"));
    QCOMPARE(channelOf("/wingbell/say/A B"), QStringLiteral("A B"));
}

void OscRequestTest::anyOtherAddressIsUnknown_data()
{
    QTest::addColumn<QByteArray>("address");
    for (const char* address :
         {"", "/", "/wingbell", "/wingbell/", "/wingbell/sa", "/wingbell/sayA", "/wingbell/say%2FA",
          "/Wingbell/say", "/wingbell/Say/A", "//wingbell/say", "/wingbell/*", "wingbell/say"}) {
        QTest::newRow(address) << QByteArray(address);
    }
}

void OscRequestTest::anyOtherAddressIsUnknown()
{
    QFETCH(QByteArray, address);
    const OscError expected{Code::UnknownAddress, QString::fromUtf8(address)};
    QCOMPARE(rejected(read("Go", address)), expected);
}

void OscRequestTest::aShowWithoutChannelsStillHasEveryChannel()
{
    QVERIFY(readOscRequest({"/wingbell/say", "s", "Go"}, {}));
    QCOMPARE(
        rejected(readOscRequest({"/wingbell/say/A", "s", "Go"}, {})).code, Code::UnknownChannel);
}

void OscRequestTest::oneTextIsAnnounced()
{
    const Announcement everywhere{std::nullopt, QStringLiteral("Places, please")};
    QCOMPARE(accepted(read("Places, please")), everywhere);
    const Announcement there{QStringLiteral("Green Room"), QStringLiteral("Go")};
    QCOMPARE(accepted(read("Go", "/wingbell/say/Green%20Room")), there);
}

void OscRequestTest::aSymbolIsATextToo()
{
    const Announcement expected{std::nullopt, QStringLiteral("Go")};
    QCOMPARE(accepted(readOscRequest({"/wingbell/say", "S", "Go"}, channels)), expected);
}

void OscRequestTest::spaceAroundATextIsNotAnnounced()
{
    QCOMPARE(accepted(read(" \n Go \t ")).text, QStringLiteral("Go"));
}

void OscRequestTest::silenceIsAskedForWithoutOrWithArguments()
{
    for (const QByteArray& types : {QByteArray(), QByteArray("s"), QByteArray("if")}) {
        const auto reading = readOscRequest({"/wingbell/silence", types, {}}, channels);
        QVERIFY(reading == OscRequest(SilenceRequest()));
    }
    for (const QByteArray& address :
         {QByteArray("/wingbell/silence/Stage"), QByteArray("/wingbell/Silence")}) {
        const auto reading = readOscRequest({address, {}, {}}, channels);
        QCOMPARE(rejected(reading).code, Code::UnknownAddress);
    }
}

void OscRequestTest::callsAndLightsNameChannelsAsSayDoes()
{
    const auto kindOf = [](const QByteArray& address) {
        return signalOf({address, {}, {}}).kind;
    };
    QVERIFY(kindOf("/wingbell/call") == SignalRequest::Kind::Call);
    QVERIFY(kindOf("/wingbell/standby") == SignalRequest::Kind::Standby);
    QVERIFY(kindOf("/wingbell/go") == SignalRequest::Kind::Go);
    QVERIFY(kindOf("/wingbell/clear") == SignalRequest::Kind::Clear);
    QVERIFY(!signalOf({"/wingbell/go", {}, {}}).channel);
    QCOMPARE(signalOf({"/wingbell/go/Green%20Room", {}, {}}).channel, QStringLiteral("Green Room"));
    QCOMPARE(
        rejected(readOscRequest({"/wingbell/go/Pit", {}, {}}, channels)).code,
        Code::UnknownChannel);
    QCOMPARE(
        rejected(readOscRequest({"/wingbell/gone", {}, {}}, channels)).code, Code::UnknownAddress);
}

void OscRequestTest::aLightMayHaveATextOrANumber()
{
    QCOMPARE(signalOf({"/wingbell/standby", "s", " LX 12 "}).text, QStringLiteral("LX 12"));
    QCOMPARE(signalOf({"/wingbell/standby", "s", " "}).text, QString());
    QCOMPARE(signalOf({"/wingbell/standby", "i", {}, 12}).text, QStringLiteral("12"));
    const QByteArray tooLong(maxLightText + 1, 'a');
    QCOMPARE(signalOf({"/wingbell/go", "s", tooLong}).text.size(), maxLightText);
}

void OscRequestTest::aLightWithSomethingElseIsRejected_data()
{
    QTest::addColumn<QByteArray>("types");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<Code>("code");
    QTest::newRow("a float") << QByteArray("f") << QByteArray() << Code::NotAString;
    QTest::newRow("two texts") << QByteArray("ss") << QByteArray("a") << Code::SeveralArguments;
    QTest::newRow("two numbers") << QByteArray("ii") << QByteArray() << Code::SeveralArguments;
    QTest::newRow("no UTF-8") << QByteArray("s") << QByteArray("\xFC") << Code::NotUtf8;
}

void OscRequestTest::aLightWithSomethingElseIsRejected()
{
    QFETCH(QByteArray, types);
    QFETCH(QByteArray, text);
    QFETCH(Code, code);
    QCOMPARE(rejected(readOscRequest({"/wingbell/go", types, text, 1}, channels)).code, code);
}

void OscRequestTest::theArgumentsOfACallAreIgnored()
{
    QCOMPARE(signalOf({"/wingbell/call", "sf", "LX 12"}), SignalRequest());
    QVERIFY(signalOf({"/wingbell/clear", "f", {}}).kind == SignalRequest::Kind::Clear);
}

void OscRequestTest::aReplyBringsAPort()
{
    const auto read = readOscRequest({"/wingbell/reply", "i", {}, 53001}, channels);
    QVERIFY(read == OscRequest(ReplyRequest{53001}));
}

void OscRequestTest::aReplyWithoutAPortIsRejected()
{
    for (const OscMessage& message :
         {OscMessage{"/wingbell/reply", {}, {}}, OscMessage{"/wingbell/reply", "s", "53001"},
          OscMessage{"/wingbell/reply", "i", {}, 0}, OscMessage{"/wingbell/reply", "i", {}, 65536},
          OscMessage{"/wingbell/reply", "ii", {}, 1}}) {
        QCOMPARE(rejected(readOscRequest(message, channels)).code, Code::NotAPort);
    }
}

void OscRequestTest::whatCannotBeAnnouncedIsRejected_data()
{
    QTest::addColumn<QByteArray>("address");
    QTest::addColumn<QByteArray>("types");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<Code>("code");
    QTest::addColumn<QString>("subject");
    const QByteArray say = "/wingbell/say";
    const auto row = [](const char* name, const QByteArray& address, const QByteArray& types,
                        const QByteArray& text, Code code, const char* subject = "") {
        QTest::newRow(name) << address << types << text << code << QString::fromUtf8(subject);
    };
    row("no argument", say, "", "", Code::NoText);
    row("a number", say, "i", "", Code::NotAString);
    row("two texts", say, "ss", "Go", Code::SeveralArguments, "2");
    row("empty", say, "s", "", Code::BlankText);
    row("blank", say, "s", " \t\n\xC2\xA0", Code::BlankText);
    row("invisible", say, "s", "\x01\xE2\x80\x8B", Code::BlankText);
    row("no UTF-8", say, "s", "B\xFChne", Code::NotUtf8);
    row("unknown channel", say + "/stage", "s", "Go", Code::UnknownChannel, "stage");
    row("no channel", say + "/", "s", "Go", Code::NoChannelName);
    row("unknown address", "/cue/go", "s", "Go", Code::UnknownAddress, "/cue/go");
}

void OscRequestTest::whatCannotBeAnnouncedIsRejected()
{
    QFETCH(QByteArray, address);
    QFETCH(QByteArray, types);
    QFETCH(QByteArray, text);
    QFETCH(Code, code);
    QFETCH(QString, subject);
    const OscError expected{code, subject};
    QCOMPARE(rejected(readOscRequest({address, types, text}, channels)), expected);
}

void OscRequestTest::aTextOfTheGreatestLengthStaysWhole()
{
    const QString text = QStringLiteral("🎭").repeated(maxAnnouncement);
    const Announcement expected{std::nullopt, text, false};
    QCOMPARE(accepted(read(text.toUtf8())), expected);
}

void OscRequestTest::aLongerTextIsCutAtACharacter()
{
    const QString text = QStringLiteral("🎭").repeated(maxAnnouncement);
    const Announcement expected{std::nullopt, text, true};
    QCOMPARE(accepted(read(text.toUtf8() + "!")), expected);
}

void OscRequestTest::aCutNeverPartsWhatLooksLikeOneCharacter()
{
    const QString before = QStringLiteral("a").repeated(maxAnnouncement - 1);
    const QString accented = QStringLiteral("e\u0301"); // one character of two code points
    const Announcement expected{std::nullopt, before, true};
    QCOMPARE(accepted(read((before + accented).toUtf8())), expected);
}

WINGBELL_APPLESS_TEST(OscRequestTest)
#include "OscRequestTest.moc"

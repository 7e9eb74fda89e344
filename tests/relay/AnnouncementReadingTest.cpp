#include "relay/osc/AnnouncementReading.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

namespace {

using Code = OscError::Code;

const QSet<QString> channels = {QStringLiteral("Stage"), QStringLiteral("Green Room")};

AnnouncementReading read(const QByteArray& text, const QByteArray& address = "/wingbell/say")
{
    return readAnnouncement({address, "s", text}, channels);
}

Announcement accepted(const AnnouncementReading& reading)
{
    const auto* announcement = std::get_if<Announcement>(&reading);
    return announcement ? *announcement : Announcement{std::nullopt, QStringLiteral("REJECTED")};
}

} // namespace

class AnnouncementReadingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneTextIsAnnounced();
    void aSymbolIsATextToo();
    void spaceAroundATextIsNotAnnounced();
    void silenceIsAskedForWithoutOrWithArguments();
    void whatCannotBeAnnouncedIsRejected_data();
    void whatCannotBeAnnouncedIsRejected();
    void aTextOfTheGreatestLengthStaysWhole();
    void aLongerTextIsCutAtACharacter();
    void aCutNeverPartsWhatLooksLikeOneCharacter();
};

void AnnouncementReadingTest::oneTextIsAnnounced()
{
    const Announcement everywhere{std::nullopt, QStringLiteral("Places, please")};
    QCOMPARE(accepted(read("Places, please")), everywhere);
    const Announcement there{QStringLiteral("Green Room"), QStringLiteral("Go")};
    QCOMPARE(accepted(read("Go", "/wingbell/say/Green%20Room")), there);
}

void AnnouncementReadingTest::aSymbolIsATextToo()
{
    const Announcement expected{std::nullopt, QStringLiteral("Go")};
    QCOMPARE(accepted(readAnnouncement({"/wingbell/say", "S", "Go"}, channels)), expected);
}

void AnnouncementReadingTest::spaceAroundATextIsNotAnnounced()
{
    QCOMPARE(accepted(read(" \n Go \t ")).text, QStringLiteral("Go"));
}

void AnnouncementReadingTest::silenceIsAskedForWithoutOrWithArguments()
{
    for (const QByteArray& types : {QByteArray(), QByteArray("s"), QByteArray("if")}) {
        const auto reading = readAnnouncement({"/wingbell/silence", types, {}}, channels);
        QVERIFY(std::holds_alternative<SilenceRequest>(reading));
    }
    for (const QByteArray& address :
         {QByteArray("/wingbell/silence/Stage"), QByteArray("/wingbell/Silence")}) {
        const auto reading = readAnnouncement({address, {}, {}}, channels);
        QCOMPARE(std::get<OscError>(reading).code, Code::UnknownAddress);
    }
}

void AnnouncementReadingTest::whatCannotBeAnnouncedIsRejected_data()
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

void AnnouncementReadingTest::whatCannotBeAnnouncedIsRejected()
{
    QFETCH(QByteArray, address);
    QFETCH(QByteArray, types);
    QFETCH(QByteArray, text);
    QFETCH(Code, code);
    QFETCH(QString, subject);
    const AnnouncementReading reading = readAnnouncement({address, types, text}, channels);
    const auto* error = std::get_if<OscError>(&reading);
    QVERIFY(error);
    const OscError expected{code, subject};
    QCOMPARE(*error, expected);
}

void AnnouncementReadingTest::aTextOfTheGreatestLengthStaysWhole()
{
    const QString text = QStringLiteral("🎭").repeated(longestAnnouncement);
    const Announcement expected{std::nullopt, text, false};
    QCOMPARE(accepted(read(text.toUtf8())), expected);
}

void AnnouncementReadingTest::aLongerTextIsCutAtACharacter()
{
    const QString text = QStringLiteral("🎭").repeated(longestAnnouncement);
    const Announcement expected{std::nullopt, text, true};
    QCOMPARE(accepted(read(text.toUtf8() + "!")), expected);
}

void AnnouncementReadingTest::aCutNeverPartsWhatLooksLikeOneCharacter()
{
    const QString before = QStringLiteral("a").repeated(longestAnnouncement - 1);
    const QString accented = QStringLiteral("e\u0301"); // one character of two code points
    const Announcement expected{std::nullopt, before, true};
    QCOMPARE(accepted(read((before + accented).toUtf8())), expected);
}

WINGBELL_APPLESS_TEST(AnnouncementReadingTest)
#include "AnnouncementReadingTest.moc"

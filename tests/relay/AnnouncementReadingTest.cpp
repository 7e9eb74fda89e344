#include "relay/osc/AnnouncementReading.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

namespace {

const QSet<QString> channels = {QStringLiteral("Stage"), QStringLiteral("Green Room")};

AnnouncementReading read(const QByteArray& text, const QByteArray& address = "/wingbell/say")
{
    return readAnnouncement({address, "s", text}, channels);
}

Announcement accepted(const AnnouncementReading& reading)
{
    const auto* announcement = std::get_if<Announcement>(&reading);
    return announcement ? *announcement : Announcement{std::nullopt, QStringLiteral("REFUSED")};
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
    void whatCannotBeAnnouncedIsRefused_data();
    void whatCannotBeAnnouncedIsRefused();
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
        QCOMPARE(std::get<Refusal>(reading).cause, LineCause::UnknownAddress);
    }
}

void AnnouncementReadingTest::whatCannotBeAnnouncedIsRefused_data()
{
    QTest::addColumn<QByteArray>("address");
    QTest::addColumn<QByteArray>("types");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<LineCause>("cause");
    QTest::addColumn<QString>("reason");
    const QByteArray say = "/wingbell/say";

    QTest::newRow("no argument") << say << QByteArray() << QByteArray() << LineCause::WrongArguments
                                 << QStringLiteral("it brings no text");
    QTest::newRow("a number") << say << QByteArray("i") << QByteArray() << LineCause::WrongArguments
                              << QStringLiteral("its argument is no text");
    QTest::newRow("two texts") << say << QByteArray("ss") << QByteArray("Go")
                               << LineCause::WrongArguments
                               << QStringLiteral("it brings 2 arguments instead of one text");
    QTest::newRow("empty") << say << QByteArray("s") << QByteArray() << LineCause::Blank
                           << QStringLiteral("its text is blank");
    QTest::newRow("blank") << say << QByteArray("s") << QByteArray(" \t\n\xC2\xA0")
                           << LineCause::Blank << QStringLiteral("its text is blank");
    QTest::newRow("invisible") << say << QByteArray("s") << QByteArray("\x01\xE2\x80\x8B")
                               << LineCause::Blank << QStringLiteral("its text is blank");
    QTest::newRow("no UTF-8") << say << QByteArray("s") << QByteArray("B\xFChne")
                              << LineCause::NotUtf8 << QStringLiteral("its text is not UTF-8");
    QTest::newRow("unknown channel")
        << say + "/stage" << QByteArray("s") << QByteArray("Go") << LineCause::UnknownChannel
        << QStringLiteral("the show has no channel \"stage\"");
    QTest::newRow("no channel") << say + "/" << QByteArray("s") << QByteArray("Go")
                                << LineCause::UnknownChannel
                                << QStringLiteral("its address ends before the name of a channel");
    QTest::newRow("unknown address")
        << QByteArray("/cue/go") << QByteArray("s") << QByteArray("Go") << LineCause::UnknownAddress
        << QStringLiteral(
               "\"/cue/go\" is neither /wingbell/say nor /wingbell/say/ and a channel's name");
}

void AnnouncementReadingTest::whatCannotBeAnnouncedIsRefused()
{
    QFETCH(QByteArray, address);
    QFETCH(QByteArray, types);
    QFETCH(QByteArray, text);
    QFETCH(LineCause, cause);
    QFETCH(QString, reason);
    const AnnouncementReading reading = readAnnouncement({address, types, text}, channels);
    const auto* refusal = std::get_if<Refusal>(&reading);
    QVERIFY(refusal);
    QCOMPARE(refusal->cause, cause);
    QCOMPARE(refusal->reason, reason);
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

#include "relay/Sentences.h"
#include "relay/log/Messages.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <cerrno>

using namespace wingbell;

namespace {

std::error_code errorOf(int number)
{
    return {number, std::generic_category()};
}

} // namespace

class SentencesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPortThatIsTakenIsToldWithWhatToDo();
    void aPortThatCannotBeOpenedIsToldWithTheReason();
    void aMachineWithoutIpv6IsTold();
    void linesHeldBackAreToldByTheirEvent_data();
    void linesHeldBackAreToldByTheirEvent();
    void theCrewAreToldTheBestAddressFirst();
    void whoGoesIsToldWithRoleAndAddress();
    void whoForgetsAKeyIsToldWithTheChannels();
    void textFromOutsideIsNoPlaceholder();
    void namesAreShortened();
    void everyMessageIsExplained();
};

void SentencesTest::aPortThatIsTakenIsToldWithWhatToDo()
{
    QCOMPARE(
        portNotOpenSentence(
            PortType::Udp, 47000, errorOf(EADDRINUSE), PortHolder{QStringLiteral("%1 %3"), 4711}),
        QStringLiteral("Cannot go on air: UDP port 47000 is in use by %1 %3 (process 4711); end "
                       "that program or choose another port in the control window."));
    QCOMPARE(
        portNotOpenSentence(PortType::Udp, 47000, errorOf(EADDRINUSE), std::nullopt),
        QStringLiteral("Cannot go on air: UDP port 47000 is in use by another program; end that "
                       "program or choose another port in the control window."));
}

void SentencesTest::aPortThatCannotBeOpenedIsToldWithTheReason()
{
    QCOMPARE(
        portNotOpenSentence(PortType::Tcp, 80, errorOf(EACCES), std::nullopt),
        QStringLiteral("Cannot go on air: TCP port 80 is reserved for the system; choose 1024 "
                       "or above in the control window."));
    QCOMPARE(
        portNotOpenSentence(PortType::Udp, 47000, errorOf(EMFILE), std::nullopt),
        QStringLiteral("Cannot go on air: UDP port 47000 cannot be opened: Too many open files; "
                       "choose another port in the control window."));
}

void SentencesTest::aMachineWithoutIpv6IsTold()
{
    ShowFile show;
    show.show = QStringLiteral("Hamlet");
    show.channels = QStringList(QStringLiteral("Stage"));
    QCOMPARE(
        onAirSentence(ShowPatch(show), 47000, false),
        QStringLiteral("On air with \"Hamlet\": 1 channel, 0 roles, OSC on UDP port 47000 over "
                       "IPv4 only."));
}

void SentencesTest::linesHeldBackAreToldByTheirEvent_data()
{
    QTest::addColumn<LogEvent>("event");
    QTest::addColumn<quint64>("lines");
    QTest::addColumn<QString>("sentence");
    const auto row = [](LogEvent event, quint64 lines, const char* sentence) {
        QTest::newRow(sentence) << event << lines << QString::fromLatin1(sentence);
    };
    row(LogEvent::Announced, 1, "Announcing 1 more text that arrived within a second.");
    row(LogEvent::Announced, 412, "Announcing 412 more texts that arrived within a second.");
    row(LogEvent::UnknownChannel, 9, "Rejected 9 more messages: unknown channel.");
    row(LogEvent::WrongCode, 1, "Rejected 1 more request: wrong crew code or card.");
}

void SentencesTest::linesHeldBackAreToldByTheirEvent()
{
    QFETCH(LogEvent, event);
    QFETCH(quint64, lines);
    QFETCH(QString, sentence);
    QCOMPARE(heldBackText(event, lines), sentence);
}

void SentencesTest::theCrewAreToldTheBestAddressFirst()
{
    const QString code = QStringLiteral("042913");
    const QString best = QStringLiteral("https://192.168.1.5:47000/");
    const QString other = QStringLiteral("https://10.8.0.2:47000/");
    QCOMPARE(
        joinSentence({best}, code),
        QStringLiteral("The crew join at https://192.168.1.5:47000/ with the code 042913."));
    QCOMPARE(
        joinSentence({best, other}, code),
        QStringLiteral("The crew join at https://192.168.1.5:47000/ with the code 042913. If that "
                       "address does not work, try https://10.8.0.2:47000/"));
}

void SentencesTest::whoGoesIsToldWithRoleAndAddress()
{
    const QString role = QStringLiteral("%1 \"Fly\"");
    const QString who = QStringLiteral("10.0.0.7");
    QCOMPARE(
        leftSentence(role, who, Departure::Left), QStringLiteral("10.0.0.7 left \"%1 \"Fly\"\"."));
    for (const Departure why :
         {Departure::Vanished, Departure::LinkBroken, Departure::NeverCame, Departure::Forged}) {
        const QString line = leftSentence(role, who, why);
        QVERIFY2(line.startsWith(who) && line.contains(role), qPrintable(line));
    }
}

void SentencesTest::whoForgetsAKeyIsToldWithTheChannels()
{
    const QString role = QStringLiteral("Lighting");
    QStringList channels = {QStringLiteral("Main")};
    QCOMPARE(
        forgottenKeySentence(role, channels, std::chrono::minutes(4)),
        QStringLiteral("\"Lighting\" has kept \"Main\" open for 4 minutes without speech."));
    channels.append(QStringLiteral("Tech"));
    QVERIFY(forgottenKeySentence(role, channels, std::chrono::minutes(4))
                .contains(QStringLiteral(" kept \"Main\" and \"Tech\" open ")));
    channels.append({QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("C")});
    QVERIFY(forgottenKeySentence(role, channels, std::chrono::minutes(4))
                .contains(QStringLiteral("\"Main\", \"Tech\", \"A\" and 2 other channels ")));
}

void SentencesTest::textFromOutsideIsNoPlaceholder()
{
    const Announcement announcement{QStringLiteral("%4"), QStringLiteral("%3 %2"), true};
    QCOMPARE(
        announcedSentence(announcement, QStringLiteral("::1")),
        QStringLiteral(
            "Announcing \"%3 %2\" (cut to 500 characters) on channel \"%4\", from ::1."));
    QCOMPARE(
        messageText(Message::NoShow, {QStringLiteral("\"/%2\""), QStringLiteral("%1 [s]")}),
        QStringLiteral("Cannot go on air: the show in \"/%2\" cannot be read: %1 [s]."));
}

void SentencesTest::namesAreShortened()
{
    ShowFile show;
    show.show = QString(1000, QLatin1Char('x'));
    QVERIFY(
        onAirSentence(ShowPatch(show), 1, true)
            .contains(QLatin1Char('"') + QString(100, QLatin1Char('x')) + QStringLiteral("…\"")));
    const Announcement announcement{show.show, QStringLiteral("Go"), false};
    QVERIFY(announcedSentence(announcement, {}).size() < 300);
}

void SentencesTest::everyMessageIsExplained()
{
    // Within a topic, a message without a meaning has that of the next one.
    const auto rows = messageRows();
    for (std::size_t index = 0; index < rows.size(); ++index) {
        const MessageRow& row = rows[index];
        const bool isLast = index + 1 == rows.size() || rows[index + 1].topic != row.topic;
        QVERIFY2(!row.text.empty(), qPrintable(QString::number(index)));
        QVERIFY2(!isLast || !row.meaning.empty(), row.text.data());
    }
}

WINGBELL_APPLESS_TEST(SentencesTest)
#include "SentencesTest.moc"

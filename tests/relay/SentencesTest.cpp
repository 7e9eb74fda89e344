#include "relay/Sentences.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <cerrno>

using namespace wingbell;

class SentencesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPortThatIsTakenIsToldWithWhatToDo();
    void aPortThatCannotBeOpenedIsToldWithTheReason();
    void aMachineWithoutIpv6IsTold();
    void linesHeldBackAreToldByTheirCause_data();
    void linesHeldBackAreToldByTheirCause();
    void theCrewAreToldTheBestAddressFirst();
    void whoComesAndGoesIsToldWithRoleAndAddress();
    void textFromOutsideIsNoPlaceholder();
    void namesAreShortened();
};

void SentencesTest::aPortThatIsTakenIsToldWithWhatToDo()
{
    QCOMPARE(
        portNotOpenSentence(
            PortKind::Udp, 47000, EADDRINUSE, PortHolder{QStringLiteral("%1 %3"), 4711}),
        QStringLiteral("Cannot go on air: UDP port 47000 is in use by %1 %3 (process 4711); end "
                       "that program or choose another port in the control window."));
    QCOMPARE(
        portNotOpenSentence(PortKind::Udp, 47000, EADDRINUSE, std::nullopt),
        QStringLiteral("Cannot go on air: UDP port 47000 is in use by another program; end that "
                       "program or choose another port in the control window."));
}

void SentencesTest::aPortThatCannotBeOpenedIsToldWithTheReason()
{
    QCOMPARE(
        portNotOpenSentence(PortKind::Tcp, 80, EACCES, std::nullopt),
        QStringLiteral("Cannot go on air: TCP port 80 is kept for the system; choose one from 1024 "
                       "up in the control window."));
    QCOMPARE(
        portNotOpenSentence(PortKind::Udp, 47000, EMFILE, std::nullopt),
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

void SentencesTest::linesHeldBackAreToldByTheirCause_data()
{
    QTest::addColumn<LineCause>("cause");
    QTest::addColumn<quint64>("lines");
    QTest::addColumn<QString>("sentence");
    const auto row = [](LineCause cause, quint64 lines, const char* sentence) {
        QTest::newRow(sentence) << cause << lines << QString::fromLatin1(sentence);
    };
    row(LineCause::Announced, 1, "Announcing 1 more text that came within a second.");
    row(LineCause::Announced, 412, "Announcing 412 more texts that came within a second.");
    row(LineCause::Unreadable, 2, "Refused 2 more packets: unreadable.");
    row(LineCause::UnknownAddress, 1, "Refused 1 more message: unknown address.");
    row(LineCause::UnknownChannel, 9, "Refused 9 more messages: unknown channel.");
    row(LineCause::WrongArguments, 9, "Refused 9 more messages: not exactly one text.");
    row(LineCause::Blank, 9, "Refused 9 more messages: blank text.");
    row(LineCause::NotUtf8, 9, "Refused 9 more messages: text that is not UTF-8.");
    row(LineCause::TooManyAnnouncements, 2, "Refused 2 more messages: too many announcements.");
    row(LineCause::NotSpoken, 2, "Could not speak 2 more announcements within a second.");
    row(LineCause::Silenced, 5, "Asked for silence within a second: 5 more times.");
    row(LineCause::Joined, 1, "Joined within a second: 1 more time.");
    row(LineCause::Left, 64, "Left within a second: 64 more times.");
    row(LineCause::NeverConnected, 2, "Never got through: 2 more times within a second.");
    row(LineCause::WrongCode, 7, "Turned away 7 more visits: a wrong crew code.");
    row(LineCause::TooManyConnections, 7, "Turned away 7 more visits: too many connections.");
    row(LineCause::TooManyRequests, 7, "Turned away 7 more visits: too many requests.");
    row(LineCause::TooSlow, 1, "Turned away 1 more visit: too slow.");
    row(LineCause::NotTls, 7, "Turned away 7 more visits: no secure connection.");
    row(LineCause::MalformedRequest, 7, "Turned away 7 more visits: a malformed request.");
    row(LineCause::ForeignRequest, 7, "Turned away 7 more visits: a request of a foreign page.");
}

void SentencesTest::linesHeldBackAreToldByTheirCause()
{
    QFETCH(LineCause, cause);
    QFETCH(quint64, lines);
    QFETCH(QString, sentence);
    QCOMPARE(heldBackSentence({cause, lines}), sentence);
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
        QStringLiteral("The crew join at https://192.168.1.5:47000/ with the code 042913. Where "
                       "that does not answer: https://10.8.0.2:47000/"));
}

void SentencesTest::whoComesAndGoesIsToldWithRoleAndAddress()
{
    const QString role = QStringLiteral("%1 \"Fly\"");
    const QString who = QStringLiteral("10.0.0.7");
    QCOMPARE(joinedSentence(role, who, true), QStringLiteral("10.0.0.7 joined as \"%1 \"Fly\"\"."));
    QCOMPARE(
        joinedSentence(role, who, false),
        QStringLiteral("10.0.0.7 joined as \"%1 \"Fly\"\", without a microphone."));
    QCOMPARE(returnedSentence(role, who), QStringLiteral("10.0.0.7 is back as \"%1 \"Fly\"\"."));
    QCOMPARE(
        leftSentence(role, who, Departure::Left), QStringLiteral("10.0.0.7 left \"%1 \"Fly\"\"."));
    for (const Departure why :
         {Departure::Vanished, Departure::LinkBroken, Departure::NeverCame, Departure::Forged}) {
        const QString line = leftSentence(role, who, why);
        QVERIFY2(line.startsWith(who) && line.contains(role), qPrintable(line));
    }
}

void SentencesTest::textFromOutsideIsNoPlaceholder()
{
    const Announcement announcement{QStringLiteral("%4"), QStringLiteral("%3 %2"), true};
    QCOMPARE(
        announcedSentence(announcement, QStringLiteral("::1")),
        QStringLiteral(
            "Announcing \"%3 %2\" (cut to 500 characters) on channel \"%4\", from ::1."));
    QCOMPARE(
        refusedSentence({LineCause::Blank, QStringLiteral("%1 %2")}, QStringLiteral("::1")),
        QStringLiteral("Refused a message from ::1: %1 %2."));
    QCOMPARE(
        neverSavedSentence(QStringLiteral("/%1")),
        QStringLiteral(
            "Cannot go on air: no show has been saved yet (\"/%1\" does not exist): press "
            "Save Show, then start again."));
    QCOMPARE(
        noShowSentence(QStringLiteral("/%2"), QStringLiteral("%1")),
        QStringLiteral("Cannot go on air: there is no show in \"/%2\": %1."));
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

WINGBELL_APPLESS_TEST(SentencesTest)
#include "SentencesTest.moc"

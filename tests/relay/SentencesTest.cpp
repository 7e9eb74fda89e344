#include "relay/Sentences.h"

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
    void textFromOutsideIsNoPlaceholder();
    void namesAreShortened();
};

void SentencesTest::aPortThatIsTakenIsToldWithWhatToDo()
{
    QCOMPARE(
        portNotOpenSentence(47000, EADDRINUSE, PortHolder{QStringLiteral("%1 %3"), 4711}),
        QStringLiteral("Cannot go on air: UDP port 47000 is in use by %1 %3 (process 4711); end "
                       "that program or choose another port in the control window."));
    QCOMPARE(
        portNotOpenSentence(47000, EADDRINUSE, std::nullopt),
        QStringLiteral("Cannot go on air: UDP port 47000 is in use by another program; end that "
                       "program or choose another port in the control window."));
}

void SentencesTest::aPortThatCannotBeOpenedIsToldWithTheReason()
{
    QCOMPARE(
        portNotOpenSentence(80, EACCES, std::nullopt),
        QStringLiteral("Cannot go on air: UDP port 80 is kept for the system; choose one from 1024 "
                       "up in the control window."));
    QCOMPARE(
        portNotOpenSentence(47000, EMFILE, std::nullopt),
        QStringLiteral("Cannot go on air: UDP port 47000 cannot be opened: Too many open files; "
                       "choose another port in the control window."));
}

void SentencesTest::aMachineWithoutIpv6IsTold()
{
    ShowFile show;
    show.show = QStringLiteral("Hamlet");
    show.channels = QStringList(QStringLiteral("Stage"));
    QCOMPARE(
        onAirSentence(show, 47000, false),
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
    row(LineCause::Announced, 1,
        "Received 1 more announcement within a second; announcements are not spoken yet.");
    row(LineCause::Announced, 412,
        "Received 412 more announcements within a second; announcements are not spoken yet.");
    row(LineCause::Unreadable, 2, "Refused 2 more packets within a second: unreadable.");
    row(LineCause::UnknownAddress, 1, "Refused 1 more message within a second: unknown address.");
    row(LineCause::UnknownChannel, 9, "Refused 9 more messages within a second: unknown channel.");
    row(LineCause::WrongArguments, 9,
        "Refused 9 more messages within a second: not exactly one text.");
    row(LineCause::Blank, 9, "Refused 9 more messages within a second: blank text.");
    row(LineCause::NotUtf8, 9, "Refused 9 more messages within a second: text that is not UTF-8.");
}

void SentencesTest::linesHeldBackAreToldByTheirCause()
{
    QFETCH(LineCause, cause);
    QFETCH(quint64, lines);
    QFETCH(QString, sentence);
    QCOMPARE(heldBackSentence({cause, lines}), sentence);
}

void SentencesTest::textFromOutsideIsNoPlaceholder()
{
    const Announcement announcement{QStringLiteral("%4"), QStringLiteral("%3 %2"), true};
    QCOMPARE(
        announcedSentence(announcement, QStringLiteral("::1")),
        QStringLiteral("Received \"%3 %2\" (cut to 500 characters) for channel \"%4\" from ::1; "
                       "announcements are not spoken yet."));
    QCOMPARE(
        refusedSentence({LineCause::Blank, QStringLiteral("%1 %2")}, QStringLiteral("::1")),
        QStringLiteral("Refused a message from ::1: %1 %2."));
    QCOMPARE(
        noShowSentence(QStringLiteral("/%2"), QStringLiteral("%1")),
        QStringLiteral("Cannot go on air: there is no show in \"/%2\": %1."));
}

void SentencesTest::namesAreShortened()
{
    ShowFile show;
    show.show = QString(1000, QLatin1Char('x'));
    QVERIFY(
        onAirSentence(show, 1, true)
            .contains(QLatin1Char('"') + QString(100, QLatin1Char('x')) + QStringLiteral("…\"")));
    const Announcement announcement{show.show, QStringLiteral("Go"), false};
    QVERIFY(announcedSentence(announcement, {}).size() < 300);
}

QTEST_APPLESS_MAIN(SentencesTest)
#include "SentencesTest.moc"

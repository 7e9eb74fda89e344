#include "panels/setup/ShowSetup.h"
#include "tests/TestProgram.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

using namespace wingbell;

class SaveFeedbackTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPressShowsForAMoment();
    void theFirstOfTwoPressesEndsTheMoment();
};

void SaveFeedbackTest::aPressShowsForAMoment()
{
    ShowSetup feedback;
    QSignalSpy told(&feedback, &ShowSetup::justSavedChanged);
    QVERIFY(!feedback.justSaved());
    QElapsedTimer watch;
    watch.start();
    feedback.savePressed();
    QVERIFY(feedback.justSaved());
    QTRY_VERIFY(!feedback.justSaved());
    QVERIFY(watch.elapsed() >= 1399); // in whole milliseconds
    QCOMPARE(told.size(), 2);
}

void SaveFeedbackTest::theFirstOfTwoPressesEndsTheMoment()
{
    ShowSetup feedback;
    QSignalSpy told(&feedback, &ShowSetup::justSavedChanged);
    bool pressedAgain = false;
    feedback.savePressed();
    QTimer::singleShot(1000, &feedback, [&] {
        feedback.savePressed();
        pressedAgain = true;
    });
    // Armed after the second press has armed its own, for the same span: so it rings before that.
    bool rangAfterSecondPress = false;
    QTimer::singleShot(1001, &feedback, [&] {
        QTimer::singleShot(1300, &feedback, [&] { rangAfterSecondPress = true; });
    });
    QTRY_VERIFY(!feedback.justSaved());
    QVERIFY(pressedAgain);
    QVERIFY2(!rangAfterSecondPress, "the label came back with the first press's moment");
    QCOMPARE(told.size(), 2);
    QTRY_VERIFY(rangAfterSecondPress);
}

WINGBELL_GUILESS_TEST(SaveFeedbackTest)
#include "SaveFeedbackTest.moc"

#include "panels/ScrollAnchor.h"
#include "tests/TestProgram.h"

#include <QtTest>

using namespace wingbell;

class ScrollAnchorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void nothingIsHeldToBeginWith();
    void theVeryTopIsNotLeft();
    void aSectionIsFollowedWhenSomethingComesAboveIt();
    void aCardIsFollowedWhenSomethingComesAboveIt();
    void theSamePartOfTheSameCardIsSeenWhenCardsBecomeHigher();
    void thereAndBackAgainIsWhereItBegan();
    void withoutCardsTheSectionIsHeld();
    void whereItGoesIsAWholePoint();

private:
    void stands(double sectionTop, double cardsTop, double cardPitch)
    {
        m_anchor->setProperty("sectionTop", sectionTop);
        m_anchor->setProperty("cardsTop", cardsTop);
        m_anchor->setProperty("cardPitch", cardPitch);
    }

    std::unique_ptr<ScrollAnchor> m_anchor;
};

void ScrollAnchorTest::init()
{
    m_anchor = std::make_unique<ScrollAnchor>();
    stands(200.0, 400.0, 100.0);
}

void ScrollAnchorTest::nothingIsHeldToBeginWith()
{
    stands(300.0, 600.0, 150.0);
    QCOMPARE(m_anchor->follow(450.0), 450.0);
}

void ScrollAnchorTest::theVeryTopIsNotLeft()
{
    for (const double position : {0.0, 199.0}) {
        m_anchor->drop(position);
        stands(254.0, 454.0, 100.0);
        QCOMPARE(m_anchor->follow(position), position);
        stands(200.0, 400.0, 100.0);
    }
}

void ScrollAnchorTest::aSectionIsFollowedWhenSomethingComesAboveIt()
{
    m_anchor->drop(250.0);
    stands(254.0, 470.0, 120.0);
    QCOMPARE(m_anchor->follow(250.0), 304.0);
}

void ScrollAnchorTest::aCardIsFollowedWhenSomethingComesAboveIt()
{
    m_anchor->drop(730.0);
    stands(254.0, 454.0, 100.0);
    QCOMPARE(m_anchor->follow(730.0), 784.0);
}

void ScrollAnchorTest::theSamePartOfTheSameCardIsSeenWhenCardsBecomeHigher()
{
    m_anchor->drop(750.0); // the middle of the fourth
    stands(200.0, 500.0, 160.0);
    QCOMPARE(m_anchor->follow(750.0), 500.0 + 3.5 * 160.0);
}

void ScrollAnchorTest::thereAndBackAgainIsWhereItBegan()
{
    m_anchor->drop(6789.0);
    for (double pitch : {137.0, 93.0, 211.0}) {
        stands(200.0, 400.0, pitch);
        (void)m_anchor->follow(6789.0);
    }
    stands(200.0, 400.0, 100.0);
    QCOMPARE(m_anchor->follow(0.0), 6789.0);
}

void ScrollAnchorTest::withoutCardsTheSectionIsHeld()
{
    stands(200.0, 400.0, 0.0);
    m_anchor->drop(450.0);
    stands(230.0, 430.0, 100.0);
    QCOMPARE(m_anchor->follow(450.0), 480.0);
}

void ScrollAnchorTest::whereItGoesIsAWholePoint()
{
    m_anchor->drop(733.0);
    stands(200.0, 400.0, 151.7);
    const double position = m_anchor->follow(733.0);
    QCOMPARE(position, std::round(position));
}

WINGBELL_GUILESS_TEST(ScrollAnchorTest)
#include "ScrollAnchorTest.moc"

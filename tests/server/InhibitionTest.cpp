#include "server/Inhibition.h"

#include <QPointer>
#include <QSignalSpy>
#include <QTest>

namespace wingbell {

namespace {

/// A facility that notes what it is told in a log shared by several, and answers when told to.
class RecordingFacility final : public InhibitionFacility
{
public:
    RecordingFacility(QString name, QStringList& log)
        : m_name(std::move(name))
        , m_log(log)
    {
    }

    void take(const QString& reason) override { m_log.append(m_name + u" take " + reason); }
    void release() override { m_log.append(m_name + u" release"); }

private:
    QString m_name;
    QStringList& m_log;
};

} // namespace

class InhibitionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_log.clear();
        InhibitionFacilities facilities;
        for (const char* name : {"first", "second", "third"}) {
            facilities.push_back(
                std::make_unique<RecordingFacility>(QString::fromLatin1(name), m_log));
        }
        m_first = facilities[0].get();
        m_second = facilities[1].get();
        m_third = facilities[2].get();
        m_inhibition = std::make_unique<Inhibition>(std::move(facilities), QStringLiteral("now"));
    }

    void cleanup() { m_inhibition.reset(); }

    void onlyTheFirstFacilityIsAskedAtFirst() { expect({"first take now"}); }

    void theNextOneIsAskedWhenOneFails()
    {
        Q_EMIT m_first->failed();
        expect({"first take now", "second take now"});
        Q_EMIT m_second->failed();
        expect({"third take now"});
        Q_EMIT m_third->failed();
        expect({});
    }

    void nobodyElseIsAskedOnceOneHolds()
    {
        Q_EMIT m_first->failed();
        Q_EMIT m_second->taken();
        expect({"first take now", "second take now"});
    }

    void aPreferredFacilityTakesBeforeTheHolderReleases()
    {
        Q_EMIT m_first->failed();
        Q_EMIT m_second->taken();
        Q_EMIT m_first->available();
        expect({"first take now", "second take now", "first take now"});
        Q_EMIT m_first->taken();
        expect({"second release"});
        Q_EMIT m_second->released();
        expect({});
    }

    void theHolderStaysWhenThePreferredFacilityFailsAgain()
    {
        Q_EMIT m_first->failed();
        Q_EMIT m_second->taken();
        Q_EMIT m_first->available();
        Q_EMIT m_first->failed();
        expect({"first take now", "second take now", "first take now"});
    }

    void aLesserFacilityThatAppearsIsNotAsked()
    {
        Q_EMIT m_first->failed();
        Q_EMIT m_second->failed();
        Q_EMIT m_third->taken();
        Q_EMIT m_second->available();
        Q_EMIT m_second->taken();
        Q_EMIT m_third->released();
        m_log.clear();
        Q_EMIT m_third->available();
        expect({});
    }

    void whatALesserFacilityMayStillGrantIsReleased()
    {
        Q_EMIT m_first->failed();
        Q_EMIT m_first->available(); // while the second one is asked
        Q_EMIT m_first->taken();
        expect({"first take now", "second take now", "first take now", "second release"});
        Q_EMIT m_second->taken(); // too late to count
        expect({});
    }

    void theNextOneIsAskedWhenTheHolderIsLost()
    {
        Q_EMIT m_first->taken();
        Q_EMIT m_first->failed();
        expect({"first take now", "second take now"});
        Q_EMIT m_second->taken();
        Q_EMIT m_first->available();
        expect({"first take now"});
    }

    void aReleasedFacilityMayBeAskedAgain()
    {
        Q_EMIT m_first->failed();
        Q_EMIT m_second->taken();
        Q_EMIT m_first->available();
        Q_EMIT m_first->taken();
        m_log.clear();
        Q_EMIT m_first->failed(); // before the second one has let go
        expect({"third take now"});
        Q_EMIT m_second->released();
        expect({"second take now"});
    }

    void aFacilityThatAppearsWhenNoneIsHeldIsTaken()
    {
        Q_EMIT m_first->failed();
        Q_EMIT m_second->failed();
        Q_EMIT m_third->failed();
        m_log.clear();
        Q_EMIT m_third->available();
        expect({"third take now"});
    }

    void releaseTellsEveryFacilityThatWasAsked()
    {
        QSignalSpy finished(m_inhibition.get(), &Inhibition::finished);
        Q_EMIT m_first->failed();
        m_log.clear();
        m_inhibition->release();
        expect({"first release", "second release"});
        Q_EMIT m_first->released();
        QCOMPARE(finished.count(), 0);
        Q_EMIT m_second->released();
        QCOMPARE(finished.count(), 1);
        expect({});
    }

    void nothingIsAskedAfterTheRelease()
    {
        m_inhibition->release();
        m_log.clear();
        Q_EMIT m_first->failed();
        Q_EMIT m_first->available();
        Q_EMIT m_first->released();
        expect({});
    }

    void aWishWithoutFacilitiesFinishesWhenReleased()
    {
        Inhibition inhibition({}, QStringLiteral("now"));
        QSignalSpy finished(&inhibition, &Inhibition::finished);
        inhibition.release();
        QCOMPARE(finished.count(), 1);
    }

private:
    /// Compares what was told since the last time.
    void expect(const QStringList& told)
    {
        QCOMPARE(m_log, told);
        m_log.clear();
    }
    void expect(std::initializer_list<const char*> told)
    {
        QStringList texts;
        for (const char* text : told) {
            texts.append(QString::fromLatin1(text));
        }
        expect(texts);
    }

    QStringList m_log;
    std::unique_ptr<Inhibition> m_inhibition;
    // Owned by the inhibition.
    InhibitionFacility* m_first = nullptr;
    InhibitionFacility* m_second = nullptr;
    InhibitionFacility* m_third = nullptr;
};

} // namespace wingbell

QTEST_GUILESS_MAIN(wingbell::InhibitionTest)
#include "InhibitionTest.moc"

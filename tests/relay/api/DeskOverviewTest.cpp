#include "relay/api/DeskOverview.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;
using namespace std::chrono_literals;

namespace {

const MemberOverview::Time epoch{1h};

} // namespace

class DeskOverviewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aMemberIsShownWithAllThatIsKnown();
    void whatIsNotKnownIsNull();
    void aChannelIsShownWithItsCallAndItsLight();
    void theTimeStandsBesideTheOverview();
};

void DeskOverviewTest::aMemberIsShownWithAllThatIsKnown()
{
    MemberOverview member;
    member.id = 7;
    member.role = 2;
    member.address = QStringLiteral("10.0.0.1");
    member.isConnected = true;
    member.hasMicrophone = true;
    member.openKeys = {{1, epoch + 1500ms}};
    member.lastSpeech = epoch + 2900ms;
    member.report = {PageReport::Screen::KeptOn, 0.5, true, 0.25, 12};
    QCOMPARE(
        overviewText({{member}, {}}, epoch),
        QByteArray(R"({"members":[{"id":7,"role":2,"address":"10.0.0.1","connected":true,)"
                   R"("microphone":true,"open":[{"channel":1,"since":1500}],"heard":2000,)"
                   R"("screen":"on","battery":0.5,"charging":true,"loss":0.25,"delay":12.0}],)"
                   R"("channels":[]})"));
}

void DeskOverviewTest::whatIsNotKnownIsNull()
{
    QCOMPARE(
        overviewText({{MemberOverview()}, {}}, epoch),
        QByteArray(R"({"members":[{"id":0,"role":0,"address":"","connected":false,)"
                   R"("microphone":false,"open":[],"heard":null,"screen":"unknown",)"
                   R"("battery":null,"charging":false,"loss":null,"delay":null}],)"
                   R"("channels":[]})"));
}

void DeskOverviewTest::aChannelIsShownWithItsCallAndItsLight()
{
    const ChannelOverview busy{
        true, ChannelOverview::Call{QStringLiteral("LX"), 2, {QStringLiteral("Fly")}},
        ChannelOverview::Light{true, QStringLiteral("LX 12"), 3, {}}};
    QCOMPARE(
        overviewText({{}, {ChannelOverview(), busy}}, epoch),
        QByteArray(R"({"members":[],"channels":[{"announcing":false,"call":null,"light":null},)"
                   R"({"announcing":true,"call":{"from":"LX","called":2,"answered":["Fly"]},)"
                   R"("light":{"kind":"go","text":"LX 12","shown":3,"answered":[]}}]})"));
}

void DeskOverviewTest::theTimeStandsBesideTheOverview()
{
    QCOMPARE(overviewEvent("{}", 12345ms), QByteArray(R"({"now":12345,"crew":{}})"));
}

WINGBELL_APPLESS_TEST(DeskOverviewTest)
#include "DeskOverviewTest.moc"

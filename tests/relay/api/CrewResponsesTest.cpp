#include "relay/api/CrewResponses.h"
#include "tests/TestProgram.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

const QString surrogate = QString(QChar(0xD83C));

} // namespace

class CrewResponsesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rolesAreTold();
    void aSessionIsTold();
    void theCardIsTold();
    void theWaitIsTold();
    void anEventBringsOneLine();
    void hostileTextStaysInItsPlace();
    void aLoneSurrogateBecomesAQuestionMark();
    void bytesThatAreNoTextAreReplaced();
};

void CrewResponsesTest::rolesAreTold()
{
    const RolesResponse response = {
        QStringLiteral("Hamlet"),
        {{QStringLiteral("k7d2m9qa"), QStringLiteral("Stage Manager"), 1},
         {QStringLiteral("aaaaaaaa"), QStringLiteral("Bühne"), 0}}};
    QCOMPARE(
        responseText(response),
        QByteArray(R"({"show":"Hamlet","roles":[{"key":"k7d2m9qa","name":"Stage Manager",)"
                   R"("present":1},{"key":"aaaaaaaa","name":"Bühne","present":0}]})"));
    QCOMPARE(responseText(RolesResponse()), QByteArray(R"({"show":"","roles":[]})"));
}

void CrewResponsesTest::aSessionIsTold()
{
    JoinResponse response;
    response.session = QStringLiteral("0123456789abcdef0123456789abcdef");
    response.show = QStringLiteral("Hamlet");
    response.roleKey = QStringLiteral("k7d2m9qa");
    response.roleName = QStringLiteral("Director");
    response.channels = {
        {QStringLiteral("Main"), true, true}, {QStringLiteral("Lights"), false, true}};
    response.offer = "v=0\r\ns=-\r\n";
    QCOMPARE(
        responseText(response),
        QByteArray(R"({"session":"0123456789abcdef0123456789abcdef","show":"Hamlet",)"
                   R"("role":{"key":"k7d2m9qa","name":"Director"},)"
                   R"("channels":[{"name":"Main","talk":true,"listen":true},)"
                   R"({"name":"Lights","talk":false,"listen":true}],)"
                   R"("offer":"v=0\r\ns=-\r\n"})"));
}

void CrewResponsesTest::theCardIsTold()
{
    CardResponse response;
    response.show = QStringLiteral("Hamlet");
    response.code = QStringLiteral("082913");
    response.address = QStringLiteral("https://192.168.1.5:47000/");
    response.others = {QStringLiteral("https://desk.local:47000/")};
    response.fingerprint = QStringLiteral("3F:07");
    response.authority = QStringLiteral("A0:B1");
    response.pageUrl = QStringLiteral("https://192.168.1.5:47000/#code=082913");
    response.pageQr = {29, "M0 0h7v1h-7z"};
    response.roles = {
        {QStringLiteral("Director"), QStringLiteral("https://x/#role=k"), {33, "M1 1h1v1h-1z"}}};
    QCOMPARE(
        responseText(response),
        QByteArray(
            R"({"show":"Hamlet","code":"082913","address":"https://192.168.1.5:47000/",)"
            R"("others":["https://desk.local:47000/"],"fingerprint":"3F:07","authority":"A0:B1",)"
            R"("page":{"url":"https://192.168.1.5:47000/#code=082913",)"
            R"("qr":{"size":29,"path":"M0 0h7v1h-7z"}},)"
            R"("roles":[{"name":"Director","url":"https://x/#role=k",)"
            R"("qr":{"size":33,"path":"M1 1h1v1h-1z"}}]})"));
}

void CrewResponsesTest::theWaitIsTold()
{
    QCOMPARE(slowDownText(5s), QByteArray(R"({"error":"slow-down","seconds":5})"));
    QCOMPARE(notNowText(250ms), QByteArray(R"({"error":"not-now","seconds":0.25})"));
}

void CrewResponsesTest::anEventBringsOneLine()
{
    const DeskEvent event = {
        {{{QStringLiteral("Director"), QStringLiteral("Stage Manager")}, false}, {{}, true}}};
    QCOMPARE(
        eventData(event),
        QByteArray(R"({"channels":[{"talking":["Director","Stage Manager"],"announcing":false},)"
                   R"({"talking":[],"announcing":true}]})"));
    DeskEvent::Channel busy;
    busy.call = DeskEvent::Call{QStringLiteral("LX"), true, false, 2, {QStringLiteral("Fly")}};
    busy.light = DeskEvent::Light{true, QStringLiteral("LX 12"), true};
    QCOMPARE(
        eventData(DeskEvent{{busy}}),
        QByteArray(R"({"channels":[{"talking":[],"announcing":false,"call":{"from":"LX",)"
                   R"("mine":true,"acknowledged":false,"called":2,"answered":["Fly"]},)"
                   R"("light":{"kind":"go","text":"LX 12","acknowledged":true}}]})"));
    QCOMPARE(eventData(Goodbye::OffAir), QByteArray(R"({"reason":"off-air"})"));
    QCOMPARE(heartbeatData(250ms), QByteArray(R"({"retryWindow":250})"));
    QCOMPARE(
        announcementData(QStringLiteral("\"Go\"\nnow")), QByteArray(R"({"text":"\"Go\"\nnow"})"));
    QCOMPARE(eventData(Goodbye::Replaced), QByteArray(R"({"reason":"replaced"})"));
    QCOMPARE(eventData(Goodbye::Silent), QByteArray(R"({"reason":"silent"})"));
    QCOMPARE(handedOverData(120ms), QByteArray(R"({"reason":"handed-over","retry":120})"));
}

void CrewResponsesTest::hostileTextStaysInItsPlace()
{
    const QString hostile = QStringLiteral("\"]}\n\n\rdata: \\ \u2028</script>\u0001\x7F") +
                            QChar(QChar::Null) + QStringLiteral("🎭");
    const QByteArray data = eventData(DeskEvent{{{{hostile}, false}}});
    QCOMPARE(data.count('\n'), qsizetype{0});
    QCOMPARE(data.count('\r'), qsizetype{0});
    const QJsonObject object = QJsonDocument::fromJson(data).object();
    QCOMPARE(
        object[QStringLiteral("channels")][0][QStringLiteral("talking")][0].toString(), hostile);
}

void CrewResponsesTest::aLoneSurrogateBecomesAQuestionMark()
{
    const QByteArray text =
        responseText(RolesResponse{surrogate, {{{}, QLatin1Char('a') + surrogate, 0}}});
    QCOMPARE(text, QByteArray(R"({"show":"?","roles":[{"key":"","name":"a?","present":0}]})"));
}

void CrewResponsesTest::bytesThatAreNoTextAreReplaced()
{
    JoinResponse response;
    response.offer = "v=0\xFF";
    QVERIFY(responseText(response).isValidUtf8());
    QVERIFY(!QJsonDocument::fromJson(responseText(response)).isNull());
}

WINGBELL_APPLESS_TEST(CrewResponsesTest)
#include "CrewResponsesTest.moc"

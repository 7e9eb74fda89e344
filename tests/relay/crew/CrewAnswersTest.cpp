#include "relay/crew/CrewAnswers.h"
#include "tests/TestProgram.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

const QString surrogate = QString(QChar(0xD83C));

} // namespace

class CrewAnswersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rolesAreTold();
    void aSessionIsTold();
    void theCardIsTold();
    void errorsAreTold();
    void anEventBringsOneLine();
    void hostileTextStaysInItsPlace();
    void aLoneSurrogateBecomesAQuestionMark();
    void bytesThatAreNoTextAreReplaced();
};

void CrewAnswersTest::rolesAreTold()
{
    const RolesAnswer answer = {
        QStringLiteral("Hamlet"),
        {{QStringLiteral("k7d2m9qa"), QStringLiteral("Stage Manager"), 1},
         {QStringLiteral("aaaaaaaa"), QStringLiteral("Bühne"), 0}}};
    QCOMPARE(
        answerText(answer),
        QByteArray(R"({"show":"Hamlet","roles":[{"key":"k7d2m9qa","name":"Stage Manager",)"
                   R"("present":1},{"key":"aaaaaaaa","name":"Bühne","present":0}]})"));
    QCOMPARE(answerText(RolesAnswer()), QByteArray(R"({"show":"","roles":[]})"));
}

void CrewAnswersTest::aSessionIsTold()
{
    JoinAnswer answer;
    answer.session = QStringLiteral("0123456789abcdef0123456789abcdef");
    answer.show = QStringLiteral("Hamlet");
    answer.roleKey = QStringLiteral("k7d2m9qa");
    answer.roleName = QStringLiteral("Director");
    answer.channels = {
        {QStringLiteral("Main"), true, true}, {QStringLiteral("Lights"), false, true}};
    answer.offer = "v=0\r\ns=-\r\n";
    QCOMPARE(
        answerText(answer),
        QByteArray(R"({"session":"0123456789abcdef0123456789abcdef","show":"Hamlet",)"
                   R"("role":{"key":"k7d2m9qa","name":"Director"},)"
                   R"("channels":[{"name":"Main","talk":true,"listen":true},)"
                   R"({"name":"Lights","talk":false,"listen":true}],)"
                   R"("offer":"v=0\r\ns=-\r\n"})"));
}

void CrewAnswersTest::theCardIsTold()
{
    CardAnswer answer;
    answer.show = QStringLiteral("Hamlet");
    answer.code = QStringLiteral("082913");
    answer.address = QStringLiteral("https://192.168.1.5:47000/");
    answer.others = {QStringLiteral("https://desk.local:47000/")};
    answer.fingerprint = QStringLiteral("3F:07");
    answer.pageUrl = QStringLiteral("https://192.168.1.5:47000/#code=082913");
    answer.pageQr = {29, "M0 0h7v1h-7z"};
    answer.roles = {
        {QStringLiteral("Director"), QStringLiteral("https://x/#role=k"), {33, "M1 1h1v1h-1z"}}};
    QCOMPARE(
        answerText(answer),
        QByteArray(R"({"show":"Hamlet","code":"082913","address":"https://192.168.1.5:47000/",)"
                   R"("others":["https://desk.local:47000/"],"fingerprint":"3F:07",)"
                   R"("page":{"url":"https://192.168.1.5:47000/#code=082913",)"
                   R"("qr":{"size":29,"path":"M0 0h7v1h-7z"}},)"
                   R"("roles":[{"name":"Director","url":"https://x/#role=k",)"
                   R"("qr":{"size":33,"path":"M1 1h1v1h-1z"}}]})"));
}

void CrewAnswersTest::errorsAreTold()
{
    QCOMPARE(errorText(QLatin1String("wrong-code")), QByteArray(R"({"error":"wrong-code"})"));
    QCOMPARE(slowDownText(5s), QByteArray(R"({"error":"slow-down","seconds":5})"));
}

void CrewAnswersTest::anEventBringsOneLine()
{
    const DeskEvent event = {
        {{{QStringLiteral("Director"), QStringLiteral("Stage Manager")}, false}, {{}, true}}};
    QCOMPARE(
        eventData(event),
        QByteArray(R"({"channels":[{"talking":["Director","Stage Manager"],"announcing":false},)"
                   R"({"talking":[],"announcing":true}]})"));
    QCOMPARE(eventData(Goodbye::OffAir), QByteArray(R"({"reason":"off-air"})"));
    QCOMPARE(eventData(Goodbye::Replaced), QByteArray(R"({"reason":"replaced"})"));
    QCOMPARE(eventData(Goodbye::Silent), QByteArray(R"({"reason":"silent"})"));
}

void CrewAnswersTest::hostileTextStaysInItsPlace()
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

void CrewAnswersTest::aLoneSurrogateBecomesAQuestionMark()
{
    const QByteArray text =
        answerText(RolesAnswer{surrogate, {{{}, QLatin1Char('a') + surrogate, 0}}});
    QCOMPARE(text, QByteArray(R"({"show":"?","roles":[{"key":"","name":"a?","present":0}]})"));
}

void CrewAnswersTest::bytesThatAreNoTextAreReplaced()
{
    JoinAnswer answer;
    answer.offer = "v=0\xFF";
    QVERIFY(answerText(answer).isValidUtf8());
    QVERIFY(!QJsonDocument::fromJson(answerText(answer)).isNull());
}

WINGBELL_APPLESS_TEST(CrewAnswersTest)
#include "CrewAnswersTest.moc"

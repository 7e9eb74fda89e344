#include "relay/api/CrewRequests.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <algorithm>
#include <memory>

using namespace wingbell;

namespace {

/// The word of the error; empty when the request was read.
template <typename Request> QString wordOf(const Result<Request, RequestBodyError>& request)
{
    return request ? QString() : QString::fromLatin1(wordFor(request.error()));
}

QString codeWord(const QByteArray& body)
{
    return wordOf(readCredential(body));
}

QString stateWord(const QByteArray& body)
{
    return wordOf(readStateRequest(body));
}

const QByteArray fingerprint = QByteArray("AB:").repeated(32).chopped(1);

QByteArray answer(const QByteArray& iceUfrag)
{
    return R"({"session":"s","iceUfrag":")" + iceUfrag +
           R"(","icePwd":"abcdefghijklmnopqrstuv","fingerprint":")" + fingerprint +
           R"(","setup":"active","direction":"sendrecv","sources":[4711],"red":true})";
}

QByteArray state(const QByteArray& number, const QByteArray& talk, const QByteArray& levels)
{
    return R"({"session":"s","number":)" + number + R"(,"talk":)" + talk + R"(,"levels":)" +
           levels + '}';
}

QByteArray listOf(int count, const QByteArray& entry)
{
    return '[' + QByteArrayList(count, entry).join(',') + ']';
}

/// Reads from a block of memory of exactly that size, so that a sanitizer sees a byte too far.
void readExactly(const QByteArray& body)
{
    const auto size = static_cast<std::size_t>(body.size());
    const auto memory = std::make_unique<char[]>(size);
    std::copy(body.begin(), body.end(), memory.get());
    const QByteArrayView view(memory.get(), body.size());
    (void)readCredential(view);
    (void)readJoinRequest(view);
    (void)readAnswerRequest(view);
    (void)readStateRequest(view);
    (void)readSessionRequest(view);
    (void)readCallRequest(view);
    (void)readAcknowledgeRequest(view);
    (void)readDeskOpenRequest(view);
    (void)readCloseKeysRequest(view);
    (void)readChannelsRequest(view);
}

} // namespace

class CrewRequestsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aCodeIsRead();
    void aJoinIsRead();
    void theKeyOfACardIsRead();
    void aJoinMayReplaceASession();
    void anAnswerIsRead();
    void anAnswerWithAnInvalidWordIsRefused();
    void aStateIsRead();
    void whatAPageTellsOfItsDeviceIsRead();
    void whatAPageCannotMeanIsRefused_data();
    void whatAPageCannotMeanIsRefused();
    void callsAndAcknowledgementsAreRead();
    void requestsOfTheDesksPageAreRead();
    void aLeaveIsRead();
    void membersMayStandInAnyOrder();
    void unknownMembersAreIgnored();
    void escapedTextIsText();
    void whatIsNoJsonIsRefused_data();
    void whatIsNoJsonIsRefused();
    void whatIsNoObjectIsRefused_data();
    void whatIsNoObjectIsRefused();
    void aMissingMemberIsRefused_data();
    void aMissingMemberIsRefused();
    void aMemberOfAnotherTypeIsRefused_data();
    void aMemberOfAnotherTypeIsRefused();
    void aMemberThatStandsTwiceIsRefused();
    void numbersOutOfRangeAreRefused_data();
    void numbersOutOfRangeAreRefused();
    void numbersAtTheirBoundsAreTaken();
    void channelsSpokenOnAreSorted();
    void longTextsAreRefused();
    void longListsAreRefused();
    void aLargeBodyIsRefused();
    void deepNestingIsRefused();
    void anyBytesMayCome();
};

void CrewRequestsTest::aCodeIsRead()
{
    QCOMPARE(
        readCredential(R"({"code":"482913"})").value(),
        (Credential{QStringLiteral("482913"), {}, {}}));
}

void CrewRequestsTest::aJoinIsRead()
{
    QCOMPARE(
        readJoinRequest(R"({"code":"482913","role":"k7d2m9qa","microphone":true})").value(),
        (JoinRequest{
            {QStringLiteral("482913"), {}, {}}, QStringLiteral("k7d2m9qa"), true, std::nullopt}));
    QVERIFY(!readJoinRequest(R"({"code":"","role":"","microphone":false})").value().microphone);
}

void CrewRequestsTest::theKeyOfACardIsRead()
{
    const QString key = QStringLiteral("c2l4dGVlbiByYW5kb20gYnk");
    const QString role = QStringLiteral("k7d2m9qa");
    const auto read = [](const QByteArray& rest) {
        const QByteArray body = R"({"key":"c2l4dGVlbiByYW5kb20gYnk")" + rest + '}';
        return readCredential(body).value();
    };
    QCOMPARE(read({}), (Credential{{}, key, {}}));
    QCOMPARE(read(R"(,"role":"k7d2m9qa")"), (Credential{{}, key, role}));
    QCOMPARE(read(R"(,"role":"another","cardRole":"k7d2m9qa")"), (Credential{{}, key, role}));
    QCOMPARE(read(R"(,"code":"482913")"), (Credential{{}, key, {}}));
    QCOMPARE(codeWord(R"({"key":7})"), QStringLiteral("wrong-type"));
    QCOMPARE(codeWord(R"({"key":""})"), QStringLiteral("missing"));
    QCOMPARE(codeWord(R"({"key":")" + QByteArray(65, 'k') + R"("})"), QStringLiteral("too-long"));
    const JoinRequest join =
        readJoinRequest(
            R"({"key":"c2l4dGVlbiByYW5kb20gYnk","cardRole":"old","role":"k7d2m9qa","microphone":true})")
            .value();
    QCOMPARE(join.credential, (Credential{{}, key, QStringLiteral("old")}));
    QCOMPARE(join.role, role);
}

void CrewRequestsTest::aJoinMayReplaceASession()
{
    const auto request =
        readJoinRequest(
            R"({"code":"1","role":"k","microphone":true,"replaces":"0123456789abcdef0123456789abcdef"})")
            .value();
    QCOMPARE(request.replaces.value(), QStringLiteral("0123456789abcdef0123456789abcdef"));
    const auto none =
        readJoinRequest(R"({"code":"1","role":"k","microphone":true,"replaces":null})").value();
    QVERIFY(!none.replaces);
}

void CrewRequestsTest::anAnswerIsRead()
{
    QCOMPARE(
        readAnswerRequest(answer("abcd")).value(),
        (AnswerRequest{
            QStringLiteral("s"),
            {"abcd", "abcdefghijklmnopqrstuv", fingerprint, "active", "sendrecv", {4711}, true}}));
    QVERIFY(!readAnswerRequest(answer("abcd").replace(R"(,"red":true)", "")).value().answer.red);
}

void CrewRequestsTest::anAnswerWithAnInvalidWordIsRefused()
{
    QCOMPARE(wordOf(readAnswerRequest(answer("ab"))), QStringLiteral("bad-answer"));
    QCOMPARE(wordOf(readAnswerRequest(answer(R"(abcd\r\na=x)"))), QStringLiteral("bad-answer"));
    QCOMPARE(
        wordOf(readAnswerRequest(answer("abcd").replace("active", "actpass"))),
        QStringLiteral("bad-answer"));
}

void CrewRequestsTest::aStateIsRead()
{
    QCOMPARE(
        readStateRequest(R"({"session":"s","number":17,"talk":[0,2],"levels":[1.0,0.5,0]})")
            .value(),
        (StateRequest{QStringLiteral("s"), 17, {0, 2}, {1.0F, 0.5F, 0.0F}}));
    QCOMPARE(
        readStateRequest(state("0", "[]", "[]")).value(),
        (StateRequest{QStringLiteral("s"), 0, {}, {}}));
}

void CrewRequestsTest::whatAPageTellsOfItsDeviceIsRead()
{
    const auto read = readStateRequest(
        R"({"session":"s","number":1,"talk":[],"levels":[],"closings":2,"screen":"may-lock",)"
        R"("battery":0.5,"charging":true,"loss":0.25,"delay":12.5})");
    QCOMPARE(read.value().closings, quint64{2});
    QCOMPARE(read.value().report, (PageReport{PageReport::Screen::MayLock, 0.5, true, 0.25, 12.5}));
    // A later page may know more kinds.
    QCOMPARE(
        readStateRequest(
            R"({"session":"s","number":1,"talk":[],"levels":[],"screen":"folded","battery":null})")
            .value()
            .report,
        PageReport());
}

void CrewRequestsTest::whatAPageCannotMeanIsRefused_data()
{
    QTest::addColumn<QByteArray>("member");
    for (const char* member :
         {R"("battery":1.1)", R"("battery":-0.1)", R"("loss":2)", R"("delay":60001)",
          R"("closings":-1)", R"("closings":1.5)"}) {
        QTest::addRow("%s", member) << QByteArray(member);
    }
}

void CrewRequestsTest::whatAPageCannotMeanIsRefused()
{
    QFETCH(QByteArray, member);
    const QByteArray body = R"({"session":"s","number":1,"talk":[],"levels":[],)" + member + '}';
    QCOMPARE(stateWord(body), QStringLiteral("out-of-range"));
}

void CrewRequestsTest::callsAndAcknowledgementsAreRead()
{
    const auto call = readCallRequest(R"({"session":"s","channel":2,"on":false})");
    QCOMPARE(call.value().channel, 2);
    QVERIFY(!call.value().on);
    const auto answer = readAcknowledgeRequest(R"({"session":"s","channel":3,"call":true})");
    QCOMPARE(answer.value().channel, 3);
    QVERIFY(answer.value().isCall);
    QCOMPARE(
        wordOf(readAcknowledgeRequest(R"({"session":"s","channel":1024,"call":false})")),
        QStringLiteral("out-of-range"));
    QCOMPARE(wordOf(readCallRequest(R"({"session":"s","channel":0})")), QStringLiteral("missing"));
}

void CrewRequestsTest::requestsOfTheDesksPageAreRead()
{
    QCOMPARE(readDeskOpenRequest(R"({"key":"k"})").value().key, QStringLiteral("k"));
    const auto one = readCloseKeysRequest(R"({"session":"s","member":7})");
    QCOMPARE(one.value().member, std::optional<quint32>(7));
    QVERIFY(!readCloseKeysRequest(R"({"session":"s"})").value().member);
    QCOMPARE(
        wordOf(readCloseKeysRequest(R"({"session":"s","member":4294967296})")),
        QStringLiteral("out-of-range"));
    const auto speak = readChannelsRequest(R"({"session":"s","channels":[2,0,2],"text":"Grün"})");
    QCOMPARE(speak.value().channels, (std::vector<int>{0, 2}));
    QCOMPARE(speak.value().text, QStringLiteral("Gr\u00fcn"));
    const QByteArray tooLong = QByteArray(R"({"session":"s","channels":[0],"text":"%"})")
                                   .replace('%', QByteArray(maxSpokenText + 1, 'a'));
    QCOMPARE(wordOf(readChannelsRequest(tooLong)), QStringLiteral("too-long"));
}

void CrewRequestsTest::aLeaveIsRead()
{
    QCOMPARE(readSessionRequest(R"({"session":"s"})").value(), SessionRequest{QStringLiteral("s")});
}

void CrewRequestsTest::membersMayStandInAnyOrder()
{
    QCOMPARE(
        readStateRequest(" {\"levels\" : [ ] ,\n\"talk\":[],\t\"number\":3,\"session\":\"s\"} ")
            .value(),
        (StateRequest{QStringLiteral("s"), 3, {}, {}}));
}

void CrewRequestsTest::unknownMembersAreIgnored()
{
    QCOMPARE(
        readCredential(
            R"({"a":{"code":"1","b":[{"code":2}]},"c":[[[]],3],"code":"9","b":1,"d":null,"e":1e3,"f":true})")
            .value(),
        (Credential{QStringLiteral("9"), {}, {}}));
}

void CrewRequestsTest::escapedTextIsText()
{
    QCOMPARE(
        readCredential(R"({"\u0063ode":"\u0034\ud83c\udfad\ufeff"})").value().code,
        QStringLiteral("4🎭\uFEFF"));
    QCOMPARE(readCredential("{\"code\":\"\xEF\xBB\xBF\"}").value().code, QString(QChar(0xFEFF)));
}

void CrewRequestsTest::whatIsNoJsonIsRefused_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("cut off") << QByteArray(R"({"code":"4829)");
    QTest::newRow("not closed") << QByteArray(R"({"code":"482913")");
    QTest::newRow("more behind") << QByteArray(R"({"code":"482913"}x)");
    QTest::newRow("two objects") << QByteArray(R"({"code":"482913"}{})");
    QTest::newRow("zero byte behind") << QByteArray("{\"code\":\"482913\"}\0", 18);
    QTest::newRow("zero byte inside") << QByteArray("{\"code\":\"48\0913\"}", 17);
    QTest::newRow("comment") << QByteArray(R"({"code":"482913"/**/})");
    QTest::newRow("comma") << QByteArray(R"({"code":"482913",})");
    QTest::newRow("single quotes") << QByteArray("{'code':'482913'}");
    QTest::newRow("line feed in text") << QByteArray("{\"code\":\"48\n2913\"}");
    QTest::newRow("not UTF-8") << QByteArray("{\"code\":\"\xFF\"}");
    QTest::newRow("overlong") << QByteArray("{\"code\":\"\xC0\xAF\"}");
    QTest::newRow("surrogate in UTF-8") << QByteArray("{\"code\":\"\xED\xA0\x80\"}");
    QTest::newRow("not UTF-8 elsewhere") << QByteArray("{\"code\":\"1\",\"x\":\"\xFF\"}");
    QTest::newRow("lone surrogate") << QByteArray(R"({"code":"\ud800"})");
    QTest::newRow("wrong escape") << QByteArray(R"({"code":"\x41"})");
    QTest::newRow("form") << QByteArray("code=482913");
}

void CrewRequestsTest::whatIsNoJsonIsRefused()
{
    QFETCH(QByteArray, body);
    QCOMPARE(codeWord(body), QStringLiteral("no-json"));
}

void CrewRequestsTest::whatIsNoObjectIsRefused_data()
{
    QTest::addColumn<QByteArray>("body");
    for (const char* body : {"null", "true", "1", "-1", "1.5", "\"code\"", "[]", "[{}]"}) {
        QTest::newRow(body) << QByteArray(body);
    }
}

void CrewRequestsTest::whatIsNoObjectIsRefused()
{
    QFETCH(QByteArray, body);
    QCOMPARE(codeWord(body), QStringLiteral("no-object"));
    QCOMPARE(stateWord(body), QStringLiteral("no-object"));
}

void CrewRequestsTest::aMissingMemberIsRefused_data()
{
    QTest::addColumn<QByteArray>("body");
    for (const char* body :
         {R"({})", R"({"number":1,"talk":[],"levels":[]})",
          R"({"session":"s","talk":[],"levels":[]})", R"({"session":"s","number":1,"levels":[]})",
          R"({"session":"s","number":1,"talk":[]})",
          R"({"session":null,"number":1,"talk":[],"levels":[]})",
          R"({"session":"s","number":1,"talk":null,"levels":[]})",
          R"({"Session":"s","number":1,"talk":[],"levels":[]})",
          R"({"a":{"session":"s"},"number":1,"talk":[],"levels":[]})"}) {
        QTest::newRow(body) << QByteArray(body);
    }
}

void CrewRequestsTest::aMissingMemberIsRefused()
{
    QFETCH(QByteArray, body);
    QCOMPARE(stateWord(body), QStringLiteral("missing"));
    QCOMPARE(wordOf(readJoinRequest(body)), QStringLiteral("missing"));
    QCOMPARE(wordOf(readAnswerRequest(body)), QStringLiteral("missing"));
    QCOMPARE(codeWord(body), QStringLiteral("missing"));
}

void CrewRequestsTest::aMemberOfAnotherTypeIsRefused_data()
{
    QTest::addColumn<QByteArray>("body");
    const QByteArrayList values = {"true", "1",    "-1",   "0.5",     "\"x\"",  "{}",
                                   "[]",   "[[]]", "[{}]", "[\"1\"]", "[true]", "[null]"};
    const QByteArrayList members = {"session", "number", "talk"};
    const QList<QByteArrayList> taken = {{"\"x\""}, {"1", "-1", "0.5"}, {"[]"}};
    for (qsizetype member = 0; member < members.size(); ++member) {
        for (const QByteArray& value : values) {
            if (!taken.at(member).contains(value)) {
                const QByteArray body = "{\"" + members.at(member) + "\":" + value + '}';
                QTest::newRow(body.constData()) << body;
            }
        }
    }
}

void CrewRequestsTest::aMemberOfAnotherTypeIsRefused()
{
    QFETCH(QByteArray, body);
    QCOMPARE(stateWord(body), QStringLiteral("wrong-type"));
}

void CrewRequestsTest::aMemberThatStandsTwiceIsRefused()
{
    QCOMPARE(codeWord(R"({"code":"1","code":"1"})"), QStringLiteral("twice"));
    QCOMPARE(codeWord(R"({"code":null,"code":"1"})"), QStringLiteral("twice"));
    QCOMPARE(stateWord(R"({"talk":[],"talk":[]})"), QStringLiteral("twice"));
}

void CrewRequestsTest::numbersOutOfRangeAreRefused_data()
{
    QTest::addColumn<QByteArray>("body");
    for (const char* number :
         {"-1", "0.5", "1e3", "9007199254740993", "18446744073709551615", "18446744073709551616",
          "-9223372036854775809"}) {
        QTest::addRow("number %s", number) << state(number, "[]", "[]");
    }
    for (const char* index : {"-1", "0.5", "1024", "2147483648", "18446744073709551616", "1e300"}) {
        QTest::addRow("talk %s", index) << state("1", '[' + QByteArray(index) + ']', "[]");
    }
    for (const char* level : {"-1", "-0.001", "1.001", "2", "1e300", "-1e300"}) {
        QTest::addRow("level %s", level) << state("1", "[]", '[' + QByteArray(level) + ']');
    }
}

void CrewRequestsTest::numbersOutOfRangeAreRefused()
{
    QFETCH(QByteArray, body);
    QCOMPARE(stateWord(body), QStringLiteral("out-of-range"));
}

void CrewRequestsTest::numbersAtTheirBoundsAreTaken()
{
    QCOMPARE(
        readStateRequest(state("9007199254740992", "[1023, 0, 2.0]", "[0, 1, 1e0, 1e-300]"))
            .value(),
        (StateRequest{
            QStringLiteral("s"), 9007199254740992, {0, 2, 1023}, {0.0F, 1.0F, 1.0F, 0.0F}}));
    // No number of JSON is beyond all numbers or none.
    for (const char* level : {"1e999", "-1e999", "NaN", "Infinity", "-Infinity", "nan"}) {
        QCOMPARE(
            stateWord(state("1", "[]", '[' + QByteArray(level) + ']')), QStringLiteral("no-json"));
    }
}

void CrewRequestsTest::channelsSpokenOnAreSorted()
{
    QCOMPARE(
        readStateRequest(state("1", "[5,1,5,0,1]", "[]")).value().talk,
        (std::vector<int>{0, 1, 5}));
}

void CrewRequestsTest::longTextsAreRefused()
{
    const QByteArray allowed(64, 'x');
    QCOMPARE(codeWord("{\"code\":\"" + allowed + "\"}"), QString());
    QCOMPARE(codeWord("{\"code\":\"" + allowed + "y\"}"), QStringLiteral("too-long"));
    const QByteArray ufrag(256, 'x');
    QCOMPARE(readAnswerRequest(answer(ufrag)).value().answer.iceUfrag, ufrag);
    QCOMPARE(wordOf(readAnswerRequest(answer(ufrag + 'y'))), QStringLiteral("too-long"));
}

void CrewRequestsTest::longListsAreRefused()
{
    const auto request =
        readStateRequest(state("1", listOf(1024, "1"), listOf(1024, "0.123456789012345678")))
            .value();
    QCOMPARE(request.levels.size(), std::size_t{1024});
    QCOMPARE(stateWord(state("1", listOf(1025, "1"), "[]")), QStringLiteral("too-long"));
    QCOMPARE(stateWord(state("1", "[]", listOf(1025, "1"))), QStringLiteral("too-long"));
}

void CrewRequestsTest::aLargeBodyIsRefused()
{
    const QByteArray body = R"({"code":"1"})";
    QCOMPARE(codeWord(body.leftJustified(65536, ' ')), QString());
    QCOMPARE(codeWord(body.leftJustified(65537, ' ')), QStringLiteral("too-large"));
}

void CrewRequestsTest::deepNestingIsRefused()
{
    const auto nested = [](int depth) -> QByteArray {
        return QByteArray(depth, '[') + QByteArray(depth, ']');
    };
    QCOMPARE(codeWord(R"({"x":)" + nested(99) + R"(,"code":"1"})"), QString());
    QCOMPARE(codeWord(R"({"x":)" + nested(100) + R"(,"code":"1"})"), QStringLiteral("no-json"));
    QCOMPARE(stateWord(R"({"talk":)" + nested(32000) + '}'), QStringLiteral("no-json"));
    QCOMPARE(codeWord(QByteArray(60000, '[')), QStringLiteral("no-json"));
    const QByteArray objects = QByteArray(R"({"x":)").repeated(10000);
    QCOMPARE(codeWord(objects + '1' + QByteArray(10000, '}')), QStringLiteral("no-json"));
}

void CrewRequestsTest::anyBytesMayCome()
{
    const QByteArray sound = state("17", "[0,2]", "[1.0,0.5]");
    for (qsizetype length = 0; length <= sound.size(); ++length) {
        readExactly(sound.first(length));
    }
    for (qsizetype at = 0; at < sound.size(); ++at) {
        for (const int byte : {0x00, 0x22, 0x2C, 0x5B, 0x5C, 0x7B, 0x7D, 0xC3, 0xFF}) {
            QByteArray changed = sound;
            changed[at] = static_cast<char>(byte);
            readExactly(changed);
        }
    }
}

WINGBELL_APPLESS_TEST(CrewRequestsTest)
#include "CrewRequestsTest.moc"

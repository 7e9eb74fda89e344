#include "model/ShowFile.h"
#include "tests/TestProgram.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <limits>

using namespace Qt::StringLiterals;
using namespace wingbell;

namespace {

/// A document with one role; `members` are put first into the role, `extra` into the document.
QByteArray documentWith(const QByteArray& members, const QByteArray& extra = {})
{
    return R"({"show":"S","channels":["Main"],"roles":[{)" + members + "}]" + extra + "}";
}

const QByteArray wholeRole = R"("name":"Fly","talk":["Main"],"listen":["Main","Other"])";

/// The show in `document`; the test fails where there is none.
ShowFile decoded(const QByteArray& document)
{
    const auto reading = decodeShow(document);
    if (!reading) {
        QTest::qFail(qPrintable(u"not read: "_s + reading.error().reason), __FILE__, __LINE__);
    }
    return reading.value_or(ShowFile());
}

} // namespace

class ShowFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theDefaultShowIsTheBuiltInOne();
    void theDefaultShowIsBuiltOnce();
    void rolesAreEqualMemberByMember();
    void aWrittenDocumentHasItsMembersInOrder();
    void aDocumentWithoutPortGetsTheDefaultPort();
    void aNullPortIsTheDefaultPort();
    void theLastOfTwoPortsCounts();
    void anyWholeNumberOf64BitsIsAPort_data();
    void anyWholeNumberOf64BitsIsAPort();
    void aRoleThatLacksAMemberMakesTheDocumentUnreadable_data();
    void aRoleThatLacksAMemberMakesTheDocumentUnreadable();
    void aDocumentThatLacksAMemberIsUnreadable_data();
    void aDocumentThatLacksAMemberIsUnreadable();
    void anIdInTheFileIsIgnoredAndNotWrittenBack();
    void twoReadingsGiveEqualRolesWithOtherIdentities();
    void unknownMembersAreIgnoredWhateverTheyHold();
    void slashesAreWrittenPlain();
    void emptyListsAndAnEmptyNameAreWritten();
    void aChannelThatTheShowLacksStaysInARole();
    void everyTextSurvivesWritingAndReading_data();
    void everyTextSurvivesWritingAndReading();
    void aLoneSurrogateIsWrittenAsAQuestionMark();
    void thePortIsWrittenWith64Bits();
};

void ShowFileTest::theDefaultShowIsTheBuiltInOne()
{
    const ShowFile& show = defaultShow();
    const QStringList all = {u"Main"_s, u"Tech"_s, u"Backstage"_s, u"Green Room"_s};
    QCOMPARE(show.show, u"Wingbell"_s);
    QCOMPARE(show.channels, all);
    QCOMPARE(show.oscPort, 47000);

    struct Expected
    {
        QString name;
        QStringList talk;
        QStringList listen;
    };
    const QList<Expected> expected = {
        {u"Stage Manager"_s, all, all},
        {u"Lighting"_s, {u"Main"_s, u"Tech"_s}, {u"Main"_s, u"Tech"_s}},
        {u"Sound"_s, {u"Main"_s, u"Tech"_s}, {u"Main"_s, u"Tech"_s}},
        {u"Backstage Crew"_s, {u"Main"_s, u"Backstage"_s}, {u"Main"_s, u"Backstage"_s}},
        {u"Green Room Parent"_s, {u"Green Room"_s}, {u"Main"_s, u"Green Room"_s}},
        {u"Director (listen only)"_s, {}, {u"Main"_s, u"Tech"_s, u"Backstage"_s}},
    };
    QCOMPARE(show.roles.size(), expected.size());
    for (qsizetype index = 0; index < expected.size(); ++index) {
        const Role& role = show.roles.at(index);
        QCOMPARE(role.name, expected.at(index).name);
        QCOMPARE(role.talk, expected.at(index).talk);
        QCOMPARE(role.listen, expected.at(index).listen);
        QCOMPARE(role.id.version(), QUuid::Random);
        for (qsizetype other = 0; other < index; ++other) {
            QVERIFY(role.id != show.roles.at(other).id);
        }
    }
}

void ShowFileTest::theDefaultShowIsBuiltOnce()
{
    QCOMPARE(&defaultShow(), &defaultShow());
    QCOMPARE(defaultShow().roles.first().id, defaultShow().roles.first().id);
}

void ShowFileTest::rolesAreEqualMemberByMember()
{
    const Role role{QUuid::createUuid(), u"Fly"_s, {u"A"_s, u"B"_s}, {u"A"_s}};
    Role other = role;
    QCOMPARE(other, role);
    other.id = QUuid::createUuid();
    QVERIFY(other != role);
    other = role;
    other.name = u"fly"_s;
    QVERIFY(other != role);
    other = role;
    other.talk = {u"B"_s, u"A"_s};
    QVERIFY(other != role);
    other = role;
    other.listen.append(u"B"_s);
    QVERIFY(other != role);
}

void ShowFileTest::aWrittenDocumentHasItsMembersInOrder()
{
    const QByteArray document = encodeShow(defaultShow()).value();
    qsizetype from = 0;
    const auto comesNext = [&](const QByteArray& text) {
        const qsizetype at = document.indexOf(text, from);
        from = at + text.size();
        return at >= 0;
    };
    QVERIFY(comesNext("\"show\": \"Wingbell\""));
    QVERIFY(comesNext("\"channels\": ["));
    QVERIFY(comesNext("\"Green Room\""));
    QVERIFY(comesNext("\"roles\": ["));
    for (const Role& role : defaultShow().roles) {
        QVERIFY(comesNext("\"name\": \"" + role.name.toUtf8() + '"'));
        QVERIFY(comesNext("\"talk\": ["));
        QVERIFY(comesNext("\"listen\": ["));
    }
    QVERIFY(comesNext("\"oscPort\": 47000"));
    QVERIFY2(document.count('\n') > 20, "one member a line");

    // Another reader of JSON agrees on what was written.
    const QJsonObject object = QJsonDocument::fromJson(document).object();
    QCOMPARE(object.keys().size(), 4);
    QCOMPARE(object.value(u"roles"_s).toArray().size(), 6);
    QCOMPARE(object.value(u"roles"_s).toArray().at(0).toObject().keys().size(), 3);
}

void ShowFileTest::aDocumentWithoutPortGetsTheDefaultPort()
{
    const ShowFile show = decoded(documentWith(wholeRole));
    QCOMPARE(show.oscPort, 47000);
    QVERIFY(encodeShow(show).value().contains("\"oscPort\": 47000"));
}

void ShowFileTest::aNullPortIsTheDefaultPort()
{
    QCOMPARE(decoded(documentWith(wholeRole, R"(,"oscPort":null)")).oscPort, 47000);
}

void ShowFileTest::theLastOfTwoPortsCounts()
{
    QCOMPARE(decoded(documentWith(wholeRole, R"(,"oscPort":1,"oscPort":2)")).oscPort, 2);
}

void ShowFileTest::anyWholeNumberOf64BitsIsAPort_data()
{
    QTest::addColumn<QByteArray>("written");
    QTest::addColumn<std::optional<qint64>>("port");
    const auto row = [](const char* written, std::optional<qint64> port) {
        QTest::newRow(written) << QByteArray(written) << port;
    };
    row("47000", 47000);
    row("0", 0);
    row("-0", 0);
    row("-1", -1);
    row("65536", 65536);
    row("9223372036854775807", std::numeric_limits<qint64>::max());
    row("-9223372036854775808", std::numeric_limits<qint64>::min());
    row("47000.0", 47000);
    row("4.7e4", 47000);
    row("0e5", 0);
    row("-0.0", 0);
    row("0e-400", 0);
    row("4700000e-2", 47000);
    row("1E+18", 1'000'000'000'000'000'000);
    row("9007199254740993.0", 9'007'199'254'740'993); // no double can tell it from the one before
    row("9223372036854775807.0", std::numeric_limits<qint64>::max());
    row("-922337203685477580.80e1", std::numeric_limits<qint64>::min());
    row("9223372036854775808.0", std::nullopt);
    row("-9223372036854775809.0", std::nullopt);
    row("9223372036854775808", std::nullopt);
    row("-9223372036854775809", std::nullopt);
    row("18446744073709551616", std::nullopt);
    row("1e19", std::nullopt);
    row("-1e19", std::nullopt);
    row("1E400", std::nullopt);
    row("47000.5", std::nullopt);
    row("1e-3", std::nullopt);
    row("1e-400", std::nullopt); // as a double it is 0, and the next two are whole numbers
    row("0.99999999999999999999", std::nullopt);
    row("47000.00000000000000000001", std::nullopt);
    row("47e-99999999999999999999", std::nullopt);
    row("\"47000\"", std::nullopt);
    row("true", std::nullopt);
    row("[47000]", std::nullopt);
    row("{}", std::nullopt);
    row("047000", std::nullopt);
    row("+47000", std::nullopt);
    row("0xB798", std::nullopt);
    row("NaN", std::nullopt);
    row("Infinity", std::nullopt);
}

void ShowFileTest::anyWholeNumberOf64BitsIsAPort()
{
    QFETCH(const QByteArray, written);
    QFETCH(const std::optional<qint64>, port);
    const auto reading = decodeShow(documentWith(wholeRole, ",\"oscPort\":" + written));
    QCOMPARE(reading.has_value(), port.has_value());
    if (port) {
        QCOMPARE(reading->oscPort, *port);
        QCOMPARE(decoded(encodeShow(*reading).value()).oscPort, *port);
    } else {
        QVERIFY(!reading.error().reason.isEmpty());
    }
}

void ShowFileTest::aRoleThatLacksAMemberMakesTheDocumentUnreadable_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::newRow("name") << QByteArray(R"("talk":[],"listen":[])");
    QTest::newRow("talk") << QByteArray(R"("name":"Fly","listen":[])");
    QTest::newRow("listen") << QByteArray(R"("name":"Fly","talk":[])");
    QTest::newRow("null name") << QByteArray(R"("name":null,"talk":[],"listen":[])");
    QTest::newRow("null talk") << QByteArray(R"("name":"Fly","talk":null,"listen":[])");
    QTest::newRow("number in talk") << QByteArray(R"("name":"Fly","talk":[1],"listen":[])");
    QTest::newRow("null in listen") << QByteArray(R"("name":"Fly","talk":[],"listen":[null])");
    QTest::newRow("talk is a string") << QByteArray(R"("name":"Fly","talk":"Main","listen":[])");
    QTest::newRow("list in talk") << QByteArray(R"("name":"Fly","talk":[[]],"listen":[])");
    QTest::newRow("name is a list") << QByteArray(R"("name":[],"talk":[],"listen":[])");
    QTest::newRow("other case") << QByteArray(R"("Name":"Fly","talk":[],"listen":[])");
}

void ShowFileTest::aRoleThatLacksAMemberMakesTheDocumentUnreadable()
{
    QFETCH(const QByteArray, members);
    // A whole role before it and after it must not stand in for what this one lacks.
    const QByteArray whole = "{" + wholeRole + "}";
    const QByteArray document =
        R"({"show":"S","channels":[],"roles":[)" + whole + ",{" + members + "}," + whole + "]}";
    const auto reading = decodeShow(document);
    QVERIFY(!reading);
    QVERIFY(!reading.error().reason.isEmpty());
}

void ShowFileTest::aDocumentThatLacksAMemberIsUnreadable_data()
{
    QTest::addColumn<QByteArray>("document");
    const auto row = [](const char* document) {
        QTest::newRow(document) << QByteArray(document);
    };
    row(R"({})");
    row(R"({"channels":[],"roles":[]})");
    row(R"({"show":"S","roles":[]})");
    row(R"({"show":"S","channels":[]})");
    row(R"({"show":null,"channels":[],"roles":[]})");
    row(R"({"show":5,"channels":[],"roles":[]})");
    row(R"({"show":"S","channels":null,"roles":[]})");
    row(R"({"show":"S","channels":{},"roles":[]})");
    row(R"({"show":"S","channels":"Main","roles":[]})");
    row(R"({"show":"S","channels":["Main",7],"roles":[]})");
    row(R"({"show":"S","channels":[["Main"]],"roles":[]})");
    row(R"({"show":"S","channels":[{}],"roles":[]})");
    row(R"({"show":"S","channels":[],"roles":null})");
    row(R"({"show":"S","channels":[],"roles":{}})");
    row(R"({"show":"S","channels":[],"roles":["Fly"]})");
    row(R"({"show":"S","channels":[],"roles":[[]]})");
    row(R"({"show":"S","channels":[],"roles":[null]})");
    row(R"([{"show":"S","channels":[],"roles":[]}])");
    row(R"("show")");
    row(R"(7)");
    row(R"(null)");
}

void ShowFileTest::aDocumentThatLacksAMemberIsUnreadable()
{
    QFETCH(const QByteArray, document);
    const auto reading = decodeShow(document);
    QVERIFY(!reading);
    QVERIFY(!reading.error().reason.isEmpty());
}

void ShowFileTest::anIdInTheFileIsIgnoredAndNotWrittenBack()
{
    const QByteArray id = "11111111-2222-4333-8444-555555555555";
    const ShowFile show = decoded(documentWith("\"id\":\"" + id + "\"," + wholeRole));
    QCOMPARE(show.roles.size(), 1);
    QVERIFY(!show.roles.first().id.isNull());
    QVERIFY(show.roles.first().id != QUuid::fromString(QLatin1StringView(id)));
    QVERIFY(!encodeShow(show).value().contains("\"id\""));
}

void ShowFileTest::twoReadingsGiveEqualRolesWithOtherIdentities()
{
    const Role first = decoded(documentWith(wholeRole)).roles.first();
    const Role second = decoded(documentWith(wholeRole)).roles.first();
    QCOMPARE(second.name, first.name);
    QCOMPARE(second.talk, first.talk);
    QCOMPARE(second.listen, first.listen);
    QVERIFY(second != first);
    QVERIFY(second.id != first.id);
}

void ShowFileTest::unknownMembersAreIgnoredWhateverTheyHold()
{
    const QByteArray extra = R"({"show":7,"roles":[1,{"name":2}],"oscPort":[[]],"talk":null})";
    const ShowFile show = decoded(
        R"({"x":)" + extra + R"(,"show":"S","y":[)" + extra +
        R"(],"channels":["Main"],"roles":[{"z":)" + extra +
        R"(,"name":"Fly","talk":["Main"],"w":[[],[{}]],"listen":[],"v":-1e5}],"":0})");
    QCOMPARE(show.show, u"S"_s);
    QCOMPARE(show.channels, QStringList{u"Main"_s});
    QCOMPARE(show.roles.size(), 1);
    QCOMPARE(show.roles.first().name, u"Fly"_s);
    QCOMPARE(show.roles.first().talk, QStringList{u"Main"_s});
    QCOMPARE(show.roles.first().listen, QStringList());
    QCOMPARE(show.oscPort, 47000);
}

void ShowFileTest::slashesAreWrittenPlain()
{
    ShowFile show;
    show.channels = {u"Stage left/right"_s};
    const QByteArray document = encodeShow(show).value();
    QVERIFY(document.contains("\"Stage left/right\""));
    QVERIFY(!document.contains('\\'));
}

void ShowFileTest::emptyListsAndAnEmptyNameAreWritten()
{
    ShowFile show;
    show.roles = {Role{QUuid::createUuid(), {}, {}, {}}};
    const QJsonObject object = QJsonDocument::fromJson(encodeShow(show).value()).object();
    QCOMPARE(object.value(u"show"_s), QJsonValue(QString()));
    QVERIFY(object.value(u"channels"_s).isArray());
    const QJsonObject role = object.value(u"roles"_s).toArray().at(0).toObject();
    QCOMPARE(role.value(u"name"_s), QJsonValue(QString()));
    QVERIFY(role.value(u"talk"_s).isArray());
    QVERIFY(role.value(u"listen"_s).isArray());
}

void ShowFileTest::aChannelThatTheShowLacksStaysInARole()
{
    const ShowFile show = decoded(documentWith(wholeRole));
    QCOMPARE(show.roles.first().listen, (QStringList{u"Main"_s, u"Other"_s}));
    const ShowFile again = decoded(encodeShow(show).value());
    QCOMPARE(again.roles.first().listen, show.roles.first().listen);
}

void ShowFileTest::everyTextSurvivesWritingAndReading_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("quotes and backslashes") << u"\"\\/\b\f\n\r\t"_s;
    QTest::newRow("control characters") << QString(QChar(0)) + QChar(1) + QChar(0x1f) + QChar(0x7f);
    QTest::newRow("emoji") << u"\U0001F514 \u25B6\uFE0E"_s;
    QTest::newRow("combining, not normalised") << u"e\u0301 \u00E9"_s;
    QTest::newRow("byte order mark") << u"\uFEFF\uFEFFx\uFEFF"_s;
    QTest::newRow("noncharacters") << QString(QChar(0xFFFE)) + QChar(0xFFFF);
    QTest::newRow("line separators") << u"a\u2028b\u2029c\u0085"_s;
    QTest::newRow("right to left") << u"\u05D1\u05DE\u05D4"_s;
}

void ShowFileTest::everyTextSurvivesWritingAndReading()
{
    QFETCH(const QString, text);
    ShowFile show;
    show.show = text;
    show.channels = {text};
    show.roles = {Role{QUuid::createUuid(), text, {text}, {text}}};
    const ShowFile again = decoded(encodeShow(show).value());
    QCOMPARE(again.show, text);
    QCOMPARE(again.channels, show.channels);
    QCOMPARE(again.roles.size(), 1);
    QCOMPARE(again.roles.first().name, text);
    QCOMPARE(again.roles.first().talk, show.channels);
    QCOMPARE(again.roles.first().listen, show.channels);
}

void ShowFileTest::aLoneSurrogateIsWrittenAsAQuestionMark()
{
    ShowFile show;
    show.show = QString(QChar(0xD800)) + u"x"_s;
    QCOMPARE(decoded(encodeShow(show).value()).show, u"?x"_s);
}

void ShowFileTest::thePortIsWrittenWith64Bits()
{
    ShowFile show;
    show.oscPort = std::numeric_limits<qint64>::min();
    QVERIFY(encodeShow(show).value().contains("-9223372036854775808"));
}

WINGBELL_APPLESS_TEST(ShowFileTest)
#include "ShowFileTest.moc"

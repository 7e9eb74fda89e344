#include "relay/api/SdpAnswer.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

namespace {

const QByteArray pairs = QByteArray("3F:07:").repeated(16).chopped(1);

SdpAnswer validAnswer()
{
    return {"x+3/", "PdQn4gkZ2E+9f/KqTzLm0sYb", pairs, "active", "recvonly", {1}};
}

SdpAnswer with(QByteArray SdpAnswer::*word, const QByteArray& value)
{
    SdpAnswer answer = validAnswer();
    answer.*word = value;
    return answer;
}

} // namespace

class SdpAnswerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void validWordsAreTaken();
    void otherWordsAreRefused_data();
    void otherWordsAreRefused();
    void onlyTwoDirectionsSend();
    void whoSendsNamesItsSources();
};

void SdpAnswerTest::validWordsAreTaken()
{
    QVERIFY(validAnswer().isValid());
    for (const char* direction : {"sendrecv", "sendonly", "recvonly", "inactive"}) {
        QVERIFY(with(&SdpAnswer::direction, direction).isValid());
    }
    QVERIFY(with(&SdpAnswer::setup, "passive").isValid());
    QVERIFY(with(&SdpAnswer::iceUfrag, "AZaz09+/").isValid());
    QVERIFY(with(&SdpAnswer::iceUfrag, QByteArray(256, 'a')).isValid());
    QVERIFY(with(&SdpAnswer::icePwd, QByteArray(22, 'a')).isValid());
    QVERIFY(with(&SdpAnswer::icePwd, QByteArray(256, 'a')).isValid());
}

void SdpAnswerTest::otherWordsAreRefused_data()
{
    QTest::addColumn<SdpAnswer>("answer");
    const auto row = [](const char* name, QByteArray SdpAnswer::*word, const QByteArray& value) {
        QTest::newRow(name) << with(word, value);
    };
    for (const char* word :
         {"", "abc", "x-3/", "x+3/ ", "x+3/\r", "x+3/\r\na=candidate:1", "x+3\xC3\xA4"}) {
        QTest::addRow("ufrag \"%s\"", word) << with(&SdpAnswer::iceUfrag, word);
    }
    row("ufrag with a zero byte", &SdpAnswer::iceUfrag, QByteArray("x+3/\0", 5));
    row("long ufrag", &SdpAnswer::iceUfrag, QByteArray(257, 'a'));
    row("short pwd", &SdpAnswer::icePwd, QByteArray(21, 'a'));
    row("long pwd", &SdpAnswer::icePwd, QByteArray(257, 'a'));
    row("pwd of two lines", &SdpAnswer::icePwd, QByteArray(22, 'a') + "\nb");
    row("no fingerprint", &SdpAnswer::fingerprint, "");
    row("fingerprint of 31 pairs", &SdpAnswer::fingerprint, pairs.chopped(3));
    row("fingerprint of 33 pairs", &SdpAnswer::fingerprint, pairs + ":00");
    row("fingerprint with hash", &SdpAnswer::fingerprint, "sha-256 " + pairs);
    row("fingerprint without colons", &SdpAnswer::fingerprint, QByteArray(pairs).replace(':', '-'));
    row("no hexadecimal", &SdpAnswer::fingerprint, QByteArray(pairs).replace('F', 'G'));
    row("small letters", &SdpAnswer::fingerprint, pairs.toLower());
    for (const char* word : {"", "actpass", "holdconn", "Active", "active\r\na=x"}) {
        QTest::addRow("setup \"%s\"", word) << with(&SdpAnswer::setup, word);
    }
    for (const char* word : {"", "both", "SENDRECV", "sendrecv ", "sendrecv\r\na=x"}) {
        QTest::addRow("direction \"%s\"", word) << with(&SdpAnswer::direction, word);
    }
}

void SdpAnswerTest::otherWordsAreRefused()
{
    QFETCH(SdpAnswer, answer);
    QVERIFY(!answer.isValid());
}

void SdpAnswerTest::onlyTwoDirectionsSend()
{
    QVERIFY(with(&SdpAnswer::direction, "sendrecv").sends());
    QVERIFY(with(&SdpAnswer::direction, "sendonly").sends());
    QVERIFY(!with(&SdpAnswer::direction, "recvonly").sends());
    QVERIFY(!with(&SdpAnswer::direction, "inactive").sends());
}

void SdpAnswerTest::whoSendsNamesItsSources()
{
    SdpAnswer answer = with(&SdpAnswer::direction, "sendrecv");
    answer.sources = {1, 2, 3, 4};
    QVERIFY(answer.isValid());
    answer.sources.push_back(5);
    QVERIFY(!answer.isValid());
    answer.sources.clear();
    QVERIFY(!answer.isValid());
    answer.direction = "recvonly";
    QVERIFY(answer.isValid());
}

WINGBELL_APPLESS_TEST(SdpAnswerTest)
#include "SdpAnswerTest.moc"

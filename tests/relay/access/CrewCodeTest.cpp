#include "relay/access/CrewCode.h"
#include "relay/access/StateDirectory.h"
#include "tests/TestProgram.h"

#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <memory>

using namespace wingbell;

namespace {

const QString file = QStringLiteral("crew-code");

CrewCode code(const char* text)
{
    return CrewCode::fromText(QString::fromLatin1(text)).value();
}

} // namespace

class CrewCodeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void aRandomCodeHasSixDigits();
    void everyDigitIsAsLikelyAtEveryPlace();
    void sixDigitsAreACode();
    void anythingElseIsNoCode_data();
    void anythingElseIsNoCode();
    void onlyTheSameCodeMatches_data();
    void onlyTheSameCodeMatches();
    void aCodeIsKept();
    void leadingZerosAreKept();
    void aLineFeedFromAnEditorIsForgiven();
    void aDamagedFileIsReplaced_data();
    void aDamagedFileIsReplaced();
    void aCodeThatCannotBeKeptIsTold();

private:
    [[nodiscard]] StateDirectory folder() const
    {
        return StateDirectory(m_place->filePath(QStringLiteral("wingbell")));
    }

    std::unique_ptr<QTemporaryDir> m_place;
};

void CrewCodeTest::init()
{
    m_place = std::make_unique<QTemporaryDir>();
    QVERIFY(m_place->isValid());
}

void CrewCodeTest::aRandomCodeHasSixDigits()
{
    for (int round = 0; round < 1000; ++round) {
        const CrewCode random = CrewCode::random();
        QCOMPARE(CrewCode::fromText(random.text()), std::optional(random));
    }
}

void CrewCodeTest::everyDigitIsAsLikelyAtEveryPlace()
{
    constexpr int rounds = 20000;
    std::array<std::array<int, 10>, 6> counts = {};
    for (int round = 0; round < rounds; ++round) {
        const QString text = CrewCode::random().text();
        for (std::size_t place = 0; place < counts.size(); ++place) {
            const int digit = text.at(static_cast<qsizetype>(place)).digitValue();
            ++counts.at(place).at(static_cast<std::size_t>(digit));
        }
    }
    // 2000 are expected of each, with a deviation of 42; ten of these come by chance never.
    for (const auto& place : counts) {
        for (const int count : place) {
            QVERIFY2(count > 1580 && count < 2420, qPrintable(QString::number(count)));
        }
    }
}

void CrewCodeTest::sixDigitsAreACode()
{
    QCOMPARE(code("000000").text(), QStringLiteral("000000"));
    QCOMPARE(code("482913").text(), QStringLiteral("482913"));
    QCOMPARE(code("999999").text(), QStringLiteral("999999"));
}

void CrewCodeTest::anythingElseIsNoCode_data()
{
    QTest::addColumn<QString>("text");
    for (const char* text :
         {"", "1", "48291", "4829133", "48291a", " 48291", "48291 ", "-48291", "+48291", "4829.3",
          "0x1234"}) {
        QTest::newRow(text) << QString::fromLatin1(text);
    }
    QTest::newRow("digits of another script") << QStringLiteral("٤٨٢٩١٣");
    QTest::newRow("zero inside") << QStringLiteral("48291") + QChar(QChar::Null);
}

void CrewCodeTest::anythingElseIsNoCode()
{
    QFETCH(QString, text);
    QVERIFY(!CrewCode::fromText(text));
}

void CrewCodeTest::onlyTheSameCodeMatches_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<bool>("matches");
    QTest::newRow("same") << QStringLiteral("082913") << true;
    QTest::newRow("first differs") << QStringLiteral("182913") << false;
    QTest::newRow("last differs") << QStringLiteral("082914") << false;
    QTest::newRow("beginning") << QStringLiteral("08291") << false;
    QTest::newRow("without its zero") << QStringLiteral("82913") << false;
    QTest::newRow("more") << QStringLiteral("0829130") << false;
    QTest::newRow("empty") << QString() << false;
    QTest::newRow("same low bytes") << QString(6, QChar(0x1030)) << false;
    QTest::newRow("digits of another script") << QStringLiteral("٠٨٢٩١٣") << false;
}

void CrewCodeTest::onlyTheSameCodeMatches()
{
    QFETCH(QString, given);
    QTEST(code("082913").matches(given), "matches");
}

void CrewCodeTest::aCodeIsKept()
{
    const StoredCrewCode first = loadOrCreateCrewCode(folder());
    QVERIFY(first.isNew);
    QCOMPARE(first.notStoredBecause, QString());
    const StoredCrewCode second = loadOrCreateCrewCode(folder());
    QVERIFY(!second.isNew);
    QCOMPARE(second.notStoredBecause, QString());
    QCOMPARE(second.code, first.code);
}

void CrewCodeTest::leadingZerosAreKept()
{
    QVERIFY(folder().write(file, "000042"));
    QCOMPARE(loadOrCreateCrewCode(folder()).code, code("000042"));
}

void CrewCodeTest::aLineFeedFromAnEditorIsForgiven()
{
    QVERIFY(folder().write(file, "482913\r\n"));
    QVERIFY(!loadOrCreateCrewCode(folder()).isNew);
    QCOMPARE(loadOrCreateCrewCode(folder()).code, code("482913"));
}

void CrewCodeTest::aDamagedFileIsReplaced_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("cut off") << QByteArray("4829");
    QTest::newRow("letters") << QByteArray("abcdef");
    QTest::newRow("two codes") << QByteArray("482913\n482914");
    QTest::newRow("no text") << QByteArray::fromHex("ff00ff00ff00");
    QTest::newRow("too large") << QByteArray(100000, '1');
}

void CrewCodeTest::aDamagedFileIsReplaced()
{
    QFETCH(QByteArray, bytes);
    QVERIFY(folder().write(file, bytes));
    const StoredCrewCode made = loadOrCreateCrewCode(folder());
    QVERIFY(made.isNew);
    QCOMPARE(made.notStoredBecause, QString());
    QVERIFY(!loadOrCreateCrewCode(folder()).isNew);
    QCOMPARE(loadOrCreateCrewCode(folder()).code, made.code);
}

void CrewCodeTest::aCodeThatCannotBeKeptIsTold()
{
    const StoredCrewCode made =
        loadOrCreateCrewCode(StateDirectory(QStringLiteral("/dev/null/wingbell")));
    QVERIFY(made.isNew);
    QVERIFY(made.notStoredBecause.contains(QStringLiteral("/dev/null/wingbell")));
    QVERIFY(CrewCode::fromText(made.code.text()));
}

WINGBELL_APPLESS_TEST(CrewCodeTest)
#include "CrewCodeTest.moc"

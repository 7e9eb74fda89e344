#include "relay/api/QrCode.h"
#include "tests/TestProgram.h"

#include <QRegularExpression>
#include <QTest>

#include <memory>
#include <qrencode.h>

using namespace wingbell;

namespace {

struct FreeCode
{
    void operator()(QRcode* code) const { ::QRcode_free(code); }
};

/// A row of '#' and '.' for every row of modules that `code` paints; empty when its path is none of
/// rectangles one unit high.
QList<QByteArray> painted(const QrCode& code)
{
    QList<QByteArray> rows(code.size, QByteArray(code.size, '.'));
    static const QRegularExpression run(QStringLiteral("\\GM(\\d+) (\\d+)h(\\d+)v1h-(\\d+)z"));
    const QString path = QString::fromLatin1(code.path);
    qsizetype at = 0;
    while (at < path.size()) {
        const QRegularExpressionMatch match = run.match(path, at);
        const qsizetype x = match.captured(1).toInt();
        const qsizetype y = match.captured(2).toInt();
        const qsizetype length = match.captured(3).toInt();
        const bool fits = match.hasMatch() && match.captured(4).toInt() == length && length > 0 &&
                          y < code.size && x + length <= code.size;
        if (!fits) {
            return {};
        }
        rows[y].replace(x, length, QByteArray(length, '#'));
        at = match.capturedEnd();
    }
    return rows;
}

/// What the library draws at error correction M.
QList<QByteArray> expected(const char* text)
{
    const std::unique_ptr<QRcode, FreeCode> code(
        ::QRcode_encodeString(text, 0, QR_ECLEVEL_M, QR_MODE_8, 1));
    QList<QByteArray> rows;
    for (int y = 0; y < code->width; ++y) {
        QByteArray row;
        for (int x = 0; x < code->width; ++x) {
            row += (code->data[y * code->width + x] & 1) != 0 ? '#' : '.';
        }
        rows.append(row);
    }
    return rows;
}

const QList<QByteArray> finder = {"#######", "#.....#", "#.###.#", "#.###.#",
                                  "#.###.#", "#.....#", "#######"};

QList<QByteArray> corner(const QList<QByteArray>& rows, qsizetype x, qsizetype y)
{
    QList<QByteArray> result;
    for (const QByteArray& row : rows.sliced(y, 7)) {
        result.append(row.mid(x, 7));
    }
    return result;
}

} // namespace

class QrCodeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thePathPaintsTheCode_data();
    void thePathPaintsTheCode();
    void threeCornersBearTheirMark();
    void theCorrectionIsTheOneForPrint();
    void neighboursArePaintedTogether();
    void whatFitsInNoCodeHasNone();
};

void QrCodeTest::thePathPaintsTheCode_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("one character") << QByteArray("a");
    QTest::newRow("page") << QByteArray("https://192.168.1.5:47000/#code=482913");
    QTest::newRow("role") << QByteArray("https://192.168.1.5:47000/#code=482913&role=k7d2m9qa");
    QTest::newRow("IPv6") << QByteArray("https://[fd00:1:2:3:4:5:6:7]:47000/#code=000000");
    QTest::newRow("long") << QByteArray(2331, 'x');
}

void QrCodeTest::thePathPaintsTheCode()
{
    QFETCH(QByteArray, text);
    const QrCode code = qrCode(text).value();
    const QList<QByteArray> rows = expected(text.constData());
    QCOMPARE(qsizetype{code.size}, rows.size());
    QCOMPARE(painted(code), rows);
}

void QrCodeTest::threeCornersBearTheirMark()
{
    const QrCode code = qrCode("https://192.168.1.5:47000/#code=482913").value();
    const QList<QByteArray> rows = painted(code);
    const qsizetype far = code.size - 7;
    QCOMPARE(corner(rows, 0, 0), finder);
    QCOMPARE(corner(rows, far, 0), finder);
    QCOMPARE(corner(rows, 0, far), finder);
    QVERIFY(corner(rows, far, far) != finder);
}

void QrCodeTest::theCorrectionIsTheOneForPrint()
{
    // The first two modules of the format tell it, after the mask that is always the same: 00 is M,
    // and the mask makes it 10.
    const QList<QByteArray> rows = painted(qrCode("https://192.168.1.5:47000/").value());
    QCOMPARE(rows.at(8).left(2), QByteArray("#."));
}

void QrCodeTest::neighboursArePaintedTogether()
{
    const QrCode code = qrCode("https://192.168.1.5:47000/").value();
    QVERIFY(code.path.startsWith("M0 0h7v1h-7z"));
    const QList<QByteArray> rows = painted(code);
    qsizetype runs = 0;
    for (const QByteArray& row : rows) {
        runs += QByteArray('.' + row).count(".#");
    }
    QCOMPARE(code.path.count('M'), runs);
}

void QrCodeTest::whatFitsInNoCodeHasNone()
{
    QVERIFY(!qrCode({}));
    QVERIFY(!qrCode(QByteArray("a\0b", 3)));
    QVERIFY(!qrCode(QByteArray(2332, 'x')));
}

WINGBELL_APPLESS_TEST(QrCodeTest)
#include "QrCodeTest.moc"

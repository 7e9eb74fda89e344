#include "app/WingbellControlApp.h"
#include "tests/TestProgram.h"

#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

namespace wingbell {

namespace {

QString packaging(const QString& path)
{
    return QStringLiteral(WINGBELL_PACKAGING "/") + path;
}

QString pictureName(int size)
{
    return QStringLiteral("wingbell-control-%1.png").arg(size);
}

/// As it is drawn: the colour of what cannot be seen does not count.
QImage drawable(const QImage& image)
{
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

QImage readPicture(const QString& path)
{
    return drawable(QImage(path));
}

/// By how much the pictures differ at most, of 255, in any part of any pixel.
int difference(const QImage& one, const QImage& other)
{
    int largest = 0;
    for (int y = 0; y < one.height(); ++y) {
        const uchar* const left = one.constScanLine(y);
        const uchar* const right = other.constScanLine(y);
        for (qsizetype byte = 0; byte < qsizetype{4} * one.width(); ++byte) {
            largest = std::max(largest, std::abs(left[byte] - right[byte]));
        }
    }
    return largest;
}

} // namespace

class IconsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everyPictureShowsItsDrawing_data();
    void everyPictureShowsItsDrawing();
    void theWindowHasTheIconInTheSizesThatPanelsShow();

private:
    QTemporaryDir m_drawn;
};

void IconsTest::initTestCase()
{
    QVERIFY(m_drawn.isValid());
    QProcess script;
    script.setProcessChannelMode(QProcess::ForwardedChannels);
    script.start(packaging(QStringLiteral("draw_icons.sh")), {m_drawn.path()});
    QVERIFY(script.waitForFinished());
    QCOMPARE(script.exitCode(), 0);
}

void IconsTest::everyPictureShowsItsDrawing_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {16, 22, 24, 32, 48, 64, 128, 256}) {
        QTest::addRow("%d", size) << size;
    }
}

void IconsTest::everyPictureShowsItsDrawing()
{
    QFETCH(const int, size);
    const QImage kept = readPicture(packaging(QStringLiteral("icons/") + pictureName(size)));
    const QImage drawn = readPicture(m_drawn.filePath(pictureName(size)));
    QCOMPARE(kept.size(), QSize(size, size));
    QCOMPARE(drawn.size(), kept.size());
    constexpr int rounding = 3; // of another version of the drawing tool
    QVERIFY2(
        difference(kept, drawn) <= rounding,
        "The drawing was changed: run packaging/draw_icons.sh, look at the pictures, keep them.");
    QCOMPARE(qAlpha(kept.pixel(0, 0)), 0); // a plate with round corners, on any ground
}

void IconsTest::theWindowHasTheIconInTheSizesThatPanelsShow()
{
    const QIcon icon = windowIcon();
    for (const int size : {16, 24, 32, 48, 64}) {
        const QImage picture = drawable(icon.pixmap(QSize(size, size)).toImage());
        const QImage kept = readPicture(packaging(QStringLiteral("icons/") + pictureName(size)));
        QCOMPARE(picture.size(), kept.size());
        QCOMPARE(difference(picture, kept), 0);
    }
}

WINGBELL_GUI_TEST(IconsTest)

} // namespace wingbell

#include "IconsTest.moc"

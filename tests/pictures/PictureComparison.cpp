#include "tests/pictures/PictureComparison.h"

#include <algorithm>
#include <cstdlib>

namespace wingbell {

namespace {

constexpr int maxPerChannel = 8;
constexpr double maxPixels = 0.002;

bool differs(QRgb one, QRgb other)
{
    const int most = std::max(
        {std::abs(qRed(one) - qRed(other)), std::abs(qGreen(one) - qGreen(other)),
         std::abs(qBlue(one) - qBlue(other))});
    return most > maxPerChannel;
}

} // namespace

bool PictureComparison::isVisible() const
{
    return difference.isNull() || differing > maxPixels;
}

PictureComparison comparePictures(const QImage& first, const QImage& second)
{
    if (first.size() != second.size() || first.isNull()) {
        return {{}, 1.0};
    }
    const QImage one = first.convertToFormat(QImage::Format_RGB32);
    QImage other = second.convertToFormat(QImage::Format_RGB32);
    qsizetype count = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x) {
            const QRgb pixel = other.pixel(x, y);
            const bool found = differs(one.pixel(x, y), pixel);
            count += found ? 1 : 0;
            const int faded = qGray(pixel) / 3;
            other.setPixel(x, y, found ? qRgb(255, 0, 0) : qRgb(faded, faded, faded));
        }
    }
    const auto pixels = static_cast<double>(one.width()) * one.height();
    return {other, static_cast<double>(count) / pixels};
}

} // namespace wingbell

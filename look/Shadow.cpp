#include "look/Shadow.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace wingbell {

namespace {

/// The widths of three boxes whose passes in a row have a Gaussian's variance.
std::array<int, 3> boxWidths(double sigma)
{
    constexpr int passes = 3;
    const double ideal = std::sqrt(12.0 * sigma * sigma / passes + 1.0);
    int narrow = static_cast<int>(std::floor(ideal));
    if (narrow % 2 == 0) {
        --narrow;
    }
    const double narrowPasses =
        (12.0 * sigma * sigma - passes * narrow * narrow - 4.0 * passes * narrow - 3.0 * passes) /
        (-4.0 * narrow - 4.0);
    std::array<int, 3> widths = {};
    for (int pass = 0; pass < passes; ++pass) {
        widths.at(static_cast<size_t>(pass)) =
            pass < std::lround(narrowPasses) ? narrow : narrow + 2;
    }
    return widths;
}

/// One box pass over `count` values that lie `stride` apart.
void blurLine(uchar* first, qsizetype count, qsizetype stride, int width, std::vector<uchar>& line)
{
    line.resize(static_cast<size_t>(count));
    for (qsizetype at = 0; at < count; ++at) {
        line[static_cast<size_t>(at)] = first[at * stride];
    }
    const qsizetype half = width / 2;
    const auto valueAt = [&](qsizetype at) {
        return at >= 0 && at < count ? static_cast<int>(line[static_cast<size_t>(at)]) : 0;
    };
    int sum = 0;
    for (qsizetype at = -half; at < half; ++at) {
        sum += valueAt(at);
    }
    for (qsizetype at = 0; at < count; ++at) {
        sum += valueAt(at + half);
        first[at * stride] = static_cast<uchar>((sum + width / 2) / width);
        sum -= valueAt(at - half);
    }
}

} // namespace

double Shadow::reach() const
{
    constexpr double spreadInRadii = 1.5; // three sigmas, beyond which nothing is seen
    return spreadInRadii * radius + std::max(std::abs(offset.x()), std::abs(offset.y())) + 1.0;
}

void blurAlpha(QImage& alpha, double sigma)
{
    if (sigma <= 0.0 || alpha.isNull()) {
        return;
    }
    std::vector<uchar> line;
    for (const int width : boxWidths(sigma)) {
        for (int row = 0; row < alpha.height(); ++row) {
            blurLine(alpha.scanLine(row), alpha.width(), 1, width, line);
        }
        for (int column = 0; column < alpha.width(); ++column) {
            blurLine(alpha.bits() + column, alpha.height(), alpha.bytesPerLine(), width, line);
        }
    }
}

void paintShadow(
    QPainter& painter, const QRectF& bounds, const Shadow& shadow,
    const std::function<void(QPainter&)>& paintShape)
{
    // Painters of items are scaled for the screen without their device saying so.
    const double scale =
        painter.device()->devicePixelRatio() * std::max(painter.transform().m11(), 0.01);
    const double reach = shadow.reach();
    const QRectF area = bounds.adjusted(-reach, -reach, reach, reach);
    const QSize pixels(
        static_cast<int>(std::ceil(area.width() * scale)),
        static_cast<int>(std::ceil(area.height() * scale)));

    QImage mask(pixels, QImage::Format_ARGB32_Premultiplied);
    mask.fill(Qt::transparent);
    {
        QPainter shape(&mask);
        shape.setRenderHints(painter.renderHints());
        shape.scale(scale, scale);
        shape.translate(-area.topLeft());
        paintShape(shape);
    }
    QImage alpha = mask.convertToFormat(QImage::Format_Alpha8);
    constexpr double sigmaInRadii = 0.5;
    blurAlpha(alpha, shadow.radius * sigmaInRadii * scale);

    mask.fill(shadow.color);
    {
        QPainter tint(&mask);
        tint.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        tint.drawImage(0, 0, alpha);
    }
    painter.drawImage(QRectF(area.topLeft() + shadow.offset, QSizeF(mask.size()) / scale), mask);
}

} // namespace wingbell

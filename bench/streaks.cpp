// What the brushed steel costs, by the size of the plate: printed, for a person to judge. A plate
// of 800 by 600 points is the reference of the ratios.
#include "look/BrushedSteel.h"

#include <QImage>
#include <QPainter>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

using namespace wingbell;

namespace {

constexpr int rounds = 21;

/// The median over the rounds, in milliseconds.
double painting(const QSize& plate, double scale)
{
    QImage image(plate * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    QPainterPath shape;
    shape.addRect(QRectF(QPointF(), plate));
    std::vector<double> times;
    for (int round = 0; round < rounds; ++round) {
        image.fill(Qt::transparent);
        const auto begin = std::chrono::steady_clock::now();
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        paintBrushedSteel(painter, shape, plate, 0.4);
        painter.end();
        const std::chrono::duration<double, std::milli> took =
            std::chrono::steady_clock::now() - begin;
        times.push_back(took.count());
    }
    std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
    return times[rounds / 2];
}

} // namespace

int main()
{
    const QSize reference(800, 600);
    const double unit = painting(reference, 1);
    std::printf("\nbrushed steel, medians of %d; ratios are to 800 x 600 at 100 %%\n", rounds);
    std::printf("%22s%8s%10s%8s\n", "plate", "lines", "ms", "ratio");
    for (const double scale : {1.0, 2.0}) {
        for (const QSize plate : {QSize(230, 232), QSize(780, 120), reference, QSize(1920, 1080)}) {
            const double time = painting(plate, scale);
            std::printf(
                "%8d x %4d at %3.0f %%%8d%10.2f%8.2f\n", plate.width(), plate.height(), 100 * scale,
                static_cast<int>(streaksOf(plate).size()), time, time / unit);
        }
    }
    return 0;
}

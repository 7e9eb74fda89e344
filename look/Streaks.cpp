#include "look/Streaks.h"

#include "look/Theme.h"

#include <QImage>
#include <QPen>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace wingbell {

namespace {

constexpr double distance = 3.0;
constexpr double lineWidth = 1.0;

double opacityAt(double x)
{
    return std::max(0.0, std::sin(0.6 * x) * 0.02 + 0.025);
}

void strokeStreaks(QPainter& painter, const QSizeF& plate)
{
    QPen pen;
    pen.setWidthF(lineWidth);
    pen.setCapStyle(Qt::FlatCap);
    for (const Streak& streak : streaksOf(plate)) {
        pen.setColor(Theme::faded(Qt::white, streak.opacity));
        painter.setPen(pen);
        painter.drawLine(streak.line);
    }
}

/// The pixels along the top edge of a plate whose width and height together are `length` pixels of
/// `scale` a point, stroked anew.
///
/// Lines at 45 degrees: every row of a plate is the row above moved left by a pixel. So one row
/// tells the whole plate, and to stroke the lines of a narrow band is enough.
std::vector<QRgb> strokedTopRow(int length, double scale)
{
    constexpr int band = 9; // pixels; its middle row is far enough from where lines end
    constexpr int middle = 4;
    QImage image(length + band, band, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(scale, scale);
    strokeStreaks(painter, QSizeF(image.size()) / scale);
    painter.end();
    std::vector<QRgb> row(static_cast<size_t>(length));
    for (int along = 0; along < length; ++along) {
        const int y = std::min(along, middle);
        row[static_cast<size_t>(along)] =
            reinterpret_cast<const QRgb*>(image.constScanLine(y))[along - y];
    }
    return row;
}

/// The same, or a longer one: every plate's row is the beginning of any longer one, so the longest
/// asked for is kept. Pictures may be painted on a rendering thread, and so each thread keeps its
/// own.
const std::vector<QRgb>& topRow(int length, double scale)
{
    thread_local std::vector<QRgb> kept;
    thread_local double keptScale = 0.0;
    if (keptScale != scale || kept.size() < static_cast<size_t>(length)) {
        kept = strokedTopRow(length, scale);
        keptScale = scale;
    }
    return kept;
}

} // namespace

QList<Streak> streaksOf(const QSizeF& plate)
{
    const double end = plate.width() + plate.height();
    QList<Streak> streaks;
    if (!(end > 0.0)) {
        return streaks;
    }
    streaks.reserve(static_cast<qsizetype>(end / distance) + 1);
    for (qsizetype index = 0; static_cast<double>(index) * distance < end; ++index) {
        const double x = static_cast<double>(index) * distance;
        streaks.append({QLineF(x, 0.0, x - plate.height(), plate.height()), opacityAt(x)});
    }
    return streaks;
}

void paintStreaks(QPainter& painter, const QSizeF& plate, double opacity)
{
    const double scale = painter.device()->devicePixelRatio() * painter.transform().m11();
    const int width = static_cast<int>(std::ceil(plate.width() * scale));
    const int height = static_cast<int>(std::ceil(plate.height() * scale));
    if (width <= 0 || height <= 0) {
        return;
    }
    // No more than the device shows of it.
    const QRectF device(0.0, 0.0, painter.device()->width(), painter.device()->height());
    const QRectF shown = painter.deviceTransform().inverted().mapRect(device);
    const int first = std::clamp(static_cast<int>(std::floor(shown.top() * scale)), 0, height);
    const int end = std::clamp(static_cast<int>(std::ceil(shown.bottom() * scale)), first, height);
    if (first == end) {
        return;
    }
    const std::vector<QRgb>& row = topRow(width + height, scale);
    QImage texture(width, end - first, QImage::Format_ARGB32_Premultiplied);
    for (int y = first; y < end; ++y) {
        std::memcpy(
            texture.scanLine(y - first), row.data() + y, static_cast<size_t>(width) * sizeof(QRgb));
    }
    painter.save();
    painter.setOpacity(painter.opacity() * opacity);
    painter.drawImage(QRectF(QPointF(0.0, first / scale), QSizeF(texture.size()) / scale), texture);
    painter.restore();
}

} // namespace wingbell

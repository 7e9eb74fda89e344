#pragma once

#include <QImage>
#include <QString>

namespace wingbell {

/// Two pictures of the same thing, laid over each other.
struct PictureComparison
{
    QImage difference; ///< the second picture faded, what differs in red; null if the sizes differ
    double differing;  ///< share of the pixels that differ visibly, from 0 to 1

    /// Different enough to be seen: another size, or more than two pixels in a thousand.
    [[nodiscard]] bool isVisible() const;
};

/// Compares pixel by pixel. A pixel differs when one of its channels does by more than 8 of 255.
[[nodiscard]] PictureComparison comparePictures(const QImage& first, const QImage& second);

} // namespace wingbell

#pragma once

// Finding the simulated workpiece's features in camera pictures.

#include <QPointF>

#include <opencv2/core.hpp>

#include <algorithm>

namespace scene_test {

// Centroid (continuous pixel coordinates) of a fiducial cross's red ink
// inside a window around the expected place, in an RGB picture.
inline QPointF crossCentroid(const cv::Mat& rgb, const QPointF& expected, int nHalfWindow)
{
    double sx = 0.0, sy = 0.0, sw = 0.0;
    const int x0 = std::max(0, int(expected.x()) - nHalfWindow);
    const int x1 = std::min(rgb.cols - 1, int(expected.x()) + nHalfWindow);
    const int y0 = std::max(0, int(expected.y()) - nHalfWindow);
    const int y1 = std::min(rgb.rows - 1, int(expected.y()) + nHalfWindow);
    for (int y = y0; y <= y1; ++y) {
        const auto* p = rgb.ptr<cv::Vec3b>(y);
        for (int x = x0; x <= x1; ++x) {
            const cv::Vec3b c = p[x];
            // Redness: how much red stands above green and blue.
            const double w = std::max(0, int(c[0]) - std::max(int(c[1]), int(c[2])) - 40);
            sx += w * (x + 0.5);
            sy += w * (y + 0.5);
            sw += w;
        }
    }
    return sw > 0 ? QPointF(sx / sw, sy / sw) : QPointF(-1e9, -1e9);
}

} // namespace scene_test

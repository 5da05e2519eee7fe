#pragma once

// How one camera sees the machine: the affine map between its picture pixels
// and machine millimetres. The same class describes how a simulated camera is
// mounted (its rendering) and what the host has calibrated (the pictures it
// hands out, the calibrated bound, picture combining).

#include "HostSimExport.h"

#include <QJsonObject>
#include <QPointF>
#include <QSize>
#include <QString>

#include <opencv2/core.hpp>

namespace hostsim {

// A 2 x 2 linear map: (x, y) -> (a x + b y, c x + d y).
struct HXL_HOSTSIM_EXPORT Linear2
{
    double a = 1.0, b = 0.0, c = 0.0, d = 1.0;

    QPointF map(const QPointF& pt) const { return QPointF(a * pt.x() + b * pt.y(), c * pt.x() + d * pt.y()); }
    double det() const { return a * d - b * c; }
    Linear2 inverted() const;
    Linear2 operator*(const Linear2& other) const;
};

// Picture pixels are continuous coordinates with y downward (pixel i covers
// [i, i + 1)), counted from the picture's top-left corner; machine positions
// are millimetres with y upward. The optical axis goes through the centre of
// the picture.
class HXL_HOSTSIM_EXPORT CameraModel
{
public:
    double mmPerPixelX = 0.02; // along the picture's rows
    double mmPerPixelY = 0.02; // along the picture's columns
    // Angle from the machine's +x axis to the picture's +x axis, counter-
    // clockwise seen from above (machine y up), about the optical axis.
    double rotationDeg = 0.0;
    // The picture is a mirror image (its x runs against a camera seen head-on).
    bool mirrored = false;
    // Where the optical axis meets the work plane, from the machine position (the head).
    double offsetX = 0.0;
    double offsetY = 0.0;

    // A camera looking straight down from the head, picture x along machine x.
    static CameraModel plain(double dMmPerPixel);

    // Finite values, scales above zero.
    bool isValid() const;
    // Whether the camera's picture must be turned to lie in the machine's axes.
    bool needsResampling() const { return rotationDeg != 0.0 || mirrored; }

    // --- the camera's own picture -------------------------------------------------
    // Pixel offset from the picture centre to millimetre offset from the optical axis.
    Linear2 pixelToMachineLinear() const;
    QPointF pixelToMachine(const QPointF& ptPixel, const QSize& frame, const QPointF& ptHead) const;
    QPointF machineToPixel(const QPointF& ptMachine, const QSize& frame, const QPointF& ptHead) const;

    // --- the picture in the machine's axes -------------------------------------------
    // The host hands out pictures turned into the machine's axes: the same
    // size and centre, picture x along machine +x, picture y along machine
    // -y, with these pixel sizes (the camera's, swapped when the camera is
    // turned closer to a quarter turn than to none).
    double alignedMmPerPixelX() const;
    double alignedMmPerPixelY() const;
    // Offset in the aligned picture to offset in the camera's picture (pixels).
    Linear2 alignedToPixelLinear() const;
    QPointF alignedPixelToMachine(const QPointF& ptPixel, const QSize& frame, const QPointF& ptHead) const;
    QPointF machineToAlignedPixel(const QPointF& ptMachine, const QSize& frame, const QPointF& ptHead) const;
    // The camera's picture turned into the machine's axes (bilinear; what the
    // camera did not see is black). Without rotation or mirror the picture
    // itself (no copy).
    cv::Mat alignFrame(const cv::Mat& picture) const;

    // A model from a measured pixel-to-millimetre map (picture y down). Its
    // scales are the lengths of the map's columns; the small part of the map
    // that no camera can have (the picture's axes not at right angles) comes
    // back as pSkewDeg. The offset is zero.
    static CameraModel fromLinear(const Linear2& pixelToMachine, double* pSkewDeg = nullptr);

    // The configuration's form: {"mmPerPixelX", "mmPerPixelY", "rotationDeg",
    // "mirrored", "offsetX", "offsetY"}.
    QJsonObject toJson() const;
    // Keys missing from json keep the values of defaults. False, with the
    // reason, when a key has a value of the wrong kind or out of range.
    static bool fromJson(const QJsonObject& json, const CameraModel& defaults, CameraModel& model,
                         QString* pError = nullptr);

    bool operator==(const CameraModel& other) const;
    bool operator!=(const CameraModel& other) const { return !(*this == other); }
};

} // namespace hostsim

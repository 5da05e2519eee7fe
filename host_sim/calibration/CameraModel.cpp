#include "calibration/CameraModel.h"

#include <QJsonValue>

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace hostsim {

namespace {

constexpr double kPi = 3.14159265358979323846;

double radians(double dDegrees)
{
    return dDegrees * kPi / 180.0;
}

// Into (-180, 180].
double normalisedDegrees(double dDegrees)
{
    double d = std::fmod(dDegrees, 360.0);
    if (d <= -180.0)
        d += 360.0;
    else if (d > 180.0)
        d -= 360.0;
    return d;
}

QPointF centreOf(const QSize& frame)
{
    return QPointF(frame.width() / 2.0, frame.height() / 2.0);
}

} // namespace

// --- Linear2 ---------------------------------------------------------------------

Linear2 Linear2::inverted() const
{
    const double dDet = det();
    if (dDet == 0.0)
        return Linear2{0.0, 0.0, 0.0, 0.0};
    return Linear2{d / dDet, -b / dDet, -c / dDet, a / dDet};
}

Linear2 Linear2::operator*(const Linear2& o) const
{
    return Linear2{a * o.a + b * o.c, a * o.b + b * o.d, c * o.a + d * o.c, c * o.b + d * o.d};
}

// --- CameraModel -------------------------------------------------------------------

CameraModel CameraModel::plain(double dMmPerPixel)
{
    CameraModel model;
    model.mmPerPixelX = dMmPerPixel;
    model.mmPerPixelY = dMmPerPixel;
    return model;
}

bool CameraModel::isValid() const
{
    return std::isfinite(mmPerPixelX) && std::isfinite(mmPerPixelY) && mmPerPixelX > 0.0 && mmPerPixelY > 0.0
        && std::isfinite(rotationDeg) && std::isfinite(offsetX) && std::isfinite(offsetY);
}

// The picture's x axis is (cos, sin) f in machine axes, its y axis (downward)
// is (sin, -cos): L = R(rotation) diag(f sx, -sy), f = -1 for a mirror image.
Linear2 CameraModel::pixelToMachineLinear() const
{
    const double t = radians(rotationDeg);
    const double c = std::cos(t);
    const double s = std::sin(t);
    const double f = mirrored ? -1.0 : 1.0;
    return Linear2{c * f * mmPerPixelX, s * mmPerPixelY, s * f * mmPerPixelX, -c * mmPerPixelY};
}

QPointF CameraModel::pixelToMachine(const QPointF& ptPixel, const QSize& frame, const QPointF& ptHead) const
{
    return ptHead + QPointF(offsetX, offsetY) + pixelToMachineLinear().map(ptPixel - centreOf(frame));
}

QPointF CameraModel::machineToPixel(const QPointF& ptMachine, const QSize& frame, const QPointF& ptHead) const
{
    return centreOf(frame) + pixelToMachineLinear().inverted().map(ptMachine - ptHead - QPointF(offsetX, offsetY));
}

double CameraModel::alignedMmPerPixelX() const
{
    const double t = radians(rotationDeg);
    return std::abs(std::cos(t)) >= std::abs(std::sin(t)) ? mmPerPixelX : mmPerPixelY;
}

double CameraModel::alignedMmPerPixelY() const
{
    const double t = radians(rotationDeg);
    return std::abs(std::cos(t)) >= std::abs(std::sin(t)) ? mmPerPixelY : mmPerPixelX;
}

Linear2 CameraModel::alignedToPixelLinear() const
{
    const Linear2 aligned{alignedMmPerPixelX(), 0.0, 0.0, -alignedMmPerPixelY()};
    return pixelToMachineLinear().inverted() * aligned;
}

QPointF CameraModel::alignedPixelToMachine(const QPointF& ptPixel, const QSize& frame, const QPointF& ptHead) const
{
    const QPointF d = ptPixel - centreOf(frame);
    return ptHead + QPointF(offsetX, offsetY) + QPointF(d.x() * alignedMmPerPixelX(), -d.y() * alignedMmPerPixelY());
}

QPointF CameraModel::machineToAlignedPixel(const QPointF& ptMachine, const QSize& frame, const QPointF& ptHead) const
{
    const QPointF d = ptMachine - ptHead - QPointF(offsetX, offsetY);
    return centreOf(frame) + QPointF(d.x() / alignedMmPerPixelX(), -d.y() / alignedMmPerPixelY());
}

cv::Mat CameraModel::alignFrame(const cv::Mat& picture) const
{
    if (picture.empty() || !needsResampling() || !isValid())
        return picture;
    // warpAffine takes, for each output pixel, where to read in the input, in
    // pixel-index coordinates (pixel centres at whole numbers): the centre of
    // both pictures is at (w / 2 - 0.5, h / 2 - 0.5) there.
    const Linear2 k = alignedToPixelLinear();
    const double cx = picture.cols / 2.0 - 0.5;
    const double cy = picture.rows / 2.0 - 0.5;
    const cv::Matx23d map(k.a, k.b, cx - k.a * cx - k.b * cy, k.c, k.d, cy - k.c * cx - k.d * cy);
    cv::Mat aligned;
    cv::warpAffine(picture, aligned, map, picture.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                   cv::BORDER_CONSTANT, cv::Scalar::all(0));
    return aligned;
}

CameraModel CameraModel::fromLinear(const Linear2& m, double* pSkewDeg)
{
    // Columns: picture x = f sx (cos, sin), picture y = sy (sin, -cos).
    CameraModel model;
    model.mmPerPixelY = std::hypot(m.b, m.d);
    const double t = model.mmPerPixelY > 0.0 ? std::atan2(m.b, -m.d) : 0.0;
    model.rotationDeg = normalisedDegrees(t * 180.0 / kPi);
    model.mmPerPixelX = std::hypot(m.a, m.c);
    const double dAlong = m.a * std::cos(t) + m.c * std::sin(t); // f sx, up to skew
    const double dAcross = -m.a * std::sin(t) + m.c * std::cos(t);
    model.mirrored = dAlong < 0.0;
    if (pSkewDeg)
        *pSkewDeg = model.mmPerPixelX > 0.0 ? std::atan2(std::abs(dAcross), std::abs(dAlong)) * 180.0 / kPi : 90.0;
    return model;
}

QJsonObject CameraModel::toJson() const
{
    QJsonObject json;
    json.insert(QStringLiteral("mmPerPixelX"), mmPerPixelX);
    json.insert(QStringLiteral("mmPerPixelY"), mmPerPixelY);
    json.insert(QStringLiteral("rotationDeg"), rotationDeg);
    json.insert(QStringLiteral("mirrored"), mirrored);
    json.insert(QStringLiteral("offsetX"), offsetX);
    json.insert(QStringLiteral("offsetY"), offsetY);
    return json;
}

bool CameraModel::fromJson(const QJsonObject& json, const CameraModel& defaults, CameraModel& model, QString* pError)
{
    auto fail = [pError](const QString& strWhy) {
        if (pError)
            *pError = strWhy;
        return false;
    };
    CameraModel read = defaults;
    struct Number
    {
        const char* pszKey;
        double* pValue;
        bool bPositive;
    };
    const Number numbers[] = {{"mmPerPixelX", &read.mmPerPixelX, true}, {"mmPerPixelY", &read.mmPerPixelY, true},
                              {"rotationDeg", &read.rotationDeg, false}, {"offsetX", &read.offsetX, false},
                              {"offsetY", &read.offsetY, false}};
    for (const Number& number : numbers) {
        const QJsonValue value = json.value(QLatin1String(number.pszKey));
        if (value.isUndefined())
            continue;
        if (!value.isDouble() || !std::isfinite(value.toDouble()))
            return fail(QStringLiteral("\"%1\" is not a number").arg(QLatin1String(number.pszKey)));
        if (number.bPositive && !(value.toDouble() > 0.0))
            return fail(QStringLiteral("\"%1\" must be above 0").arg(QLatin1String(number.pszKey)));
        *number.pValue = value.toDouble();
    }
    const QJsonValue mirrored = json.value(QLatin1String("mirrored"));
    if (!mirrored.isUndefined()) {
        if (!mirrored.isBool())
            return fail(QStringLiteral("\"mirrored\" is not true or false"));
        read.mirrored = mirrored.toBool();
    }
    read.rotationDeg = normalisedDegrees(read.rotationDeg);
    model = read;
    return true;
}

bool CameraModel::operator==(const CameraModel& o) const
{
    return mmPerPixelX == o.mmPerPixelX && mmPerPixelY == o.mmPerPixelY && rotationDeg == o.rotationDeg
        && mirrored == o.mirrored && offsetX == o.offsetX && offsetY == o.offsetY;
}

} // namespace hostsim

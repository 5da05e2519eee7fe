#include "calibration/CalibrationRun.h"

#include "cameras/HostCamera.h"
#include "services/SimMachine.h"

#include <QThread>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace hostsim {

namespace {

cv::Mat grayFloat(const cv::Mat& frame)
{
    cv::Mat gray;
    if (frame.channels() == 3)
        cv::cvtColor(frame, gray, cv::COLOR_RGB2GRAY);
    else if (frame.channels() == 4)
        cv::cvtColor(frame, gray, cv::COLOR_BGRA2GRAY);
    else
        gray = frame;
    cv::Mat result;
    gray.convertTo(result, CV_32F);
    return result;
}

// Side of the feature patch: a quarter of the picture's shorter side, even.
int patchSide(int nWidth, int nHeight)
{
    return (std::min(nWidth, nHeight) / 4) & ~1;
}

// How strongly the picture changes along its weakest direction, in grey
// levels per pixel: the smaller eigenvalue of the gradients' structure
// tensor. A blank area, or one whose detail all runs one way (a ramp,
// parallel lines), cannot be followed in two directions.
double textureStrength(const cv::Mat& gray)
{
    cv::Mat gx, gy;
    cv::Sobel(gray, gx, CV_32F, 1, 0, 3, 1.0 / 8.0);
    cv::Sobel(gray, gy, CV_32F, 0, 1, 3, 1.0 / 8.0);
    const double xx = cv::mean(gx.mul(gx))[0];
    const double yy = cv::mean(gy.mul(gy))[0];
    const double xy = cv::mean(gx.mul(gy))[0];
    const double dHalfTrace = (xx + yy) / 2.0;
    const double dRoot = std::sqrt(std::max(0.0, dHalfTrace * dHalfTrace - (xx * yy - xy * xy)));
    return std::sqrt(std::max(0.0, dHalfTrace - dRoot));
}

// Vertex of the parabola through (-1, l), (0, c), (1, r), within half a step.
double parabolaPeak(double l, double c, double r)
{
    const double dCurve = l - 2.0 * c + r;
    if (dCurve >= 0.0)
        return 0.0;
    return std::clamp(0.5 * (l - r) / dCurve, -0.5, 0.5);
}

struct Peak
{
    QPointF at;       // sub-pixel position in the match map
    cv::Point whole;  // the best whole position
    double score = -1.0;
};

Peak findPeak(const cv::Mat& map)
{
    Peak peak;
    double dMax = 0.0;
    cv::minMaxLoc(map, nullptr, &dMax, nullptr, &peak.whole);
    peak.score = dMax;
    const int x = peak.whole.x;
    const int y = peak.whole.y;
    double dx = 0.0, dy = 0.0;
    if (x > 0 && x < map.cols - 1)
        dx = parabolaPeak(map.at<float>(y, x - 1), dMax, map.at<float>(y, x + 1));
    if (y > 0 && y < map.rows - 1)
        dy = parabolaPeak(map.at<float>(y - 1, x), dMax, map.at<float>(y + 1, x));
    peak.at = QPointF(x + dx, y + dy);
    return peak;
}

// The best match outside a disc around the peak.
double secondPeak(const cv::Mat& map, const cv::Point& peak, int nRadius)
{
    cv::Mat others = map.clone();
    cv::circle(others, peak, nRadius, cv::Scalar(-1.0), cv::FILLED);
    double dMax = -1.0;
    cv::minMaxLoc(others, nullptr, &dMax);
    return dMax;
}

QString number(double d, int nDecimals)
{
    return QString::number(d, 'f', nDecimals);
}

} // namespace

CalibrationRun::CalibrationRun(HostCamera* pCamera, SimMachine* pMachine, double dRangeMm)
    : m_pCamera(pCamera), m_pMachine(pMachine), m_dRangeMm(dRangeMm)
{
    if (m_pCamera)
        m_previous = m_pCamera->model();
}

double CalibrationRun::maximumRangeMm(const HostCamera* pCamera)
{
    if (!pCamera || pCamera->frameWidth() <= 0 || pCamera->frameHeight() <= 0)
        return 0.0;
    const int w = pCamera->frameWidth();
    const int h = pCamera->frameHeight();
    const int p = patchSide(w, h);
    const CameraModel model = pCamera->model();
    // The feature moves by up to the range on each axis; keep a fifth of the
    // free room for a calibration that is still off.
    const double dX = (w - p) / 2.0 * 0.8 * model.alignedMmPerPixelX();
    const double dY = (h - p) / 2.0 * 0.8 * model.alignedMmPerPixelY();
    return std::max(0.0, std::min(dX, dY));
}

double CalibrationRun::defaultRangeMm(const HostCamera* pCamera)
{
    const double dHalf = maximumRangeMm(pCamera) / 2.0;
    return dHalf >= 0.5 ? std::floor(dHalf * 2.0) / 2.0 : dHalf;
}

bool CalibrationRun::fail(const QString& strWhy)
{
    m_strFailure = strWhy;
    if (m_phase == Phase::Moving || m_phase == Phase::Settling)
        m_pMachine->startMove(m_ptStart.x(), m_ptStart.y());
    m_phase = Phase::Finished;
    return false;
}

bool CalibrationRun::start()
{
    m_samples.clear();
    m_strFailure.clear();
    m_bFitted = false;
    m_bOffsetMeasured = false;
    m_nNext = 0;
    m_phase = Phase::Idle;
    if (!m_pCamera || !m_pMachine)
        return fail(QStringLiteral("no camera"));
    m_previous = m_pCamera->model();
    const double dMaxRange = maximumRangeMm(m_pCamera);
    if (!(m_dRangeMm > 0.0) || m_dRangeMm > dMaxRange + 1e-9)
        return fail(QStringLiteral("the range must be above 0 and at most %1 mm for this camera")
                        .arg(number(dMaxRange, 2)));
    if (m_pMachine->isMoving())
        return fail(QStringLiteral("the machine is moving; start again when it stops"));
    double dX = 0.0, dY = 0.0;
    m_pMachine->position(dX, dY);
    m_ptStart = QPointF(dX, dY);

    cv::Mat frame;
    if (m_pCamera->grabFrame(frame) != 0 || frame.empty())
        return fail(QStringLiteral("the camera gave no picture"));
    const cv::Mat gray = grayFloat(frame);
    const int p = patchSide(gray.cols, gray.rows);
    if (p < 16)
        return fail(QStringLiteral("the picture is too small (%1 x %2 pixels)").arg(gray.cols).arg(gray.rows));
    const cv::Rect patch((gray.cols - p) / 2, (gray.rows - p) / 2, p, p);
    m_patch = gray(patch).clone();
    m_ptPatch = QPointF(patch.x, patch.y);

    const double dTexture = textureStrength(gray(patch));
    if (dTexture < kMinTexture)
        return fail(QStringLiteral("texture too poor: the picture under the crosshair has no detail to follow in "
                                   "both directions (%1 grey levels per pixel, at least %2 needed); centre a distinct "
                                   "feature")
                        .arg(number(dTexture, 2), number(kMinTexture, 1)));
    cv::Mat map;
    cv::matchTemplate(gray, m_patch, map, cv::TM_CCOEFF_NORMED);
    const Peak self = findPeak(map);
    const double dSecond = secondPeak(map, self.whole, p / 4);
    if (dSecond > self.score - kDistinctMargin)
        return fail(QStringLiteral("the feature under the crosshair is not distinct: the picture repeats it "
                                   "elsewhere (match %1); centre something unique")
                        .arg(number(dSecond, 2)));

    const double r = m_dRangeMm;
    m_targets = {{r, 0}, {r, r}, {0, r}, {-r, r}, {-r, 0}, {-r, -r}, {0, -r}, {r, -r}, {0, 0}};
    moveToTarget();
    return true;
}

void CalibrationRun::moveToTarget()
{
    const QPointF target = m_ptStart + m_targets.at(m_nNext);
    m_pMachine->startMove(target.x(), target.y());
    m_phase = Phase::Moving;
}

bool CalibrationRun::step()
{
    if (m_phase == Phase::Moving) {
        if (m_pMachine->isMoving())
            return true;
        m_settle.start();
        m_phase = Phase::Settling;
    }
    if (m_phase != Phase::Settling)
        return false;
    if (m_settle.elapsed() < m_nSettleMs)
        return true;
    if (!measureHere())
        return false;
    ++m_nNext;
    if (m_nNext < m_targets.size()) {
        moveToTarget();
        return true;
    }
    fit();
    m_phase = Phase::Finished;
    return false;
}

void CalibrationRun::cancel()
{
    if (isRunning())
        fail(QStringLiteral("cancelled"));
}

bool CalibrationRun::run(int nTimeoutMs)
{
    if (!start())
        return false;
    QElapsedTimer clock;
    clock.start();
    while (step()) {
        if (clock.elapsed() > nTimeoutMs) {
            fail(QStringLiteral("the machine did not reach the positions in time"));
            return false;
        }
        if (m_phase == Phase::Moving)
            m_pMachine->waitIdle(nTimeoutMs);
        else
            QThread::msleep(5);
    }
    return m_bFitted;
}

bool CalibrationRun::measureHere()
{
    cv::Mat frame;
    if (m_pCamera->grabFrame(frame) != 0 || frame.empty())
        return fail(QStringLiteral("the camera gave no picture at position %1 of %2")
                        .arg(m_nNext + 1)
                        .arg(m_targets.size()));
    const cv::Mat gray = grayFloat(frame);
    if (gray.cols < m_patch.cols || gray.rows < m_patch.rows)
        return fail(QStringLiteral("the picture changed size during the run"));
    double dX = 0.0, dY = 0.0;
    m_pMachine->position(dX, dY);
    cv::Mat map;
    cv::matchTemplate(gray, m_patch, map, cv::TM_CCOEFF_NORMED);
    const Peak peak = findPeak(map);
    CalibrationSample sample;
    sample.moveMm = QPointF(dX, dY) - m_ptStart;
    sample.shiftPx = peak.at - m_ptPatch;
    sample.score = peak.score;
    m_samples.append(sample);
    if (peak.score < kMinScore)
        return fail(QStringLiteral("feature lost at position %1 of %2 (match %3, at least %4 needed); use a smaller "
                                   "range or a feature with more contrast")
                        .arg(m_nNext + 1)
                        .arg(m_targets.size())
                        .arg(number(peak.score, 2), number(kMinScore, 2)));
    return true;
}

// Every position gives two equations: the feature's shift s = B m + e for
// the machine's move m (B and e unknown, six numbers), solved by least
// squares. The picture moves against the machine: a map M from picture
// offsets to machine offsets gives s = -M^-1 m, so M = -B^-1 for the picture
// as handed out, which the previous calibration had turned; the camera's own
// map is M undone of that turn.
void CalibrationRun::fit()
{
    const int n = m_samples.size();
    cv::Mat a = cv::Mat::zeros(2 * n, 6, CV_64F);
    cv::Mat b(2 * n, 1, CV_64F);
    cv::Mat moves(n, 2, CV_64F);
    for (int i = 0; i < n; ++i) {
        const CalibrationSample& s = m_samples.at(i);
        a.at<double>(2 * i, 0) = a.at<double>(2 * i + 1, 3) = s.moveMm.x();
        a.at<double>(2 * i, 1) = a.at<double>(2 * i + 1, 4) = s.moveMm.y();
        a.at<double>(2 * i, 2) = a.at<double>(2 * i + 1, 5) = 1.0;
        b.at<double>(2 * i) = s.shiftPx.x();
        b.at<double>(2 * i + 1) = s.shiftPx.y();
        moves.at<double>(i, 0) = s.moveMm.x();
        moves.at<double>(i, 1) = s.moveMm.y();
    }
    cv::Mat spread;
    cv::SVD::compute(moves, spread, cv::SVD::NO_UV);
    if (spread.at<double>(1) < 0.1 * m_dRangeMm) {
        fail(QStringLiteral("the machine did not make the moves (a travel limit?)"));
        return;
    }
    cv::Mat x;
    cv::solve(a, b, x, cv::DECOMP_SVD);
    const Linear2 shiftPerMm{x.at<double>(0), x.at<double>(1), x.at<double>(3), x.at<double>(4)};
    const QPointF constant(x.at<double>(2), x.at<double>(5));
    for (CalibrationSample& s : m_samples) {
        const QPointF predicted = shiftPerMm.map(s.moveMm) + constant;
        s.residualPx = std::hypot(s.shiftPx.x() - predicted.x(), s.shiftPx.y() - predicted.y());
    }
    // Under a tenth of a pixel per millimetre: the picture did not follow the moves.
    if (std::abs(shiftPerMm.det()) < 1e-2) {
        fail(QStringLiteral("the picture did not follow the machine's moves (is this camera on the head?)"));
        return;
    }
    const Linear2 pictureToMachine = shiftPerMm.inverted() * Linear2{-1.0, 0.0, 0.0, -1.0};
    const Linear2 cameraToMachine = pictureToMachine * m_previous.alignedToPixelLinear().inverted();
    CameraModel fitted = CameraModel::fromLinear(cameraToMachine, &m_dSkewDeg);
    fitted.offsetX = m_previous.offsetX;
    fitted.offsetY = m_previous.offsetY;
    if (!fitted.isValid()) {
        fail(QStringLiteral("the measured moves give no usable calibration"));
        return;
    }
    if (m_dSkewDeg > kMaxSkewDeg) {
        fail(QStringLiteral("the moves do not fit a camera picture: its axes come out %1 degrees from square")
                 .arg(number(m_dSkewDeg, 2)));
        return;
    }
    int nWorst = 0;
    for (int i = 1; i < n; ++i)
        if (m_samples.at(i).residualPx > m_samples.at(nWorst).residualPx)
            nWorst = i;
    if (m_samples.at(nWorst).residualPx > kMaxResidualPx) {
        fail(QStringLiteral("residual of %1 pixels at position %2 is over the limit of %3 pixel: the machine or "
                            "the workpiece moved unexpectedly")
                 .arg(number(m_samples.at(nWorst).residualPx, 2))
                 .arg(nWorst + 1)
                 .arg(number(kMaxResidualPx, 1)));
        return;
    }
    m_fitted = fitted;
    m_bFitted = true;
}

double CalibrationRun::maxResidualPx() const
{
    double d = 0.0;
    for (const CalibrationSample& s : m_samples)
        d = std::max(d, s.residualPx);
    return d;
}

CameraModel CalibrationRun::model() const
{
    CameraModel model = m_bFitted ? m_fitted : m_previous;
    if (m_bOffsetMeasured) {
        model.offsetX = m_offset.x();
        model.offsetY = m_offset.y();
    }
    return model;
}

// The mark lies at ptMarkMm = head + offset + G a, for its offset a from the
// picture centre (pixels of the picture as handed out) and G the map from
// those pixels to millimetres (the fitted camera map after the turn the
// previous calibration gives the pictures).
bool CalibrationRun::measureOffset(const QPointF& ptMarkMm, double dMarkDiameterMm, QString* pWhy)
{
    auto refuse = [pWhy](const QString& strWhy) {
        if (pWhy)
            *pWhy = strWhy;
        return false;
    };
    if (!m_pCamera || !m_pMachine)
        return refuse(QStringLiteral("no camera"));
    if (isRunning())
        return refuse(QStringLiteral("the scale and rotation run is still going"));
    if (m_pMachine->isMoving())
        return refuse(QStringLiteral("the machine is moving; measure when it stops"));
    if (!(dMarkDiameterMm > 0.0))
        return refuse(QStringLiteral("the mark's diameter must be above 0"));
    cv::Mat frame;
    if (m_pCamera->grabFrame(frame) != 0 || frame.empty())
        return refuse(QStringLiteral("the camera gave no picture"));
    double dX = 0.0, dY = 0.0;
    m_pMachine->position(dX, dY);

    const CameraModel camera = m_bFitted ? m_fitted : m_previous;
    const Linear2 g = camera.pixelToMachineLinear() * m_previous.alignedToPixelLinear();
    // The round mark as it appears: an ellipse along the picture's axes.
    const double dRadius = dMarkDiameterMm / 2.0;
    const double rx = dRadius / std::hypot(g.a, g.c);
    const double ry = dRadius / std::hypot(g.b, g.d);
    const int nHalf = static_cast<int>(std::ceil(2.0 * std::max(rx, ry)));
    const int t = 2 * nHalf + 1;
    const cv::Mat gray = grayFloat(frame);
    if (nHalf < 2 || t > std::min(gray.cols, gray.rows) / 2)
        return refuse(QStringLiteral("a mark of %1 mm is %2 pixels across here: too small or too large to find")
                          .arg(number(dMarkDiameterMm, 2), number(2.0 * std::max(rx, ry), 1)));
    cv::Mat drawn(t, t, CV_8U, cv::Scalar(255));
    constexpr int kShift = 4; // sixteenths of a pixel
    cv::ellipse(drawn, cv::Point(nHalf << kShift, nHalf << kShift),
                cv::Size(qRound(rx * (1 << kShift)), qRound(ry * (1 << kShift))), 0.0, 0.0, 360.0, cv::Scalar(0),
                cv::FILLED, cv::LINE_AA, kShift);
    cv::Mat templ;
    drawn.convertTo(templ, CV_32F);

    // Near the crosshair: the middle half of the picture.
    const cv::Rect window = cv::Rect(gray.cols / 4 - nHalf, gray.rows / 4 - nHalf, gray.cols / 2 + t, gray.rows / 2 + t)
        & cv::Rect(0, 0, gray.cols, gray.rows);
    cv::Mat map;
    cv::matchTemplate(gray(window), templ, map, cv::TM_CCOEFF_NORMED);
    const Peak peak = findPeak(map);
    if (peak.score < kMinMarkScore)
        return refuse(QStringLiteral("the mark was not found near the crosshair (best match %1, at least %2 "
                                     "needed); bring the mark near the crosshair")
                          .arg(number(peak.score, 2), number(kMinMarkScore, 2)));
    // Continuous coordinates: the centre of pixel i is at i + 0.5.
    m_ptMarkPixel = QPointF(window.x + peak.at.x() + nHalf + 0.5, window.y + peak.at.y() + nHalf + 0.5);
    const QPointF fromCentre = m_ptMarkPixel - QPointF(gray.cols / 2.0, gray.rows / 2.0);
    m_offset = ptMarkMm - QPointF(dX, dY) - g.map(fromCentre);
    m_bOffsetMeasured = true;
    return true;
}

} // namespace hostsim

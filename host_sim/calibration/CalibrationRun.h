#pragma once

// Measuring a camera's calibration with the machine: the operator centres a
// distinct feature under the crosshair; the machine moves through a pattern
// of known moves around there; at each position the feature is found again in
// the picture, and the map from picture pixels to machine millimetres (scale
// per axis, rotation, mirror) is fitted to the moves by least squares. A
// second step finds where the optical axis sits relative to the head from a
// mark the head made on the workpiece.
//
// The run never blocks on a move: start() sends the machine to the first
// position and step(), called again and again (from a GUI timer), measures a
// position once the machine has stopped and sends it on. run() does the whole
// of it with waits, for tests and scripts.

#include "calibration/CameraModel.h"
#include "HostSimExport.h"

#include <QElapsedTimer>
#include <QPointF>
#include <QString>
#include <QVector>

#include <opencv2/core.hpp>

namespace hostsim {

class HostCamera;
class SimMachine;

// One position of the pattern.
struct CalibrationSample
{
    QPointF moveMm;          // machine position minus the start position, as the machine reports it
    QPointF shiftPx;         // how far the feature moved in the picture (pixels, y down)
    double score = 0.0;      // how well it matched (1 = the same picture)
    double residualPx = 0.0; // distance of the shift from what the fitted map predicts
};

class HXL_HOSTSIM_EXPORT CalibrationRun
{
public:
    // Detail under the crosshair must change by this many grey levels per
    // pixel along its weakest direction (sensor noise alone gives about 0.4
    // per grey level of noise).
    static constexpr double kMinTexture = 2.0;
    // A feature matching worse than this at a position is lost.
    static constexpr double kMinScore = 0.8;
    // The feature counts as repeated when another place in the picture
    // matches within this of the feature itself.
    static constexpr double kDistinctMargin = 0.1;
    // The fit is refused beyond these.
    static constexpr double kMaxResidualPx = 1.0;
    static constexpr double kMaxSkewDeg = 1.0;
    // The mark is not found below this match.
    static constexpr double kMinMarkScore = 0.6;

    // pCamera and pMachine are the host's; they outlive the run.
    CalibrationRun(HostCamera* pCamera, SimMachine* pMachine, double dRangeMm);

    // The largest range for the camera as calibrated now, so that the feature
    // stays in the picture at every position, and a comfortable default.
    static double maximumRangeMm(const HostCamera* pCamera);
    static double defaultRangeMm(const HostCamera* pCamera);

    // Time to wait after each move before the picture is taken (a real
    // camera's frames lag behind; default 0).
    void setSettleMs(int nMs) { m_nSettleMs = nMs; }

    // Takes the reference picture at the machine position now, checks the
    // feature and starts the first move. False, with failure(), when the
    // picture cannot be used.
    bool start();
    // Measures the position when the machine has stopped and starts the next
    // move; after the last position, fits. True while the run goes on.
    bool step();
    // Stops the run; the machine goes back to the start position.
    void cancel();
    // start() and every step, waiting for the moves. True when the fit succeeded.
    bool run(int nTimeoutMs = 60000);

    bool isRunning() const { return m_phase == Phase::Moving || m_phase == Phase::Settling; }
    bool isFinished() const { return m_phase == Phase::Finished; }
    bool succeeded() const { return m_bFitted; }
    // One line for the operator saying why the run failed (empty otherwise).
    QString failure() const { return m_strFailure; }
    int positionCount() const { return m_targets.size(); }
    int positionsMeasured() const { return m_samples.size(); }
    QPointF startPosition() const { return m_ptStart; }
    double rangeMm() const { return m_dRangeMm; }
    QVector<CalibrationSample> samples() const { return m_samples; }
    double maxResidualPx() const;
    double skewDeg() const { return m_dSkewDeg; }
    // The camera's calibration before the run.
    CameraModel previousModel() const { return m_previous; }
    // The calibration found: the fitted scale, rotation and mirror (the
    // previous ones when the fit has not succeeded), with the measured
    // offset (the previous one when it was not measured).
    CameraModel model() const;

    // The offset step: the head marked the workpiece at ptMarkMm (a round
    // mark of the given diameter) and the operator has brought the mark near
    // the crosshair. Finds the mark in the picture and from where it is
    // there, with the fitted scale and rotation, where the optical axis sits
    // relative to the head. False, with the reason, when the mark is not found.
    bool measureOffset(const QPointF& ptMarkMm, double dMarkDiameterMm, QString* pWhy = nullptr);
    bool offsetMeasured() const { return m_bOffsetMeasured; }
    // Where the mark was found (pixels of the picture).
    QPointF markPixel() const { return m_ptMarkPixel; }

private:
    enum class Phase
    {
        Idle,
        Moving,
        Settling,
        Finished
    };

    bool fail(const QString& strWhy);
    void moveToTarget();
    bool measureHere();
    void fit();

    HostCamera* m_pCamera;
    SimMachine* m_pMachine;
    double m_dRangeMm;
    int m_nSettleMs = 0;
    Phase m_phase = Phase::Idle;
    QString m_strFailure;
    CameraModel m_previous;
    QPointF m_ptStart;
    QVector<QPointF> m_targets; // moves from the start position
    int m_nNext = 0;
    QElapsedTimer m_settle;
    cv::Mat m_patch;            // the feature: the middle of the reference picture (gray, float)
    QPointF m_ptPatch;          // its top-left corner in the reference picture
    QVector<CalibrationSample> m_samples;
    bool m_bFitted = false;
    CameraModel m_fitted;
    double m_dSkewDeg = 0.0;
    bool m_bOffsetMeasured = false;
    QPointF m_offset;
    QPointF m_ptMarkPixel;
};

} // namespace hostsim

#pragma once

// The demo host's camera calibration wizard (Camera menu). Two steps, both
// measured by the host (hostsim::CalibrationRun): the scale, rotation and
// mirror of the picture from a pattern of machine moves around a feature the
// operator centred; then the offset of the camera from the head, from a mark
// the head makes on the workpiece. The result is shown and saved on Save;
// Cancel leaves the calibration and its file as they were.
//
// The dialog is not modal: while it is open the operator jogs the machine and
// right-clicks the camera panel's picture. The machine's moves take time; the
// wizard follows them from a timer and never blocks.

#include "calibration/CalibrationRun.h"

#include <QDialog>
#include <QPointF>
#include <QTimer>

#include <memory>

class QDoubleSpinBox;
class QLabel;
class QPushButton;
class QTableWidget;

class CalibrationWizard : public QDialog
{
    Q_OBJECT
public:
    // Calibrates camera nCameraIndex of the host.
    explicit CalibrationWizard(int nCameraIndex, QWidget* pParent = nullptr);
    ~CalibrationWizard() override;

    // How often the run is looked after while the machine moves.
    static constexpr int kTickMs = 50;
    // A real camera's frames lag behind the machine: wait this long after
    // each move before measuring.
    static constexpr int kSettleMs = 300;
    // The mark of the head the simulator draws (and the wizard looks for).
    static constexpr double kMarkDiameterMm = 0.5;

    const hostsim::CalibrationRun* run() const { return m_pRun.get(); }

signals:
    // The scale and rotation run has ended (refused, failed or measured).
    void runFinished(bool bSucceeded);

public slots:
    void startRun();
    void markWithHead();
    void measureOffset();
    void save();
    void reject() override;

private:
    void tick();
    void finishRun();
    void showFailure(const QString& strText);
    void showStatus(const QString& strText);
    void updateButtons();
    QString modelText(const hostsim::CameraModel& model) const;

    int m_nCamera;
    std::unique_ptr<hostsim::CalibrationRun> m_pRun;
    QTimer m_timer;
    bool m_bMarked = false;
    QPointF m_ptMark;

    QLabel* m_pCurrent = nullptr;
    QDoubleSpinBox* m_pRange = nullptr;
    QPushButton* m_pStart = nullptr;
    QTableWidget* m_pPoints = nullptr;
    QLabel* m_pScaleResult = nullptr;
    QDoubleSpinBox* m_pMarkDiameter = nullptr;
    QPushButton* m_pMark = nullptr;
    QPushButton* m_pMeasure = nullptr;
    QLabel* m_pOffsetResult = nullptr;
    QLabel* m_pStatus = nullptr;
    QPushButton* m_pSave = nullptr;
};

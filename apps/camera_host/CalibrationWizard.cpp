#include "CalibrationWizard.h"

#include "HostSim.h"
#include "cameras/HostCamera.h"
#include "cameras/SimCamera.h"
#include "services/SimCameraManager.h"
#include "services/SimMachine.h"

#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

using hostsim::CalibrationRun;
using hostsim::CameraModel;
using hostsim::HostSim;

namespace {

QString mm(double d, int nDecimals = 3)
{
    if (std::abs(d) < 0.5 * std::pow(10.0, -nDecimals))
        d = 0.0; // no "-0.000"
    return QString::number(d, 'f', nDecimals);
}

QLabel* wrappedLabel(const QString& strText, QWidget* pParent)
{
    auto* pLabel = new QLabel(strText, pParent);
    pLabel->setWordWrap(true);
    return pLabel;
}

} // namespace

CalibrationWizard::CalibrationWizard(int nCameraIndex, QWidget* pParent) : QDialog(pParent), m_nCamera(nCameraIndex)
{
    setWindowTitle(tr("Calibrate camera %1").arg(nCameraIndex + 1));
    setModal(false);
    setMinimumWidth(760);
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
    auto* pLayout = new QVBoxLayout(this);

    m_pCurrent = wrappedLabel(QString(), this);
    m_pCurrent->setObjectName(QStringLiteral("currentCalibration"));
    pLayout->addWidget(m_pCurrent);

    // Step 1: scale, rotation and mirror.
    auto* pScaleBox = new QGroupBox(tr("1. Scale and rotation"), this);
    auto* pScaleLayout = new QVBoxLayout(pScaleBox);
    pScaleLayout->addWidget(wrappedLabel(
        tr("Centre a distinct feature (a fiducial, a corner, printed text) under the crosshair, set the range and "
           "press Start. The machine moves through 9 positions within the range around here, the picture is "
           "measured at each, and the machine comes back."),
        pScaleBox));
    auto* pRangeRow = new QHBoxLayout();
    pRangeRow->addWidget(new QLabel(tr("Range:"), pScaleBox));
    m_pRange = new QDoubleSpinBox(pScaleBox);
    m_pRange->setObjectName(QStringLiteral("rangeSpin"));
    m_pRange->setDecimals(2);
    m_pRange->setSingleStep(0.5);
    m_pRange->setSuffix(QStringLiteral(" mm"));
    pRangeRow->addWidget(m_pRange);
    m_pStart = new QPushButton(tr("Start"), pScaleBox);
    m_pStart->setObjectName(QStringLiteral("startButton"));
    pRangeRow->addWidget(m_pStart);
    pRangeRow->addStretch(1);
    pScaleLayout->addLayout(pRangeRow);
    m_pPoints = new QTableWidget(0, 6, pScaleBox);
    m_pPoints->setObjectName(QStringLiteral("pointTable"));
    m_pPoints->setHorizontalHeaderLabels({tr("Move X (mm)"), tr("Move Y (mm)"), tr("Shift X (px)"),
                                          tr("Shift Y (px)"), tr("Match"), tr("Residual (px)")});
    m_pPoints->verticalHeader()->setVisible(false);
    m_pPoints->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_pPoints->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_pPoints->setMinimumHeight(180);
    pScaleLayout->addWidget(m_pPoints);
    m_pScaleResult = wrappedLabel(QString(), pScaleBox);
    m_pScaleResult->setObjectName(QStringLiteral("scaleResult"));
    pScaleLayout->addWidget(m_pScaleResult);
    pLayout->addWidget(pScaleBox);

    // Step 2: where the camera sits relative to the head.
    auto* pOffsetBox = new QGroupBox(tr("2. Camera offset from the head"), this);
    auto* pOffsetLayout = new QVBoxLayout(pOffsetBox);
    pOffsetLayout->addWidget(wrappedLabel(
        tr("Put the head over a clear spot and press Mark: the head marks the workpiece there and the machine "
           "brings the camera over the mark. Bring the mark near the crosshair (arrow keys, or a right click on "
           "the camera picture) and press Measure."),
        pOffsetBox));
    auto* pMarkRow = new QHBoxLayout();
    pMarkRow->addWidget(new QLabel(tr("Mark diameter:"), pOffsetBox));
    m_pMarkDiameter = new QDoubleSpinBox(pOffsetBox);
    m_pMarkDiameter->setObjectName(QStringLiteral("markDiameterSpin"));
    m_pMarkDiameter->setRange(0.1, 5.0);
    m_pMarkDiameter->setSingleStep(0.1);
    m_pMarkDiameter->setDecimals(2);
    m_pMarkDiameter->setSuffix(QStringLiteral(" mm"));
    m_pMarkDiameter->setValue(kMarkDiameterMm);
    pMarkRow->addWidget(m_pMarkDiameter);
    m_pMark = new QPushButton(tr("Mark"), pOffsetBox);
    m_pMark->setObjectName(QStringLiteral("markButton"));
    pMarkRow->addWidget(m_pMark);
    m_pMeasure = new QPushButton(tr("Measure"), pOffsetBox);
    m_pMeasure->setObjectName(QStringLiteral("measureButton"));
    pMarkRow->addWidget(m_pMeasure);
    pMarkRow->addStretch(1);
    pOffsetLayout->addLayout(pMarkRow);
    m_pOffsetResult = wrappedLabel(QString(), pOffsetBox);
    m_pOffsetResult->setObjectName(QStringLiteral("offsetResult"));
    pOffsetLayout->addWidget(m_pOffsetResult);
    pLayout->addWidget(pOffsetBox);

    m_pStatus = wrappedLabel(QString(), this);
    m_pStatus->setObjectName(QStringLiteral("statusLabel"));
    pLayout->addWidget(m_pStatus);

    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel, this);
    m_pSave = pButtons->button(QDialogButtonBox::Save);
    m_pSave->setObjectName(QStringLiteral("saveButton"));
    pLayout->addWidget(pButtons);

    connect(m_pStart, &QPushButton::clicked, this, &CalibrationWizard::startRun);
    connect(m_pMark, &QPushButton::clicked, this, &CalibrationWizard::markWithHead);
    connect(m_pMeasure, &QPushButton::clicked, this, &CalibrationWizard::measureOffset);
    connect(pButtons, &QDialogButtonBox::accepted, this, &CalibrationWizard::save);
    connect(pButtons, &QDialogButtonBox::rejected, this, &CalibrationWizard::reject);
    m_timer.setInterval(kTickMs);
    connect(&m_timer, &QTimer::timeout, this, &CalibrationWizard::tick);

    hostsim::HostCamera* pCamera = HostSim::hostCamera(m_nCamera);
    // The run exists from the start so that the offset can be measured alone
    // with the calibration as it is.
    m_pRun = std::make_unique<CalibrationRun>(pCamera, &HostSim::machine(), 0.0);
    if (pCamera) {
        const double dMax = CalibrationRun::maximumRangeMm(pCamera);
        m_pRange->setRange(0.1, std::max(0.1, dMax));
        m_pRange->setValue(CalibrationRun::defaultRangeMm(pCamera));
        m_pCurrent->setText(tr("Camera %1 (%2), calibrated now as: %3")
                                .arg(m_nCamera + 1)
                                .arg(QString::fromStdString(pCamera->GetCameraName()))
                                .arg(modelText(pCamera->model())));
        // Pictures of a camera that is not simulated arrive some time after
        // the machine stops; the simulated one renders where the machine is.
        if (!dynamic_cast<hostsim::SimCamera*>(pCamera))
            m_pRun->setSettleMs(kSettleMs);
    } else {
        m_pCurrent->setText(tr("There is no camera %1.").arg(m_nCamera + 1));
    }
    updateButtons();
}

CalibrationWizard::~CalibrationWizard()
{
    if (m_pRun)
        m_pRun->cancel();
}

QString CalibrationWizard::modelText(const CameraModel& model) const
{
    return tr("%1 x %2 mm per pixel, rotation %3 degrees, %4, offset from the head %5, %6 mm")
        .arg(mm(model.mmPerPixelX, 6), mm(model.mmPerPixelY, 6), mm(model.rotationDeg, 3))
        .arg(model.mirrored ? tr("mirrored") : tr("not mirrored"))
        .arg(mm(model.offsetX), mm(model.offsetY));
}

void CalibrationWizard::showFailure(const QString& strText)
{
    m_pStatus->setStyleSheet(QStringLiteral("color: #b00000;"));
    m_pStatus->setText(strText);
}

void CalibrationWizard::showStatus(const QString& strText)
{
    m_pStatus->setStyleSheet(QString());
    m_pStatus->setText(strText);
}

void CalibrationWizard::updateButtons()
{
    const bool bCamera = HostSim::hostCamera(m_nCamera) != nullptr;
    const bool bRunning = m_pRun && m_pRun->isRunning();
    m_pStart->setEnabled(bCamera && !bRunning);
    m_pRange->setEnabled(bCamera && !bRunning);
    m_pMark->setEnabled(bCamera && !bRunning);
    m_pMeasure->setEnabled(bCamera && !bRunning && m_bMarked);
    m_pSave->setEnabled(!bRunning && m_pRun && (m_pRun->succeeded() || m_pRun->offsetMeasured()));
}

void CalibrationWizard::startRun()
{
    hostsim::HostCamera* pCamera = HostSim::hostCamera(m_nCamera);
    if (!pCamera || (m_pRun && m_pRun->isRunning()))
        return;
    auto pRun = std::make_unique<CalibrationRun>(pCamera, &HostSim::machine(), m_pRange->value());
    if (!dynamic_cast<hostsim::SimCamera*>(pCamera))
        pRun->setSettleMs(kSettleMs);
    m_pRun = std::move(pRun);
    m_bMarked = false;
    m_pPoints->setRowCount(0);
    m_pScaleResult->clear();
    m_pOffsetResult->clear();
    if (!m_pRun->start()) {
        finishRun();
        return;
    }
    showStatus(tr("Position 1 of %1: moving").arg(m_pRun->positionCount()));
    updateButtons();
    m_timer.start();
}

void CalibrationWizard::tick()
{
    if (!m_pRun)
        return;
    if (m_pRun->step()) {
        showStatus(tr("Position %1 of %2: %3")
                       .arg(std::min(m_pRun->positionsMeasured() + 1, m_pRun->positionCount()))
                       .arg(m_pRun->positionCount())
                       .arg(HostSim::machine().isMoving() ? tr("moving") : tr("measuring")));
        return;
    }
    finishRun();
}

void CalibrationWizard::finishRun()
{
    m_timer.stop();
    const QVector<hostsim::CalibrationSample> samples = m_pRun->samples();
    m_pPoints->setRowCount(samples.size());
    for (int i = 0; i < samples.size(); ++i) {
        const hostsim::CalibrationSample& s = samples.at(i);
        const QString cells[] = {mm(s.moveMm.x()),  mm(s.moveMm.y()),  mm(s.shiftPx.x(), 2),
                                 mm(s.shiftPx.y(), 2), mm(s.score, 3), mm(s.residualPx, 3)};
        for (int c = 0; c < 6; ++c) {
            auto* pItem = new QTableWidgetItem(cells[c]);
            pItem->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            m_pPoints->setItem(i, c, pItem);
        }
    }
    const bool bSucceeded = m_pRun->succeeded();
    if (bSucceeded) {
        const CameraModel model = m_pRun->model();
        m_pScaleResult->setText(tr("Measured: %1 x %2 mm per pixel, rotation %3 degrees, %4; axes %5 degrees from "
                                   "square, largest residual %6 pixel.")
                                    .arg(mm(model.mmPerPixelX, 6), mm(model.mmPerPixelY, 6), mm(model.rotationDeg, 3))
                                    .arg(model.mirrored ? tr("mirrored") : tr("not mirrored"))
                                    .arg(mm(m_pRun->skewDeg(), 3), mm(m_pRun->maxResidualPx(), 3)));
        showStatus(tr("Scale and rotation measured. Measure the offset, or Save."));
    } else {
        m_pScaleResult->clear();
        showFailure(tr("Calibration failed: %1. Nothing is saved.").arg(m_pRun->failure()));
    }
    updateButtons();
    emit runFinished(bSucceeded);
}

void CalibrationWizard::markWithHead()
{
    if (!m_pRun || m_pRun->isRunning())
        return;
    if (HostSim::machine().isMoving()) {
        showFailure(tr("The machine is moving; mark when it stops."));
        return;
    }
    m_ptMark = HostSim::markAtHead(m_pMarkDiameter->value());
    m_bMarked = true;
    // Over the mark with the camera as far as the calibration knows it now.
    const CameraModel model = m_pRun->model();
    HostSim::machine().startMove(m_ptMark.x() - model.offsetX, m_ptMark.y() - model.offsetY);
    m_pOffsetResult->clear();
    showStatus(tr("Marked at %1, %2 mm; the camera goes over the mark. Bring it near the crosshair and press "
                  "Measure.")
                   .arg(mm(m_ptMark.x()), mm(m_ptMark.y())));
    updateButtons();
}

void CalibrationWizard::measureOffset()
{
    if (!m_pRun || !m_bMarked)
        return;
    QString strWhy;
    if (!m_pRun->measureOffset(m_ptMark, m_pMarkDiameter->value(), &strWhy)) {
        m_pOffsetResult->clear();
        showFailure(tr("Offset not measured: %1.").arg(strWhy));
        updateButtons();
        return;
    }
    const CameraModel model = m_pRun->model();
    m_pOffsetResult->setText(tr("Measured: the camera sees %1, %2 mm from the head.")
                                 .arg(mm(model.offsetX), mm(model.offsetY)));
    showStatus(tr("Offset measured. Save to keep the calibration."));
    updateButtons();
}

void CalibrationWizard::save()
{
    if (!m_pRun || m_pRun->isRunning() || !(m_pRun->succeeded() || m_pRun->offsetMeasured()))
        return;
    QString strWhy;
    if (!HostSim::cameraManager().saveCameraModel(m_nCamera, m_pRun->model(), &strWhy)) {
        showFailure(tr("Not saved: %1.").arg(strWhy));
        return;
    }
    accept();
}

void CalibrationWizard::reject()
{
    // Nothing was changed: the run only measured. A move of the run goes back.
    m_timer.stop();
    if (m_pRun)
        m_pRun->cancel();
    QDialog::reject();
}

#include "HostWindow.h"

#include "HostJournal.h"

#include "CalibrationWizard.h"
#include "DrawingView.h"
#include "HXL_CameraUI.h"
#include "IZKCostomCameraWidget.h"
#include "auxiliary/HXLCameraWidget.h"
#include "auxiliary/ZKCCDImageCombineUI.h"
#include "HostSim.h"
#include "cameras/HostCamera.h"
#include "cameras/SimCamera.h"
#include "services/SimCameraManager.h"
#include "drawing/SimDrawing.h"
#include "services/SimEvents.h"
#include "services/SimMachine.h"

#include "host/HXL_HostFunctions.h"
#include "host/HXL_ServiceKeys.h"
#include "host/IServiceManager.h"
#include "host/IZKDatabase.h"
#include "host/IZKEventManger.h"
#include "host/IZKRobotService.h"
#include "host/IZKVisionCameraManager.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDockWidget>
#include <QDoubleSpinBox>
#include <QEvent>
#include <QFile>
#include <QFormLayout>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPainter>
#include <QStatusBar>
#include <QVBoxLayout>

#include <cmath>

namespace {

constexpr double kJogSmallMm = 1.0;
constexpr double kJogLargeMm = 10.0;
constexpr double kTravelMm = 500.0;

// Millimetres for the status bar: three decimals, no "-0.000".
QString mmText(double dValue)
{
    if (std::fabs(dValue) < 0.0005)
        dValue = 0.0;
    return QString::number(dValue, 'f', 3);
}

template <class T>
T* registryService(int nKey)
{
    IServiceManager* pRegistry = IServiceManager::singleton();
    if (!pRegistry)
        return nullptr;
    const auto it = pRegistry->m_mapService.find(nKey);
    if (it == pRegistry->m_mapService.end())
        return nullptr;
    return dynamic_cast<T*>(it->second);
}

} // namespace

HostWindow::HostWindow(const DemoOptions& options, QWidget* pParent)
    : hostsim::SimMainWindow(pParent)
    , m_options(options)
{
    setWindowTitle(tr("Camera host - simulated machine"));
    resize(1280, 800);

    m_pDrawing = new DrawingView(this);
    setCentralWidget(m_pDrawing);

    m_pCameraDock = new QDockWidget(tr("Camera"), this);
    m_pCameraDock->setObjectName(QStringLiteral("CameraDock"));
    m_pCameraDock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable);
    addDockWidget(Qt::RightDockWidgetArea, m_pCameraDock);
    createPanel();
    resizeDocks({m_pCameraDock}, {460}, Qt::Horizontal);

    m_pPositionStatus = new QLabel(this);
    m_pStateStatus = new QLabel(this);
    m_pCameraStatus = new QLabel(this);
    for (QLabel* pLabel : {m_pPositionStatus, m_pStateStatus, m_pCameraStatus})
        pLabel->setContentsMargins(8, 0, 8, 0);
    m_pPositionStatus->setMinimumWidth(240);
    m_pStateStatus->setMinimumWidth(70);
    statusBar()->addPermanentWidget(m_pPositionStatus);
    statusBar()->addPermanentWidget(m_pStateStatus);
    statusBar()->addPermanentWidget(m_pCameraStatus);

    readCameraState();
    buildMenus();

    // The host view redraws through this window's drawing view.
    hostsim::SimView& view = hostsim::HostSim::view();
    view.setRedraw([this](bool) { m_pDrawing->rebuild(); });
    view.setZoomToData([this]() { m_pDrawing->zoomToData(); });

    double dX = 0.0, dY = 0.0;
    hostsim::HostSim::machine().position(dX, dY);
    m_pDrawing->setMachinePosition(dX, dY);
    m_pDrawing->rebuild();

    m_timer.setInterval(kTickMs);
    connect(&m_timer, &QTimer::timeout, this, &HostWindow::tick);
    m_timer.start();
    updateStatus();
}

// The camera panel, made as any host makes it: the module's factory, then
// its builder; the host places the panel's widget in its own layout.
void HostWindow::createPanel()
{
    auto* pHolder = new QWidget(m_pCameraDock);
    auto* pLayout = new QVBoxLayout(pHolder);
    pLayout->setContentsMargins(0, 0, 0, 0);
    m_pPanel = IZKCostomCameraWidget::NewInstance(pHolder);
    if (m_pPanel) {
        m_pPanel->InitWidget();
        pLayout->addWidget(m_pPanel->GetWidget());
    }
    pLayout->addStretch(1);
    m_pCameraDock->setWidget(pHolder);
    if (hostsim::HostCamera* pCamera = hostsim::HostSim::hostCamera(hostsim::HostSim::cameraManager().GetCurCameraIndex()))
        m_nGrabsAtStart = pCamera->grabCount();
}

QWidget* HostWindow::cameraPanel() const
{
    return m_pPanel ? m_pPanel->GetWidget() : nullptr;
}

void HostWindow::firePanelEvent(int nEventId, int* pParam)
{
    IZKEventManger::singleton()->FireEvent(2, nEventId, pParam);
}

HostWindow::~HostWindow()
{
    m_timer.stop();
    hostsim::SimView& view = hostsim::HostSim::view();
    view.setRedraw(nullptr);
    view.setZoomToData(nullptr);
    if (m_pPanel) {
        // The panel does not withdraw from the event hub itself: the host does,
        // before the panel goes.
        QWidget* pPanelWidget = m_pPanel->GetWidget();
        if (auto* pListener = static_cast<IZKEventListener*>(pPanelWidget->qt_metacast("IZKEventListener")))
            hostsim::eventManager().removeListenerEverywhere(pListener);
        delete pPanelWidget;
        m_pPanel = nullptr;
    }
}

IZKVisionCameraManager* HostWindow::cameraManager()
{
    if (auto* pManager = registryService<IZKVisionCameraManager>(HXLServiceKey::VisionCameraManager))
        return pManager;
    return &hostsim::HostSim::cameraManager();
}

IZKMachine* HostWindow::machine()
{
    if (auto* pService = registryService<IZKRobotService>(HXLServiceKey::RobotService)) {
        if (IZKMachine* pMachine = pService->GetCurMachine())
            return pMachine;
    }
    return &hostsim::HostSim::machine();
}

void HostWindow::readCameraState()
{
    IZKVisionCameraManager* pManager = cameraManager();
    m_nCameraCount = pManager ? pManager->GetCameraCount() : 0;
    m_nCurrentCamera = pManager && m_nCameraCount > 0 ? pManager->GetCurCameraIndex() : -1;
}

void HostWindow::setFrameTarget(int nFrames)
{
    m_nFrameTarget = nFrames;
    m_bTargetReached = false;
}

// --- menus -------------------------------------------------------------------------

void HostWindow::buildMenus()
{
    QMenu* pFile = menuBar()->addMenu(tr("&File"));
    QAction* pQuit = pFile->addAction(tr("&Quit"), this, &QWidget::close);
    pQuit->setShortcut(QKeySequence(Qt::CTRL + Qt::Key_Q));
    pQuit->setShortcutContext(Qt::ApplicationShortcut);

    QMenu* pMachine = menuBar()->addMenu(tr("&Machine"));
    struct Jog
    {
        const char* pszText;
        double dDx, dDy;
        int nKey;
    };
    const Jog jogs[] = {
        {QT_TR_NOOP("Jog +X"), 1, 0, Qt::Key_Right},
        {QT_TR_NOOP("Jog -X"), -1, 0, Qt::Key_Left},
        {QT_TR_NOOP("Jog +Y (away)"), 0, 1, Qt::Key_Up},
        {QT_TR_NOOP("Jog -Y (toward)"), 0, -1, Qt::Key_Down},
    };
    for (const bool bLarge : {false, true}) {
        const double dStep = bLarge ? kJogLargeMm : kJogSmallMm;
        for (const Jog& step : jogs) {
            QAction* pAction = pMachine->addAction(
                tr("%1 by %2 mm").arg(tr(step.pszText)).arg(dStep));
            pAction->setShortcut(QKeySequence(step.nKey | (bLarge ? int(Qt::SHIFT) : 0)));
            const double dDx = step.dDx * dStep, dDy = step.dDy * dStep;
            connect(pAction, &QAction::triggered, this, [this, dDx, dDy]() { jog(dDx, dDy); });
        }
        pMachine->addSeparator();
    }
    QAction* pOrigin = pMachine->addAction(tr("Go to &origin"), this, &HostWindow::goToOrigin);
    pOrigin->setShortcut(QKeySequence(Qt::Key_Home));
    QAction* pGoTo = pMachine->addAction(tr("&Go to position..."), this, &HostWindow::goToPosition);
    pGoTo->setShortcut(QKeySequence(Qt::CTRL + Qt::Key_G));

    m_pCameraMenu = menuBar()->addMenu(tr("&Camera"));
    m_pCameraGroup = new QActionGroup(this);
    m_pCameraGroup->setExclusive(true);
    m_pCameraSeparator = m_pCameraMenu->addSeparator();
    QAction* pSnapshot = m_pCameraMenu->addAction(tr("&Take photo (panel)"), this, [this]() {
        QString strError;
        if (placeSnapshot(&strError))
            statusBar()->showMessage(tr("Photo placed on the drawing"), 4000);
        else
            statusBar()->showMessage(tr("No photo: %1").arg(strError), 8000);
    });
    pSnapshot->setShortcut(QKeySequence(Qt::CTRL + Qt::Key_P));
    m_pCameraMenu->addAction(tr("&Clear photos"), this, &HostWindow::clearSnapshots);
    // The module's combine dialog; the combined picture lands on the drawing and
    // the view zooms to it through the host's "ZoomToData" command.
    m_pCameraMenu->addAction(tr("Combine images..."), this, [this]() {
        ZKCCDImageCombineUI dialog(this);
        dialog.exec();
    });
    m_pCameraMenu->addAction(tr("Ca&librate camera..."), this, &HostWindow::openCalibrationWizard);
    rebuildCameraActions();

    // Host events the panel handles, as the host application fires them.
    QMenu* pPanelMenu = menuBar()->addMenu(tr("&Panel"));
    pPanelMenu->addAction(tr("Pause live video (1201)"), this, [this]() { firePanelEvent(1201); });
    pPanelMenu->addAction(tr("Resume live video (1202)"), this, [this]() { firePanelEvent(1202); });
    pPanelMenu->addAction(tr("Single frame (1205)"), this, [this]() {
        int nResult = 0;
        firePanelEvent(1205, &nResult);
        if (nResult < 0)
            statusBar()->showMessage(tr("The panel could not grab a frame"), 4000);
    });
    pPanelMenu->addAction(tr("Save configuration (1101)"), this, [this]() {
        firePanelEvent(1101);
        statusBar()->showMessage(tr("Camera configuration saved in %1").arg(hostsim::HostSim::workPath()), 4000);
    });
    pPanelMenu->addAction(tr("Reload search range (208)"), this, [this]() { firePanelEvent(208); });
    QMenu* pSelect = pPanelMenu->addMenu(tr("Select camera (1002)"));
    for (int i = 0; i < hostsim::HostSim::cameraCount(); ++i)
        pSelect->addAction(tr("Camera %1").arg(i + 1), this, [this, i]() {
            int nIndex = i;
            firePanelEvent(1002, &nIndex);
        });
    pPanelMenu->addSeparator();
    pPanelMenu->addAction(tr("Stop live video for good (1102)"), this, [this]() { firePanelEvent(1102); });
    pPanelMenu->addSeparator();
    pPanelMenu->addAction(tr("Open picture..."), this, [this]() {
        if (QWidget* pPanelWidget = cameraPanel())
            QMetaObject::invokeMethod(pPanelWidget, "slotOpenThePicture");
    });

    QMenu* pView = menuBar()->addMenu(tr("&View"));
    QAction* pZoom = pView->addAction(tr("&Zoom to data"), this, []() {
        if (ZKAppService* pService = registryService<ZKAppService>(HXLServiceKey::AppService)) {
            if (ZKGloabVisionAppBase* pApp = pService->GetMainApp()) {
                if (pApp->RunCommand("ZoomToData") == 0)
                    return;
            }
        }
        hostsim::HostSim::view().zoomToData();
    });
    pZoom->setShortcut(QKeySequence(Qt::CTRL + Qt::Key_0));
    pView->addAction(m_pCameraDock->toggleViewAction());
    pView->addAction(tr("Camera tab host..."), this, [this]() {
        auto* pCameraWidget = new HXLCameraWidget(this);
        pCameraWidget->setWindowFlags(Qt::Tool);
        pCameraWidget->setAttribute(Qt::WA_DeleteOnClose);
        pCameraWidget->InitDisplay();
        pCameraWidget->show();
    });
}

void HostWindow::rebuildCameraActions()
{
    for (QAction* pAction : qAsConst(m_cameraActions)) {
        m_pCameraGroup->removeAction(pAction);
        m_pCameraMenu->removeAction(pAction);
        delete pAction;
    }
    m_cameraActions.clear();

    IZKVisionCameraManager* pManager = cameraManager();
    const int nCount = pManager ? m_nCameraCount : 0;
    for (int i = 0; i < nCount; ++i) {
        IZKVisionCamera* pCamera = pManager->GetCamera(i);
        const QString strName = pCamera ? QString::fromStdString(pCamera->GetCameraName()) : QString();
        auto* pAction = new QAction(strName.isEmpty() ? tr("Camera %1").arg(i + 1)
                                                      : tr("Camera %1 (%2)").arg(i + 1).arg(strName),
                                    m_pCameraMenu);
        pAction->setCheckable(true);
        if (i < 9)
            pAction->setShortcut(QKeySequence(int(Qt::CTRL) | (Qt::Key_1 + i)));
        connect(pAction, &QAction::triggered, this, [this, i]() { selectCamera(i); });
        m_pCameraGroup->addAction(pAction);
        m_pCameraMenu->insertAction(m_pCameraSeparator, pAction);
        m_cameraActions.append(pAction);
    }
    syncCameraActions();
}

void HostWindow::syncCameraActions()
{
    const int nCurrent = m_nCurrentCamera;
    for (int i = 0; i < m_cameraActions.size(); ++i) {
        if (m_cameraActions[i]->isChecked() != (i == nCurrent))
            m_cameraActions[i]->setChecked(i == nCurrent);
    }
}

// --- machine -------------------------------------------------------------------------

void HostWindow::jog(double dDx, double dDy)
{
    // From where the machine is heading, so that quick presses add up.
    double dX = 0.0, dY = 0.0;
    hostsim::HostSim::machine().target(dX, dY);
    moveTo(dX + dDx, dY + dDy);
}

void HostWindow::moveTo(double dX, double dY)
{
    IZKMachine* pMachine = machine();
    if (!pMachine || pMachine->MoveTo(dX, dY) != 0)
        statusBar()->showMessage(tr("The machine did not accept the move to %1, %2").arg(mmText(dX), mmText(dY)),
                                 5000);
    updateStatus();
}

void HostWindow::goToOrigin()
{
    moveTo(0.0, 0.0);
}

void HostWindow::goToPosition()
{
    double dX = 0.0, dY = 0.0;
    hostsim::HostSim::machine().target(dX, dY);

    QDialog dialog(this);
    dialog.setWindowTitle(tr("Go to position"));
    auto* pLayout = new QFormLayout(&dialog);
    auto makeSpin = [&dialog](double dValue) {
        auto* pSpin = new QDoubleSpinBox(&dialog);
        pSpin->setRange(-kTravelMm, kTravelMm);
        pSpin->setDecimals(3);
        pSpin->setSingleStep(1.0);
        pSpin->setSuffix(QStringLiteral(" mm"));
        pSpin->setValue(dValue);
        return pSpin;
    };
    QDoubleSpinBox* pSpinX = makeSpin(dX);
    QDoubleSpinBox* pSpinY = makeSpin(dY);
    pLayout->addRow(tr("X:"), pSpinX);
    pLayout->addRow(tr("Y:"), pSpinY);
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    connect(pButtons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    connect(pButtons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    pLayout->addRow(pButtons);
    pSpinX->setFocus();
    pSpinX->selectAll();
    if (dialog.exec() == QDialog::Accepted)
        moveTo(pSpinX->value(), pSpinY->value());
}

// --- camera --------------------------------------------------------------------------

void HostWindow::selectCamera(int nIndex)
{
    IZKVisionCameraManager* pManager = cameraManager();
    if (!pManager || nIndex < 0 || nIndex >= pManager->GetCameraCount())
        return;
    pManager->SetCurCameraIndex(nIndex);
    readCameraState();
    syncCameraActions();
    updateStatus();
}

bool HostWindow::placeSnapshot(QString* pError)
{
    auto fail = [pError](const QString& strWhy) {
        if (pError)
            *pError = strWhy;
        return false;
    };
    QWidget* pPanel = cameraPanel();
    if (!pPanel || hostsim::HostSim::cameraCount() <= 0)
        return fail(tr("no camera"));
    if (hostsim::HostSim::machine().isMoving())
        return fail(tr("the machine is moving; try again when it stops"));
    // The panel's photograph command, reached through its meta-object interface.
    QMetaObject::invokeMethod(pPanel, "slotCapture");
    if (hostsim::HostSim::database().entitiesOnLayer(kSnapshotLayer).empty())
        return fail(tr("the panel placed no picture"));
    return true;
}

void HostWindow::openCalibrationWizard()
{
    if (m_pWizard) {
        m_pWizard->raise();
        m_pWizard->activateWindow();
        return;
    }
    if (m_nCurrentCamera < 0) {
        statusBar()->showMessage(tr("No camera to calibrate"), 5000);
        return;
    }
    m_pWizard = new CalibrationWizard(m_nCurrentCamera, this);
    m_pWizard->setAttribute(Qt::WA_DeleteOnClose);
    connect(m_pWizard, &QDialog::accepted, this, [this]() {
        statusBar()->showMessage(tr("Camera calibration saved in %1")
                                     .arg(hostsim::HostSim::cameraManager().configPath()),
                                 5000);
        updateStatus();
    });
    m_pWizard->show();
}

void HostWindow::clearSnapshots()
{
    IZKDatabase& database = hostsim::HostSim::database();
    ClearLayerData(&database, kSnapshotLayer, true);
    hostsim::HostSim::view().RefreshView(true);
}

// --- live ticks --------------------------------------------------------------------

void HostWindow::tick()
{
    const hostsim::HostCallScope hostOwnCalls; // the host's own polling stays out of the journal
    readCameraState();
    if (hostsim::HostCamera* pCamera = hostsim::HostSim::hostCamera(m_nCurrentCamera))
        m_nFrames = pCamera->grabCount() - m_nGrabsAtStart;
    if (m_nCameraCount != m_cameraActions.size())
        rebuildCameraActions();
    else
        syncCameraActions();

    updateStatus();

    // What the host did on its own (a file kept aside, a camera skipped, a
    // picture refused), the newest in the status bar; the rest went to stderr.
    const QStringList told = hostsim::HostSim::operatorLines(m_nOperatorLinesShown);
    if (!told.isEmpty()) {
        m_nOperatorLinesShown += told.size();
        statusBar()->showMessage(told.size() == 1 ? told.last()
                                                  : tr("%1 (and %n more on stderr)", nullptr, told.size() - 1)
                                                        .arg(told.last()),
                                 20000);
    }

    if (m_nFrameTarget > 0 && !m_bTargetReached && m_nFrames >= m_nFrameTarget) {
        m_bTargetReached = true;
        emit frameTargetReached();
    }
}

void HostWindow::updateStatus()
{
    // The host's own polling reads the machine through the facade: no journal lines.
    hostsim::SimMachine& simMachine = hostsim::HostSim::machine();
    double dX = 0.0, dY = 0.0;
    simMachine.position(dX, dY);
    m_pPositionStatus->setText(QStringLiteral("X %1 mm  Y %2 mm").arg(mmText(dX), mmText(dY)));
    m_pStateStatus->setText(simMachine.isMoving() ? tr("moving") : tr("idle"));
    m_pDrawing->setMachinePosition(dX, dY);

    const int nCount = m_nCameraCount;
    const int nCurrent = m_nCurrentCamera;
    if (!m_healthClock.isValid())
        m_healthClock.start();
    if (nCount <= 0 || nCurrent < 0 || nCurrent >= nCount) {
        m_health.sample(nullptr, m_healthClock.elapsed());
        m_pCameraStatus->setText(tr("no camera"));
        m_pDrawing->setCameraField(0.0, 0.0);
        return;
    }
    // Frame size of the current camera, from the facade (no journal lines).
    hostsim::HostCamera* pSimCamera = hostsim::HostSim::hostCamera(nCurrent);
    m_nBufferWidth = pSimCamera ? pSimCamera->frameWidth() : 0;
    m_nBufferHeight = pSimCamera ? pSimCamera->frameHeight() : 0;
    m_health.sample(pSimCamera, m_healthClock.elapsed());
    m_pCameraStatus->setText(tr("Camera %1/%2  %3").arg(nCurrent + 1).arg(nCount).arg(m_health.text()));
    // Field of view of the current camera, as calibrated.
    if (pSimCamera && m_nBufferWidth > 0 && m_nBufferHeight > 0) {
        const hostsim::CameraModel model = pSimCamera->model();
        m_pDrawing->setCameraField(m_nBufferWidth * model.alignedMmPerPixelX(),
                                   m_nBufferHeight * model.alignedMmPerPixelY(), model.offsetX, model.offsetY);
    } else {
        m_pDrawing->setCameraField(0.0, 0.0);
    }
}

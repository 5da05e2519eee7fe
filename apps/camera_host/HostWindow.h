#pragma once

// Main window of the demo host: the drawing in the centre, the camera panel
// (made through the module's factory, as any host makes it) in a dock on the
// right, machine, camera and panel menus, a status bar.

#include "CameraHealth.h"
#include "DemoOptions.h"
#include "services/SimApp.h"

#include <QElapsedTimer>
#include <QImage>
#include <QPointer>
#include <QTimer>
#include <QVector>

#include <vector>

class CalibrationWizard;
class DrawingView;
class IZKMachine;
class IZKVisionCamera;
class IZKVisionCameraManager;
class QAction;
class QActionGroup;
class QDockWidget;
class QLabel;
class QMenu;

class IZKCostomCameraWidget;

class HostWindow : public hostsim::SimMainWindow
{
    Q_OBJECT
public:
    static constexpr int kTickMs = 100;
    static constexpr int kSnapshotLayer = 210;

    explicit HostWindow(const DemoOptions& options, QWidget* pParent = nullptr);
    ~HostWindow() override;

    DrawingView* drawingView() const { return m_pDrawing; }
    QDockWidget* cameraDock() const { return m_pCameraDock; }
    QWidget* cameraPanel() const;
    // Live frames the camera delivered since the window was made.
    int frameCount() const { return m_nFrames; }
    // The current camera's state and frame rates, as the status bar shows them.
    QString cameraHealthText() const { return m_health.text(); }
    // frameTargetReached is emitted once when frameCount reaches nFrames (0: never).
    void setFrameTarget(int nFrames);

    // The host's camera manager and machine, as the host interfaces.
    static IZKVisionCameraManager* cameraManager();
    static IZKMachine* machine();

signals:
    void frameTargetReached();

public slots:
    // One live tick: grabs a frame from the current camera, updates the label,
    // the status bar and the machine marker.
    void tick();
    // Relative move from where the machine is heading.
    void jog(double dDx, double dDy);
    void moveTo(double dX, double dY);
    void goToOrigin();
    // Asks for a position and moves there.
    void goToPosition();
    void selectCamera(int nIndex);
    // Has the panel take a photo: the picture goes on the drawing at the
    // machine position (layer 210). False with a message when it could not.
    bool placeSnapshot(QString* pError = nullptr);
    void clearSnapshots();
    // The calibration wizard of the current camera (one at a time, not modal).
    void openCalibrationWizard();
    // Fires a host event to the panel (on its channel 2).
    void firePanelEvent(int nEventId, int* pParam = nullptr);

private:
    // Reads the camera count and the current index through the manager (once per tick).
    void readCameraState();
    void buildMenus();
    void rebuildCameraActions();
    void createPanel();
    void updateStatus();
    void syncCameraActions();

    DemoOptions m_options;
    DrawingView* m_pDrawing = nullptr;
    QDockWidget* m_pCameraDock = nullptr;
    QLabel* m_pPositionStatus = nullptr;
    QLabel* m_pStateStatus = nullptr;
    QLabel* m_pCameraStatus = nullptr;
    QMenu* m_pCameraMenu = nullptr;
    QAction* m_pCameraSeparator = nullptr;
    QActionGroup* m_pCameraGroup = nullptr;
    QVector<QAction*> m_cameraActions;
    QTimer m_timer;

    int m_nBufferWidth = 0;
    int m_nBufferHeight = 0;
    int m_nFrames = 0;
    CameraHealth m_health;
    QElapsedTimer m_healthClock;
    int m_nGrabsAtStart = 0;
    int m_nOperatorLinesShown = 0; // of HostSim::operatorLines
    int m_nFrameTarget = 0;
    bool m_bTargetReached = false;
    int m_nCameraCount = 0;
    int m_nCurrentCamera = -1;
    IZKCostomCameraWidget* m_pPanel = nullptr;
    QPointer<CalibrationWizard> m_pWizard;
};

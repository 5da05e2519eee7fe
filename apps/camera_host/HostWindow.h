#pragma once

// Main window of the demo host: the drawing in the centre, the live camera
// picture in a dock on the right, machine and camera menus, a status bar.

#include "DemoOptions.h"
#include "SimApp.h"

#include <QImage>
#include <QTimer>
#include <QVector>

#include <vector>

class DrawingView;
class IZKMachine;
class IZKVisionCamera;
class IZKVisionCameraManager;
class QAction;
class QActionGroup;
class QDockWidget;
class QLabel;
class QMenu;

class HXL_RefreshCameraThread;

class HostWindow : public hostsim::SimMainWindow
{
    Q_OBJECT
public:
    static constexpr int kTickMs = 100;
    static constexpr int kSnapshotLayer = 210;

    explicit HostWindow(const DemoOptions& options, QWidget* pParent = nullptr);
    ~HostWindow() override;

    DrawingView* drawingView() const { return m_pDrawing; }
    QLabel* frameLabel() const { return m_pFrameLabel; }
    QDockWidget* cameraDock() const { return m_pCameraDock; }
    // Live frames shown since the window was made.
    int frameCount() const { return m_nFrames; }
    // A copy of the newest frame (null before the first one).
    QImage lastFrame() const { return m_lastFrame.copy(); }
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
    // Places the current camera's picture on the drawing at the machine
    // position (layer 210). False with a message when it could not.
    bool placeSnapshot(QString* pError = nullptr);
    void clearSnapshots();

protected:
    bool eventFilter(QObject* pWatched, QEvent* pEvent) override;

private:
    // Reads the camera count and the current index through the manager (once per tick).
    void readCameraState();
    void buildMenus();
    void rebuildCameraActions();
    void startLiveVideo();
    void showLiveFrame(const QPixmap& pixmap);
    void renderLabel();
    void updateStatus();
    void syncCameraActions();

    DemoOptions m_options;
    DrawingView* m_pDrawing = nullptr;
    QDockWidget* m_pCameraDock = nullptr;
    QLabel* m_pFrameLabel = nullptr;
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
    QImage m_lastFrame;
    int m_nFrames = 0;
    int m_nFrameTarget = 0;
    bool m_bTargetReached = false;
    int m_nCameraCount = 0;
    int m_nCurrentCamera = -1;
    HXL_RefreshCameraThread* m_pRefreshThread = nullptr;
};

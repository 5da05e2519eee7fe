#pragma once

// Control facade of the replacement host, for tests and the demo host. The
// camera panel never includes this header: it reaches the host only through
// the declarations in camera_ui/host/.

#include "host/HXL_HostExport.h"

#include <QColor>
#include <QString>

class IMainWindow;
struct UiUserConfig;

namespace hostsim {

class Journal;
class SimMachine;
class SimCamera;
class SimCameraManager;
class SimDatabase;
class SimView;
class SimLocatorManager;
class SimCombineManager;
class Workpiece;

enum class FrameSource
{
    Scene,       // renders the workpiece around the machine position
    Picture,     // a picture file, scaled to the frame size
    Solid,       // one colour
    TestPattern  // colour bars and a centred cross
};

struct CameraSetup
{
    QString name = QStringLiteral("SimCam");
    int width = 1280;
    int height = 1024;
    bool colour = true;
    double mmPerPixel = 0.02;    // 1280 pixels = 25.6 mm
    FrameSource source = FrameSource::Scene;
    QString picturePath;         // FrameSource::Picture
    QColor solidColour = QColor(128, 128, 128);
    bool calibrated = true;
};

class HXL_HOST_EXPORT HostSim
{
public:
    // A fresh host: registry populated under every key, journal cleared,
    // drawing empty, listeners dropped, one scene camera of the default setup,
    // machine at (0, 0) with instant moves, vision fractions reset, record at
    // its defaults and then read from the work directory's configuration file
    // when there is one. strWorkPath empty keeps the current work path
    // (HXL_WORK_PATH or the current directory at first).
    static void reset(const QString& strWorkPath = QString());

    static Journal& journal();

    // Work directory (made when missing); stored with a trailing separator.
    static void setWorkPath(const QString& strDir);
    static QString workPath();

    // Language of the texts ("en" or "zh_CN"); HXL_LANGUAGE sets it at first.
    static void setLanguage(const QString& strCode);
    static QString language();

    static SimMachine& machine();
    static Workpiece& workpiece();

    static SimCameraManager& cameraManager();
    static SimCamera* addCamera(const CameraSetup& setup);
    static void removeAllCameras();
    static SimCamera* camera(int nIndex);
    static int cameraCount();

    static SimDatabase& database();
    static SimView& view();
    static SimLocatorManager& locator();
    static SimCombineManager& combineManager();

    // The vision feature library's search ranges (left, right, bottom, top).
    static void setSearchRangeCalibPer(double dLeft, double dRight, double dBottom, double dTop);
    static void setSearchRangeSelectedPer(double dLeft, double dRight, double dBottom, double dTop);
    static void searchRangeSelectedPer(double& dLeft, double& dRight, double& dBottom, double& dTop);

    // The main window the window manager hands out (null: a hidden default one is made on demand).
    static void setMainWindow(IMainWindow* pMainWindow);
    static UiUserConfig& uiConfig();

    // Screen size FTGetScreenSize reports when no screen is available.
    static void setFallbackScreenSize(int nWidth, int nHeight);

    static bool isOpenFile();

    // Where the machine is known to the movable camera's calibration.
    static void calibrationPosition(double& dX, double& dY);
};

} // namespace hostsim

#pragma once

// Control facade of the replacement host, for tests and the demo host. The
// camera panel never includes this header: it reaches the host only through
// the declarations in camera_ui/host/.

#include "host/HXL_HostExport.h"

#include <QColor>
#include <QJsonObject>
#include <QString>
#include <QStringList>

class IMainWindow;
struct UiUserConfig;

namespace hostsim {

class Journal;
class SimMachine;
class SimCamera;
class HostCamera;
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

// Kinds of camera, by the names the configuration's "type" field uses.
enum class CameraType
{
    Auto,    // the first of GenICam, V4L2, Sim that opens
    Sim,     // the simulated camera over the virtual workpiece
    GenICam, // GigE Vision or USB3 Vision camera through Aravis
    V4L2     // USB webcam through OpenCV's V4L2 back-end
};

// The camera-type name table ("Auto", "Sim", "GenICam", "V4L2"), in enum order.
HXL_HOST_EXPORT QStringList cameraTypeNames();
// Case-insensitive; false for an unknown name.
HXL_HOST_EXPORT bool cameraTypeFromName(const QString& strName, CameraType& type);
// Whether this build has the back-end of a camera type.
HXL_HOST_EXPORT bool cameraTypeAvailable(CameraType type);

// One camera the host is asked to open (from the configuration's "cameras"
// list or the demo's command line).
struct CameraRequest
{
    CameraType type = CameraType::Sim;
    QString address;          // GenICam: IP address or device id; V4L2: device path; Auto: unused
    QString name;             // empty = a name from the type and address
    QString pixelFormat;      // GenICam: e.g. "Mono8"; empty keeps the camera's
    int width = 0;            // GenICam and V4L2: frame size; 0 keeps the camera's
    int height = 0;
    double mmPerPixel = 0.02; // pixel size (calibration of a real camera)
    bool calibrated = true;
    CameraSetup sim;          // Sim
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
    // The camera at nIndex when it is a simulated one, else null.
    static SimCamera* camera(int nIndex);
    // The camera at nIndex, of any kind.
    static HostCamera* hostCamera(int nIndex);
    static int cameraCount();
    // Adds the camera a request names. A real camera that does not answer
    // yet is added all the same and keeps trying in the background; null
    // (with the reason) only when the request cannot be served at all
    // (back-end not built, Auto found nothing, bad values).
    static HostCamera* addCamera(const CameraRequest& request, QString* pError);
    // Reads one entry of the configuration's "cameras" list.
    static bool cameraRequestFromJson(const QJsonObject& entry, CameraRequest& request, QString* pError);
    // True when the cameras in use came from the configuration's "cameras" list.
    static bool camerasFromConfiguration();

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

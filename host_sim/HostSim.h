#pragma once

// Control facade of the replacement host, for tests and the demo host. The
// camera panel never includes this header: it reaches the host only through
// the declarations in camera_ui/host/.

#include "host/HXL_HostExport.h"

#include <QColor>
#include <QJsonObject>
#include <QPointF>
#include <QString>
#include <QStringList>

class IMainWindow;
struct UiUserConfig;

namespace hostsim {

// The largest picture the host takes in, in pixels (8192 x 8192): picture
// files it reads and frames it is asked to make. A colour picture of that
// size is 192 MiB; processing it holds a few copies.
constexpr qint64 kMaxPicturePixels = 8192LL * 8192LL;
// Pixel size a configured camera may have at the work plane, in millimetres.
constexpr double kMaxMmPerPixel = 1000.0;

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
    // How the camera is mounted (what it sees; the host's calibration is
    // apart, see SimCameraManager::setCameraModel). mmPerPixel above is the
    // pixel size along the picture's rows.
    double mmPerPixelY = 0.0;    // along its columns; 0: square pixels
    double rotationDeg = 0.0;    // about the optical axis, counter-clockwise seen from above
    double offsetX = 0.0;        // optical axis from the head, mm
    double offsetY = 0.0;
    bool mirrored = false;       // the picture is a mirror image
    double noise = 0.0;          // sensor noise, standard deviation in grey levels
    quint32 noiseSeed = 1;       // the noise repeats for a seed
};

// Reads a simulated camera's mounting from the configuration's form
// {"mmPerPixelX", "mmPerPixelY", "rotationDeg", "mirrored", "offsetX",
// "offsetY", "noise", "noiseSeed"} into setup (missing keys keep its values).
// False, with the reason, for a value of the wrong kind or out of range.
HXL_HOST_EXPORT bool simMountFromJson(const QJsonObject& json, CameraSetup& setup, QString* pError);

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
// What camera discovery finds now, one line each: the --camera value that
// opens it ("genicam:ID", "v4l2:/dev/videoN"), or a line starting with "#"
// that says what was not found or cannot be asked in this build.
HXL_HOST_EXPORT QStringList discoverCameras();

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
    double framesPerSecond = 0.0; // V4L2: the rate asked of the device; 0 keeps the device's
    double mmPerPixel = 0.02; // pixel size (calibration of a real camera)
    bool calibrated = true;
    CameraSetup sim;          // Sim
};

// Parts of the host that a test can make answer "not there". While a part is
// absent, the host operation named beside it returns null (it is still
// journalled); everything else works on. A reset makes every part present.
enum class AbsentPart
{
    MainApp,           // ZKAppService::GetMainApp
    Document,          // ZKGloabVisionAppBase::GetDocument
    Database,          // IZKDocument::GetDatabase
    View,              // IZKDocument::GetView
    MainWindow,        // ZKWindowManager::getMainWindow
    UiConfig,          // ZKWindowManager::GetUiCfg
    ProgressUI,        // IMainWindow::GetProgressUI
    CurrentMachine,    // IZKRobotService::GetCurMachine
    Camera,            // IZKVisionCameraManager::GetCamera (the count stays)
    ImageAdapter,      // IZKVisionCameraManager::GetImageAdapter and IZKVisionCamera::GetImageAdapter
    CameraCalibration, // IZKVisionCamera::GetCalibration
    DataPool,          // ZKVisionLocatorManager::GetDataPoolMgr
    Polyline,          // IZKEntityFactory::CreatePolyline
    Bound,             // IZKPartFactory::CreateBound
    CombinedImage      // ZKCCDImageCombineManager::CombineImage
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

    // Withdraws the service registered under nKey (HXLServiceKey) until the
    // next reset, as a host that never registered it. The service object
    // stays alive. False when no service had that key.
    static bool withdrawService(int nKey);
    // Makes a host operation answer "not there" (see AbsentPart); safe to
    // call and to read from any thread.
    static void setAbsent(AbsentPart part, bool bAbsent = true);
    static bool isAbsent(AbsentPart part);
    // One line for the operator about something the host did on its own (a
    // camera configuration kept aside, a configured camera skipped, a picture
    // refused). Printed on stderr at once and kept for the life of the
    // process, so that a window made later can still show it (the demo shows
    // the newest in its status bar). Any thread.
    static void tellOperator(const QString& strLine);
    // The lines told so far, from the nFrom-th on.
    static QStringList operatorLines(int nFrom = 0);

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

    // The head marks the workpiece where it is now (a laser spot, a pen dot)
    // and the simulated cameras see the mark from then on. Returns the
    // position of the mark.
    static QPointF markAtHead(double dDiameterMm);
};

} // namespace hostsim

#include "HostSim.h"

#include "HostJournal.h"
#include "HostState.h"
#include "calibration/CameraModel.h"
#include "cameras/HostCamera.h"
#include "cameras/SimCamera.h"
#include "services/CameraConfigFile.h"
#include "services/SimEvents.h"
#ifdef HXL_HAVE_GENICAM
#include "cameras/AravisCamera.h"
#endif
#ifdef HXL_HAVE_V4L2
#include "cameras/V4l2Camera.h"
#endif

#include "host/HXL_ServiceKeys.h"
#include "host/IServiceManager.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QMutexLocker>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>

#include <memory>

namespace hostsim {

namespace {

// Process-wide parts that survive a reset.
struct Process
{
    Journal journal;
    QString workPath;
    QString language;
    std::unique_ptr<HostState> pState;
    // States replaced by a reset stay alive: a worker thread that a test left
    // parked may still hold pointers into them.
    std::vector<std::unique_ptr<HostState>> retired;
    bool bCamerasFromConfiguration = false;
    // One bit per AbsentPart. Not part of the replaceable state: the live
    // video thread asks for it while a test may be resetting the host.
    std::atomic<quint32> absentParts{0};
    QMutex operatorMutex;
    QStringList operatorLines;
};

Process& process()
{
    static Process* s_pProcess = [] {
        auto* p = new Process();
        const QByteArray env = qgetenv("HXL_WORK_PATH");
        p->workPath = env.isEmpty() ? QDir::currentPath() : QString::fromLocal8Bit(env);
        if (!p->workPath.endsWith(QLatin1Char('/')) && !p->workPath.endsWith(QLatin1Char('\\')))
            p->workPath += QLatin1Char('/');
        const QByteArray lang = qgetenv("HXL_LANGUAGE");
        p->language = lang.isEmpty() ? QStringLiteral("en") : QString::fromLatin1(lang);
        return p;
    }();
    return *s_pProcess;
}

void registerServices(HostState& state)
{
    IServiceManager* pRegistry = IServiceManager::singleton();
    pRegistry->m_mapService.clear();
    pRegistry->RegisterService(HXLServiceKey::VisionCameraManager, &state.cameraManager);
    pRegistry->RegisterService(HXLServiceKey::AppService, &state.appService);
    pRegistry->RegisterService(HXLServiceKey::EntityFactory, &state.entityFactory);
    pRegistry->RegisterService(HXLServiceKey::RobotService, &state.robotService);
    pRegistry->RegisterService(HXLServiceKey::CCDImageCombineManager, &state.combineManager);
    pRegistry->RegisterService(HXLServiceKey::PartFactory, &state.partFactory);
    pRegistry->RegisterService(HXLServiceKey::VisionLocatorManager, &state.locator);
}

void openConfiguredCameras(HostState& state);

} // namespace

HostState::HostState() = default;
HostState::~HostState() = default;

HostState& hostState()
{
    Process& p = process();
    if (!p.pState) {
        p.pState = std::make_unique<HostState>();
        registerServices(*p.pState);
        p.pState->cameraManager.addCamera(
            std::make_unique<SimCamera>(CameraSetup(), &p.pState->machine, &p.pState->workpiece));
        p.pState->cameraManager.readSystemCFG();
        p.bCamerasFromConfiguration = false;
        openConfiguredCameras(*p.pState);
    }
    return *p.pState;
}

void HostSim::reset(const QString& strWorkPath)
{
    Process& p = process();
    if (!strWorkPath.isEmpty())
        setWorkPath(strWorkPath);
    eventManager().clear();
    if (p.pState) {
        // Real cameras of the old state stop now (their worker threads and
        // devices); the simulated ones stay as they are for threads that
        // still hold them.
        for (int i = 0; i < p.pState->cameraManager.cameraCount(); ++i) {
            HostCamera* pCamera = p.pState->cameraManager.hostCamera(i);
            if (pCamera && !dynamic_cast<SimCamera*>(pCamera))
                pCamera->retire();
        }
        p.pState->database.clear();
        p.retired.push_back(std::move(p.pState));
    }
    p.journal.clear();
    p.absentParts.store(0);
    hostState(); // builds the new state, registers it and reads the configuration
}

Journal& HostSim::journal()
{
    return process().journal;
}

bool HostSim::withdrawService(int nKey)
{
    hostState(); // a host that is not built yet would register it again
    return IServiceManager::singleton()->UnregisterService(nKey) != nullptr;
}

void HostSim::setAbsent(AbsentPart part, bool bAbsent)
{
    const quint32 bit = 1u << static_cast<int>(part);
    if (bAbsent)
        process().absentParts.fetch_or(bit);
    else
        process().absentParts.fetch_and(~bit);
}

bool HostSim::isAbsent(AbsentPart part)
{
    return (process().absentParts.load() & (1u << static_cast<int>(part))) != 0;
}

void HostSim::tellOperator(const QString& strLine)
{
    Process& p = process();
    QMutexLocker lock(&p.operatorMutex);
    std::fprintf(stderr, "host_sim: %s\n", strLine.toLocal8Bit().constData());
    std::fflush(stderr);
    p.operatorLines.append(strLine);
}

QStringList HostSim::operatorLines(int nFrom)
{
    Process& p = process();
    QMutexLocker lock(&p.operatorMutex);
    return p.operatorLines.mid(nFrom);
}

void HostSim::setWorkPath(const QString& strDir)
{
    QString path = QDir(strDir).absolutePath();
    QDir().mkpath(path); // a host's work directory exists once it is chosen
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    process().workPath = path;
}

QString HostSim::workPath()
{
    return process().workPath;
}

void HostSim::setLanguage(const QString& strCode)
{
    process().language = strCode;
}

QString HostSim::language()
{
    return process().language;
}

SimMachine& HostSim::machine()
{
    return hostState().machine;
}

Workpiece& HostSim::workpiece()
{
    return hostState().workpiece;
}

SimCameraManager& HostSim::cameraManager()
{
    return hostState().cameraManager;
}

SimCamera* HostSim::addCamera(const CameraSetup& setup)
{
    HostState& state = hostState();
    return state.cameraManager.addCamera(std::make_unique<SimCamera>(setup, &state.machine, &state.workpiece));
}

void HostSim::removeAllCameras()
{
    hostState().cameraManager.removeAllCameras();
}

SimCamera* HostSim::camera(int nIndex)
{
    return hostState().cameraManager.camera(nIndex);
}

int HostSim::cameraCount()
{
    return hostState().cameraManager.cameraCount();
}

HostCamera* HostSim::hostCamera(int nIndex)
{
    return hostState().cameraManager.hostCamera(nIndex);
}

bool HostSim::camerasFromConfiguration()
{
    hostState();
    return process().bCamerasFromConfiguration;
}

bool cameraTypeAvailable(CameraType type)
{
    switch (type) {
    case CameraType::Auto:
    case CameraType::Sim: return true;
#ifdef HXL_HAVE_GENICAM
    case CameraType::GenICam: return true;
#endif
#ifdef HXL_HAVE_V4L2
    case CameraType::V4L2: return true;
#endif
    default: return false;
    }
}

QStringList discoverCameras()
{
    QStringList lines;
#ifdef HXL_HAVE_GENICAM
    const QStringList ids = AravisCamera::discover();
    for (const QString& strId : ids)
        lines << QStringLiteral("genicam:%1").arg(strId);
    if (ids.isEmpty())
        lines << QStringLiteral("# GenICam: no camera answered");
#else
    lines << QStringLiteral("# GenICam: not built into this host");
#endif
#ifdef HXL_HAVE_V4L2
    // Every video node; a node that does not open as a capture device (a
    // webcam's metadata node, say) is listed with the reason.
    QStringList nodes = QDir(QStringLiteral("/dev")).entryList({QStringLiteral("video*")}, QDir::System);
    std::sort(nodes.begin(), nodes.end(), [](const QString& a, const QString& b) {
        return a.mid(5).toInt() < b.mid(5).toInt();
    });
    for (const QString& strNode : nodes) {
        const QString strDevice = QStringLiteral("/dev/") + strNode;
        QString strWhy;
        if (V4l2Camera::probe(strDevice, &strWhy))
            lines << QStringLiteral("v4l2:%1").arg(strDevice);
        else
            lines << QStringLiteral("# v4l2:%1 (%2)").arg(strDevice, strWhy);
    }
    if (nodes.isEmpty())
        lines << QStringLiteral("# V4L2: no /dev/video device");
#else
    lines << QStringLiteral("# V4L2: not built into this host");
#endif
    return lines;
}

bool HostSim::cameraRequestFromJson(const QJsonObject& entry, CameraRequest& request, QString* pError)
{
    if (!hostsim::cameraRequestFromJson(entry, request, pError))
        return false;
    // A simulated camera may be mounted like a real one (turned, offset from
    // the head, mirrored, noisy); the geometry is checked as a calibration is.
    const QJsonValue mount = entry.value(QStringLiteral("mount"));
    if (!mount.isUndefined()) {
        auto fail = [pError](const QString& strWhy) {
            if (pError)
                *pError = strWhy;
            return false;
        };
        if (request.type != CameraType::Sim)
            return fail(QStringLiteral("\"mount\" is for simulated cameras only"));
        if (!mount.isObject())
            return fail(QStringLiteral("\"mount\" is not an object"));
        QString strWhy;
        if (!simMountFromJson(mount.toObject(), request.sim, &strWhy))
            return fail(QStringLiteral("\"mount\": ") + strWhy);
    }
    return true;
}

bool simMountFromJson(const QJsonObject& json, CameraSetup& setup, QString* pError)
{
    auto fail = [pError](const QString& strWhy) {
        if (pError)
            *pError = strWhy;
        return false;
    };
    // The geometry has the form of a calibration.
    CameraModel current = CameraModel::plain(setup.mmPerPixel);
    current.mmPerPixelY = setup.mmPerPixelY > 0.0 ? setup.mmPerPixelY : setup.mmPerPixel;
    current.rotationDeg = setup.rotationDeg;
    current.mirrored = setup.mirrored;
    current.offsetX = setup.offsetX;
    current.offsetY = setup.offsetY;
    CameraModel mount;
    if (!CameraModel::fromJson(json, current, mount, pError))
        return false;
    double dNoise = setup.noise;
    const QJsonValue noise = json.value(QStringLiteral("noise"));
    if (!noise.isUndefined()) {
        if (!noise.isDouble() || !(noise.toDouble() >= 0.0) || noise.toDouble() > 100.0)
            return fail(QStringLiteral("\"noise\" must be a number of grey levels from 0 to 100"));
        dNoise = noise.toDouble();
    }
    quint32 nSeed = setup.noiseSeed;
    const QJsonValue seed = json.value(QStringLiteral("noiseSeed"));
    if (!seed.isUndefined()) {
        const double d = seed.toDouble(-1.0);
        if (!seed.isDouble() || d < 0.0 || d > 4294967295.0 || d != std::floor(d))
            return fail(QStringLiteral("\"noiseSeed\" must be a whole number from 0 to 4294967295"));
        nSeed = static_cast<quint32>(d);
    }
    setup.mmPerPixel = mount.mmPerPixelX;
    setup.mmPerPixelY = mount.mmPerPixelY;
    setup.rotationDeg = mount.rotationDeg;
    setup.mirrored = mount.mirrored;
    setup.offsetX = mount.offsetX;
    setup.offsetY = mount.offsetY;
    setup.noise = dNoise;
    setup.noiseSeed = nSeed;
    return true;
}

namespace {

std::unique_ptr<HostCamera> makeCamera(const CameraRequest& request, HostState& state, QString* pError)
{
    auto fail = [pError](const QString& strWhy) {
        if (pError)
            *pError = strWhy;
        return std::unique_ptr<HostCamera>();
    };
    switch (request.type) {
    case CameraType::Sim: {
        CameraSetup setup = request.sim;
        if (!request.name.isEmpty())
            setup.name = request.name;
        return std::make_unique<SimCamera>(setup, &state.machine, &state.workpiece);
    }
    case CameraType::GenICam: {
#ifdef HXL_HAVE_GENICAM
        GenicamSetup setup;
        setup.address = request.address;
        setup.name = request.name;
        setup.pixelFormat = request.pixelFormat;
        setup.width = request.width;
        setup.height = request.height;
        setup.mmPerPixel = request.mmPerPixel;
        setup.calibrated = request.calibrated;
        return std::make_unique<AravisCamera>(setup);
#else
        return fail(QStringLiteral("this host was built without the GenICam camera (Aravis)"));
#endif
    }
    case CameraType::V4L2: {
#ifdef HXL_HAVE_V4L2
        V4l2Setup setup;
        if (!request.address.isEmpty())
            setup.device = request.address;
        setup.name = request.name;
        setup.width = request.width;
        setup.height = request.height;
        setup.framesPerSecond = request.framesPerSecond;
        setup.mmPerPixel = request.mmPerPixel;
        setup.calibrated = request.calibrated;
        return std::make_unique<V4l2Camera>(setup);
#else
        return fail(QStringLiteral("this host was built without the V4L2 camera (OpenCV videoio)"));
#endif
    }
    case CameraType::Auto: {
        // The first kind that opens now; the simulated camera always does.
        CameraRequest chosen = request;
#ifdef HXL_HAVE_GENICAM
        {
            QString strAddress = request.address;
            if (strAddress.isEmpty()) {
                const QStringList ids = AravisCamera::discover();
                strAddress = ids.value(0);
            }
            if (!strAddress.isEmpty() && AravisCamera::probe(strAddress, nullptr)) {
                chosen.type = CameraType::GenICam;
                chosen.address = strAddress;
                return makeCamera(chosen, state, pError);
            }
        }
#endif
#ifdef HXL_HAVE_V4L2
        for (int i = 0; i < 4; ++i) {
            const QString strDevice = QStringLiteral("/dev/video%1").arg(i);
            if (QFileInfo::exists(strDevice) && V4l2Camera::probe(strDevice, nullptr)) {
                chosen.type = CameraType::V4L2;
                chosen.address = strDevice;
                return makeCamera(chosen, state, pError);
            }
        }
#endif
        chosen.type = CameraType::Sim;
        return makeCamera(chosen, state, pError);
    }
    }
    return fail(QStringLiteral("unknown camera type"));
}

void openConfiguredCameras(HostState& state)
{
    const QJsonArray cameras = state.cameraManager.configuredCameras();
    if (cameras.isEmpty())
        return;
    std::vector<std::unique_ptr<HostCamera>> opened;
    for (int i = 0; i < cameras.size(); ++i) {
        CameraRequest request;
        QString strWhy;
        std::unique_ptr<HostCamera> pCamera;
        if (HostSim::cameraRequestFromJson(cameras.at(i).toObject(), request, &strWhy))
            pCamera = makeCamera(request, state, &strWhy);
        if (!pCamera) {
            HostSim::tellOperator(QStringLiteral("camera %1 of the configuration skipped: %2").arg(i + 1).arg(strWhy));
            continue;
        }
        opened.push_back(std::move(pCamera));
    }
    if (opened.empty())
        return;
    state.cameraManager.removeAllCameras();
    for (auto& pCamera : opened)
        state.cameraManager.addCamera(std::move(pCamera));
    process().bCamerasFromConfiguration = true;
}

} // namespace

HostCamera* HostSim::addCamera(const CameraRequest& request, QString* pError)
{
    HostState& state = hostState();
    std::unique_ptr<HostCamera> pCamera = makeCamera(request, state, pError);
    if (!pCamera)
        return nullptr;
    return state.cameraManager.addCamera(std::move(pCamera));
}

SimDatabase& HostSim::database()
{
    return hostState().database;
}

SimView& HostSim::view()
{
    return hostState().view;
}

SimLocatorManager& HostSim::locator()
{
    return hostState().locator;
}

SimCombineManager& HostSim::combineManager()
{
    return hostState().combineManager;
}

void HostSim::setSearchRangeCalibPer(double dLeft, double dRight, double dBottom, double dTop)
{
    double* p = hostState().calibPer;
    p[0] = dLeft;
    p[1] = dRight;
    p[2] = dBottom;
    p[3] = dTop;
}

void HostSim::setSearchRangeSelectedPer(double dLeft, double dRight, double dBottom, double dTop)
{
    double* p = hostState().selectedPer;
    p[0] = dLeft;
    p[1] = dRight;
    p[2] = dBottom;
    p[3] = dTop;
}

void HostSim::searchRangeSelectedPer(double& dLeft, double& dRight, double& dBottom, double& dTop)
{
    const double* p = hostState().selectedPer;
    dLeft = p[0];
    dRight = p[1];
    dBottom = p[2];
    dTop = p[3];
}

void HostSim::setMainWindow(IMainWindow* pMainWindow)
{
    hostState().pMainWindow = pMainWindow;
}

UiUserConfig& HostSim::uiConfig()
{
    return hostState().uiConfig;
}

bool HostSim::isOpenFile()
{
    return hostState().bOpenFile;
}

void HostSim::calibrationPosition(double& dX, double& dY)
{
    dX = hostState().dCalX;
    dY = hostState().dCalY;
}

QPointF HostSim::markAtHead(double dDiameterMm)
{
    HostState& state = hostState();
    double dX = 0.0, dY = 0.0;
    state.machine.position(dX, dY);
    state.workpiece.addMark(QPointF(dX, dY), dDiameterMm);
    return QPointF(dX, dY);
}

} // namespace hostsim

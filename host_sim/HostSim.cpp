#include "HostSim.h"

#include "HostJournal.h"
#include "HostState.h"
#include "HostCamera.h"
#include "SimCamera.h"
#include "SimEvents.h"
#ifdef HXL_HAVE_GENICAM
#include "AravisCamera.h"
#endif
#ifdef HXL_HAVE_V4L2
#include "V4l2Camera.h"
#endif

#include "host/HXL_ServiceKeys.h"
#include "host/IServiceManager.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

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
    hostState(); // builds the new state, registers it and reads the configuration
}

Journal& HostSim::journal()
{
    return process().journal;
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

QStringList cameraTypeNames()
{
    return {QStringLiteral("Auto"), QStringLiteral("Sim"), QStringLiteral("GenICam"), QStringLiteral("V4L2")};
}

bool cameraTypeFromName(const QString& strName, CameraType& type)
{
    const QStringList names = cameraTypeNames();
    for (int i = 0; i < names.size(); ++i) {
        if (names[i].compare(strName.trimmed(), Qt::CaseInsensitive) == 0) {
            type = static_cast<CameraType>(i);
            return true;
        }
    }
    return false;
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

bool HostSim::cameraRequestFromJson(const QJsonObject& entry, CameraRequest& request, QString* pError)
{
    auto fail = [pError](const QString& strWhy) {
        if (pError)
            *pError = strWhy;
        return false;
    };
    request = CameraRequest();
    const QString strType = entry.value(QStringLiteral("type")).toString(QStringLiteral("Sim"));
    if (!cameraTypeFromName(strType, request.type))
        return fail(QStringLiteral("unknown camera type \"%1\" (expected one of %2)")
                        .arg(strType, cameraTypeNames().join(QStringLiteral(", "))));
    request.address = entry.value(QStringLiteral("address")).toString();
    request.name = entry.value(QStringLiteral("name")).toString();
    request.pixelFormat = entry.value(QStringLiteral("pixelFormat")).toString();
    request.width = entry.value(QStringLiteral("width")).toInt(0);
    request.height = entry.value(QStringLiteral("height")).toInt(0);
    request.mmPerPixel = entry.value(QStringLiteral("mmPerPixel")).toDouble(0.02);
    request.calibrated = entry.value(QStringLiteral("calibrated")).toBool(true);
    if (!(request.mmPerPixel > 0.0))
        return fail(QStringLiteral("\"mmPerPixel\" must be above 0"));
    if (request.width < 0 || request.height < 0)
        return fail(QStringLiteral("\"width\" and \"height\" must not be negative"));
    request.sim.name = request.name.isEmpty() ? request.sim.name : request.name;
    if (request.width > 0 && request.height > 0) {
        request.sim.width = request.width;
        request.sim.height = request.height;
    }
    request.sim.colour = entry.value(QStringLiteral("colour")).toBool(true);
    request.sim.mmPerPixel = request.mmPerPixel;
    request.sim.calibrated = request.calibrated;
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
            std::fprintf(stderr, "host_sim: camera %d of the configuration skipped: %s\n", i + 1, qPrintable(strWhy));
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

} // namespace hostsim

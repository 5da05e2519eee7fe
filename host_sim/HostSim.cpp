#include "HostSim.h"

#include "HostJournal.h"
#include "HostState.h"
#include "SimCamera.h"
#include "SimEvents.h"

#include "host/HXL_ServiceKeys.h"
#include "host/IServiceManager.h"

#include <QDir>

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

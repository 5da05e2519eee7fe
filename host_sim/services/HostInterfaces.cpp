// Out-of-line members of the host declarations: their vtables and type
// information live in the host library, so that dynamic_cast across the
// module boundary compares one type_info per interface.

#include "host/IHXLLanguageManager.h"
#include "host/IServiceManager.h"
#include "host/IZKDatabase.h"
#include "host/IZKEventManger.h"
#include "host/IZKRobotService.h"
#include "host/IZKVisionCameraManager.h"
#include "host/ZKAppService.h"
#include "host/ZKCCDImageCombineManager.h"
#include "host/ZKVisionLocatorManager.h"
#include "host/ZKWindowManager.h"

#include "HostJournal.h"
#include "HostSim.h"

IService::~IService() = default;
IZKBound::~IZKBound() = default;
IZKEntity::~IZKEntity() = default;
IZKLayer::~IZKLayer() = default;
IZKLayerTable::~IZKLayerTable() = default;
IZKShapeTable::~IZKShapeTable() = default;
IZKDatabase::~IZKDatabase() = default;
ImageAdapter::~ImageAdapter() = default;
IZKCameraCalibration::~IZKCameraCalibration() = default;
IZKVisionCamera::~IZKVisionCamera() = default;
IZKEventManger::~IZKEventManger() = default;
IHXLLanguageManager::~IHXLLanguageManager() = default;
IZKView::~IZKView() = default;
IZKDocument::~IZKDocument() = default;
ZKGloabVisionAppBase::~ZKGloabVisionAppBase() = default;
IZKMachine::~IZKMachine() = default;
ZKVisionDataPoolManager::~ZKVisionDataPoolManager() = default;
ZKWindowManager::~ZKWindowManager() = default;

IZKEventListener::~IZKEventListener() = default;

void IZKEventListener::OnEvent(int, int*) {}

IServiceManager* IServiceManager::singleton()
{
    static IServiceManager s_manager;
    return &s_manager;
}

IService* IServiceManager::RegisterService(int nKey, IService* pService)
{
    IService* pOld = nullptr;
    auto it = m_mapService.find(nKey);
    if (it != m_mapService.end())
        pOld = it->second;
    m_mapService[nKey] = pService;
    return pOld;
}

IService* IServiceManager::UnregisterService(int nKey)
{
    auto it = m_mapService.find(nKey);
    if (it == m_mapService.end())
        return nullptr;
    IService* pOld = it->second;
    m_mapService.erase(it);
    return pOld;
}

ZKProgressUI::ZKProgressUI(QWidget* pParent, Qt::WindowFlags flags) : QWidget(pParent, flags) {}
ZKProgressUI::~ZKProgressUI() = default;

IMainWindow::IMainWindow(QWidget* pParent) : QMainWindow(pParent) {}
IMainWindow::~IMainWindow() = default;

void IMainWindow::slotImageParamChanged()
{
    hostsim::HostSim::journal().append(QStringLiteral("IMainWindow::slotImageParamChanged()"));
}

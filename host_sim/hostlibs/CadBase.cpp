// HXL_CadBase: service registry, event manager and listener base, drawing
// entities and their factories, work path, image resolution, machine position
// and moves, polyline release.

#include "HostLibraryHooks.h"

#include "host/HXL_HostFunctions.h"
#include "host/IServiceManager.h"
#include "host/IZKDatabase.h"
#include "host/IZKEventManger.h"
#include "host/ZKGeometry.h"

namespace hxlhostlibs {
CadBaseHooks& cadBaseHooks()
{
    static CadBaseHooks s_hooks;
    return s_hooks;
}
} // namespace hxlhostlibs

using hxlhostlibs::cadBaseHooks;

IService::~IService() = default;
IZKBound::~IZKBound() = default;
IZKEntity::~IZKEntity() = default;
IZKLayer::~IZKLayer() = default;
IZKLayerTable::~IZKLayerTable() = default;
IZKShapeTable::~IZKShapeTable() = default;
IZKDatabase::~IZKDatabase() = default;
IZKEntityFactory::~IZKEntityFactory() = default;
IZKPartFactory::~IZKPartFactory() = default;
IZKEventManger::~IZKEventManger() = default;

IZKEventListener::~IZKEventListener() = default;

void IZKEventListener::OnEvent(int, int*) {}

IZKEventManger* IZKEventManger::singleton()
{
    return cadBaseHooks().eventManager ? cadBaseHooks().eventManager() : nullptr;
}

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

std::string GetCurrentWorkPath()
{
    return cadBaseHooks().GetCurrentWorkPath ? cadBaseHooks().GetCurrentWorkPath() : std::string();
}

bool IsFileExists(const std::string& strPath)
{
    return cadBaseHooks().IsFileExists ? cadBaseHooks().IsFileExists(strPath) : false;
}

void HXL_GetCurPos(double& dX, double& dY)
{
    if (cadBaseHooks().HXL_GetCurPos) {
        cadBaseHooks().HXL_GetCurPos(dX, dY);
        return;
    }
    dX = 0.0;
    dY = 0.0;
}

int HXL_MachineMoveTo(double dX, double dY)
{
    return cadBaseHooks().HXL_MachineMoveTo ? cadBaseHooks().HXL_MachineMoveTo(dX, dY) : -1;
}

void BatchReleasePolyline(std::vector<IZKGePolyline*>& vecPolylines)
{
    if (cadBaseHooks().BatchReleasePolyline) {
        cadBaseHooks().BatchReleasePolyline(vecPolylines);
        return;
    }
    for (IZKGePolyline* pLine : vecPolylines)
        if (pLine)
            pLine->Release();
    vecPolylines.clear();
}

int HXL_GetImageDpi()
{
    return cadBaseHooks().HXL_GetImageDpi ? cadBaseHooks().HXL_GetImageDpi() : 96;
}

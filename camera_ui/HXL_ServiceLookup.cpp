#include "HXL_ModuleGlobals.h"

#include "host/HXL_ServiceKeys.h"
#include "host/IServiceManager.h"
#include "host/IZKDatabase.h"
#include "host/IZKRobotService.h"
#include "host/IZKVisionCameraManager.h"
#include "host/ZKAppService.h"
#include "host/ZKCCDImageCombineManager.h"
#include "host/ZKVisionLocatorManager.h"

namespace {

// The registry is an ordered map: take the first entry not below the key and
// accept it only when its key is the wanted one.
template <class Interface>
Interface* findService(int nKey)
{
    const auto& services = IServiceManager::singleton()->m_mapService;
    const auto it = services.lower_bound(nKey);
    if (it == services.end() || it->first > nKey)
        return nullptr;
    return dynamic_cast<Interface*>(it->second);
}

} // namespace

IZKVisionCameraManager* HXL_GetVisionCameraManager()
{
    return findService<IZKVisionCameraManager>(HXLServiceKey::VisionCameraManager);
}

ZKAppService* HXL_GetAppService()
{
    return findService<ZKAppService>(HXLServiceKey::AppService);
}

IZKEntityFactory* HXL_GetEntityFactory()
{
    return findService<IZKEntityFactory>(HXLServiceKey::EntityFactory);
}

IZKRobotService* HXL_GetRobotService()
{
    return findService<IZKRobotService>(HXLServiceKey::RobotService);
}

ZKCCDImageCombineManager* HXL_GetCCDImageCombineManager()
{
    return findService<ZKCCDImageCombineManager>(HXLServiceKey::CCDImageCombineManager);
}

IZKPartFactory* HXL_GetPartFactory()
{
    return findService<IZKPartFactory>(HXLServiceKey::PartFactory);
}

ZKVisionLocatorManager* HXL_GetVisionLocatorManager()
{
    return findService<ZKVisionLocatorManager>(HXLServiceKey::VisionLocatorManager);
}

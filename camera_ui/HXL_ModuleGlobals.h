#pragma once

// Module-wide state and the ways the module reaches the host (internal header,
// included by every source file of the module).

#include "HXL_CameraTypeNames.h"
#include "HXL_CameraUI_global.h"

class IZKVisionCameraManager;
class ZKAppService;
class IZKEntityFactory;
class IZKRobotService;
class ZKCCDImageCombineManager;
class IZKPartFactory;
class ZKVisionLocatorManager;

// Host services, found afresh on every call in the host's service registry:
// the entry with exactly the wanted key, cast to the wanted interface; null
// when the key is missing or the service has another type.
IZKVisionCameraManager* HXL_GetVisionCameraManager();
ZKAppService* HXL_GetAppService();
IZKEntityFactory* HXL_GetEntityFactory();
IZKRobotService* HXL_GetRobotService();
ZKCCDImageCombineManager* HXL_GetCCDImageCombineManager();
IZKPartFactory* HXL_GetPartFactory();
ZKVisionLocatorManager* HXL_GetVisionLocatorManager();

// HXL_VisionBase: drawing layer helpers, image range, locator and data-pool
// caches, image combine manager, screen size.

#include "HostLibraryHooks.h"

#include "host/HXL_HostFunctions.h"
#include "host/ZKCCDImageCombineManager.h"
#include "host/ZKVisionLocatorManager.h"

namespace hxlhostlibs {
VisionBaseHooks& visionBaseHooks()
{
    static VisionBaseHooks s_hooks;
    return s_hooks;
}
} // namespace hxlhostlibs

using hxlhostlibs::visionBaseHooks;

ZKVisionDataPoolManager::~ZKVisionDataPoolManager() = default;
ZKVisionLocatorManager::~ZKVisionLocatorManager() = default;
ZKCCDImageCombineManager::~ZKCCDImageCombineManager() = default;

void FTGetScreenSize(int nScreen, int& nWidth, int& nHeight)
{
    if (visionBaseHooks().FTGetScreenSize) {
        visionBaseHooks().FTGetScreenSize(nScreen, nWidth, nHeight);
        return;
    }
    nWidth = 1920;
    nHeight = 1080;
}

void ClearLayerData(IZKDatabase* pDatabase, int nLayer, bool bUpdate)
{
    if (visionBaseHooks().ClearLayerData)
        visionBaseHooks().ClearLayerData(pDatabase, nLayer, bUpdate);
}

void ClearExceptLayer(IZKDatabase* pDatabase, const std::vector<int>& vecKeepLayers)
{
    if (visionBaseHooks().ClearExceptLayer)
        visionBaseHooks().ClearExceptLayer(pDatabase, vecKeepLayers);
}

void GetLayerData(IZKDatabase* pDatabase, int nLayer, std::vector<IZKEntity*>& vecEntities)
{
    if (visionBaseHooks().GetLayerData)
        visionBaseHooks().GetLayerData(pDatabase, nLayer, vecEntities);
}

void HXL_AddImageRange(IZKDatabase* pDatabase, IZKBound* pBound, IZKShapeTable* pShapeTable,
                       IZKLayerTable* pLayerTable, double dLeft, double dRight, double dBottom, double dTop,
                       int nLayer)
{
    if (visionBaseHooks().HXL_AddImageRange)
        visionBaseHooks().HXL_AddImageRange(pDatabase, pBound, pShapeTable, pLayerTable, dLeft, dRight, dBottom,
                                            dTop, nLayer);
}

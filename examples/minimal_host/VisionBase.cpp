// HXL_VisionBase of the minimal host: the drawing-layer helpers, the image
// range, the locator with its caches, the combine manager's interface and the
// screen size.

#include "MinimalHost.h"

#include <host/HXL_HostFunctions.h>
#include <host/HXL_ServiceKeys.h>
#include <host/IZKDatabase.h>
#include <host/ZKCCDImageCombineManager.h>
#include <host/ZKVisionLocatorManager.h>

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>

ZKVisionLocatorManager::~ZKVisionLocatorManager() = default;
ZKVisionDataPoolManager::~ZKVisionDataPoolManager() = default;
ZKCCDImageCombineManager::~ZKCCDImageCombineManager() = default;

namespace {

int layerOf(IZKEntity* pEntity)
{
    return pEntity->GetLayer() ? pEntity->GetLayer()->GetLayerId() : 0;
}

// Releases (which also takes out of the table) every entity that pRemove picks.
template <class Pick>
void releaseEntities(IZKDatabase* pDatabase, Pick pRemove)
{
    IZKShapeTable* pShapes = pDatabase ? pDatabase->GetShapeTable() : nullptr;
    if (!pShapes)
        return;
    std::vector<IZKEntity*> doomed;
    for (int i = 0; i < pShapes->GetEntityCount(); ++i)
        if (pRemove(pShapes->GetEntityAt(i)))
            doomed.push_back(pShapes->GetEntityAt(i));
    for (IZKEntity* pEntity : doomed)
        pEntity->Release();
}

class DataPool : public ZKVisionDataPoolManager
{
public:
    void ClearCache() override {}
    void ClearOverlapCache() override {}
    void ClearOneOverlapCache() override {}
};

class Locator : public ZKVisionLocatorManager
{
public:
    ZKVisionDataPoolManager* GetDataPoolMgr() override { return &m_pool; }
    void AddSearchDataToMap(std::string, IZKDatabase*) override {}

private:
    DataPool m_pool;
};

} // namespace

void MinimalHost_RegisterVisionServices()
{
    static Locator s_locator;
    IServiceManager::singleton()->RegisterService(HXLServiceKey::VisionLocatorManager, &s_locator);
}

void ClearLayerData(IZKDatabase* pDatabase, int nLayer, bool bUpdate)
{
    releaseEntities(pDatabase, [nLayer](IZKEntity* pEntity) { return layerOf(pEntity) == nLayer; });
    if (pDatabase && bUpdate)
        pDatabase->Update();
}

void ClearExceptLayer(IZKDatabase* pDatabase, const std::vector<int>& vecKeepLayers)
{
    releaseEntities(pDatabase, [&](IZKEntity* pEntity) {
        return std::find(vecKeepLayers.begin(), vecKeepLayers.end(), layerOf(pEntity)) == vecKeepLayers.end();
    });
}

void GetLayerData(IZKDatabase* pDatabase, int nLayer, std::vector<IZKEntity*>& vecEntities)
{
    IZKShapeTable* pShapes = pDatabase ? pDatabase->GetShapeTable() : nullptr;
    for (int i = 0; pShapes && i < pShapes->GetEntityCount(); ++i)
        if (layerOf(pShapes->GetEntityAt(i)) == nLayer)
            vecEntities.push_back(pShapes->GetEntityAt(i));
}

void HXL_AddImageRange(IZKDatabase* pDatabase, IZKBound* pBound, IZKShapeTable* pShapeTable,
                       IZKLayerTable* pLayerTable, double dLeft, double dRight, double dBottom, double dTop,
                       int nLayer)
{
    if (!pDatabase || !pBound || !pBound->IsValid() || !pShapeTable || !pLayerTable)
        return;
    const double x0 = pBound->GetMinX() + pBound->GetWidth() * dLeft;
    const double x1 = pBound->GetMinX() + pBound->GetWidth() * dRight;
    const double y0 = pBound->GetMinY() + pBound->GetHeight() * dBottom;
    const double y1 = pBound->GetMinY() + pBound->GetHeight() * dTop;
    IZKGePolyline* pLine = MinimalHost_NewPolyline();
    for (const ZKGePoint& pt : {ZKGePoint(x0, y1), ZKGePoint(x1, y1), ZKGePoint(x1, y0), ZKGePoint(x0, y0),
                                ZKGePoint(x0, y1)})
        pLine->AddVertex(pt);
    pLine->SetLayer(pLayerTable->GetLayer(nLayer));
    pShapeTable->AppendEntity(pLine);
}

void FTGetScreenSize(int nScreen, int& nWidth, int& nHeight)
{
    nWidth = 1920;
    nHeight = 1080;
    const QList<QScreen*> screens = QGuiApplication::screens();
    QScreen* pScreen = nScreen >= 0 && nScreen < screens.size() ? screens.at(nScreen) : QGuiApplication::primaryScreen();
    if (pScreen) {
        nWidth = pScreen->geometry().width();
        nHeight = pScreen->geometry().height();
    }
}

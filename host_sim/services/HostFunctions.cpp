// What the host libraries' free functions do, on the replacement host's
// state. The libraries named after the host's reach these through their hook
// tables (HostLibraryBinding.cpp).

#include "services/HostFunctions.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "HostState.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QScreen>

#include <algorithm>

using hostsim::HostSim;
using hostsim::hostState;
using hostsim::jnum;

namespace {
int g_nFallbackScreenW = 1920;
int g_nFallbackScreenH = 1080;
} // namespace

void hostsim::HostSim::setFallbackScreenSize(int nWidth, int nHeight)
{
    g_nFallbackScreenW = nWidth;
    g_nFallbackScreenH = nHeight;
}

namespace hostsim::hostfn {

std::string GetCurrentWorkPath()
{
    HostSim::journal().append(QStringLiteral("GetCurrentWorkPath()"));
    return HostSim::workPath().toLocal8Bit().toStdString();
}

bool IsFileExists(const std::string& strPath)
{
    const QString path = QString::fromLocal8Bit(strPath.c_str());
    HostSim::journal().append(QStringLiteral("IsFileExists(%1)").arg(path));
    return QFileInfo(path).isFile();
}

void FTGetScreenSize(int nScreen, int& nWidth, int& nHeight)
{
    HostSim::journal().append(QStringLiteral("FTGetScreenSize(%1)").arg(nScreen));
    nWidth = g_nFallbackScreenW;
    nHeight = g_nFallbackScreenH;
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return;
    const QList<QScreen*> screens = QGuiApplication::screens();
    QScreen* pScreen = (nScreen >= 0 && nScreen < screens.size()) ? screens.at(nScreen) : QGuiApplication::primaryScreen();
    if (!pScreen)
        return;
    nWidth = pScreen->geometry().width();
    nHeight = pScreen->geometry().height();
}

void HXL_GetCurPos(double& dX, double& dY)
{
    hostState().machine.position(dX, dY);
    HostSim::journal().append(QStringLiteral("HXL_GetCurPos() = (%1, %2)").arg(jnum(dX), jnum(dY)));
}

int HXL_MachineMoveTo(double dX, double dY)
{
    HostSim::journal().append(QStringLiteral("HXL_MachineMoveTo(%1, %2)").arg(jnum(dX), jnum(dY)));
    hostState().machine.startMove(dX, dY);
    return 0;
}

void MovableCam_SetCurMachineMmPos(double dX, double dY)
{
    HostSim::journal().append(QStringLiteral("MovableCam_SetCurMachineMmPos(%1, %2)").arg(jnum(dX), jnum(dY)));
    hostState().dCalX = dX;
    hostState().dCalY = dY;
}

void ClearLayerData(IZKDatabase* pDatabase, int nLayer, bool bUpdate)
{
    HostSim::journal().append(QStringLiteral("ClearLayerData(%1, %2)").arg(nLayer).arg(bUpdate ? "true" : "false"));
    auto* pDb = dynamic_cast<hostsim::SimDatabase*>(pDatabase);
    if (!pDb)
        return;
    for (IZKEntity* pEntity : pDb->entitiesOnLayer(nLayer)) {
        pDb->destroy(pEntity);
    }
    if (bUpdate)
        pDb->Update();
}

void ClearExceptLayer(IZKDatabase* pDatabase, const std::vector<int>& vecKeepLayers)
{
    QStringList keep;
    for (int nLayer : vecKeepLayers)
        keep << QString::number(nLayer);
    HostSim::journal().append(QStringLiteral("ClearExceptLayer(%1)").arg(keep.join(QStringLiteral(", "))));
    auto* pDb = dynamic_cast<hostsim::SimDatabase*>(pDatabase);
    if (!pDb)
        return;
    const std::vector<IZKEntity*> entities = pDb->shapes().entities();
    for (IZKEntity* pEntity : entities) {
        const int nLayer = pEntity->GetLayer() ? pEntity->GetLayer()->GetLayerId() : 0;
        if (std::find(vecKeepLayers.begin(), vecKeepLayers.end(), nLayer) == vecKeepLayers.end()) {
            pDb->destroy(pEntity);
        }
    }
}

void GetLayerData(IZKDatabase* pDatabase, int nLayer, std::vector<IZKEntity*>& vecEntities)
{
    HostSim::journal().append(QStringLiteral("GetLayerData(%1)").arg(nLayer));
    auto* pDb = dynamic_cast<hostsim::SimDatabase*>(pDatabase);
    if (!pDb)
        return;
    const std::vector<IZKEntity*> entities = pDb->entitiesOnLayer(nLayer);
    vecEntities.insert(vecEntities.end(), entities.begin(), entities.end());
}

void HXL_AddImageRange(IZKDatabase* pDatabase, IZKBound* pBound, IZKShapeTable* pShapeTable,
                       IZKLayerTable* pLayerTable, double dLeft, double dRight, double dBottom, double dTop,
                       int nLayer)
{
    HostSim::journal().append(QStringLiteral("HXL_AddImageRange(%1, %2, %3, %4, %5)")
                                  .arg(jnum(dLeft), jnum(dRight), jnum(dBottom), jnum(dTop))
                                  .arg(nLayer));
    if (!pDatabase || !pBound || !pBound->IsValid() || !pShapeTable || !pLayerTable)
        return;
    const double x0 = pBound->GetMinX() + pBound->GetWidth() * dLeft;
    const double x1 = pBound->GetMinX() + pBound->GetWidth() * dRight;
    const double y0 = pBound->GetMinY() + pBound->GetHeight() * dBottom;
    const double y1 = pBound->GetMinY() + pBound->GetHeight() * dTop;
    auto* pLine = new hostsim::SimPolyline();
    pLine->AddVertex(ZKGePoint(x0, y1));
    pLine->AddVertex(ZKGePoint(x1, y1));
    pLine->AddVertex(ZKGePoint(x1, y0));
    pLine->AddVertex(ZKGePoint(x0, y0));
    pLine->AddVertex(ZKGePoint(x0, y1));
    pLine->SetLayer(pLayerTable->GetLayer(nLayer));
    pShapeTable->AppendEntity(pLine);
}

void BatchReleasePolyline(std::vector<IZKGePolyline*>& vecPolylines)
{
    HostSim::journal().append(QStringLiteral("BatchReleasePolyline(%1)").arg(vecPolylines.size()));
    for (IZKGePolyline* pLine : vecPolylines)
        if (pLine)
            pLine->Release();
    vecPolylines.clear();
}

int HXL_GetImageDpi()
{
    HostSim::journal().append(QStringLiteral("HXL_GetImageDpi()"));
    return hostState().nImageDpi;
}

bool HXL_GetIsOpenFile()
{
    HostSim::journal().append(QStringLiteral("HXL_GetIsOpenFile()"));
    return hostState().bOpenFile;
}

void HXL_SetIsOpenFile(bool bOpenFile)
{
    HostSim::journal().append(QStringLiteral("HXL_SetIsOpenFile(%1)").arg(bOpenFile ? "true" : "false"));
    hostState().bOpenFile = bOpenFile;
}

void Dll_HXL_VisionFeature_GetSearchRangeCalibPer(double& dLeft, double& dRight, double& dBottom, double& dTop)
{
    const double* p = hostState().calibPer;
    dLeft = p[0];
    dRight = p[1];
    dBottom = p[2];
    dTop = p[3];
    HostSim::journal().append(QStringLiteral("Dll_HXL_VisionFeature_GetSearchRangeCalibPer()"));
}

void Dll_HXL_VisionFeature_GetSearchRangeSelectedPer(double& dLeft, double& dRight, double& dBottom, double& dTop)
{
    const double* p = hostState().selectedPer;
    dLeft = p[0];
    dRight = p[1];
    dBottom = p[2];
    dTop = p[3];
    HostSim::journal().append(QStringLiteral("Dll_HXL_VisionFeature_GetSearchRangeSelectedPer()"));
}

void Dll_HXL_VisionFeature_SetSearchRangeSelectedPer(double dLeft, double dRight, double dBottom, double dTop)
{
    HostSim::journal().append(QStringLiteral("Dll_HXL_VisionFeature_SetSearchRangeSelectedPer(%1, %2, %3, %4)")
                                  .arg(jnum(dLeft), jnum(dRight), jnum(dBottom), jnum(dTop)));
    double* p = hostState().selectedPer;
    p[0] = dLeft;
    p[1] = dRight;
    p[2] = dBottom;
    p[3] = dTop;
}

} // namespace hostsim::hostfn

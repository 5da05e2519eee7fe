#pragma once

// The replacement host is built as the eight libraries named after the host's
// (HXL_CadBase, HXL_VisionCameraManager, HXL_VisionBase, HXL_VisionFeature,
// HXL_VisionCameraCalibration, HXL_CommonCtrl, HXL_ControlCard, HXL_Language)
// plus one implementation library, HXL_HostSim, that the module never links.
//
// The eight libraries hold what a module imports: the out-of-line members of
// the host's interfaces (so their type information lives there, once), the
// registry and the free functions. What a free function or a singleton does
// depends on the simulator's state, which lives in HXL_HostSim; HXL_HostSim
// links the eight libraries (its classes derive from their interfaces), so the
// calls the other way go through these tables, which HXL_HostSim fills when it
// is loaded. An entry left empty answers like a host with nothing set up.

#include "host/HXL_HostExport.h"

#include <string>
#include <vector>

class IHXLLanguageManager;
class IZKBound;
class IZKDatabase;
class IZKEntity;
class IZKEventManger;
class IZKGePolyline;
class IZKLayerTable;
class IZKShapeTable;
class ZKWindowManager;

namespace hxlhostlibs {

struct CadBaseHooks
{
    std::string (*GetCurrentWorkPath)() = nullptr;
    bool (*IsFileExists)(const std::string& strPath) = nullptr;
    void (*HXL_GetCurPos)(double& dX, double& dY) = nullptr;
    int (*HXL_MachineMoveTo)(double dX, double dY) = nullptr;
    void (*BatchReleasePolyline)(std::vector<IZKGePolyline*>& vecPolylines) = nullptr;
    int (*HXL_GetImageDpi)() = nullptr;
    IZKEventManger* (*eventManager)() = nullptr;
};
HXL_CADBASE_EXPORT CadBaseHooks& cadBaseHooks();

struct VisionCameraManagerHooks
{
    bool (*HXL_GetIsOpenFile)() = nullptr;
    void (*HXL_SetIsOpenFile)(bool bOpenFile) = nullptr;
};
HXL_VISIONCAMERAMANAGER_EXPORT VisionCameraManagerHooks& visionCameraManagerHooks();

struct VisionBaseHooks
{
    void (*FTGetScreenSize)(int nScreen, int& nWidth, int& nHeight) = nullptr;
    void (*ClearLayerData)(IZKDatabase* pDatabase, int nLayer, bool bUpdate) = nullptr;
    void (*ClearExceptLayer)(IZKDatabase* pDatabase, const std::vector<int>& vecKeepLayers) = nullptr;
    void (*GetLayerData)(IZKDatabase* pDatabase, int nLayer, std::vector<IZKEntity*>& vecEntities) = nullptr;
    void (*HXL_AddImageRange)(IZKDatabase* pDatabase, IZKBound* pBound, IZKShapeTable* pShapeTable,
                              IZKLayerTable* pLayerTable, double dLeft, double dRight, double dBottom, double dTop,
                              int nLayer) = nullptr;
};
HXL_VISIONBASE_EXPORT VisionBaseHooks& visionBaseHooks();

struct VisionFeatureHooks
{
    void (*GetSearchRangeCalibPer)(double& dLeft, double& dRight, double& dBottom, double& dTop) = nullptr;
    void (*GetSearchRangeSelectedPer)(double& dLeft, double& dRight, double& dBottom, double& dTop) = nullptr;
    void (*SetSearchRangeSelectedPer)(double dLeft, double dRight, double dBottom, double dTop) = nullptr;
};
HXL_VISIONFEATURE_EXPORT VisionFeatureHooks& visionFeatureHooks();

struct VisionCameraCalibrationHooks
{
    void (*MovableCam_SetCurMachineMmPos)(double dX, double dY) = nullptr;
};
HXL_VISIONCAMERACALIBRATION_EXPORT VisionCameraCalibrationHooks& visionCameraCalibrationHooks();

struct CommonCtrlHooks
{
    ZKWindowManager* (*windowManager)() = nullptr;
    void (*imageParamChanged)() = nullptr;
};
HXL_COMMONCTRL_EXPORT CommonCtrlHooks& commonCtrlHooks();

struct LanguageHooks
{
    IHXLLanguageManager* (*create)() = nullptr;
};
HXL_LANGUAGE_EXPORT LanguageHooks& languageHooks();

} // namespace hxlhostlibs

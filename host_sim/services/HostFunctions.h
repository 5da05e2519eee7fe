#pragma once

// The replacement host's side of the host libraries' free functions (same
// names and meanings as host/HXL_HostFunctions.h).

#include "host/HXL_HostFunctions.h"

namespace hostsim::hostfn {
std::string GetCurrentWorkPath();
bool IsFileExists(const std::string& strPath);
void FTGetScreenSize(int nScreen, int& nWidth, int& nHeight);
void HXL_GetCurPos(double& dX, double& dY);
int HXL_MachineMoveTo(double dX, double dY);
void MovableCam_SetCurMachineMmPos(double dX, double dY);
void ClearLayerData(IZKDatabase* pDatabase, int nLayer, bool bUpdate);
void ClearExceptLayer(IZKDatabase* pDatabase, const std::vector<int>& vecKeepLayers);
void GetLayerData(IZKDatabase* pDatabase, int nLayer, std::vector<IZKEntity*>& vecEntities);
void HXL_AddImageRange(IZKDatabase* pDatabase, IZKBound* pBound, IZKShapeTable* pShapeTable,
                       IZKLayerTable* pLayerTable, double dLeft, double dRight, double dBottom, double dTop,
                       int nLayer);
void BatchReleasePolyline(std::vector<IZKGePolyline*>& vecPolylines);
int HXL_GetImageDpi();
bool HXL_GetIsOpenFile();
void HXL_SetIsOpenFile(bool bOpenFile);
void Dll_HXL_VisionFeature_GetSearchRangeCalibPer(double& dLeft, double& dRight, double& dBottom, double& dTop);
void Dll_HXL_VisionFeature_GetSearchRangeSelectedPer(double& dLeft, double& dRight, double& dBottom, double& dTop);
void Dll_HXL_VisionFeature_SetSearchRangeSelectedPer(double dLeft, double dRight, double dBottom, double dTop);
} // namespace hostsim::hostfn

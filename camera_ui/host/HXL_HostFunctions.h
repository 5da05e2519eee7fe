#pragma once

// Free functions of the host libraries.

#include "HXL_HostExport.h"

#include <string>
#include <vector>

class IZKBound;
class IZKDatabase;
class IZKEntity;
class IZKGePolyline;
class IZKLayerTable;
class IZKShapeTable;

// --- work path, files and screen ---------------------------------------------
// The host's work directory in the local 8-bit encoding, always ending in a separator.
HXL_HOST_EXPORT std::string GetCurrentWorkPath();
HXL_HOST_EXPORT bool IsFileExists(const std::string& strPath);
// Size of screen nScreen in pixels (the primary screen for an unknown index).
HXL_HOST_EXPORT void FTGetScreenSize(int nScreen, int& nWidth, int& nHeight);

// --- machine -------------------------------------------------------------------
// Current machine position in millimetres.
HXL_HOST_EXPORT void HXL_GetCurPos(double& dX, double& dY);
// Starts a move to (dX, dY) and returns at once; 0 when started.
HXL_HOST_EXPORT int HXL_MachineMoveTo(double dX, double dY);
// Tells the movable camera's calibration where the machine is (or will be)
// when the next picture is taken.
HXL_HOST_EXPORT void MovableCam_SetCurMachineMmPos(double dX, double dY);

// --- drawing layers ----------------------------------------------------------------
// Frees every entity on layer nLayer; bUpdate also updates the database.
HXL_HOST_EXPORT void ClearLayerData(IZKDatabase* pDatabase, int nLayer, bool bUpdate);
// Frees every entity whose layer is not in vecKeepLayers.
HXL_HOST_EXPORT void ClearExceptLayer(IZKDatabase* pDatabase, const std::vector<int>& vecKeepLayers);
// The entities of layer nLayer, in drawing order (still owned by the database).
HXL_HOST_EXPORT void GetLayerData(IZKDatabase* pDatabase, int nLayer, std::vector<IZKEntity*>& vecEntities);
// Adds to layer nLayer a closed rectangle covering the fractions of pBound:
// x from dLeft to dRight of its width, y from dBottom to dTop of its height,
// both counted from the bound's minimum (y upward).
HXL_HOST_EXPORT void HXL_AddImageRange(IZKDatabase* pDatabase, IZKBound* pBound, IZKShapeTable* pShapeTable,
                                       IZKLayerTable* pLayerTable, double dLeft, double dRight, double dBottom,
                                       double dTop, int nLayer);
// Releases every polyline of the vector and leaves it empty.
HXL_HOST_EXPORT void BatchReleasePolyline(std::vector<IZKGePolyline*>& vecPolylines);

// --- pictures --------------------------------------------------------------------
// Resolution (dots per inch) of the picture file read last; 96 when it has none.
HXL_HOST_EXPORT int HXL_GetImageDpi();
// True while the picture on show comes from a file rather than the camera.
HXL_HOST_EXPORT bool HXL_GetIsOpenFile();
HXL_HOST_EXPORT void HXL_SetIsOpenFile(bool bOpenFile);

// --- vision feature search ranges ---------------------------------------------------
// Fractions of the picture in the order left, right, bottom, top; x from the
// left edge, y upward from the bottom edge.
HXL_HOST_EXPORT void Dll_HXL_VisionFeature_GetSearchRangeCalibPer(double& dLeft, double& dRight, double& dBottom,
                                                                   double& dTop);
HXL_HOST_EXPORT void Dll_HXL_VisionFeature_GetSearchRangeSelectedPer(double& dLeft, double& dRight,
                                                                      double& dBottom, double& dTop);
HXL_HOST_EXPORT void Dll_HXL_VisionFeature_SetSearchRangeSelectedPer(double dLeft, double dRight, double dBottom,
                                                                      double dTop);

#pragma once

// Free functions of the host libraries, each marked with the library that
// holds it: HXL_CadBase (work path, files, image resolution, machine position
// and moves, polyline release), HXL_VisionBase (drawing layers, image range,
// screen size), HXL_VisionCameraManager (open-file flag),
// HXL_VisionCameraCalibration (the movable camera's machine position) and
// HXL_VisionFeature (search ranges).

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
HXL_CADBASE_EXPORT std::string GetCurrentWorkPath();
HXL_CADBASE_EXPORT bool IsFileExists(const std::string& strPath);
// Size of screen nScreen in pixels (the primary screen for an unknown index).
HXL_VISIONBASE_EXPORT void FTGetScreenSize(int nScreen, int& nWidth, int& nHeight);

// --- machine -------------------------------------------------------------------
// Current machine position in millimetres.
HXL_CADBASE_EXPORT void HXL_GetCurPos(double& dX, double& dY);
// Starts a move to (dX, dY) and returns at once; 0 when started.
HXL_CADBASE_EXPORT int HXL_MachineMoveTo(double dX, double dY);
// Tells the movable camera's calibration where the machine is (or will be)
// when the next picture is taken.
HXL_VISIONCAMERACALIBRATION_EXPORT void MovableCam_SetCurMachineMmPos(double dX, double dY);

// --- drawing layers ----------------------------------------------------------------
// Frees every entity on layer nLayer; bUpdate also updates the database.
HXL_VISIONBASE_EXPORT void ClearLayerData(IZKDatabase* pDatabase, int nLayer, bool bUpdate);
// Frees every entity whose layer is not in vecKeepLayers.
HXL_VISIONBASE_EXPORT void ClearExceptLayer(IZKDatabase* pDatabase, const std::vector<int>& vecKeepLayers);
// The entities of layer nLayer, in drawing order (still owned by the database).
HXL_VISIONBASE_EXPORT void GetLayerData(IZKDatabase* pDatabase, int nLayer, std::vector<IZKEntity*>& vecEntities);
// Adds to layer nLayer a closed rectangle covering the fractions of pBound:
// x from dLeft to dRight of its width, y from dBottom to dTop of its height,
// both counted from the bound's minimum (y upward).
HXL_VISIONBASE_EXPORT void HXL_AddImageRange(IZKDatabase* pDatabase, IZKBound* pBound, IZKShapeTable* pShapeTable,
                                       IZKLayerTable* pLayerTable, double dLeft, double dRight, double dBottom,
                                       double dTop, int nLayer);
// Releases every polyline of the vector and leaves it empty.
HXL_CADBASE_EXPORT void BatchReleasePolyline(std::vector<IZKGePolyline*>& vecPolylines);

// --- pictures --------------------------------------------------------------------
// Resolution (dots per inch) of the picture file read last; 96 when it has none.
HXL_CADBASE_EXPORT int HXL_GetImageDpi();
// True while the picture on show comes from a file rather than the camera.
HXL_VISIONCAMERAMANAGER_EXPORT bool HXL_GetIsOpenFile();
HXL_VISIONCAMERAMANAGER_EXPORT void HXL_SetIsOpenFile(bool bOpenFile);

// --- vision feature search ranges ---------------------------------------------------
// Fractions of the picture in the order left, right, bottom, top; x from the
// left edge, y upward from the bottom edge.
HXL_VISIONFEATURE_EXPORT void Dll_HXL_VisionFeature_GetSearchRangeCalibPer(double& dLeft, double& dRight, double& dBottom,
                                                                   double& dTop);
HXL_VISIONFEATURE_EXPORT void Dll_HXL_VisionFeature_GetSearchRangeSelectedPer(double& dLeft, double& dRight,
                                                                      double& dBottom, double& dTop);
HXL_VISIONFEATURE_EXPORT void Dll_HXL_VisionFeature_SetSearchRangeSelectedPer(double dLeft, double dRight, double dBottom,
                                                                      double dTop);

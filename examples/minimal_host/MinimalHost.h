#pragma once

// The minimal host's own functions: how its program sets up the services that
// its eight libraries provide. Each is exported by the library that holds it,
// with that library's export mark from the module's host declarations.

#include <host/HXL_HostExport.h>

#include <string>

class IZKBound;
class IZKDatabase;
class IZKDbImage;
class IZKGePolyline;

// --- HXL_CadBase -----------------------------------------------------------------
// The work directory (local 8-bit encoding, ending in a separator).
HXL_CADBASE_EXPORT void MinimalHost_SetWorkPath(const std::string& strPath);
// Publishes the entity and part factories in the registry.
HXL_CADBASE_EXPORT void MinimalHost_RegisterDrawingServices();
// New drawing objects, owned by the caller.
HXL_CADBASE_EXPORT IZKDatabase* MinimalHost_NewDatabase();
// Frees a drawing made by MinimalHost_NewDatabase, with every entity in it.
HXL_CADBASE_EXPORT void MinimalHost_DeleteDatabase(IZKDatabase* pDatabase);
HXL_CADBASE_EXPORT IZKDbImage* MinimalHost_NewDbImage(int nWidth, int nHeight);
HXL_CADBASE_EXPORT IZKGePolyline* MinimalHost_NewPolyline();
HXL_CADBASE_EXPORT IZKBound* MinimalHost_NewBound();

// --- HXL_VisionCameraManager -----------------------------------------------------------
// Publishes the camera manager with one test-pattern camera (640 x 480, colour).
HXL_VISIONCAMERAMANAGER_EXPORT void MinimalHost_RegisterCameraManager();
// Frames the camera has copied out (GrabImage returning 0), on any thread.
HXL_VISIONCAMERAMANAGER_EXPORT long MinimalHost_FramesDelivered();
// Millimetres per pixel of the test-pattern camera.
constexpr double kMinimalHostMmPerPixel = 0.05;

// --- HXL_VisionBase ------------------------------------------------------------------
// Publishes the locator (with its caches).
HXL_VISIONBASE_EXPORT void MinimalHost_RegisterVisionServices();

// --- HXL_VisionCameraCalibration --------------------------------------------------------
// The machine position given last to MovableCam_SetCurMachineMmPos.
HXL_VISIONCAMERACALIBRATION_EXPORT void MinimalHost_GetCalibrationPosition(double& dX, double& dY);

// --- HXL_CommonCtrl --------------------------------------------------------------------
// Publishes the application service (one document with an in-memory drawing).
HXL_COMMONCTRL_EXPORT void MinimalHost_RegisterAppService();
// The drawing of that document.
HXL_COMMONCTRL_EXPORT IZKDatabase* MinimalHost_Database();
// How often the view was asked to redraw.
HXL_COMMONCTRL_EXPORT int MinimalHost_ViewRefreshes();

// --- HXL_ControlCard -------------------------------------------------------------------
// Publishes the robot service with one idle machine.
HXL_CONTROLCARD_EXPORT void MinimalHost_RegisterRobotService();

// --- HXL_Language ----------------------------------------------------------------------
// The language every new language manager starts with ("en").
HXL_LANGUAGE_EXPORT void MinimalHost_SetLanguage(const char* szLanguage);

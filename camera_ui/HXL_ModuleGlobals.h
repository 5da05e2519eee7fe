#pragma once

// Module-wide state and the ways the module reaches the host (internal header,
// included by every source file of the module).

#include "HXL_CameraTypeNames.h"
#include "HXL_CameraUI_global.h"

#include <QString>

class IHXLLanguageManager;
class IZKVisionCameraManager;
class ZKAppService;
class IZKEntityFactory;
class IZKRobotService;
class ZKCCDImageCombineManager;
class IZKPartFactory;
class ZKVisionLocatorManager;
class HXL_AdvancedMorphologyDialog;
class HXL_AdvancedPreprocessingDialog;

// --- settings of "qcv.dat" (read at start, written at exit) -------------------
extern int isAutoPhoto;   // auto-photo switch; shown and saved only
extern int isOpenVideo;   // live video wanted (1) or switched off (0)
extern bool bIsDebug;     // take "VisSourcePicTest.jpg" instead of the camera; never written back
extern double dPerMinX;   // selected search range: left,
extern double dPerMaxX;   // right,
extern double dPerMinY;   // bottom,
extern double dPerMaxY;   // top, as fractions of the shown picture (y upward)

// The host's video-close flag: stored, read by nothing here.
extern int g_nVideoClose;

// The one language manager, made by HXL_CameraUI_ReadParam and never released.
extern IHXLLanguageManager* g_pLanguageManager;

// --- single-instance state of the panel and its dialogs ------------------------
extern bool g_bCanApply;            // the apply chain is not running
extern bool g_bCanCapture;          // no capture is running
extern bool g_bCameraChangeAllowed; // set by the host's camera selection, consumed by the panel
extern bool g_bSkipContextMenu;     // the next context menu only clears this
extern HXL_AdvancedMorphologyDialog* g_pMorphologyDialog;
extern HXL_AdvancedPreprocessingDialog* g_pPreprocessingDialog;
extern int g_nDotCount;             // marks of the processing notice, shared by every notice

// Visible text number nId from the host's language data (UTF-8); empty before
// HXL_CameraUI_ReadParam has made the language manager.
QString HXL_Text(int nId);

// The settings file: the host's work path followed directly by "qcv.dat".
QString HXL_SettingsFilePath();

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

// Compiles every installed public header of the module from the installed
// include directory, in the layout a host sees.

#include <HXL_CameraUI.h>
#include <HXL_CameraUI_global.h>
#include <IZKCostomCameraWidget.h>
#include <auxiliary/HXLCameraWidget.h>
#include <auxiliary/ZKCCDImageCombineUI.h>

#include <host/HXL_HostExport.h>
#include <host/HXL_HostFunctions.h>
#include <host/HXL_ServiceKeys.h>
#include <host/IHXLLanguageManager.h>
#include <host/IServiceManager.h>
#include <host/IZKDatabase.h>
#include <host/IZKEventManger.h>
#include <host/IZKRobotService.h>
#include <host/IZKVisionCameraManager.h>
#include <host/ZKAppService.h>
#include <host/ZKCCDImageCombineManager.h>
#include <host/ZKGeometry.h>
#include <host/ZKVisionLocatorManager.h>
#include <host/ZKWindowManager.h>

#include <type_traits>

static_assert(std::is_base_of<QWidget, HXLCameraWidget>::value, "HXLCameraWidget is a widget");
static_assert(std::is_base_of<QDialog, ZKCCDImageCombineUI>::value, "ZKCCDImageCombineUI is a dialog");
static_assert(std::is_base_of<IService, IZKVisionCameraManager>::value, "services derive from IService");

// HXL_VisionCameraManager: camera manager, cameras, image adapter, open-file flag.

#include "HostLibraryHooks.h"

#include "host/HXL_HostFunctions.h"
#include "host/IZKVisionCameraManager.h"

namespace hxlhostlibs {
VisionCameraManagerHooks& visionCameraManagerHooks()
{
    static VisionCameraManagerHooks s_hooks;
    return s_hooks;
}
} // namespace hxlhostlibs

using hxlhostlibs::visionCameraManagerHooks;

ImageAdapter::~ImageAdapter() = default;
IZKCameraCalibration::~IZKCameraCalibration() = default;
IZKVisionCamera::~IZKVisionCamera() = default;
IZKVisionCameraManager::~IZKVisionCameraManager() = default;

namespace {
// Without the replacement host the flag is simply kept here.
bool g_bOpenFile = false;
} // namespace

bool HXL_GetIsOpenFile()
{
    return visionCameraManagerHooks().HXL_GetIsOpenFile ? visionCameraManagerHooks().HXL_GetIsOpenFile() : g_bOpenFile;
}

void HXL_SetIsOpenFile(bool bOpenFile)
{
    if (visionCameraManagerHooks().HXL_SetIsOpenFile)
        visionCameraManagerHooks().HXL_SetIsOpenFile(bOpenFile);
    else
        g_bOpenFile = bOpenFile;
}

// HXL_VisionCameraCalibration: where the machine is for the movable camera.

#include "HostLibraryHooks.h"

#include "host/HXL_HostFunctions.h"

namespace hxlhostlibs {
VisionCameraCalibrationHooks& visionCameraCalibrationHooks()
{
    static VisionCameraCalibrationHooks s_hooks;
    return s_hooks;
}
} // namespace hxlhostlibs

void MovableCam_SetCurMachineMmPos(double dX, double dY)
{
    if (hxlhostlibs::visionCameraCalibrationHooks().MovableCam_SetCurMachineMmPos)
        hxlhostlibs::visionCameraCalibrationHooks().MovableCam_SetCurMachineMmPos(dX, dY);
}

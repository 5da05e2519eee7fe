// HXL_VisionCameraCalibration of the minimal host: where the machine is when
// the movable camera takes its next picture.

#include "MinimalHost.h"

#include <host/HXL_HostFunctions.h>

namespace {
double g_dX = 0.0;
double g_dY = 0.0;
} // namespace

void MovableCam_SetCurMachineMmPos(double dX, double dY)
{
    g_dX = dX;
    g_dY = dY;
}

void MinimalHost_GetCalibrationPosition(double& dX, double& dY)
{
    dX = g_dX;
    dY = g_dY;
}

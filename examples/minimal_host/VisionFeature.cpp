// HXL_VisionFeature of the minimal host: the two search ranges, as fractions
// left, right, bottom, top of the picture.

#include <host/HXL_HostFunctions.h>

namespace {
double g_calib[4] = {0.2, 0.8, 0.2, 0.8};
double g_selected[4] = {0.1, 0.9, 0.1, 0.9};
} // namespace

void Dll_HXL_VisionFeature_GetSearchRangeCalibPer(double& dLeft, double& dRight, double& dBottom, double& dTop)
{
    dLeft = g_calib[0];
    dRight = g_calib[1];
    dBottom = g_calib[2];
    dTop = g_calib[3];
}

void Dll_HXL_VisionFeature_GetSearchRangeSelectedPer(double& dLeft, double& dRight, double& dBottom, double& dTop)
{
    dLeft = g_selected[0];
    dRight = g_selected[1];
    dBottom = g_selected[2];
    dTop = g_selected[3];
}

void Dll_HXL_VisionFeature_SetSearchRangeSelectedPer(double dLeft, double dRight, double dBottom, double dTop)
{
    g_selected[0] = dLeft;
    g_selected[1] = dRight;
    g_selected[2] = dBottom;
    g_selected[3] = dTop;
}

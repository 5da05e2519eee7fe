// HXL_VisionFeature: the search-range fractions.

#include "HostLibraryHooks.h"

#include "host/HXL_HostFunctions.h"

namespace hxlhostlibs {
VisionFeatureHooks& visionFeatureHooks()
{
    static VisionFeatureHooks s_hooks;
    return s_hooks;
}
} // namespace hxlhostlibs

using hxlhostlibs::visionFeatureHooks;

namespace {
// Without the replacement host: the whole picture, kept here.
double g_calibPer[4] = {0.0, 1.0, 0.0, 1.0};
double g_selectedPer[4] = {0.0, 1.0, 0.0, 1.0};

void copyOut(const double* p, double& dLeft, double& dRight, double& dBottom, double& dTop)
{
    dLeft = p[0];
    dRight = p[1];
    dBottom = p[2];
    dTop = p[3];
}
} // namespace

void Dll_HXL_VisionFeature_GetSearchRangeCalibPer(double& dLeft, double& dRight, double& dBottom, double& dTop)
{
    if (visionFeatureHooks().GetSearchRangeCalibPer)
        visionFeatureHooks().GetSearchRangeCalibPer(dLeft, dRight, dBottom, dTop);
    else
        copyOut(g_calibPer, dLeft, dRight, dBottom, dTop);
}

void Dll_HXL_VisionFeature_GetSearchRangeSelectedPer(double& dLeft, double& dRight, double& dBottom, double& dTop)
{
    if (visionFeatureHooks().GetSearchRangeSelectedPer)
        visionFeatureHooks().GetSearchRangeSelectedPer(dLeft, dRight, dBottom, dTop);
    else
        copyOut(g_selectedPer, dLeft, dRight, dBottom, dTop);
}

void Dll_HXL_VisionFeature_SetSearchRangeSelectedPer(double dLeft, double dRight, double dBottom, double dTop)
{
    if (visionFeatureHooks().SetSearchRangeSelectedPer) {
        visionFeatureHooks().SetSearchRangeSelectedPer(dLeft, dRight, dBottom, dTop);
        return;
    }
    g_selectedPer[0] = dLeft;
    g_selectedPer[1] = dRight;
    g_selectedPer[2] = dBottom;
    g_selectedPer[3] = dTop;
}

// Connects the eight libraries named after the host's to the replacement
// host's state: when HXL_HostSim is loaded (which happens after the eight,
// since it links them) it fills their hook tables, and from then on a module
// calling, say, GetCurrentWorkPath in HXL_CadBase gets the simulator's answer.

#include "hostlibs/HostLibraryHooks.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "services/HostFunctions.h"
#include "services/SimEvents.h"
#include "services/SimLanguage.h"
#include "services/SimServices.h"

namespace {

IZKEventManger* eventManagerHook()
{
    return &hostsim::eventManager();
}

void imageParamChangedHook()
{
    hostsim::HostSim::journal().append(QStringLiteral("IMainWindow::slotImageParamChanged()"));
}

struct Binding
{
    Binding()
    {
        namespace fn = hostsim::hostfn;
        hxlhostlibs::CadBaseHooks& cad = hxlhostlibs::cadBaseHooks();
        cad.GetCurrentWorkPath = &fn::GetCurrentWorkPath;
        cad.IsFileExists = &fn::IsFileExists;
        cad.HXL_GetCurPos = &fn::HXL_GetCurPos;
        cad.HXL_MachineMoveTo = &fn::HXL_MachineMoveTo;
        cad.BatchReleasePolyline = &fn::BatchReleasePolyline;
        cad.HXL_GetImageDpi = &fn::HXL_GetImageDpi;
        cad.eventManager = &eventManagerHook;

        hxlhostlibs::VisionCameraManagerHooks& cameras = hxlhostlibs::visionCameraManagerHooks();
        cameras.HXL_GetIsOpenFile = &fn::HXL_GetIsOpenFile;
        cameras.HXL_SetIsOpenFile = &fn::HXL_SetIsOpenFile;

        hxlhostlibs::VisionBaseHooks& vision = hxlhostlibs::visionBaseHooks();
        vision.FTGetScreenSize = &fn::FTGetScreenSize;
        vision.ClearLayerData = &fn::ClearLayerData;
        vision.ClearExceptLayer = &fn::ClearExceptLayer;
        vision.GetLayerData = &fn::GetLayerData;
        vision.HXL_AddImageRange = &fn::HXL_AddImageRange;

        hxlhostlibs::VisionFeatureHooks& feature = hxlhostlibs::visionFeatureHooks();
        feature.GetSearchRangeCalibPer = &fn::Dll_HXL_VisionFeature_GetSearchRangeCalibPer;
        feature.GetSearchRangeSelectedPer = &fn::Dll_HXL_VisionFeature_GetSearchRangeSelectedPer;
        feature.SetSearchRangeSelectedPer = &fn::Dll_HXL_VisionFeature_SetSearchRangeSelectedPer;

        hxlhostlibs::visionCameraCalibrationHooks().MovableCam_SetCurMachineMmPos = &fn::MovableCam_SetCurMachineMmPos;

        hxlhostlibs::CommonCtrlHooks& ctrl = hxlhostlibs::commonCtrlHooks();
        ctrl.windowManager = &hostsim::windowManager;
        ctrl.imageParamChanged = &imageParamChangedHook;

        hxlhostlibs::languageHooks().create = &hostsim::createLanguageManager;
    }
};

const Binding g_binding;

} // namespace

#pragma once

#include "HXL_CameraUI_global.h"

// Entry points the host calls.

// Creates the language manager (once) and reads the settings file "qcv.dat"
// of the host's work directory. Call it once at start, before any window of
// the module is made. Always returns 0.
HXL_CAMERAUI_EXPORT int HXL_CameraUI_ReadParam();
// Stores the host's video-close flag.
HXL_CAMERAUI_EXPORT void HXL_CameraUI_SetVideoClose(int nClose);
// Writes the settings file. Call it when the application ends.
HXL_CAMERAUI_EXPORT void HXL_CameraUI_TellAppExit();

// The module's class as the host names it: no data, no behaviour.
class HXL_CAMERAUI_EXPORT HXL_CameraUI
{
public:
    HXL_CameraUI() = default;
    HXL_CameraUI& operator=(const HXL_CameraUI&) = default;
    HXL_CameraUI& operator=(HXL_CameraUI&&) = default;
};

#pragma once

#include "HXL_CameraUI_global.h"

// The module's class as the host names it: no data, no behaviour.
class HXL_CAMERAUI_EXPORT HXL_CameraUI
{
public:
    HXL_CameraUI() = default;
    HXL_CameraUI& operator=(const HXL_CameraUI&) = default;
    HXL_CameraUI& operator=(HXL_CameraUI&&) = default;
};

#pragma once

#include "HostSimExport.h"

#include <opencv2/core.hpp>

class IZKVisionCameraManager;

namespace hostsim {

// The host's picture pre-processing: applies every field of the camera
// manager's processing record to a picture (CV_8UC3 RGB or CV_8UC1), in place.
// The result may change from colour to gray (gray channel modes, show gray).
// host_sim/processing/PREPROCESSING.md gives the meaning of each field and the order of
// the stages.
HXL_HOSTSIM_EXPORT void preprocessImage(cv::Mat& image, const IZKVisionCameraManager& record);

} // namespace hostsim

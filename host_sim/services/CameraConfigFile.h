#pragma once

// The host's camera configuration file (HXL_VisionCamera.json) as bytes and
// back. Functions of bytes only, without files or global state, so that the
// reading can be checked on its own (the fuzz harness compiles this file alone
// against Qt).

#include "HostSimExport.h"
#include "HostSim.h"
#include "host/IZKVisionCameraManager.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

// The record's fields by kind, in record order.
#define HXL_RECORD_INT_FIELDS(X)                                                                                   \
    X(nSatMode) X(nBriMode) X(nGrayMode) X(nGrayProMode) X(nMode5) X(nMorphologyType) X(nMorphologyW)             \
    X(nMorphologyH) X(nSatValue) X(nBriValue) X(nGrayValue) X(nBriWidth) X(nGrayWidth) X(nAdvancedSetting)        \
    X(nGoInterfereValue) X(nFilterMode) X(nFilterMin) X(nFilterMax) X(nFilterPoleMode) X(nFilterPoleValue)        \
    X(bSharpening) X(nSharpenKernel) X(nAdvancedSetting1) X(nSatValueDef) X(nBriValueDef) X(nGrayValueDef)        \
    X(nBriWidthDef) X(nGrayWidthDef) X(nGoInterfereValueDef)
#define HXL_RECORD_BOOL_FIELDS(X)                                                                                  \
    X(bIsInver) X(bShowGray) X(bGoInterfere) X(bGoInterfereDef) X(bGrayscaleEqualization) X(bGrayPro) X(bSatDef) \
    X(bBriDef)

namespace hostsim {

// Limits of what the host reads: far above what it writes or an operator
// writes by hand, low enough that a damaged file cannot make the host
// allocate or work without end.
constexpr int kMaxCameraConfigBytes = 1024 * 1024;
constexpr int kMaxMorphologySteps = 256;
constexpr int kMaxConfiguredCameras = 64;
constexpr int kMaxFrameSide = 65535; // and no more than kMaxPicturePixels in all

// What the file holds. A record field the file leaves out is empty here and
// keeps the host's value; "cameras" is the operator's list as written.
struct CameraConfig
{
#define HXL_FIELD(f) std::optional<int32_t> f;
    HXL_RECORD_INT_FIELDS(HXL_FIELD)
#undef HXL_FIELD
#define HXL_FIELD(f) std::optional<bool> f;
    HXL_RECORD_BOOL_FIELDS(HXL_FIELD)
#undef HXL_FIELD
    std::optional<std::vector<ZKMorphologyParam>> vecMorphology;
    int32_t version = 1; // written; there has only been one version, so it is not read
    QJsonArray cameras;
    // The measured calibration of each camera, by camera name, each entry an
    // object; the camera manager reads the entries' values.
    QJsonObject calibration;
};

// Reads the file's bytes. False, with the reason, for anything that is not a
// camera configuration as the host writes it or an operator may write it: bad
// JSON, neither a "record" nor a "cameras" list, a field of the wrong type, a
// record number that is not a 32-bit whole number, a "calibration" that is
// not an object of objects, more than the limits above.
// A file with only "cameras" leaves every record field empty. Nothing is
// half-read: on false, config is left as it was.
HXL_HOSTSIM_EXPORT bool cameraConfigFromJson(const QByteArray& json, CameraConfig& config, QString* pWhy);
// The file's bytes for config (only the record fields it holds).
HXL_HOSTSIM_EXPORT QByteArray cameraConfigToJson(const CameraConfig& config);

// Reads one entry of the "cameras" list. False, with the reason, for a field
// of the wrong type or out of range (a frame above kMaxPicturePixels, a pixel
// size outside 0 to kMaxMmPerPixel); the host skips such a camera.
HXL_HOSTSIM_EXPORT bool cameraRequestFromJson(const QJsonObject& entry, CameraRequest& request, QString* pWhy);

} // namespace hostsim

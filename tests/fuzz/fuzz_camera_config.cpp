// libFuzzer harness of the host's camera configuration reader
// (HXL_VisionCamera.json). Built with clang alone against Qt and run for a
// fixed number of inputs from the committed seeds (tests/CMakeLists.txt).
//
// Besides not crashing under AddressSanitizer and UndefinedBehaviorSanitizer,
// every input must give one of two answers: refused with a reason, or read;
// what was read must write back as the host writes it and read back the same
// (the record field for field, each camera as the host would open it), and
// every camera the host would open must lie inside the host's limits.
// (The cameras' JSON is not compared byte for byte: Qt orders keys holding a
// NUL character differently from one parse to the next.)

#include "services/CameraConfigFile.h"

#include <QByteArray>
#include <QJsonValue>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void broken(const char* pszWhat, const QString& strDetail = QString())
{
    std::fprintf(stderr, "fuzz_camera_config: %s %s\n", pszWhat, qPrintable(strDetail));
    std::abort();
}

hostsim::CameraConfig withoutCameras(hostsim::CameraConfig config)
{
    config.cameras = QJsonArray();
    return config;
}

bool sameRequest(const hostsim::CameraRequest& a, const hostsim::CameraRequest& b)
{
    return a.type == b.type && a.address == b.address && a.name == b.name && a.pixelFormat == b.pixelFormat
        && a.width == b.width && a.height == b.height && a.mmPerPixel == b.mmPerPixel && a.calibrated == b.calibrated
        && a.sim.name == b.sim.name && a.sim.width == b.sim.width && a.sim.height == b.sim.height
        && a.sim.colour == b.sim.colour && a.sim.mmPerPixel == b.sim.mmPerPixel && a.sim.calibrated == b.sim.calibrated;
}

// The camera of a "cameras" entry as the host would open it; false when it would skip it.
bool requestOf(const QJsonValue& entry, hostsim::CameraRequest& request)
{
    QString strWhy;
    if (hostsim::cameraRequestFromJson(entry.toObject(), request, &strWhy))
        return true;
    if (strWhy.isEmpty())
        broken("a camera refused without a reason");
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(pData), static_cast<int>(nSize));
    hostsim::CameraConfig config;
    QString strWhy;
    if (!hostsim::cameraConfigFromJson(bytes, config, &strWhy)) {
        if (strWhy.isEmpty())
            broken("refused without a reason");
        return 0;
    }
    const QByteArray written = hostsim::cameraConfigToJson(config);
    hostsim::CameraConfig again;
    if (!hostsim::cameraConfigFromJson(written, again, &strWhy))
        broken("the host cannot read what it wrote:", strWhy);
    if (hostsim::cameraConfigToJson(withoutCameras(again)) != hostsim::cameraConfigToJson(withoutCameras(config)))
        broken("the record changed on its way through the file");
    if (again.cameras.size() != config.cameras.size())
        broken("cameras were lost on the way through the file");

    for (int i = 0; i < config.cameras.size(); ++i) {
        hostsim::CameraRequest request, requestAgain;
        const bool bOpened = requestOf(config.cameras.at(i), request);
        if (requestOf(again.cameras.at(i), requestAgain) != bOpened || (bOpened && !sameRequest(request, requestAgain)))
            broken("a camera changed on its way through the file");
        if (!bOpened)
            continue;
        const qint64 nPixels = qint64(request.width) * request.height;
        const qint64 nSimPixels = qint64(request.sim.width) * request.sim.height;
        if (request.width < 0 || request.height < 0 || nPixels > hostsim::kMaxPicturePixels
            || request.sim.width <= 0 || request.sim.height <= 0 || nSimPixels > hostsim::kMaxPicturePixels)
            broken("a camera outside the picture size limit");
        if (!(request.mmPerPixel > 0.0 && request.mmPerPixel <= hostsim::kMaxMmPerPixel))
            broken("a camera with a pixel size out of range");
    }
    return 0;
}

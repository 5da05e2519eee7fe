#include "cameras/AravisCamera.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "cameras/PixelFormats.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QPointer>
#include <QSignalBlocker>
#include <QTimer>
#include <QWidget>

#include <opencv2/imgproc.hpp>

// Aravis is a GLib library; its headers use "signals" as a field name, which
// Qt's keyword of that name would break.
#undef signals
#include <arv.h>
#define signals Q_SIGNALS

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace hostsim {

namespace {

QString takeError(GError*& pError, const QString& strFallback = QStringLiteral("unknown error"))
{
    const QString strText = pError ? QString::fromUtf8(pError->message) : strFallback;
    g_clear_error(&pError);
    return strText;
}

bool isLoopback(ArvCamera* pCamera)
{
    if (!arv_camera_is_gv_device(pCamera))
        return false;
    GSocketAddress* pAddress = arv_gv_device_get_device_address(ARV_GV_DEVICE(arv_camera_get_device(pCamera)));
    if (!pAddress || !G_IS_INET_SOCKET_ADDRESS(pAddress))
        return false;
    GInetAddress* pInet = g_inet_socket_address_get_address(G_INET_SOCKET_ADDRESS(pAddress));
    return pInet && g_inet_address_get_is_loopback(pInet);
}

} // namespace

AravisCamera::AravisCamera(const GenicamSetup& setup)
    : StreamingCamera([&setup] {
          Options options;
          options.name = setup.name.isEmpty()
                             ? QStringLiteral("GenICam %1").arg(setup.address.isEmpty() ? QStringLiteral("(first)")
                                                                                        : setup.address)
                             : setup.name;
          options.mmPerPixel = setup.mmPerPixel;
          options.calibrated = setup.calibrated;
          options.retryMs = setup.retryMs;
          return options;
      }()),
      m_setup(setup)
{
    startWorker();
}

AravisCamera::~AravisCamera()
{
    stopWorker();
    for (std::thread& releaser : m_releasers)
        releaser.join();
}

int AravisCamera::silenceLimitMs() const
{
    // Four frame periods and an exposure, at least a second.
    const GenicamParameters p = parameters();
    double dMs = 1000.0;
    if (p.hasFrameRate && p.frameRate > 0.0)
        dMs = std::max(dMs, 4000.0 / p.frameRate + (p.hasExposure ? p.exposureUs / 1000.0 : 0.0));
    return int(std::min(dMs, 30000.0));
}

QString AravisCamera::pixelFormatName(uint32_t nPixelFormat)
{
    return hostsim::pixelFormatName(nPixelFormat);
}

bool AravisCamera::convertFrame(uint32_t nPixelFormat, int nWidth, int nHeight, const void* pData, size_t nSize,
                                cv::Mat& out, QString* pError, size_t nStride)
{
    return convertPixels(nPixelFormat, nWidth, nHeight, pData, nSize, out, pError, nStride);
}

void AravisCamera::onControlLost(void* /*pDevice*/, void* pSelf)
{
    // Aravis calls this on its heartbeat thread.
    static_cast<AravisCamera*>(pSelf)->m_bControlLost = true;
}

bool AravisCamera::openDevice(QString& strError)
{
    m_bControlLost = false;
    m_bGone = false;
    GError* pError = nullptr;
    const QByteArray address = m_setup.address.toUtf8();
    m_pCamera = arv_camera_new(address.isEmpty() ? nullptr : address.constData(), &pError);
    if (!m_pCamera) {
        strError = QStringLiteral("cannot open GenICam camera %1: %2")
                       .arg(m_setup.address.isEmpty() ? QStringLiteral("(first found)") : m_setup.address,
                            takeError(pError, QStringLiteral("not found")));
        return false;
    }
    ArvDevice* pDevice = arv_camera_get_device(m_pCamera);
    m_nLostHandler = g_signal_connect(pDevice, "control-lost", G_CALLBACK(&AravisCamera::onControlLost), this);
    if (arv_camera_is_gv_device(m_pCamera)) {
        // GigE Vision gives one program at a time the control of a camera.
        // Without it every feature written waits for a timeout and fails, and
        // no stream can start: wait for the other program to let go instead.
        if (!arv_gv_device_is_controller(ARV_GV_DEVICE(pDevice))) {
            strError = QStringLiteral("camera %1 is controlled by another program; a GigE Vision camera takes one "
                                      "at a time")
                           .arg(m_setup.address.isEmpty() ? QStringLiteral("(first found)") : m_setup.address);
            return false;
        }
        // The packet socket (used when the process may open raw sockets, e.g.
        // as root) does not see the traffic of a camera on the loopback
        // interface: use the plain socket there.
        if (isLoopback(m_pCamera)) {
            arv_gv_device_set_stream_options(ARV_GV_DEVICE(pDevice), ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
            // Loopback carries large datagrams: fewer packets a frame keep
            // large colour frames whole and cost fewer system calls (32 KiB
            // packets took about a third less CPU than 8 KiB ones).
            arv_camera_gv_set_packet_size(m_pCamera, 32768, &pError);
            g_clear_error(&pError);
        }
    }

    // The setup, then the operator's settings: both again on every reopening
    // (a restarted camera starts from its own defaults).
    m_told.clear();
    m_nSizeMismatches = 0;
    m_nSeenFormat = 0;
    arv_camera_set_acquisition_mode(m_pCamera, ARV_ACQUISITION_MODE_CONTINUOUS, &pError);
    g_clear_error(&pError);
    // Another program may have left the camera waiting for triggers.
    clearTriggers();
    PostedSettings settings;
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        settings = takeSettingsLocked();
    }
    std::optional<QString>& pixelFormat = settings.pixelFormat;
    if (!pixelFormat && !m_setup.pixelFormat.isEmpty())
        pixelFormat = m_setup.pixelFormat;
    if (pixelFormat) {
        arv_camera_set_pixel_format_from_string(m_pCamera, pixelFormat->toUtf8().constData(), &pError);
        if (pError) {
            strError = QStringLiteral("pixel format %1: %2").arg(*pixelFormat, takeError(pError));
            return false;
        }
    }
    if (!centreRegion(strError))
        return false;
    applyExposureGainRate(settings);
    readParameters();
    return startStream(strError);
}

AravisCamera::PostedSettings AravisCamera::takeSettingsLocked()
{
    m_bSettingsDirty = false;
    return PostedSettings{m_pixelFormat, m_exposureUs, m_gain, m_frameRate, m_exposureAuto, m_gainAuto,
                          m_whiteBalanceAuto};
}

void AravisCamera::applyExposureGainRate(const PostedSettings& settings)
{
    GError* pError = nullptr;
    auto setAuto = [this, &pError](const char* pszFeature, const std::optional<QString>& mode) {
        if (!mode)
            return;
        const bool bThere = arv_camera_is_feature_available(m_pCamera, pszFeature, &pError);
        g_clear_error(&pError);
        if (bThere)
            arv_camera_set_string(m_pCamera, pszFeature, mode->toUtf8().constData(), &pError);
        g_clear_error(&pError);
    };
    // A manual value is written only while its auto mode is off: the auto
    // mode goes first, so that turning it off lets the value through.
    auto manual = [](const std::optional<QString>& mode) { return !mode || *mode == QLatin1String("Off"); };
    setAuto("ExposureAuto", settings.exposureAuto);
    if (settings.exposureUs && manual(settings.exposureAuto))
        arv_camera_set_exposure_time(m_pCamera, *settings.exposureUs, &pError);
    g_clear_error(&pError);
    setAuto("GainAuto", settings.gainAuto);
    if (settings.gain && manual(settings.gainAuto))
        arv_camera_set_gain(m_pCamera, *settings.gain, &pError);
    g_clear_error(&pError);
    setAuto("BalanceWhiteAuto", settings.whiteBalanceAuto);
    if (settings.frameRate)
        arv_camera_set_frame_rate(m_pCamera, *settings.frameRate, &pError);
    g_clear_error(&pError);
}

void AravisCamera::tellOnce(const QString& strLine)
{
    if (m_told.contains(strLine))
        return;
    m_told << strLine;
    HostSim::tellOperator(strLine);
}

void AravisCamera::clearTriggers()
{
    GError* pError = nullptr;
    const bool bHasTrigger = arv_camera_is_feature_available(m_pCamera, "TriggerMode", &pError);
    g_clear_error(&pError);
    if (!bHasTrigger)
        return;
    arv_camera_clear_triggers(m_pCamera, &pError);
    if (pError)
        tellOnce(QStringLiteral("camera %1: trigger mode could not be switched off (%2); it may wait for triggers")
                     .arg(QString::fromStdString(GetCameraName()), takeError(pError)));
}

bool AravisCamera::centreRegion(QString& strError)
{
    GError* pError = nullptr;
    int nX = 0, nY = 0, nWidth = 0, nHeight = 0;
    arv_camera_get_region(m_pCamera, &nX, &nY, &nWidth, &nHeight, &pError);
    if (pError) {
        strError = QStringLiteral("cannot read the camera's frame size: %1").arg(takeError(pError));
        return false;
    }
    const bool bAsked = m_setup.width > 0 && m_setup.height > 0;
    const int nWantedWidth = bAsked ? m_setup.width : nWidth;
    const int nWantedHeight = bAsked ? m_setup.height : nHeight;
    // Offsets to the corner first: the largest size may depend on them.
    arv_camera_set_integer(m_pCamera, "OffsetX", 0, &pError);
    g_clear_error(&pError);
    arv_camera_set_integer(m_pCamera, "OffsetY", 0, &pError);
    g_clear_error(&pError);
    int nMinWidth = 1, nMaxWidth = nWantedWidth, nMinHeight = 1, nMaxHeight = nWantedHeight;
    arv_camera_get_width_bounds(m_pCamera, &nMinWidth, &nMaxWidth, &pError);
    g_clear_error(&pError);
    arv_camera_get_height_bounds(m_pCamera, &nMinHeight, &nMaxHeight, &pError);
    g_clear_error(&pError);
    int nSensorWidth = 0, nSensorHeight = 0;
    arv_camera_get_sensor_size(m_pCamera, &nSensorWidth, &nSensorHeight, &pError);
    g_clear_error(&pError);
    if (nSensorWidth <= 0 || nSensorHeight <= 0) {
        nSensorWidth = nMaxWidth;
        nSensorHeight = nMaxHeight;
    }
    auto increment = [&pError](gint nValue) {
        g_clear_error(&pError);
        return std::max(1, int(nValue));
    };
    const int nStepW = increment(arv_camera_get_width_increment(m_pCamera, &pError));
    const int nStepH = increment(arv_camera_get_height_increment(m_pCamera, &pError));
    const int nStepX = increment(arv_camera_get_x_offset_increment(m_pCamera, &pError));
    const int nStepY = increment(arv_camera_get_y_offset_increment(m_pCamera, &pError));
    g_clear_error(&pError);
    // Sizes count in steps from the smallest.
    auto onStep = [](int nValue, int nMin, int nMax, int nStep) {
        nValue = std::max(nMin, std::min(nValue, nMax));
        return nMin + (nValue - nMin) / nStep * nStep;
    };
    const int nNewWidth = onStep(nWantedWidth, nMinWidth, std::min(nMaxWidth, nSensorWidth), nStepW);
    const int nNewHeight = onStep(nWantedHeight, nMinHeight, std::min(nMaxHeight, nSensorHeight), nStepH);
    const int nNewX = std::max(0, (nSensorWidth - nNewWidth) / 2) / nStepX * nStepX;
    const int nNewY = std::max(0, (nSensorHeight - nNewHeight) / 2) / nStepY * nStepY;
    if (bAsked && (nNewWidth != nWantedWidth || nNewHeight != nWantedHeight))
        tellOnce(QStringLiteral("camera %1 cannot give frames of %2 x %3: using %4 x %5")
                     .arg(QString::fromStdString(GetCameraName()))
                     .arg(nWantedWidth)
                     .arg(nWantedHeight)
                     .arg(nNewWidth)
                     .arg(nNewHeight));
    arv_camera_set_region(m_pCamera, 0, 0, nNewWidth, nNewHeight, &pError);
    if (!pError)
        arv_camera_set_region(m_pCamera, nNewX, nNewY, nNewWidth, nNewHeight, &pError);
    if (pError) {
        strError = QStringLiteral("frame size %1 x %2 at %3, %4: %5")
                       .arg(nNewWidth)
                       .arg(nNewHeight)
                       .arg(nNewX)
                       .arg(nNewY)
                       .arg(takeError(pError));
        return false;
    }
    return true;
}

// A frame kept for clients holds the stream buffer it arrived in: copying
// every frame of a fast camera out of its buffer cost as much as the
// conversion of the frames shown. The buffer goes back to the stream that
// lent it when the last holder lets go, or is freed when that stream has
// gone meanwhile (a restart, the camera's end).
struct AravisCamera::BufferHome
{
    std::mutex mutex;
    ArvStream* pStream = nullptr;
};

// The stream keeps at least this many empty buffers to receive into: fewer,
// and the frame is copied out so that its buffer goes straight back.
static constexpr gint kMinEmptyBuffers = 2;

// The smallest receive socket buffer a GigE Vision stream is given, in bytes.
static constexpr guint64 kMinSocketBuffer = 1024 * 1024;

bool AravisCamera::startStream(QString& strError)
{
    GError* pError = nullptr;
    m_pStream = arv_camera_create_stream(m_pCamera, nullptr, nullptr, &pError);
    if (!m_pStream) {
        strError = QStringLiteral("cannot open the camera's stream: %1").arg(takeError(pError));
        return false;
    }
    const guint nPayload = arv_camera_get_payload(m_pCamera, &pError);
    if (pError || nPayload == 0) {
        strError = QStringLiteral("cannot read the payload size: %1").arg(takeError(pError));
        return false;
    }
    if (ARV_IS_GV_STREAM(m_pStream)) {
        // The receive socket holds at least one whole frame, and never less
        // than kMinSocketBuffer: Aravis's own "auto" size is the payload, and
        // for a small region (64 x 64 is 4 KiB) that is too small for the
        // leader, the data and the trailer of one frame in flight, so every
        // frame lost packets and none arrived. The system caps it at its
        // net.core.rmem_max.
        const gint nSocketBuffer = gint(std::min<guint64>(std::max<guint64>(nPayload, kMinSocketBuffer), G_MAXINT));
        g_object_set(m_pStream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size",
                     nSocketBuffer, nullptr);
    }
    for (int i = 0; i < std::max(2, m_setup.bufferCount); ++i)
        arv_stream_push_buffer(m_pStream, arv_buffer_new_allocate(nPayload));
    m_pHome = std::make_shared<BufferHome>();
    m_pHome->pStream = m_pStream;
    arv_camera_start_acquisition(m_pCamera, &pError);
    if (pError) {
        strError = QStringLiteral("cannot start the acquisition: %1").arg(takeError(pError));
        return false;
    }
    return true;
}

void AravisCamera::stopStream()
{
    if (m_pCamera && m_pStream && !m_bControlLost && !m_bGone) {
        GError* pError = nullptr;
        arv_camera_stop_acquisition(m_pCamera, &pError);
        g_clear_error(&pError);
    }
    if (m_pHome) {
        // Buffers still lent are freed by their last holder from now on.
        std::lock_guard<std::mutex> lock(m_pHome->mutex);
        m_pHome->pStream = nullptr;
    }
    m_pHome.reset();
    g_clear_object(&m_pStream);
}

void AravisCamera::closeDevice()
{
    stopStream();
    if (m_pCamera) {
        if (m_nLostHandler)
            g_signal_handler_disconnect(arv_camera_get_device(m_pCamera), m_nLostHandler);
        m_nLostHandler = 0;
        if (m_bGone || m_bControlLost) {
            ArvCamera* pCamera = m_pCamera;
            m_pCamera = nullptr;
            m_releasers.emplace_back([pCamera] { g_object_unref(pCamera); });
        } else {
            g_clear_object(&m_pCamera);
        }
    }
    std::lock_guard<std::mutex> lock(m_settingsMutex);
    m_parameters.valid = false;
    // A refresh asked for now cannot happen: answer it.
    m_nRefreshDone = m_nRefreshWanted;
    m_refreshed.notify_all();
}

std::shared_ptr<std::vector<uint8_t>> AravisCamera::takeBytes(size_t nSize)
{
    for (auto& pBytes : m_bytePool) {
        if (pBytes.use_count() == 1) {
            pBytes->resize(nSize);
            return pBytes;
        }
    }
    auto pBytes = std::make_shared<std::vector<uint8_t>>(nSize);
    if (m_bytePool.size() < 4)
        m_bytePool.push_back(pBytes);
    return pBytes;
}

StreamingCamera::ReadResult AravisCamera::readFrame(cv::Mat& frame, int nTimeoutMs, QString& strError)
{
    RawFrame raw;
    const ReadResult result = readRawFrame(raw, nTimeoutMs, strError);
    if (result != ReadResult::Frame)
        return result;
    return raw.convert(frame, &strError) ? ReadResult::Frame : ReadResult::Timeout;
}

StreamingCamera::ReadResult AravisCamera::readRawFrame(RawFrame& frame, int nTimeoutMs, QString& strError)
{
    if (m_bControlLost) {
        strError = QStringLiteral("control of the camera was lost");
        return ReadResult::Lost;
    }
    ArvBuffer* pBuffer = arv_stream_timeout_pop_buffer(m_pStream, guint64(nTimeoutMs) * 1000);
    if (!pBuffer)
        return ReadResult::Timeout;
    ReadResult result = ReadResult::Timeout;
    const ArvBufferStatus status = arv_buffer_get_status(pBuffer);
    // Frames larger than the stream's buffers (another program changed the
    // format or the size): Aravis says so, or hands over a frame whose
    // image is cut at the buffer's end.
    bool bOutgrown = status == ARV_BUFFER_STATUS_SIZE_MISMATCH;
    if (status != ARV_BUFFER_STATUS_SUCCESS && !bOutgrown)
        setError(QStringLiteral("incomplete frame from the camera (buffer status %1)").arg(int(status)));
    if (status == ARV_BUFFER_STATUS_SUCCESS
        && (arv_buffer_get_payload_type(pBuffer) == ARV_BUFFER_PAYLOAD_TYPE_IMAGE
            || arv_buffer_get_payload_type(pBuffer) == ARV_BUFFER_PAYLOAD_TYPE_EXTENDED_CHUNK_DATA)) {
        size_t nSize = 0;
        const void* pData = arv_buffer_get_image_data(pBuffer, &nSize);
        const uint32_t nFormat = arv_buffer_get_image_pixel_format(pBuffer);
        const int nWidth = arv_buffer_get_image_width(pBuffer);
        const int nHeight = arv_buffer_get_image_height(pBuffer);
        const size_t nNeeded = pixelFormatMinimumBytes(nFormat, nWidth, nHeight);
        frame = RawFrame();
        frame.pixelFormat = nFormat;
        frame.width = nWidth;
        frame.height = nHeight;
        if (!isPixelFormatShown(nFormat)) {
            result = ReadResult::Frame; // refused by the caller, with the format's name
        } else if (!pData || nNeeded == 0 || nSize < nNeeded) {
            size_t nCapacity = 0;
            arv_buffer_get_data(pBuffer, &nCapacity);
            bOutgrown = nNeeded > nCapacity; // said below
            if (!bOutgrown)
                setError(QStringLiteral("image data too short: %1 bytes for %2 x %3 %4")
                             .arg(nSize)
                             .arg(nWidth)
                             .arg(nHeight)
                             .arg(hostsim::pixelFormatName(nFormat)));
        } else {
            // Only the bytes are kept: the conversion waits for a client.
            gint nEmpty = 0, nFull = 0;
            arv_stream_get_n_buffers(m_pStream, &nEmpty, &nFull);
            if (nEmpty >= kMinEmptyBuffers && m_pHome) {
                std::shared_ptr<BufferHome> pHome = m_pHome;
                frame.data = std::shared_ptr<const uint8_t>(static_cast<const uint8_t*>(pData),
                                                            [pHome, pBuffer](const uint8_t*) {
                                                                std::lock_guard<std::mutex> lock(pHome->mutex);
                                                                if (pHome->pStream)
                                                                    arv_stream_push_buffer(pHome->pStream, pBuffer);
                                                                else
                                                                    g_object_unref(pBuffer);
                                                            });
                frame.size = nNeeded;
                pBuffer = nullptr; // lent
                ++m_nLent;
            } else {
                std::shared_ptr<std::vector<uint8_t>> pBytes = takeBytes(nNeeded);
                std::memcpy(pBytes->data(), pData, nNeeded);
                frame.setBytes(std::move(pBytes));
                ++m_nCopied;
            }
            result = ReadResult::Frame;
        }
    }
    if (pBuffer)
        arv_stream_push_buffer(m_pStream, pBuffer);
    if (bOutgrown) {
        setError(QStringLiteral("the camera's frames no longer fit the buffers (its pixel format or size changed)"));
        // Twice in a row, so that one damaged frame does not restart the
        // stream: it starts again with buffers of the camera's new payload.
        if (++m_nSizeMismatches >= 2) {
            m_nSizeMismatches = 0;
            stopStream();
            if (!startStream(strError))
                return ReadResult::Lost;
            readParameters();
        }
        return ReadResult::Timeout;
    }
    if (result == ReadResult::Frame)
        m_nSizeMismatches = 0;
    if (result == ReadResult::Frame && frame.pixelFormat != m_nSeenFormat) {
        // A new format (another program may have changed it): the settings shown follow it.
        if (m_nSeenFormat != 0)
            readParameters();
        m_nSeenFormat = frame.pixelFormat;
    }
    return result;
}

bool AravisCamera::probeDevice()
{
    if (!m_pCamera || m_bControlLost)
        return false;
    GError* pError = nullptr;
    arv_camera_get_payload(m_pCamera, &pError);
    const bool bAnswers = pError == nullptr;
    g_clear_error(&pError);
    m_bGone = !bAnswers;
    return bAnswers;
}

void AravisCamera::serviceDevice()
{
    PostedSettings settings;
    bool bRefresh = false;
    QStringList featureWrites;
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        featureWrites.swap(m_featureWrites);
    }
    for (const QString& strFeatures : featureWrites) {
        GError* pError = nullptr;
        arv_device_set_features_from_string(arv_camera_get_device(m_pCamera), strFeatures.toUtf8().constData(), &pError);
        if (pError)
            std::fprintf(stderr, "host_sim: camera %s: writing %s: %s\n", GetCameraName().c_str(),
                         qPrintable(strFeatures), qPrintable(takeError(pError)));
    }
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        bRefresh = m_nRefreshWanted != m_nRefreshDone;
        if (!m_bSettingsDirty && !bRefresh)
            return;
        if (m_bSettingsDirty)
            settings = takeSettingsLocked();
    }
    GError* pError = nullptr;
    const std::optional<QString>& pixelFormat = settings.pixelFormat;
    if (pixelFormat && *pixelFormat != parameters().pixelFormat) {
        // A new format changes the payload: the stream starts again.
        stopStream();
        arv_camera_set_pixel_format_from_string(m_pCamera, pixelFormat->toUtf8().constData(), &pError);
        if (pError)
            setError(QStringLiteral("pixel format %1: %2").arg(*pixelFormat, takeError(pError)));
        QString strError;
        if (!startStream(strError))
            setError(strError);
    }
    applyExposureGainRate(settings);
    readParameters();
}

void AravisCamera::readParameters()
{
    GenicamParameters p;
    GError* pError = nullptr;
    auto ok = [&pError] {
        const bool bOk = pError == nullptr;
        g_clear_error(&pError);
        return bOk;
    };
    auto text = [](const char* psz) { return psz ? QString::fromUtf8(psz) : QString(); };
    p.vendor = text(arv_camera_get_vendor_name(m_pCamera, &pError));
    ok();
    p.model = text(arv_camera_get_model_name(m_pCamera, &pError));
    ok();
    p.deviceId = text(arv_camera_get_device_id(m_pCamera, &pError));
    ok();
    if (arv_camera_is_exposure_time_available(m_pCamera, &pError) && ok()) {
        p.exposureUs = arv_camera_get_exposure_time(m_pCamera, &pError);
        arv_camera_get_exposure_time_bounds(m_pCamera, &p.exposureMinUs, &p.exposureMaxUs, &pError);
        p.hasExposure = ok();
    }
    ok();
    if (arv_camera_is_gain_available(m_pCamera, &pError) && ok()) {
        p.gain = arv_camera_get_gain(m_pCamera, &pError);
        arv_camera_get_gain_bounds(m_pCamera, &p.gainMin, &p.gainMax, &pError);
        p.hasGain = ok();
    }
    ok();
    if (arv_camera_is_frame_rate_available(m_pCamera, &pError) && ok()) {
        p.frameRate = arv_camera_get_frame_rate(m_pCamera, &pError);
        arv_camera_get_frame_rate_bounds(m_pCamera, &p.frameRateMin, &p.frameRateMax, &pError);
        p.hasFrameRate = ok();
    }
    ok();
    p.pixelFormat = text(arv_camera_get_pixel_format_as_string(m_pCamera, &pError));
    ok();
    guint nFormats = 0;
    const char** ppFormats = arv_camera_dup_available_pixel_formats_as_strings(m_pCamera, &nFormats, &pError);
    ok();
    for (guint i = 0; ppFormats && i < nFormats; ++i)
        p.pixelFormats << text(ppFormats[i]);
    g_free(ppFormats);
    arv_camera_get_region(m_pCamera, &p.offsetX, &p.offsetY, &p.width, &p.height, &pError);
    ok();
    arv_camera_get_sensor_size(m_pCamera, &p.sensorWidth, &p.sensorHeight, &pError);
    if (!ok())
        p.sensorWidth = p.sensorHeight = 0;
    auto readEnum = [&](const char* pszFeature, QString& value, QStringList* pModes) {
        const bool bThere = arv_camera_is_feature_available(m_pCamera, pszFeature, &pError);
        if (!ok() || !bThere)
            return;
        value = text(arv_camera_get_string(m_pCamera, pszFeature, &pError));
        if (!ok()) {
            value.clear();
            return;
        }
        if (!pModes)
            return;
        guint nModes = 0;
        const char** ppModes = arv_camera_dup_available_enumerations_as_strings(m_pCamera, pszFeature, &nModes, &pError);
        ok();
        for (guint i = 0; ppModes && i < nModes; ++i)
            *pModes << text(ppModes[i]);
        g_free(ppModes);
    };
    readEnum("TriggerMode", p.triggerMode, nullptr);
    readEnum("ExposureAuto", p.exposureAuto, &p.exposureAutoModes);
    readEnum("GainAuto", p.gainAuto, &p.gainAutoModes);
    readEnum("BalanceWhiteAuto", p.whiteBalanceAuto, &p.whiteBalanceAutoModes);
    p.valid = true;

    std::lock_guard<std::mutex> lock(m_settingsMutex);
    m_parameters = p;
    m_nRefreshDone = m_nRefreshWanted;
    m_refreshed.notify_all();
}

GenicamParameters AravisCamera::parameters() const
{
    std::lock_guard<std::mutex> lock(m_settingsMutex);
    return m_parameters;
}

void AravisCamera::setExposureUs(double dExposureUs)
{
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        m_exposureUs = dExposureUs;
        m_exposureAuto = QStringLiteral("Off");
        m_bSettingsDirty = true;
    }
    wakeWorker();
}

void AravisCamera::setGain(double dGain)
{
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        m_gain = dGain;
        m_gainAuto = QStringLiteral("Off");
        m_bSettingsDirty = true;
    }
    wakeWorker();
}

void AravisCamera::setFrameRate(double dFrameRate)
{
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        m_frameRate = dFrameRate;
        m_bSettingsDirty = true;
    }
    wakeWorker();
}

void AravisCamera::setPixelFormat(const QString& strFormat)
{
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        m_pixelFormat = strFormat;
        m_bSettingsDirty = true;
    }
    wakeWorker();
}

void AravisCamera::writeFeaturesBehindTheHost(const QString& strFeatures)
{
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        m_featureWrites << strFeatures;
    }
    wakeWorker();
}

void AravisCamera::setExposureAuto(const QString& strMode)
{
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        m_exposureAuto = strMode;
        m_bSettingsDirty = true;
    }
    wakeWorker();
}

void AravisCamera::setGainAuto(const QString& strMode)
{
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        m_gainAuto = strMode;
        m_bSettingsDirty = true;
    }
    wakeWorker();
}

void AravisCamera::setWhiteBalanceAuto(const QString& strMode)
{
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        m_whiteBalanceAuto = strMode;
        m_bSettingsDirty = true;
    }
    wakeWorker();
}

bool AravisCamera::refreshParameters(int nTimeoutMs)
{
    std::unique_lock<std::mutex> lock(m_settingsMutex);
    if (!m_parameters.valid)
        return false;
    const quint64 nTicket = ++m_nRefreshWanted;
    lock.unlock();
    wakeWorker();
    lock.lock();
    return m_refreshed.wait_for(lock, std::chrono::milliseconds(nTimeoutMs),
                                [this, nTicket] { return m_nRefreshDone >= nTicket; })
        && m_parameters.valid;
}

bool AravisCamera::probe(const QString& strAddress, QString* pError)
{
    GError* pGError = nullptr;
    const QByteArray address = strAddress.toUtf8();
    ArvCamera* pCamera = arv_camera_new(address.isEmpty() ? nullptr : address.constData(), &pGError);
    if (!pCamera) {
        const QString strWhy = takeError(pGError, QStringLiteral("not found"));
        if (pError)
            *pError = strWhy;
        return false;
    }
    g_object_unref(pCamera);
    return true;
}

QStringList AravisCamera::discover()
{
    arv_update_device_list();
    QStringList ids;
    for (unsigned int i = 0; i < arv_get_n_devices(); ++i)
        ids << QString::fromUtf8(arv_get_device_id(i));
    return ids;
}

// Built on the GUI thread from the values last read from the camera; every
// change is posted to the worker, so the dialog never waits for the camera.
void AravisCamera::CreateParamWidget(QWidget* pContainer)
{
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::CreateParamWidget()") + journalTag());
    if (!pContainer)
        return;
    auto* pLayout = new QFormLayout(pContainer);
    const GenicamParameters p = parameters();
    auto* pStatus = new QLabel(pContainer);
    pStatus->setObjectName(QStringLiteral("GenicamStatus"));
    pStatus->setText(p.valid ? QStringLiteral("%1 %2 (%3)").arg(p.vendor, p.model, m_setup.address)
                             : QObject::tr("Camera not connected: %1").arg(lastError()));
    pStatus->setWordWrap(true);
    pLayout->addRow(QObject::tr("Camera"), pStatus);
    if (!p.valid)
        return;

    // Auto modes as the camera lists them; a manual value set below turns its mode off here too.
    auto addAuto = [&](const char* pszName, const QString& strLabel, const QString& strMode, const QStringList& modes,
                       void (AravisCamera::*pSetter)(const QString&)) -> QComboBox* {
        if (strMode.isEmpty() || modes.isEmpty())
            return nullptr;
        auto* pCombo = new QComboBox(pContainer);
        pCombo->setObjectName(QString::fromLatin1(pszName));
        pCombo->addItems(modes);
        pCombo->setCurrentText(strMode);
        QObject::connect(pCombo, &QComboBox::textActivated, pContainer,
                         [this, pSetter](const QString& strNew) { (this->*pSetter)(strNew); });
        pLayout->addRow(strLabel, pCombo);
        return pCombo;
    };
    auto addSpin = [&](const char* pszName, const QString& strLabel, double dMin, double dMax, double dValue,
                       int nDecimals, const QString& strSuffix, void (AravisCamera::*pSetter)(double),
                       QComboBox* pAuto) {
        auto* pSpin = new QDoubleSpinBox(pContainer);
        pSpin->setObjectName(QString::fromLatin1(pszName));
        pSpin->setDecimals(nDecimals);
        pSpin->setRange(dMin, dMax);
        pSpin->setSuffix(strSuffix);
        pSpin->setKeyboardTracking(false);
        pSpin->setValue(dValue);
        QPointer<QComboBox> pAutoCombo(pAuto);
        QObject::connect(pSpin, QOverload<double>::of(&QDoubleSpinBox::valueChanged), pContainer,
                         [this, pSetter, pAutoCombo](double d) {
                             (this->*pSetter)(d);
                             const int nOff = pAutoCombo ? pAutoCombo->findText(QStringLiteral("Off")) : -1;
                             if (nOff >= 0) {
                                 QSignalBlocker block(pAutoCombo.data());
                                 pAutoCombo->setCurrentIndex(nOff);
                             }
                         });
        pLayout->addRow(strLabel, pSpin);
    };
    QComboBox* pExposureAuto = addAuto("GenicamExposureAuto", QObject::tr("Auto exposure"), p.exposureAuto,
                                       p.exposureAutoModes, &AravisCamera::setExposureAuto);
    if (p.hasExposure)
        addSpin("GenicamExposure", QObject::tr("Exposure"), p.exposureMinUs, p.exposureMaxUs, p.exposureUs, 0,
                QStringLiteral(" us"), &AravisCamera::setExposureUs, pExposureAuto);
    QComboBox* pGainAuto =
        addAuto("GenicamGainAuto", QObject::tr("Auto gain"), p.gainAuto, p.gainAutoModes, &AravisCamera::setGainAuto);
    if (p.hasGain)
        addSpin("GenicamGain", QObject::tr("Gain"), p.gainMin, p.gainMax, p.gain, 2, QString(), &AravisCamera::setGain,
                pGainAuto);
    addAuto("GenicamWhiteBalanceAuto", QObject::tr("Auto white balance"), p.whiteBalanceAuto, p.whiteBalanceAutoModes,
            &AravisCamera::setWhiteBalanceAuto);
    if (p.hasFrameRate)
        addSpin("GenicamFrameRate", QObject::tr("Frame rate"), p.frameRateMin, p.frameRateMax, p.frameRate, 2,
                QStringLiteral(" fps"), &AravisCamera::setFrameRate, nullptr);

    auto* pFormat = new QComboBox(pContainer);
    pFormat->setObjectName(QStringLiteral("GenicamPixelFormat"));
    pFormat->addItems(p.pixelFormats);
    pFormat->setCurrentText(p.pixelFormat);
    QObject::connect(pFormat, &QComboBox::textActivated, pContainer,
                     [this](const QString& strFormat) { setPixelFormat(strFormat); });
    pLayout->addRow(QObject::tr("Pixel format"), pFormat);
    pLayout->addRow(QObject::tr("Frame"), new QLabel(QStringLiteral("%1 x %2").arg(p.width).arg(p.height), pContainer));
}

} // namespace hostsim

#include "cameras/AravisCamera.h"

#include "HostJournal.h"
#include "HostSim.h"

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
#include <cstring>

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
    switch (nPixelFormat) {
    case ARV_PIXEL_FORMAT_MONO_8: return QStringLiteral("Mono8");
    case ARV_PIXEL_FORMAT_RGB_8_PACKED: return QStringLiteral("RGB8");
    case ARV_PIXEL_FORMAT_BGR_8_PACKED: return QStringLiteral("BGR8");
    case ARV_PIXEL_FORMAT_BAYER_RG_8: return QStringLiteral("BayerRG8");
    case ARV_PIXEL_FORMAT_BAYER_GR_8: return QStringLiteral("BayerGR8");
    case ARV_PIXEL_FORMAT_BAYER_GB_8: return QStringLiteral("BayerGB8");
    case ARV_PIXEL_FORMAT_BAYER_BG_8: return QStringLiteral("BayerBG8");
    default: return QStringLiteral("0x%1").arg(nPixelFormat, 8, 16, QLatin1Char('0'));
    }
}

bool AravisCamera::convertFrame(uint32_t nPixelFormat, int nWidth, int nHeight, const void* pData, size_t nSize,
                                cv::Mat& out, QString* pError, size_t nStride)
{
    auto fail = [pError](const QString& strWhy) {
        if (pError)
            *pError = strWhy;
        return false;
    };
    int nChannels = 0;
    switch (nPixelFormat) {
    case ARV_PIXEL_FORMAT_MONO_8:
    case ARV_PIXEL_FORMAT_BAYER_RG_8:
    case ARV_PIXEL_FORMAT_BAYER_GR_8:
    case ARV_PIXEL_FORMAT_BAYER_GB_8:
    case ARV_PIXEL_FORMAT_BAYER_BG_8: nChannels = 1; break;
    case ARV_PIXEL_FORMAT_RGB_8_PACKED:
    case ARV_PIXEL_FORMAT_BGR_8_PACKED: nChannels = 3; break;
    default:
        return fail(QStringLiteral("pixel format %1 is not supported: choose Mono8, RGB8, BGR8 or an 8-bit Bayer format")
                        .arg(pixelFormatName(nPixelFormat)));
    }
    if (nWidth <= 0 || nHeight <= 0 || !pData)
        return fail(QStringLiteral("empty image"));
    const size_t nRow = size_t(nWidth) * size_t(nChannels);
    if (nStride == 0)
        nStride = nRow;
    if (nStride < nRow || nSize < nStride * size_t(nHeight - 1) + nRow)
        return fail(QStringLiteral("image data too short: %1 bytes for %2 x %3 %4")
                        .arg(nSize)
                        .arg(nWidth)
                        .arg(nHeight)
                        .arg(pixelFormatName(nPixelFormat)));
    const cv::Mat wrapped(nHeight, nWidth, nChannels == 3 ? CV_8UC3 : CV_8UC1, const_cast<void*>(pData), nStride);
    // OpenCV names a Bayer pattern by the second row's first two pixels: the
    // GenICam pattern RG (red at 0,0) is OpenCV's BG, and so on.
    switch (nPixelFormat) {
    case ARV_PIXEL_FORMAT_MONO_8:
    case ARV_PIXEL_FORMAT_RGB_8_PACKED: out = wrapped.clone(); break;
    case ARV_PIXEL_FORMAT_BGR_8_PACKED: cv::cvtColor(wrapped, out, cv::COLOR_BGR2RGB); break;
    case ARV_PIXEL_FORMAT_BAYER_RG_8: cv::cvtColor(wrapped, out, cv::COLOR_BayerBG2RGB); break;
    case ARV_PIXEL_FORMAT_BAYER_GR_8: cv::cvtColor(wrapped, out, cv::COLOR_BayerGB2RGB); break;
    case ARV_PIXEL_FORMAT_BAYER_GB_8: cv::cvtColor(wrapped, out, cv::COLOR_BayerGR2RGB); break;
    case ARV_PIXEL_FORMAT_BAYER_BG_8: cv::cvtColor(wrapped, out, cv::COLOR_BayerRG2RGB); break;
    }
    return true;
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
        // The packet socket (used when the process may open raw sockets, e.g.
        // as root) does not see the traffic of a camera on the loopback
        // interface: use the plain socket there.
        if (isLoopback(m_pCamera)) {
            arv_gv_device_set_stream_options(ARV_GV_DEVICE(pDevice), ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
            // Loopback carries large datagrams: fewer packets a frame keep
            // large colour frames whole.
            arv_camera_gv_set_packet_size(m_pCamera, 8192, &pError);
            g_clear_error(&pError);
        }
    }

    // The setup, then the operator's settings: both again on every reopening
    // (a restarted camera starts from its own defaults).
    arv_camera_set_acquisition_mode(m_pCamera, ARV_ACQUISITION_MODE_CONTINUOUS, &pError);
    g_clear_error(&pError);
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
    if (m_setup.width > 0 && m_setup.height > 0) {
        arv_camera_set_region(m_pCamera, 0, 0, m_setup.width, m_setup.height, &pError);
        if (pError) {
            strError = QStringLiteral("frame size %1 x %2: %3").arg(m_setup.width).arg(m_setup.height).arg(takeError(pError));
            return false;
        }
    }
    applyExposureGainRate(settings);
    readParameters();
    return startStream(strError);
}

AravisCamera::PostedSettings AravisCamera::takeSettingsLocked()
{
    m_bSettingsDirty = false;
    return PostedSettings{m_pixelFormat, m_exposureUs, m_gain, m_frameRate};
}

void AravisCamera::applyExposureGainRate(const PostedSettings& settings)
{
    GError* pError = nullptr;
    if (settings.exposureUs)
        arv_camera_set_exposure_time(m_pCamera, *settings.exposureUs, &pError);
    g_clear_error(&pError);
    if (settings.gain)
        arv_camera_set_gain(m_pCamera, *settings.gain, &pError);
    g_clear_error(&pError);
    if (settings.frameRate)
        arv_camera_set_frame_rate(m_pCamera, *settings.frameRate, &pError);
    g_clear_error(&pError);
}

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
    if (ARV_IS_GV_STREAM(m_pStream))
        g_object_set(m_pStream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_AUTO, nullptr);
    for (int i = 0; i < std::max(2, m_setup.bufferCount); ++i)
        arv_stream_push_buffer(m_pStream, arv_buffer_new_allocate(nPayload));
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

StreamingCamera::ReadResult AravisCamera::readFrame(cv::Mat& frame, int nTimeoutMs, QString& strError)
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
    if (status != ARV_BUFFER_STATUS_SUCCESS)
        setError(QStringLiteral("incomplete frame from the camera (buffer status %1)").arg(int(status)));
    if (status == ARV_BUFFER_STATUS_SUCCESS
        && (arv_buffer_get_payload_type(pBuffer) == ARV_BUFFER_PAYLOAD_TYPE_IMAGE
            || arv_buffer_get_payload_type(pBuffer) == ARV_BUFFER_PAYLOAD_TYPE_EXTENDED_CHUNK_DATA)) {
        size_t nSize = 0;
        const void* pData = arv_buffer_get_image_data(pBuffer, &nSize);
        const int nWidth = arv_buffer_get_image_width(pBuffer);
        const int nHeight = arv_buffer_get_image_height(pBuffer);
        QString strWhy;
        if (convertFrame(arv_buffer_get_image_pixel_format(pBuffer), nWidth, nHeight, pData, nSize, frame, &strWhy)) {
            result = ReadResult::Frame;
        } else {
            setError(strWhy);
        }
    }
    arv_stream_push_buffer(m_pStream, pBuffer);
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
    int nX = 0, nY = 0;
    arv_camera_get_region(m_pCamera, &nX, &nY, &p.width, &p.height, &pError);
    ok();
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
        m_bSettingsDirty = true;
    }
    wakeWorker();
}

void AravisCamera::setGain(double dGain)
{
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        m_gain = dGain;
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

    auto addSpin = [&](const char* pszName, const QString& strLabel, double dMin, double dMax, double dValue,
                       int nDecimals, const QString& strSuffix, void (AravisCamera::*pSetter)(double)) {
        auto* pSpin = new QDoubleSpinBox(pContainer);
        pSpin->setObjectName(QString::fromLatin1(pszName));
        pSpin->setDecimals(nDecimals);
        pSpin->setRange(dMin, dMax);
        pSpin->setSuffix(strSuffix);
        pSpin->setKeyboardTracking(false);
        pSpin->setValue(dValue);
        QObject::connect(pSpin, QOverload<double>::of(&QDoubleSpinBox::valueChanged), pContainer,
                         [this, pSetter](double d) { (this->*pSetter)(d); });
        pLayout->addRow(strLabel, pSpin);
    };
    if (p.hasExposure)
        addSpin("GenicamExposure", QObject::tr("Exposure"), p.exposureMinUs, p.exposureMaxUs, p.exposureUs, 0,
                QStringLiteral(" us"), &AravisCamera::setExposureUs);
    if (p.hasGain)
        addSpin("GenicamGain", QObject::tr("Gain"), p.gainMin, p.gainMax, p.gain, 2, QString(), &AravisCamera::setGain);
    if (p.hasFrameRate)
        addSpin("GenicamFrameRate", QObject::tr("Frame rate"), p.frameRateMin, p.frameRateMax, p.frameRate, 2,
                QStringLiteral(" fps"), &AravisCamera::setFrameRate);

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

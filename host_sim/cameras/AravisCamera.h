#pragma once

// A GenICam camera (GigE Vision or USB3 Vision) through Aravis 0.8.

#include "HostSimExport.h"
#include "cameras/HostCamera.h"

#include <QStringList>

#include <cstdint>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

struct _ArvCamera;
struct _ArvStream;

namespace hostsim {

struct GenicamSetup
{
    QString address;          // IP address, device id or serial; empty = the first camera found
    QString name;             // shown to the operator; default "GenICam ADDRESS"
    QString pixelFormat;      // e.g. "Mono8", "RGB8", "BayerRG8"; empty keeps the camera's
    int width = 0;            // region size; 0 keeps the camera's
    int height = 0;
    double mmPerPixel = 0.02;
    bool calibrated = true;
    int retryMs = 1000;       // pause between attempts to (re)open the camera
    int bufferCount = 6;      // stream buffers (frames kept for clients are lent out of these)
};

// Settings read from the camera. Ranges come from the camera itself.
struct GenicamParameters
{
    bool valid = false;       // read at least once since the camera was opened
    bool hasExposure = false;
    double exposureUs = 0.0, exposureMinUs = 0.0, exposureMaxUs = 0.0;
    bool hasGain = false;
    double gain = 0.0, gainMin = 0.0, gainMax = 0.0;
    bool hasFrameRate = false;
    double frameRate = 0.0, frameRateMin = 0.0, frameRateMax = 0.0;
    QString pixelFormat;
    QStringList pixelFormats;
    int width = 0, height = 0;
    int offsetX = 0, offsetY = 0;             // the region's corner on the sensor
    int sensorWidth = 0, sensorHeight = 0;    // 0 when the camera does not tell
    QString triggerMode;                      // of the frame start trigger; empty when the camera has none
    // Auto modes ("Off", "Once", "Continuous", as the camera names them);
    // empty when the camera has no such mode. The lists are the camera's own.
    QString exposureAuto, gainAuto, whiteBalanceAuto;
    QStringList exposureAutoModes, gainAutoModes, whiteBalanceAutoModes;
    QString vendor, model, deviceId;
};

class HXL_HOSTSIM_EXPORT AravisCamera : public StreamingCamera
{
public:
    explicit AravisCamera(const GenicamSetup& setup);
    ~AravisCamera() override;

    QString typeName() const override { return QStringLiteral("GenICam"); }
    void CreateParamWidget(QWidget* pContainer) override;

    GenicamSetup setup() const { return m_setup; }
    // Last values read from the camera (no device access).
    GenicamParameters parameters() const;
    // Posts a setting; the worker writes it to the camera and reads the
    // settings back. Kept and written again whenever the camera is reopened.
    void setExposureUs(double dExposureUs);
    void setGain(double dGain);
    void setFrameRate(double dFrameRate);
    void setPixelFormat(const QString& strFormat);
    // Writes "Feature=Value ..." to the device from the camera's thread as
    // another program with access to it would: behind the host's back, the
    // stream running and not told (tests of a format or size changed under
    // a running stream; the fake camera takes no second controller).
    void writeFeaturesBehindTheHost(const QString& strFeatures);
    // Auto modes by the camera's names ("Off", "Once", "Continuous"). A
    // manual exposure or gain posted later turns the matching mode off, as it
    // does on the camera's own tools.
    void setExposureAuto(const QString& strMode);
    void setGainAuto(const QString& strMode);
    void setWhiteBalanceAuto(const QString& strMode);
    // Has the worker read the settings from the camera again; false when that
    // did not happen within nTimeoutMs (camera away). For tests and tools.
    bool refreshParameters(int nTimeoutMs);

    // Opens and closes the camera once (Auto camera choice); false with the reason.
    static bool probe(const QString& strAddress, QString* pError);
    // Device ids of the cameras Aravis finds (takes about a second).
    static QStringList discover();
    // Converts one image of the camera into the host's format (CV_8UC1 gray or
    // CV_8UC3 RGB, continuous): convertPixels of PixelFormats.h. nStride 0 =
    // rows packed. False with the reason for formats the host does not take.
    static bool convertFrame(uint32_t nPixelFormat, int nWidth, int nHeight, const void* pData, size_t nSize,
                             cv::Mat& out, QString* pError, size_t nStride = 0);
    static QString pixelFormatName(uint32_t nPixelFormat);
    // Frames kept by lending the stream's own buffer, and frames copied out
    // of it because the stream was short of empty buffers.
    quint64 framesLent() const { return m_nLent.load(); }
    quint64 framesCopied() const { return m_nCopied.load(); }

protected:
    bool openDevice(QString& strError) override;
    ReadResult readFrame(cv::Mat& frame, int nTimeoutMs, QString& strError) override;
    ReadResult readRawFrame(RawFrame& frame, int nTimeoutMs, QString& strError) override;
    bool probeDevice() override;
    void closeDevice() override;
    void serviceDevice() override;
    int silenceLimitMs() const override;

private:
    // The operator's settings as posted; what is not set stays the camera's.
    struct PostedSettings
    {
        std::optional<QString> pixelFormat;
        std::optional<double> exposureUs, gain, frameRate;
        std::optional<QString> exposureAuto, gainAuto, whiteBalanceAuto;
    };
    // Takes the posted settings and clears the dirty flag (m_settingsMutex held).
    PostedSettings takeSettingsLocked();
    // Exposure, gain, frame rate and auto modes to the device; a value it
    // refuses is left.
    void applyExposureGainRate(const PostedSettings& settings);
    // Acquisition running free: every trigger off. What could not be set is told to the operator.
    void clearTriggers();
    // The region: the size asked for (or the camera's), within the sensor
    // and on the camera's steps, centred on the sensor so that the optical
    // axis stays at the picture's centre. False with the reason.
    bool centreRegion(QString& strError);
    // One line to the operator, once per text while the camera is open.
    void tellOnce(const QString& strLine);
    // Pixels of a frame copied out of the stream's buffer (reused once nobody
    // holds them), when the stream has too few empty buffers left to lend one.
    std::shared_ptr<std::vector<uint8_t>> takeBytes(size_t nSize);
    struct BufferHome;

    bool startStream(QString& strError);
    void stopStream();
    void readParameters();
    static void onControlLost(void* pDevice, void* pSelf);

    const GenicamSetup m_setup;
    // Worker thread only.
    _ArvCamera* m_pCamera = nullptr;
    _ArvStream* m_pStream = nullptr;
    // Where the stream's buffers lent with frames go back (one per stream).
    std::shared_ptr<BufferHome> m_pHome;
    std::atomic<quint64> m_nLent{0}, m_nCopied{0};
    unsigned long m_nLostHandler = 0;
    std::atomic<bool> m_bControlLost{false};
    bool m_bGone = false; // the device stopped answering: no goodbye commands
    int m_nSizeMismatches = 0; // frames larger than the buffers in a row
    uint32_t m_nSeenFormat = 0; // pixel format of the frames last received
    QStringList m_told;
    std::vector<std::shared_ptr<std::vector<uint8_t>>> m_bytePool;
    // Releasing a camera that has gone waits for its command timeouts; that
    // happens on these threads so that reopening starts at once.
    std::vector<std::thread> m_releasers;

    // Posted settings, guarded by m_settingsMutex.
    mutable std::mutex m_settingsMutex;
    std::condition_variable m_refreshed;
    std::optional<double> m_exposureUs, m_gain, m_frameRate;
    std::optional<QString> m_pixelFormat;
    std::optional<QString> m_exposureAuto, m_gainAuto, m_whiteBalanceAuto;
    bool m_bSettingsDirty = false;
    QStringList m_featureWrites; // writeFeaturesBehindTheHost, in order
    quint64 m_nRefreshWanted = 0;
    quint64 m_nRefreshDone = 0;
    GenicamParameters m_parameters;
};

} // namespace hostsim

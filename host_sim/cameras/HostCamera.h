#pragma once

// Cameras of the replacement host. HostCamera is what the camera manager
// needs of any camera beyond the host interface (a grab for its own use, the
// picture buffers, the frame geometry); StreamingCamera is the common part of
// the real cameras: a worker thread that opens the device, keeps the newest
// frame and reopens the device when it goes away.

#include "HostSimExport.h"
#include "calibration/CameraModel.h"
#include "host/IZKVisionCameraManager.h"

#include <QImage>
#include <QString>

#include <opencv2/core.hpp>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace hostsim {

class HostCamera;

// The row layout of the frames GrabImage writes, the one the camera panel's
// frame buffers are read with: each row's pixels (3 bytes in RGB order, or 1
// gray), then zeros up to a multiple of 4 bytes. QImage keeps RGB888 and
// Grayscale8 pictures in the same layout.
HXL_HOSTSIM_EXPORT int frameStride(int nWidth, int nChannels);
// Writes frame (CV_8UC3 RGB or CV_8UC1, any row step) into pBuffer in that
// layout: frameStride(cols, channels) x rows bytes.
HXL_HOSTSIM_EXPORT void writeFrameRows(const cv::Mat& frame, unsigned char* pBuffer);
// The frame as a QImage (RGB888 or Grayscale8); null for an empty frame.
HXL_HOSTSIM_EXPORT QImage imageFromFrame(const cv::Mat& frame);

// Picture buffers of a camera. Pixels are stored as cv::Mat: CV_8UC3 in RGB
// order for colour, CV_8UC1 for gray; always continuous (rows packed).
class HXL_HOSTSIM_EXPORT SimImageAdapter : public ImageAdapter
{
public:
    SimImageAdapter();
    ~SimImageAdapter() override;

    int ReadFile(std::string strPath) override;
    void setSrcData() override;
    void bufferUseSrc() override;
    void Release() override;
    void ReleaseSrc() override;
    bool IsEmpty() override;
    unsigned char* GetBuffer() override;
    int GetWidth() override;
    int GetHeight() override;
    int GetChannels() override;
    IZKDbImage* CreateDbImage() override;

    // Host side (no journal lines).
    cv::Mat& buffer() { return m_buffer; }
    cv::Mat& source() { return m_source; }
    void setBuffer(const cv::Mat& image); // deep copy
    QImage bufferImage() const;            // copy of the working buffer as a QImage

private:
    cv::Mat m_buffer;
    cv::Mat m_source;
};

// Pixel to machine millimetres of the pictures a camera hands out (in the
// machine's axes, see HostCamera::model): the picture centre is the machine
// position plus the camera's offset, x to the right, picture y downward =
// machine y decreasing.
class HXL_HOSTSIM_EXPORT HostCalibration : public IZKCameraCalibration
{
public:
    explicit HostCalibration(HostCamera* pCamera) : m_pCamera(pCamera) {}
    void ImageToMachine(double dPixelX, double dPixelY, double& dMachineX, double& dMachineY) override;
    void GetMmPerPixel(double& dMmPerPixelX, double& dMmPerPixelY) override;
    bool IsCalibrated() override;

private:
    HostCamera* m_pCamera;
};

// The simulated camera's calibration is the common one.
using SimCalibration = HostCalibration;

class HXL_HOSTSIM_EXPORT HostCamera : public IZKVisionCamera
{
public:
    HostCamera();
    ~HostCamera() override;

    ImageAdapter* GetImageAdapter() override;
    IZKCameraCalibration* GetCalibration() override;

    // Kind of camera as written in the configuration's "type" field.
    virtual QString typeName() const = 0;
    // A grab for the host's own use (no journal line): fills frame with a
    // copy of the newest frame (CV_8UC3 RGB or CV_8UC1); 0 or the failure
    // answer GrabImage would give.
    virtual int grabFrame(cv::Mat& frame) = 0;
    // Size of the frames the camera delivers now; 0 while unknown.
    virtual int frameWidth() const = 0;
    virtual int frameHeight() const = 0;
    virtual double mmPerPixel() const = 0;
    virtual bool isCalibrated() const = 0;
    virtual void setCalibrated(bool bCalibrated) = 0;
    // Frames copied out by GrabImage and grabFrame so far.
    virtual int grabCount() const = 0;
    // The camera ends for good (GrabImage(null) answers 1 from now on).
    virtual void retire() = 0;
    // One line for the operator: "streaming 1280x1024 Mono8", "waiting: ...".
    virtual QString statusText() const { return QString(); }

    // The host's calibration of the camera. Without one set, a camera on the
    // head looking straight down with square pixels of mmPerPixel().
    // Every frame the camera hands out (to clients and to the host) is turned
    // into the machine's axes with it as the frame is made
    // (CameraModel::alignFrame), so that picture x is machine x and a point's
    // distance from the centre is its distance from the optical axis on both
    // axes: the panel's right-click moves and the placed photo rely on that.
    // Thread-safe.
    CameraModel model() const;
    bool hasModel() const;
    void setModel(const CameraModel& model);
    void clearModel();
    // Changes with every setModel / clearModel (frame caches compare it).
    quint64 modelRevision() const { return m_nModelRevision.load(); }

    // Mapping between the pixels of the pictures the camera hands out and
    // machine millimetres at a given machine position (continuous pixel
    // coordinates: pixel i covers [i, i+1)).
    void pixelToMachine(double dPixelX, double dPixelY, double dAtX, double dAtY, double& dMachineX,
                        double& dMachineY) const;
    void machineToPixel(double dMachineX, double dMachineY, double dAtX, double dAtY, double& dPixelX,
                        double& dPixelY) const;

    SimImageAdapter& adapter() { return m_adapter; }

protected:
    // " [name]" after the journal lines of this camera.
    virtual QString journalTag() const = 0;
    // model() with the pixel size given (for a caller that holds the lock mmPerPixel() takes).
    CameraModel modelOr(double dDefaultMmPerPixel) const;

private:
    SimImageAdapter m_adapter;
    HostCalibration m_calibration{this};
    mutable std::mutex m_modelMutex;
    CameraModel m_model;
    bool m_bHasModel = false;
    std::atomic<quint64> m_nModelRevision{1};
};

// A real camera served by a worker thread. All device calls happen on that
// thread: the GUI and the panel's live-video thread only read the newest
// frame and post settings, so none of them waits for a device that has gone.
class HXL_HOSTSIM_EXPORT StreamingCamera : public HostCamera
{
public:
    enum class State
    {
        Connecting, // opening the device (or waiting to try again)
        Streaming,  // frames arrive
        Stopped,    // StopGrab: device closed until StartGrab
        Ended       // retired for good
    };

    struct Options
    {
        QString name;
        double mmPerPixel = 0.02;
        bool calibrated = true;
        int retryMs = 1000;      // pause between attempts to open the device
        int staleMs = 1000;      // a frame older than this is not handed out
        int silenceMs = 3000;    // no frame for this long: the device is checked
    };

    // A frame as the device delivered it. The worker keeps the newest one as
    // it is; it becomes a host frame (converted, then turned into the
    // machine's axes) only when a client takes it, so that a camera running
    // faster than the live view costs no conversion for the frames nobody sees.
    struct RawFrame
    {
        // GenICam pixel format of bytes (see PixelFormats.h); 0 when image
        // already holds the host frame (CV_8UC3 RGB or CV_8UC1).
        uint32_t pixelFormat = 0;
        int width = 0, height = 0;
        size_t stride = 0; // 0 = rows packed as the format packs them
        // The device's bytes and what keeps them alive: a vector of the
        // camera's, or the device's own receive buffer, lent until the last
        // holder lets go (then it goes back to the device).
        std::shared_ptr<const uint8_t> data;
        size_t size = 0;
        cv::Mat image;

        void setBytes(std::shared_ptr<const std::vector<uint8_t>> pBytes)
        {
            size = pBytes ? pBytes->size() : 0;
            data = pBytes ? std::shared_ptr<const uint8_t>(pBytes, pBytes->data()) : nullptr;
        }

        int frameWidth() const { return pixelFormat ? width : image.cols; }
        int frameHeight() const { return pixelFormat ? height : image.rows; }
        // 1 or 3 for the host frame it gives; 0 when the host cannot show it.
        int channels() const;
        // The host frame (CV_8UC3 RGB or CV_8UC1), written into out in place
        // when out already has its size and type; false when it cannot be made.
        bool convert(cv::Mat& out, QString* pError) const;
    };

    explicit StreamingCamera(const Options& options);
    ~StreamingCamera() override;

    int StartGrab() override;
    int StopGrab() override;
    bool IsColorful() override;
    int GetImageWidth(bool bCurrent) override;
    int GetImageHeight(bool bCurrent) override;
    int GrabImage(unsigned char* pBuffer) override;
    std::string GetCameraName() override;

    int grabFrame(cv::Mat& frame) override;
    int frameWidth() const override;
    int frameHeight() const override;
    double mmPerPixel() const override;
    bool isCalibrated() const override;
    void setCalibrated(bool bCalibrated) override;
    int grabCount() const override { return m_nGrabCount.load(); }
    void retire() override;
    QString statusText() const override;

    State state() const;
    // Why the device is not streaming (empty while it is).
    QString lastError() const;
    // Frames received from the device, and how often it was (re)opened.
    quint64 framesReceived() const;
    int openCount() const;
    // Blocks the caller (tests, benchmarks) until a frame newer than
    // nAfterFrame arrived; false on timeout.
    bool waitForFrame(quint64 nAfterFrame, int nTimeoutMs) const;
    // Time the newest frame arrived, steady clock in microseconds (0 = none).
    qint64 newestFrameArrivalUs() const;
    // Frames turned into host frames so far (each grab of a frame converts it).
    quint64 framesConverted() const { return m_nConverted.load(); }

protected:
    enum class ReadResult
    {
        Frame,
        Timeout,
        Lost
    };

    // Worker-thread hooks. openDevice prepares streaming (false with a reason
    // when the device is not there); readFrame waits up to nTimeoutMs for the
    // next frame (CV_8UC3 RGB or CV_8UC1); probeDevice checks a silent device
    // still answers; closeDevice releases everything, also after a loss.
    virtual bool openDevice(QString& strError) = 0;
    virtual ReadResult readFrame(cv::Mat& frame, int nTimeoutMs, QString& strError) = 0;
    // The same, for a device that hands over its own pixels: the frame is
    // kept as delivered and converted when taken. By default readFrame's
    // frame. A frame of a format the host cannot show is refused here with
    // one line to the operator naming the format.
    virtual ReadResult readRawFrame(RawFrame& frame, int nTimeoutMs, QString& strError);
    virtual bool probeDevice() { return true; }
    virtual void closeDevice() = 0;
    // Applies settings posted from other threads (worker thread, device open).
    virtual void serviceDevice() {}
    // How long the device may send nothing before it is asked whether it is still there.
    virtual int silenceLimitMs() const { return m_options.silenceMs; }

    // Derived classes start the worker at the end of their constructor and
    // stop it at the start of their destructor: the hooks are theirs.
    void startWorker();
    void stopWorker();
    // Wakes the worker (after posting a setting).
    void wakeWorker();
    bool stopRequested() const { return m_bQuit.load(); }
    void setError(const QString& strError);
    QString journalTag() const override;

private:
    void run();
    // Copies the newest frame if it is fresh and has the format announced
    // last (nBytes 0 = any format); 0 or the GrabImage answer.
    int copyNewest(unsigned char* pBuffer, cv::Mat* pFrame);

    const Options m_options;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_frameArrived;
    std::condition_variable m_wake;
    std::thread m_worker;
    std::atomic<bool> m_bQuit{false};
    std::atomic<int> m_nGrabCount{0};
    std::atomic<quint64> m_nConverted{0};

    // Guarded by m_mutex.
    State m_state = State::Connecting;
    bool m_bWanted = true;
    bool m_bEnded = false;
    bool m_bCalibrated = true;
    bool m_bWakeRequested = false;
    QString m_strError;
    RawFrame m_newest;
    uint32_t m_nRefusedFormat = 0; // the format last told to the operator as not shown
    qint64 m_nNewestUs = 0;
    quint64 m_nFrames = 0;
    quint64 m_nDelivered = 0;
    int m_nOpenCount = 0;
    int m_nWidth = 0, m_nHeight = 0;
    bool m_bColour = false;
    // Format last announced through IsColorful / GetImage*(true), for each
    // client thread: each sized its buffer from what it was told itself, so
    // that a format change seen by one client never makes the grab of another
    // write a larger frame into the smaller buffer it had made.
    struct Announced
    {
        int width = 0, height = 0;
        bool colour = false;
    };
    std::map<std::thread::id, Announced> m_announced;
    Announced& announcedLocked();
    int m_nLastWidth = 0, m_nLastHeight = 0;
};

HXL_HOSTSIM_EXPORT qint64 steadyMicroseconds();

} // namespace hostsim

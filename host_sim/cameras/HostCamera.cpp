#include "cameras/HostCamera.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "HostState.h"
#include "cameras/PixelFormats.h"

#include <chrono>
#include <cstdio>
#include <cstring>

namespace hostsim {

int frameStride(int nWidth, int nChannels)
{
    return (nWidth * nChannels + 3) & ~3;
}

void writeFrameRows(const cv::Mat& frame, unsigned char* pBuffer)
{
    const size_t nRow = size_t(frame.cols) * frame.elemSize();
    const size_t nStride = size_t(frameStride(frame.cols, frame.channels()));
    if (nRow == nStride && frame.isContinuous()) {
        std::memcpy(pBuffer, frame.data, nRow * size_t(frame.rows));
        return;
    }
    for (int y = 0; y < frame.rows; ++y) {
        unsigned char* pLine = pBuffer + size_t(y) * nStride;
        std::memcpy(pLine, frame.ptr(y), nRow);
        std::memset(pLine + nRow, 0, nStride - nRow);
    }
}

QImage imageFromFrame(const cv::Mat& frame)
{
    if (frame.empty())
        return QImage();
    QImage image(frame.cols, frame.rows, frame.channels() == 1 ? QImage::Format_Grayscale8 : QImage::Format_RGB888);
    if (image.isNull())
        return image;
    Q_ASSERT(image.bytesPerLine() == frameStride(frame.cols, frame.channels()));
    writeFrameRows(frame, image.bits());
    return image;
}

qint64 steadyMicroseconds()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// --- HostCalibration ---------------------------------------------------------

void HostCalibration::ImageToMachine(double dPixelX, double dPixelY, double& dMachineX, double& dMachineY)
{
    const HostState& state = hostState();
    m_pCamera->pixelToMachine(dPixelX, dPixelY, state.dCalX, state.dCalY, dMachineX, dMachineY);
    HostSim::journal().append(QStringLiteral("IZKCameraCalibration::ImageToMachine(%1, %2)")
                                  .arg(jnum(dPixelX), jnum(dPixelY)));
}

void HostCalibration::GetMmPerPixel(double& dMmPerPixelX, double& dMmPerPixelY)
{
    HostSim::journal().append(QStringLiteral("IZKCameraCalibration::GetMmPerPixel()"));
    const CameraModel model = m_pCamera->model();
    dMmPerPixelX = model.alignedMmPerPixelX();
    dMmPerPixelY = model.alignedMmPerPixelY();
}

bool HostCalibration::IsCalibrated()
{
    return m_pCamera->isCalibrated();
}

// --- HostCamera ----------------------------------------------------------------

HostCamera::HostCamera() = default;
HostCamera::~HostCamera() = default;

ImageAdapter* HostCamera::GetImageAdapter()
{
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::GetImageAdapter()") + journalTag());
    return HostSim::isAbsent(AbsentPart::ImageAdapter) ? nullptr : &m_adapter;
}

IZKCameraCalibration* HostCamera::GetCalibration()
{
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::GetCalibration()") + journalTag());
    return HostSim::isAbsent(AbsentPart::CameraCalibration) ? nullptr : &m_calibration;
}

CameraModel HostCamera::modelOr(double dDefaultMmPerPixel) const
{
    std::lock_guard<std::mutex> lock(m_modelMutex);
    return m_bHasModel ? m_model : CameraModel::plain(dDefaultMmPerPixel);
}

CameraModel HostCamera::model() const
{
    return modelOr(mmPerPixel());
}

bool HostCamera::hasModel() const
{
    std::lock_guard<std::mutex> lock(m_modelMutex);
    return m_bHasModel;
}

void HostCamera::setModel(const CameraModel& model)
{
    std::lock_guard<std::mutex> lock(m_modelMutex);
    m_model = model;
    m_bHasModel = true;
    ++m_nModelRevision;
}

void HostCamera::clearModel()
{
    std::lock_guard<std::mutex> lock(m_modelMutex);
    m_bHasModel = false;
    ++m_nModelRevision;
}

void HostCamera::pixelToMachine(double dPixelX, double dPixelY, double dAtX, double dAtY, double& dMachineX,
                                double& dMachineY) const
{
    const QPointF pt = model().alignedPixelToMachine(QPointF(dPixelX, dPixelY), QSize(frameWidth(), frameHeight()),
                                                     QPointF(dAtX, dAtY));
    dMachineX = pt.x();
    dMachineY = pt.y();
}

void HostCamera::machineToPixel(double dMachineX, double dMachineY, double dAtX, double dAtY, double& dPixelX,
                                double& dPixelY) const
{
    const QPointF pt = model().machineToAlignedPixel(QPointF(dMachineX, dMachineY),
                                                     QSize(frameWidth(), frameHeight()), QPointF(dAtX, dAtY));
    dPixelX = pt.x();
    dPixelY = pt.y();
}

// --- StreamingCamera -----------------------------------------------------------

StreamingCamera::StreamingCamera(const Options& options) : m_options(options), m_bCalibrated(options.calibrated) {}

StreamingCamera::~StreamingCamera()
{
    // Derived destructors stop the worker; this is the last guard.
    stopWorker();
}

QString StreamingCamera::journalTag() const
{
    return QStringLiteral(" [%1]").arg(m_options.name);
}

void StreamingCamera::startWorker()
{
    if (m_worker.joinable())
        return;
    m_bQuit = false;
    m_worker = std::thread([this] { run(); });
}

void StreamingCamera::stopWorker()
{
    if (!m_worker.joinable())
        return;
    m_bQuit = true;
    wakeWorker();
    m_worker.join();
}

void StreamingCamera::wakeWorker()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bWakeRequested = true;
    }
    m_wake.notify_all();
}

void StreamingCamera::setError(const QString& strError)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_strError = strError;
}

void StreamingCamera::run()
{
    bool bOpen = false;
    bool bReportedWaiting = false;
    qint64 nLastFrameUs = 0;
    auto closeIfOpen = [this, &bOpen] {
        if (bOpen)
            closeDevice();
        bOpen = false;
    };
    // Waits for a wake-up (a setting, StartGrab, the end) or nMs.
    auto pause = [this](int nMs) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_wake.wait_for(lock, std::chrono::milliseconds(nMs), [this] { return m_bWakeRequested || m_bQuit.load(); });
        m_bWakeRequested = false;
    };

    while (!m_bQuit) {
        bool bWanted = true;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            bWanted = m_bWanted && !m_bEnded;
        }
        if (!bWanted) {
            closeIfOpen();
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_state = m_bEnded ? State::Ended : State::Stopped;
            }
            pause(200);
            continue;
        }
        if (!bOpen) {
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_state = State::Connecting;
            }
            QString strError;
            bOpen = openDevice(strError);
            if (!bOpen) {
                closeDevice();
                {
                    std::lock_guard<std::mutex> lock(m_mutex);
                    m_strError = strError;
                }
                if (!bReportedWaiting) {
                    std::fprintf(stderr, "host_sim: camera %s not available (%s); retrying in the background\n",
                                 qPrintable(m_options.name), qPrintable(strError));
                    bReportedWaiting = true;
                }
                pause(m_options.retryMs);
                continue;
            }
            if (bReportedWaiting)
                std::fprintf(stderr, "host_sim: camera %s is back\n", qPrintable(m_options.name));
            bReportedWaiting = false;
            nLastFrameUs = steadyMicroseconds();
            std::lock_guard<std::mutex> lock(m_mutex);
            m_state = State::Streaming;
            m_strError.clear();
            ++m_nOpenCount;
        }

        serviceDevice();
        RawFrame frame;
        QString strError;
        const ReadResult result = readRawFrame(frame, 100, strError);
        if (result == ReadResult::Frame && frame.channels() == 0 && frame.pixelFormat) {
            // Frames keep coming but cannot be shown: said once per format,
            // and the camera counts as streaming nothing.
            const QString strWhy = QStringLiteral("camera %1 sends %2 pictures, which the host cannot show: choose "
                                                  "another pixel format in the camera parameter dialog")
                                       .arg(m_options.name, pixelFormatName(frame.pixelFormat));
            bool bTell = false;
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_strError = strWhy;
                bTell = m_nRefusedFormat != frame.pixelFormat;
                m_nRefusedFormat = frame.pixelFormat;
            }
            if (bTell)
                HostSim::tellOperator(strWhy);
            nLastFrameUs = steadyMicroseconds();
            continue;
        }
        if (result == ReadResult::Frame && frame.frameWidth() > 0 && frame.frameHeight() > 0) {
            nLastFrameUs = steadyMicroseconds();
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_nWidth = frame.frameWidth();
                m_nHeight = frame.frameHeight();
                m_bColour = frame.channels() == 3;
                m_newest = std::move(frame);
                m_nNewestUs = nLastFrameUs;
                m_strError.clear();
                m_nRefusedFormat = 0;
                ++m_nFrames;
            }
            m_frameArrived.notify_all();
            continue;
        }
        bool bLost = result == ReadResult::Lost;
        if (!bLost && steadyMicroseconds() - nLastFrameUs > qint64(silenceLimitMs()) * 1000) {
            // A silent device may only be slow (long exposure, trigger): ask it.
            bLost = !probeDevice();
            if (!bLost)
                nLastFrameUs = steadyMicroseconds();
            else if (strError.isEmpty())
                strError = QStringLiteral("the camera stopped answering");
        }
        if (bLost) {
            std::fprintf(stderr, "host_sim: camera %s lost (%s); reopening in the background\n",
                         qPrintable(m_options.name), qPrintable(strError));
            bReportedWaiting = true;
            closeIfOpen();
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_state = State::Connecting;
                m_strError = strError.isEmpty() ? QStringLiteral("the camera went away") : strError;
            }
            pause(m_options.retryMs);
        }
    }
    closeIfOpen();
}

int StreamingCamera::StartGrab()
{
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::StartGrab()") + journalTag());
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_bEnded)
            return -1;
        m_bWanted = true;
    }
    wakeWorker();
    return 0;
}

int StreamingCamera::StopGrab()
{
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::StopGrab()") + journalTag());
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bWanted = false;
    }
    wakeWorker();
    return 0;
}

bool StreamingCamera::IsColorful()
{
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::IsColorful()") + journalTag());
    std::lock_guard<std::mutex> lock(m_mutex);
    announcedLocked().colour = m_bColour;
    return m_bColour;
}

int StreamingCamera::GetImageWidth(bool bCurrent)
{
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::GetImageWidth(%1)").arg(bCurrent) + journalTag());
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!bCurrent)
        return m_nLastWidth;
    announcedLocked().width = m_nWidth;
    return m_nWidth;
}

int StreamingCamera::GetImageHeight(bool bCurrent)
{
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::GetImageHeight(%1)").arg(bCurrent) + journalTag());
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!bCurrent)
        return m_nLastHeight;
    announcedLocked().height = m_nHeight;
    return m_nHeight;
}

StreamingCamera::Announced& StreamingCamera::announcedLocked()
{
    // Threads come and go (a panel's video thread per opening): the record
    // is kept small by forgetting all but the caller's now and then.
    const std::thread::id self = std::this_thread::get_id();
    if (m_announced.size() > 32 && !m_announced.count(self))
        m_announced.clear();
    return m_announced[self];
}

int StreamingCamera::RawFrame::channels() const
{
    return pixelFormat ? pixelFormatChannels(pixelFormat) : image.channels();
}

bool StreamingCamera::RawFrame::convert(cv::Mat& out, QString* pError) const
{
    if (!pixelFormat) {
        if (out.rows == image.rows && out.cols == image.cols && out.type() == image.type())
            image.copyTo(out);
        else
            out = image.clone();
        return !out.empty();
    }
    if (!data)
        return false;
    return convertPixels(pixelFormat, width, height, data.get(), size, out, pError, stride);
}

StreamingCamera::ReadResult StreamingCamera::readRawFrame(RawFrame& frame, int nTimeoutMs, QString& strError)
{
    frame = RawFrame();
    return readFrame(frame.image, nTimeoutMs, strError);
}

int StreamingCamera::copyNewest(unsigned char* pBuffer, cv::Mat* pFrame)
{
    RawFrame raw;
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_bEnded)
            return 1;
        if (!pBuffer && !pFrame)
            return 2;
        if (m_state != State::Streaming)
            return 2;
        // Nothing new since the last grab: wait at most about one frame for the
        // next one, so that a live view gets every frame without ever waiting on
        // a camera that stopped.
        if (m_nFrames == m_nDelivered || m_nNewestUs == 0)
            m_frameArrived.wait_for(lock, std::chrono::milliseconds(40), [this, nSeen = m_nFrames] {
                return m_nFrames != nSeen || m_bEnded;
            });
        if (m_bEnded)
            return 1;
        if (m_nNewestUs == 0 || steadyMicroseconds() - m_nNewestUs > qint64(m_options.staleMs) * 1000)
            return 2;
        if (pBuffer) {
            // The client sized its buffer from the format announced last.
            const bool bColour = m_newest.channels() == 3;
            const Announced& announced = announcedLocked();
            if (m_newest.frameWidth() != announced.width || m_newest.frameHeight() != announced.height
                || bColour != announced.colour)
                return 2;
        }
        // The pixels are shared, never written again: converted without the lock.
        raw = m_newest;
        m_nDelivered = m_nFrames;
        m_nLastWidth = raw.frameWidth();
        m_nLastHeight = raw.frameHeight();
    }

    const CameraModel frameModel = model();
    const bool bTurn = frameModel.needsResampling() && frameModel.isValid();
    const int nChannels = raw.channels();
    const int nType = nChannels == 3 ? CV_8UC3 : CV_8UC1;
    bool bOk = false;
    if (pBuffer && !bTurn) {
        // Straight into the client's rows, then zeros in the padding.
        const int nStride = frameStride(raw.frameWidth(), nChannels);
        cv::Mat rows(raw.frameHeight(), raw.frameWidth(), nType, pBuffer, size_t(nStride));
        bOk = raw.convert(rows, nullptr) && rows.data == pBuffer;
        const size_t nRow = size_t(raw.frameWidth()) * size_t(nChannels);
        if (bOk && nRow != size_t(nStride))
            for (int y = 0; y < raw.frameHeight(); ++y)
                std::memset(pBuffer + size_t(y) * size_t(nStride) + nRow, 0, size_t(nStride) - nRow);
    } else {
        cv::Mat frame;
        bOk = raw.convert(frame, nullptr);
        if (bOk && bTurn)
            frame = frameModel.alignFrame(frame);
        if (bOk && pBuffer)
            writeFrameRows(frame, pBuffer);
        else if (bOk)
            *pFrame = frame;
    }
    if (!bOk)
        return 2;
    ++m_nConverted;
    ++m_nGrabCount;
    return 0;
}

int StreamingCamera::GrabImage(unsigned char* pBuffer)
{
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::GrabImage(%1)").arg(pBuffer ? "buffer" : "null") +
                              journalTag());
    if (!pBuffer) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_bEnded ? 1 : 2;
    }
    return copyNewest(pBuffer, nullptr);
}

int StreamingCamera::grabFrame(cv::Mat& frame)
{
    return copyNewest(nullptr, &frame);
}

std::string StreamingCamera::GetCameraName()
{
    return m_options.name.toStdString();
}

int StreamingCamera::frameWidth() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_nWidth;
}

int StreamingCamera::frameHeight() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_nHeight;
}

double StreamingCamera::mmPerPixel() const
{
    return m_options.mmPerPixel;
}

bool StreamingCamera::isCalibrated() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bCalibrated;
}

void StreamingCamera::setCalibrated(bool bCalibrated)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bCalibrated = bCalibrated;
}

void StreamingCamera::retire()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bEnded = true;
        m_bWanted = false;
    }
    m_frameArrived.notify_all();
    // The device is closed before this returns: nothing of the camera keeps
    // running for a host state that is gone.
    stopWorker();
    std::lock_guard<std::mutex> lock(m_mutex);
    m_state = State::Ended;
}

StreamingCamera::State StreamingCamera::state() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_state;
}

QString StreamingCamera::lastError() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_strError;
}

quint64 StreamingCamera::framesReceived() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_nFrames;
}

int StreamingCamera::openCount() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_nOpenCount;
}

bool StreamingCamera::waitForFrame(quint64 nAfterFrame, int nTimeoutMs) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_frameArrived.wait_for(lock, std::chrono::milliseconds(nTimeoutMs),
                                   [this, nAfterFrame] { return m_nFrames > nAfterFrame; });
}

qint64 StreamingCamera::newestFrameArrivalUs() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_nNewestUs;
}

QString StreamingCamera::statusText() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    switch (m_state) {
    case State::Streaming:
        if (m_nRefusedFormat)
            return m_strError;
        return m_nFrames ? QStringLiteral("streaming %1 x %2 %3")
                               .arg(m_nWidth)
                               .arg(m_nHeight)
                               .arg(m_bColour ? QStringLiteral("colour") : QStringLiteral("gray"))
                         : QStringLiteral("open, waiting for the first frame");
    case State::Connecting:
        return m_strError.isEmpty() ? QStringLiteral("opening") : QStringLiteral("waiting: ") + m_strError;
    case State::Stopped:
        return QStringLiteral("stopped");
    case State::Ended:
        return QStringLiteral("ended");
    }
    return QString();
}

} // namespace hostsim

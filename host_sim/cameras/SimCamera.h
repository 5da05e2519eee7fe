#pragma once

#include "HostSimExport.h"
#include "HostSim.h"
#include "cameras/HostCamera.h"
#include "host/IZKVisionCameraManager.h"

#include <QImage>
#include <QMutex>

#include <opencv2/core.hpp>

#include <atomic>

namespace hostsim {

class SimMachine;
class Workpiece;

// A simulated camera. Thread-safe: the live-video thread grabs while the GUI
// thread changes settings.
class HXL_HOSTSIM_EXPORT SimCamera : public HostCamera
{
public:
    SimCamera(const CameraSetup& setup, SimMachine* pMachine, Workpiece* pWorkpiece);
    ~SimCamera() override;

    int StartGrab() override;
    int StopGrab() override;
    bool IsColorful() override;
    int GetImageWidth(bool bCurrent) override;
    int GetImageHeight(bool bCurrent) override;
    int GrabImage(unsigned char* pBuffer) override;
    void CreateParamWidget(QWidget* pContainer) override;
    std::string GetCameraName() override;

    // --- host camera ---------------------------------------------------------
    QString typeName() const override { return QStringLiteral("Sim"); }
    int frameWidth() const override;
    int frameHeight() const override;
    bool isCalibrated() const override;
    void retire() override { setEnded(true); }

    // --- facade --------------------------------------------------------------
    CameraSetup setup() const;
    void setSetup(const CameraSetup& setup);
    void setFrameSize(int nWidth, int nHeight);
    void setColour(bool bColour);
    // False (and nothing changes) when a picture file cannot be read
    // (readPictureFile); the operator is told why.
    bool setSource(FrameSource source, const QString& strPicturePath = QString());
    // Shows a picture held in memory (the picture source without a file). A
    // picture of the frame's size is delivered pixel for pixel.
    void setPicture(const QImage& picture);
    void setCalibrated(bool bCalibrated) override;
    double mmPerPixel() const override;
    // Exposure in microseconds (reference 10000) and gain in dB (0..24);
    // the rendered brightness scales with exposure x 10^(gain/20).
    void setExposureUs(int nExposureUs);
    int exposureUs() const;
    void setGainDb(double dGainDb);
    double gainDb() const;

    // Failure injection.
    void setGrabFails(bool bFails);        // GrabImage answers 2 and copies nothing
    void setZeroSize(bool bZero);          // width and height report 0
    void setEnded(bool bEnded);            // GrabImage(null) answers 1
    int grabCount() const override { return m_nGrabCount.load(); }
    // A grab for the host's own use (no journal line): fills frame with a
    // copy of the newest frame; 0 or the failure answer GrabImage would give.
    int grabFrame(cv::Mat& frame) override;
    bool isGrabbing() const;

    // Renders the frame the camera hands out now (no journal line), in the
    // camera's format: CV_8UC3 RGB or CV_8UC1.
    cv::Mat renderFrame();
    // Renders the frame that the camera would hand out with the machine at (dX, dY).
    cv::Mat renderFrameAt(double dX, double dY);

    // How the camera is mounted (its true geometry, from the setup): what it
    // sees, before the host's calibration turns the picture.
    CameraModel mount() const;

private:
    cv::Mat renderLocked(double dX, double dY);
    void touchLocked() { ++m_nStamp; }
    QString tag() const;
    QString journalTag() const override { return tag(); }

    mutable QMutex m_mutex;
    CameraSetup m_setup;
    SimMachine* m_pMachine;
    Workpiece* m_pWorkpiece;
    int m_nExposureUs = 10000;
    double m_dGainDb = 0.0;
    bool m_bGrabFails = false;
    bool m_bZeroSize = false;
    bool m_bEnded = false;
    bool m_bGrabbing = false;
    int m_nLastWidth = 0;
    int m_nLastHeight = 0;
    // What the camera last told about its frames (IsColorful,
    // GetImageWidth/Height(true)): a client sizes its buffer from these, so
    // a grab copies only a frame that matches them.
    bool m_bReportedColour = true;
    int m_nReportedWidth = 0;
    int m_nReportedHeight = 0;
    std::atomic<int> m_nGrabCount{0};
    // Last rendered frame and what it was rendered for: a grab while nothing
    // changed is one copy.
    cv::Mat m_cache;
    double m_dCacheX = 1e300, m_dCacheY = 1e300;
    quint64 m_nCacheStamp = 0;
    quint64 m_nStamp = 1;
    quint64 m_nCacheModelRevision = 0;
    QImage m_picture; // FrameSource::Picture, already scaled
    cv::RNG m_noise;  // sensor noise, seeded from the setup
};

} // namespace hostsim

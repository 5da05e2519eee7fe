#pragma once

// A USB webcam (any V4L2 capture device) through OpenCV's V4L2 back-end.

#include "cameras/HostCamera.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace cv {
class VideoCapture;
}

namespace hostsim {

struct V4l2Setup
{
    QString device = QStringLiteral("/dev/video0");
    QString name;             // default "V4L2 DEVICE"
    int width = 0;            // requested frame size; 0 = the device's
    int height = 0;
    double mmPerPixel = 0.02;
    bool calibrated = true;
    int retryMs = 1000;
};

// One control of the device (V4L2 VIDIOC_QUERYCTRL).
struct V4l2Control
{
    bool available = false;
    int minimum = 0, maximum = 0, step = 1, value = 0;
};

struct V4l2Parameters
{
    bool valid = false;
    QString fourcc;           // "MJPG", "YUYV", "GREY" or "Y16 "
    int width = 0, height = 0;
    QString card;             // the device's own name
    V4l2Control exposure, gain, brightness;
};

class HXL_HOST_EXPORT V4l2Camera : public StreamingCamera
{
public:
    enum class Control
    {
        Exposure,
        Gain,
        Brightness
    };

    explicit V4l2Camera(const V4l2Setup& setup);
    ~V4l2Camera() override;

    QString typeName() const override { return QStringLiteral("V4L2"); }
    void CreateParamWidget(QWidget* pContainer) override;

    V4l2Setup setup() const { return m_setup; }
    V4l2Parameters parameters() const;
    // Posted to the worker, written to the device, kept for reopenings.
    void setControl(Control control, int nValue);

    // One raw buffer of the device into the host's format (CV_8UC3 RGB):
    // MJPG is a JPEG picture, YUYV two bytes a pixel (Y0 U Y1 V); GREY and
    // Y16 (little-endian, shown by its top 8 bits) give CV_8UC1. False with
    // the reason for other formats or damaged data.
    static bool convertFrame(const QString& strFourcc, int nWidth, int nHeight, const void* pData, size_t nSize,
                             cv::Mat& out, QString* pError);
    // The line that tells the operator the device lacks the requested frame
    // size (nWanted 0: none requested); empty when there is nothing to say.
    static QString frameSizeNote(const QString& strDevice, int nWantedW, int nWantedH, int nGotW, int nGotH);
    // Opens and closes the device once (Auto camera choice).
    static bool probe(const QString& strDevice, QString* pError);

protected:
    bool openDevice(QString& strError) override;
    ReadResult readFrame(cv::Mat& frame, int nTimeoutMs, QString& strError) override;
    void closeDevice() override;
    void serviceDevice() override;

private:
    void readControls(V4l2Parameters& parameters);

    const V4l2Setup m_setup;
    std::unique_ptr<cv::VideoCapture> m_pCapture; // worker thread only
    QString m_strFourcc;                          // worker thread only
    QString m_strSizeNoteSaid;                    // worker thread only
    int m_nFailedReads = 0;

    mutable std::mutex m_settingsMutex;
    std::optional<int> m_controls[3];
    bool m_bDirty = false;
    V4l2Parameters m_parameters;
};

} // namespace hostsim

#pragma once

// A USB webcam (any V4L2 capture device) through OpenCV's V4L2 back-end.

#include "HostSimExport.h"
#include "cameras/HostCamera.h"

#include <QStringList>
#include <QVector>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace cv {
class VideoCapture;
}

namespace hostsim {

// One control of the device: its range and step asked of the device itself
// (VIDIOC_QUERYCTRL), its value through OpenCV.
struct V4l2Control
{
    bool available = false;
    int minimum = 0, maximum = 0, step = 1, value = 0;
};

struct V4l2Setup
{
    QString device = QStringLiteral("/dev/video0");
    QString name;             // default "V4L2 DEVICE"
    int width = 0;            // requested frame size; 0 = the device's
    int height = 0;
    double framesPerSecond = 0.0; // requested rate; 0 = the device's
    double mmPerPixel = 0.02;
    bool calibrated = true;
    int retryMs = 1000;
    // Makes the capture object the camera opens the device with (empty:
    // OpenCV's own). Tests give captures that stand in for a device: a
    // stalled one, or one that records what it is told.
    std::function<std::unique_ptr<cv::VideoCapture>()> makeCapture;
    // Asks the range and step of a control by its V4L2 id (empty: the
    // device's own VIDIOC_QUERYCTRL). Tests describe a device's controls.
    std::function<V4l2Control(quint32 nV4l2Id)> queryControl;
};

// One frame size the device offers in the format in use, with its rates.
struct V4l2Mode
{
    int width = 0, height = 0;
    QVector<double> framesPerSecond; // discrete rates, highest first (empty: not told)
};

struct V4l2Parameters
{
    bool valid = false;
    QString fourcc;           // "MJPG", "YUYV", "GREY" or "Y16 "
    int width = 0, height = 0;
    double framesPerSecond = 0.0; // the rate in use (0: not told)
    QString card;             // the device's own name
    V4l2Control exposure, gain, brightness, focus, autoFocus, autoWhiteBalance, whiteBalanceTemperature;
    QVector<V4l2Mode> modes;
};

class HXL_HOSTSIM_EXPORT V4l2Camera : public StreamingCamera
{
public:
    enum class Control
    {
        Exposure,
        Gain,
        Brightness,
        Focus,
        AutoFocus,        // 0 or 1
        AutoWhiteBalance, // 0 or 1
        WhiteBalanceTemperature
    };
    static constexpr int kControlCount = 7;

    // What setting a control writes to the capture object, in order (OpenCV
    // properties, cv::CAP_PROP_*, in the device's own units): a manual value
    // first turns the matching automatic mode off, as arv-viewer does for the
    // GenICam cameras.
    struct ControlWrite
    {
        int property = 0;
        int value = 0;
        bool operator==(const ControlWrite& o) const { return property == o.property && value == o.value; }
    };
    static QVector<ControlWrite> controlWrites(Control control, int nValue);
    // The settings kept for reopenings after the operator set control to
    // nValue: a manual value keeps its automatic mode off; an automatic mode
    // turned on drops the manual value it replaces.
    using KeptControls = std::optional<int>[kControlCount];
    static void keepControl(KeptControls& kept, Control control, int nValue);
    // The order kept controls are written in: automatic modes first.
    static const Control* applyOrder();
    // "1280 x 720: 30, 15 fps" a line, for the parameter dialog.
    static QStringList describeModes(const QVector<V4l2Mode>& modes);

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
    // Worker thread, with the device open.
    void readControls(V4l2Parameters& parameters);
    // Writes the kept controls, automatic modes first; false with the first
    // value the device refused among the controls it offers.
    bool writeControls(const KeptControls& controls, const V4l2Parameters& offered, QString* pRefused);

    const V4l2Setup m_setup;
    std::unique_ptr<cv::VideoCapture> m_pCapture; // worker thread only
    QString m_strFourcc;                          // worker thread only
    QString m_strSizeNoteSaid;                    // worker thread only
    QString m_strRefusalSaid;                     // worker thread only
    int m_nFailedReads = 0;

    mutable std::mutex m_settingsMutex;
    KeptControls m_controls;
    bool m_bDirty = false;
    V4l2Parameters m_parameters;
};

} // namespace hostsim

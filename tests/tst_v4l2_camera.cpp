// The V4L2 webcam camera: a device that is not there, the conversion of the
// raw buffers a webcam delivers into the host's format, and its controls as
// they reach OpenCV's capture object.

#include "HostSim.h"
#include "services/SimCameraManager.h"
#include "cameras/V4l2Camera.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QTemporaryDir>
#include <QWidget>
#include <QtTest>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <vector>

#include <QFile>
#include <QTemporaryFile>
#include <QCheckBox>
#include <QSlider>
#include <atomic>
#include <map>
#include <set>
#include <memory>
#include <mutex>
#include <thread>
#include <opencv2/videoio.hpp>
#include <linux/videodev2.h>

Q_DECLARE_METATYPE(hostsim::V4l2Camera::ControlWrite)

namespace {

// What a capture object was told, in order, and the control values the
// device holds by OpenCV property. Shared between the test and the camera's
// worker, which calls the capture.
struct CaptureLog
{
    std::mutex mutex;
    std::vector<std::pair<int, double>> sets;
    std::map<int, double> values;
    std::set<int> refused; // controls the device has but refuses every value of

    void clear()
    {
        std::lock_guard<std::mutex> lock(mutex);
        sets.clear();
    }
    std::vector<std::pair<int, double>> written()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return sets;
    }
};

// A webcam as OpenCV's V4L2 back-end shows it: it takes only the GREY
// format, sends 64 x 48 frames, keeps the rate it is asked in whole frames
// a second, holds its controls' values; for a control it lacks get() is -1
// and set() false, as OpenCV answers.
class FakeWebcam : public cv::VideoCapture
{
public:
    explicit FakeWebcam(std::shared_ptr<CaptureLog> pLog) : m_pLog(std::move(pLog)) {}
    bool open(const cv::String&, int) override { return m_bOpen = true; }
    bool isOpened() const override { return m_bOpen; }
    void release() override { m_bOpen = false; }
    bool grab() override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return m_bOpen;
    }
    bool retrieve(cv::OutputArray out, int) override
    {
        cv::Mat(48, 64, CV_8UC1, cv::Scalar(128)).copyTo(out);
        return true;
    }
    bool set(int nProperty, double dValue) override
    {
        std::lock_guard<std::mutex> lock(m_pLog->mutex);
        m_pLog->sets.emplace_back(nProperty, dValue);
        switch (nProperty) {
        case cv::CAP_PROP_FOURCC:
            if (int(dValue) != cv::VideoWriter::fourcc('G', 'R', 'E', 'Y'))
                return false;
            m_dFourcc = dValue;
            return true;
        case cv::CAP_PROP_FPS: m_dFps = std::round(dValue); return true;
        case cv::CAP_PROP_FRAME_WIDTH:
        case cv::CAP_PROP_FRAME_HEIGHT:
        case cv::CAP_PROP_CONVERT_RGB:
        case cv::CAP_PROP_MODE: return true;
        default: break;
        }
        auto it = m_pLog->values.find(nProperty);
        if (it == m_pLog->values.end() || m_pLog->refused.count(nProperty))
            return false;
        it->second = dValue;
        return true;
    }
    double get(int nProperty) const override
    {
        std::lock_guard<std::mutex> lock(m_pLog->mutex);
        switch (nProperty) {
        case cv::CAP_PROP_FOURCC: return m_dFourcc;
        case cv::CAP_PROP_FRAME_WIDTH: return 64;
        case cv::CAP_PROP_FRAME_HEIGHT: return 48;
        case cv::CAP_PROP_FPS: return m_dFps;
        default: break;
        }
        auto it = m_pLog->values.find(nProperty);
        return it == m_pLog->values.end() ? -1.0 : it->second;
    }

private:
    std::shared_ptr<CaptureLog> m_pLog;
    bool m_bOpen = false;
    double m_dFourcc = 0;
    double m_dFps = 30;
};

// The properties a webcam's controls go through, by name, for readable failures.
QString propertyName(int nProperty)
{
    switch (nProperty) {
    case cv::CAP_PROP_EXPOSURE: return QStringLiteral("exposure");
    case cv::CAP_PROP_AUTO_EXPOSURE: return QStringLiteral("auto exposure");
    case cv::CAP_PROP_GAIN: return QStringLiteral("gain");
    case cv::CAP_PROP_BRIGHTNESS: return QStringLiteral("brightness");
    case cv::CAP_PROP_FOCUS: return QStringLiteral("focus");
    case cv::CAP_PROP_AUTOFOCUS: return QStringLiteral("autofocus");
    case cv::CAP_PROP_AUTO_WB: return QStringLiteral("auto wb");
    case cv::CAP_PROP_WB_TEMPERATURE: return QStringLiteral("wb temperature");
    case cv::CAP_PROP_FPS: return QStringLiteral("fps");
    case cv::CAP_PROP_MODE: return QStringLiteral("mode");
    case cv::CAP_PROP_FOURCC: return QStringLiteral("fourcc");
    case cv::CAP_PROP_FRAME_WIDTH: return QStringLiteral("width");
    case cv::CAP_PROP_FRAME_HEIGHT: return QStringLiteral("height");
    case cv::CAP_PROP_CONVERT_RGB: return QStringLiteral("convert rgb");
    default: return QStringLiteral("property %1").arg(nProperty);
    }
}

bool isControlProperty(int nProperty)
{
    switch (nProperty) {
    case cv::CAP_PROP_EXPOSURE:
    case cv::CAP_PROP_AUTO_EXPOSURE:
    case cv::CAP_PROP_GAIN:
    case cv::CAP_PROP_BRIGHTNESS:
    case cv::CAP_PROP_FOCUS:
    case cv::CAP_PROP_AUTOFOCUS:
    case cv::CAP_PROP_AUTO_WB:
    case cv::CAP_PROP_WB_TEMPERATURE: return true;
    default: return false;
    }
}

// "autofocus 0, focus 40": the control writes among sets, in order.
QString describeControlWrites(const std::vector<std::pair<int, double>>& sets)
{
    QStringList parts;
    for (const auto& set : sets)
        if (isControlProperty(set.first))
            parts << QStringLiteral("%1 %2").arg(propertyName(set.first)).arg(set.second);
    return parts.join(QStringLiteral(", "));
}

// A capture of a device that never sends a frame: grab() blocks for the
// select timeout OpenCV would take from the environment, then fails. It
// refuses a gain, as a device may refuse a value.
class StalledCapture : public cv::VideoCapture
{
public:
    StalledCapture(std::atomic<int>* pGrabs, std::shared_ptr<CaptureLog> pLog) : m_pGrabs(pGrabs), m_pLog(std::move(pLog)) {}
    bool open(const cv::String&, int) override { return m_bOpen = true; }
    bool isOpened() const override { return m_bOpen; }
    void release() override { m_bOpen = false; }
    bool grab() override
    {
        ++*m_pGrabs;
        const int nSeconds = qEnvironmentVariableIntValue("OPENCV_VIDEOIO_V4L_SELECT_TIMEOUT");
        std::this_thread::sleep_for(std::chrono::seconds(nSeconds > 0 ? nSeconds : 10));
        return false;
    }
    bool retrieve(cv::OutputArray, int) override { return false; }
    bool set(int nProperty, double dValue) override
    {
        {
            std::lock_guard<std::mutex> lock(m_pLog->mutex);
            m_pLog->sets.emplace_back(nProperty, dValue);
        }
        if (nProperty == cv::CAP_PROP_FOURCC)
            m_dFourcc = dValue;
        return nProperty != cv::CAP_PROP_GAIN;
    }
    double get(int nProperty) const override
    {
        switch (nProperty) {
        case cv::CAP_PROP_FOURCC: return m_dFourcc;
        case cv::CAP_PROP_FRAME_WIDTH: return 640;
        case cv::CAP_PROP_FRAME_HEIGHT: return 480;
        default: return 0;
        }
    }

private:
    std::atomic<int>* m_pGrabs;
    std::shared_ptr<CaptureLog> m_pLog;
    bool m_bOpen = false;
    double m_dFourcc = 0;
};

} // namespace

using hostsim::HostSim;
using hostsim::V4l2Camera;

namespace {

// Left half red, right half blue, a white bar across the middle rows.
cv::Mat referencePicture(int nWidth, int nHeight)
{
    cv::Mat rgb(nHeight, nWidth, CV_8UC3, cv::Scalar(255, 0, 0));
    rgb(cv::Rect(nWidth / 2, 0, nWidth - nWidth / 2, nHeight)).setTo(cv::Scalar(0, 0, 255));
    rgb(cv::Rect(0, nHeight / 2 - 4, nWidth, 8)).setTo(cv::Scalar(255, 255, 255));
    return rgb;
}

// A YUYV buffer as a webcam sends it (BT.601, video range as V4L2 uses):
// Y0 U Y1 V for each pair of pixels.
std::vector<unsigned char> yuyvFrom(const cv::Mat& rgb)
{
    std::vector<unsigned char> bytes;
    bytes.reserve(size_t(rgb.total()) * 2);
    auto clamp = [](double d) { return static_cast<unsigned char>(std::min(255.0, std::max(0.0, d + 0.5))); };
    for (int y = 0; y < rgb.rows; ++y) {
        for (int x = 0; x < rgb.cols; x += 2) {
            const cv::Vec3b a = rgb.at<cv::Vec3b>(y, x);
            const cv::Vec3b b = rgb.at<cv::Vec3b>(y, x + 1);
            auto luma = [](const cv::Vec3b& p) { return 0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2]; };
            const double r = (a[0] + b[0]) / 2.0, g = (a[1] + b[1]) / 2.0, bl = (a[2] + b[2]) / 2.0;
            const double u = -0.169 * r - 0.331 * g + 0.5 * bl + 128.0;
            const double v = 0.5 * r - 0.419 * g - 0.081 * bl + 128.0;
            bytes.push_back(clamp(luma(a)));
            bytes.push_back(clamp(u));
            bytes.push_back(clamp(luma(b)));
            bytes.push_back(clamp(v));
        }
    }
    return bytes;
}

bool near(const cv::Vec3b& got, int r, int g, int b, int nTolerance)
{
    return std::abs(got[0] - r) <= nTolerance && std::abs(got[1] - g) <= nTolerance && std::abs(got[2] - b) <= nTolerance;
}

QString pixelText(const cv::Vec3b& p)
{
    return QStringLiteral("(%1, %2, %3)").arg(p[0]).arg(p[1]).arg(p[2]);
}

} // namespace

class tst_V4l2Camera : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    using Ranges = QMap<quint32, hostsim::V4l2Control>;
    static hostsim::V4l2Control range(int nMinimum, int nMaximum, int nStep = 1)
    {
        hostsim::V4l2Control control;
        control.available = true;
        control.minimum = nMinimum;
        control.maximum = nMaximum;
        control.step = nStep;
        return control;
    }
    // The controls of a common UVC webcam: the ranges its driver tells, and
    // the values it holds by OpenCV property (exposure mode 3: aperture
    // priority, V4L2's automatic exposure of webcams).
    static Ranges webcamRanges()
    {
        return {{V4L2_CID_EXPOSURE_ABSOLUTE, range(3, 2047)},
                {V4L2_CID_GAIN, range(0, 255)},
                {V4L2_CID_BRIGHTNESS, range(-64, 64)},
                {V4L2_CID_FOCUS_ABSOLUTE, range(0, 250, 5)},
                {V4L2_CID_FOCUS_AUTO, range(0, 1)},
                {V4L2_CID_AUTO_WHITE_BALANCE, range(0, 1)},
                {V4L2_CID_WHITE_BALANCE_TEMPERATURE, range(2800, 6500, 10)}};
    }
    static std::shared_ptr<CaptureLog> webcamValues()
    {
        auto pLog = std::make_shared<CaptureLog>();
        pLog->values = {{cv::CAP_PROP_AUTO_EXPOSURE, 3}, {cv::CAP_PROP_EXPOSURE, 250}, {cv::CAP_PROP_GAIN, 32},
                        {cv::CAP_PROP_BRIGHTNESS, -1},   {cv::CAP_PROP_FOCUS, 120},    {cv::CAP_PROP_AUTOFOCUS, 1},
                        {cv::CAP_PROP_AUTO_WB, 1},       {cv::CAP_PROP_WB_TEMPERATURE, 4600}};
        return pLog;
    }
    // A webcam camera on the fake capture, its device node a plain file.
    std::unique_ptr<V4l2Camera> fakeWebcam(const std::shared_ptr<CaptureLog>& pLog, const Ranges& ranges,
                                           double dFramesPerSecond = 0.0)
    {
        const QString strNode = m_dir.filePath(QStringLiteral("video-fake"));
        QFile node(strNode);
        node.open(QIODevice::WriteOnly);
        hostsim::V4l2Setup setup;
        setup.device = strNode;
        setup.framesPerSecond = dFramesPerSecond;
        setup.makeCapture = [pLog] { return std::unique_ptr<cv::VideoCapture>(new FakeWebcam(pLog)); };
        setup.queryControl = [ranges](quint32 nId) { return ranges.value(nId); };
        return std::make_unique<V4l2Camera>(setup);
    }

private slots:
    void init() { HostSim::reset(m_dir.path()); }
    void cleanup() { HostSim::removeAllCameras(); }

    void missingDeviceGivesNoFramesAndAClearMessage()
    {
        hostsim::CameraRequest request;
        request.type = hostsim::CameraType::V4L2;
        request.address = QStringLiteral("/dev/video-hxl-absent");
        HostSim::removeAllCameras();
        QString strError;
        auto* pCamera = dynamic_cast<V4l2Camera*>(HostSim::addCamera(request, &strError));
        QVERIFY2(pCamera, qPrintable(strError));
        QTRY_VERIFY_WITH_TIMEOUT(!pCamera->lastError().isEmpty(), 5000);
        QVERIFY2(pCamera->lastError().contains(QStringLiteral("no V4L2 device at /dev/video-hxl-absent")),
                 qPrintable(pCamera->lastError()));
        QVERIFY(pCamera->statusText().startsWith(QStringLiteral("waiting: ")));
        QCOMPARE(pCamera->GetImageWidth(true), 0);
        QCOMPARE(pCamera->GetImageHeight(true), 0);
        QCOMPARE(pCamera->GrabImage(nullptr), 2); // not there yet is not ended
        std::vector<unsigned char> buffer(64);
        QElapsedTimer clock;
        clock.start();
        QVERIFY(pCamera->GrabImage(buffer.data()) != 0);
        QVERIFY(clock.elapsed() < 100);
        cv::Mat frame;
        QVERIFY(pCamera->grabFrame(frame) != 0);
        QCOMPARE(HostSim::cameraManager().SaveImageFile((m_dir.path() + QStringLiteral("/x.jpg")).toStdString()), -3);

        // The parameter dialog says why there are no controls.
        QWidget container;
        pCamera->CreateParamWidget(&container);
        auto* pStatus = container.findChild<QLabel*>(QStringLiteral("V4l2Status"));
        QVERIFY(pStatus);
        QVERIFY2(pStatus->text().contains(QStringLiteral("not connected")), qPrintable(pStatus->text()));

        HostSim::removeAllCameras();
        QCOMPARE(pCamera->GrabImage(nullptr), 1);
    }

    void probeReportsAMissingDevice()
    {
        QString strWhy;
        QVERIFY(!V4l2Camera::probe(QStringLiteral("/dev/video-hxl-absent"), &strWhy));
        QVERIFY(strWhy.contains(QStringLiteral("no V4L2 device")));
    }

    void mjpgBufferConverts()
    {
        const cv::Mat rgb = referencePicture(64, 48);
        cv::Mat bgr;
        cv::cvtColor(rgb, bgr, cv::COLOR_RGB2BGR);
        std::vector<unsigned char> jpeg;
        QVERIFY(cv::imencode(".jpg", bgr, jpeg, {cv::IMWRITE_JPEG_QUALITY, 95}));
        cv::Mat out;
        QString strWhy;
        QVERIFY2(V4l2Camera::convertFrame(QStringLiteral("MJPG"), 64, 48, jpeg.data(), jpeg.size(), out, &strWhy),
                 qPrintable(strWhy));
        QCOMPARE(out.type(), CV_8UC3);
        QCOMPARE(out.cols, 64);
        QCOMPARE(out.rows, 48);
        QVERIFY(out.isContinuous());
        QVERIFY2(near(out.at<cv::Vec3b>(5, 5), 255, 0, 0, 20), qPrintable(pixelText(out.at<cv::Vec3b>(5, 5))));
        QVERIFY2(near(out.at<cv::Vec3b>(5, 58), 0, 0, 255, 20), qPrintable(pixelText(out.at<cv::Vec3b>(5, 58))));
        QVERIFY2(near(out.at<cv::Vec3b>(24, 10), 255, 255, 255, 20), qPrintable(pixelText(out.at<cv::Vec3b>(24, 10))));
        // A picture of another size than the device announced is refused.
        QVERIFY(!V4l2Camera::convertFrame(QStringLiteral("MJPG"), 640, 480, jpeg.data(), jpeg.size(), out, &strWhy));
    }

    void yuyvBufferConverts()
    {
        const cv::Mat rgb = referencePicture(64, 48);
        const std::vector<unsigned char> yuyv = yuyvFrom(rgb);
        QCOMPARE(yuyv.size(), size_t(64 * 48 * 2));
        cv::Mat out;
        QString strWhy;
        QVERIFY2(V4l2Camera::convertFrame(QStringLiteral("YUYV"), 64, 48, yuyv.data(), yuyv.size(), out, &strWhy),
                 qPrintable(strWhy));
        QCOMPARE(out.type(), CV_8UC3);
        QCOMPARE(out.cols, 64);
        QCOMPARE(out.rows, 48);
        QVERIFY2(near(out.at<cv::Vec3b>(5, 5), 255, 0, 0, 12), qPrintable(pixelText(out.at<cv::Vec3b>(5, 5))));
        QVERIFY2(near(out.at<cv::Vec3b>(5, 58), 0, 0, 255, 12), qPrintable(pixelText(out.at<cv::Vec3b>(5, 58))));
        QVERIFY2(near(out.at<cv::Vec3b>(24, 10), 255, 255, 255, 12), qPrintable(pixelText(out.at<cv::Vec3b>(24, 10))));
    }

    // Gray formats at odd widths, packed or with the rows a driver padded.
    void grayBuffersConvert_data()
    {
        QTest::addColumn<QString>("fourcc");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("padding"); // bytes after each row
        for (const char* pszFourcc : {"GREY", "Y16 "})
            for (int nWidth : {1, 3, 5, 64, 641})
                for (int nPadding : {0, 4, 32}) {
                    const QString tag = QStringLiteral("%1 width %2 padding %3").arg(QLatin1String(pszFourcc).trimmed()).arg(nWidth).arg(nPadding);
                    QTest::newRow(qPrintable(tag)) << QString::fromLatin1(pszFourcc) << nWidth << nPadding;
                }
    }
    void grayBuffersConvert()
    {
        QFETCH(QString, fourcc);
        QFETCH(int, width);
        QFETCH(int, padding);
        const int nHeight = 7;
        const int nBytes = fourcc == QLatin1String("GREY") ? 1 : 2;
        const size_t nStride = size_t(width * nBytes + padding);
        std::vector<unsigned char> data(nStride * nHeight, 0xee);
        // Sample (x, y): 16-bit value 0xVVLL with VV = (x * 7 + y * 31) & 255, LL = x & 255.
        auto top = [](int x, int y) { return (x * 7 + y * 31) & 255; };
        for (int y = 0; y < nHeight; ++y)
            for (int x = 0; x < width; ++x) {
                unsigned char* p = &data[size_t(y) * nStride + size_t(x * nBytes)];
                if (nBytes == 1) {
                    p[0] = uchar(top(x, y));
                } else {
                    p[0] = uchar(x & 255); // little-endian: low byte first
                    p[1] = uchar(top(x, y));
                }
            }
        cv::Mat out;
        QString strWhy;
        QVERIFY2(V4l2Camera::convertFrame(fourcc, width, nHeight, data.data(), data.size(), out, &strWhy),
                 qPrintable(strWhy));
        QCOMPARE(out.type(), CV_8UC1);
        QCOMPARE(out.cols, width);
        QCOMPARE(out.rows, nHeight);
        for (int y = 0; y < nHeight; ++y)
            for (int x = 0; x < width; ++x)
                QCOMPARE(int(out.at<uchar>(y, x)), top(x, y));
    }

    // A manual value turns its automatic mode off first; the rest are written as they are.
    void controlsWriteTheirAutomaticModeFirst_data()
    {
        using C = V4l2Camera::Control;
        using W = V4l2Camera::ControlWrite;
        QTest::addColumn<int>("control");
        QTest::addColumn<int>("value");
        QTest::addColumn<QVector<W>>("writes");
        // OpenCV passes CAP_PROP_AUTO_EXPOSURE on as V4L2's exposure mode, in which 1 is manual.
        QTest::newRow("exposure") << int(C::Exposure) << 120
                                  << QVector<W>{{cv::CAP_PROP_AUTO_EXPOSURE, V4L2_EXPOSURE_MANUAL}, {cv::CAP_PROP_EXPOSURE, 120}};
        QTest::newRow("focus") << int(C::Focus) << 40 << QVector<W>{{cv::CAP_PROP_AUTOFOCUS, 0}, {cv::CAP_PROP_FOCUS, 40}};
        QTest::newRow("white balance") << int(C::WhiteBalanceTemperature) << 4600
                                       << QVector<W>{{cv::CAP_PROP_AUTO_WB, 0}, {cv::CAP_PROP_WB_TEMPERATURE, 4600}};
        QTest::newRow("autofocus on") << int(C::AutoFocus) << 7 << QVector<W>{{cv::CAP_PROP_AUTOFOCUS, 1}};
        QTest::newRow("autofocus off") << int(C::AutoFocus) << 0 << QVector<W>{{cv::CAP_PROP_AUTOFOCUS, 0}};
        QTest::newRow("auto white balance on") << int(C::AutoWhiteBalance) << 1 << QVector<W>{{cv::CAP_PROP_AUTO_WB, 1}};
        QTest::newRow("gain") << int(C::Gain) << 9 << QVector<W>{{cv::CAP_PROP_GAIN, 9}};
        QTest::newRow("brightness") << int(C::Brightness) << -3 << QVector<W>{{cv::CAP_PROP_BRIGHTNESS, -3}};
    }
    void controlsWriteTheirAutomaticModeFirst()
    {
        QFETCH(int, control);
        QFETCH(int, value);
        QFETCH(QVector<V4l2Camera::ControlWrite>, writes);
        const auto got = V4l2Camera::controlWrites(V4l2Camera::Control(control), value);
        QCOMPARE(got.size(), writes.size());
        for (int i = 0; i < got.size(); ++i) {
            QCOMPARE(got[i].property, writes[i].property);
            QCOMPARE(got[i].value, writes[i].value);
        }
    }

    // What is kept for the next opening follows the operator's last word on
    // each pair of automatic mode and manual value, and is written autos first.
    void keptControlsFollowTheLastWord()
    {
        using C = V4l2Camera::Control;
        V4l2Camera::KeptControls kept;
        V4l2Camera::keepControl(kept, C::AutoFocus, 1);
        V4l2Camera::keepControl(kept, C::Focus, 40); // manual after auto: auto off
        QCOMPARE(kept[int(C::AutoFocus)], std::optional<int>(0));
        QCOMPARE(kept[int(C::Focus)], std::optional<int>(40));
        V4l2Camera::keepControl(kept, C::AutoFocus, 1); // auto after manual: the manual value goes
        QCOMPARE(kept[int(C::AutoFocus)], std::optional<int>(1));
        QVERIFY(!kept[int(C::Focus)]);
        V4l2Camera::keepControl(kept, C::WhiteBalanceTemperature, 5000);
        QCOMPARE(kept[int(C::AutoWhiteBalance)], std::optional<int>(0));
        V4l2Camera::keepControl(kept, C::AutoWhiteBalance, 1);
        QVERIFY(!kept[int(C::WhiteBalanceTemperature)]);
        QVERIFY(!kept[int(C::Gain)]);
        // Automatic modes come before every manual value.
        const V4l2Camera::Control* order = V4l2Camera::applyOrder();
        QSet<int> seen;
        for (int i = 0; i < V4l2Camera::kControlCount; ++i)
            seen.insert(int(order[i]));
        QCOMPARE(seen.size(), V4l2Camera::kControlCount);
        QCOMPARE(order[0], C::AutoFocus);
        QCOMPARE(order[1], C::AutoWhiteBalance);
    }

    // Values come from the capture object (OpenCV's get), ranges and steps
    // from the device's own answer; a negative brightness is a value.
    void controlsAreReadThroughOpenCv()
    {
        auto pLog = webcamValues();
        auto pCamera = fakeWebcam(pLog, webcamRanges());
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->parameters().valid, 5000);
        const hostsim::V4l2Parameters p = pCamera->parameters();
        QCOMPARE(p.fourcc, QStringLiteral("GREY"));
        QVERIFY(p.focus.available);
        QCOMPARE(p.focus.value, 120);
        QCOMPARE(p.focus.minimum, 0);
        QCOMPARE(p.focus.maximum, 250);
        QCOMPARE(p.focus.step, 5);
        QCOMPARE(p.autoFocus.value, 1);
        QCOMPARE(p.autoWhiteBalance.value, 1);
        QCOMPARE(p.whiteBalanceTemperature.value, 4600);
        QCOMPARE(p.whiteBalanceTemperature.step, 10);
        QCOMPARE(p.exposure.value, 250);
        QCOMPARE(p.gain.value, 32);
        QVERIFY(p.brightness.available);
        QCOMPARE(p.brightness.value, -1);
        QCOMPARE(p.brightness.minimum, -64);
        // Control values in the device's own units: OpenCV's scaling to 0..1
        // is turned off before any control is written.
        const auto sets = pLog->written();
        auto mode = std::find(sets.begin(), sets.end(), std::make_pair(int(cv::CAP_PROP_MODE), 0.0));
        QVERIFY(mode != sets.end());
        QVERIFY(std::none_of(sets.begin(), mode, [](const std::pair<int, double>& s) { return isControlProperty(s.first); }));
    }

    // Each control reaches the capture object as its OpenCV property, a
    // manual value after turning its automatic mode off; what the dialog
    // shows afterwards is read back through OpenCV.
    void aControlIsWrittenThroughItsProperty_data()
    {
        using C = V4l2Camera::Control;
        QTest::addColumn<int>("control");
        QTest::addColumn<int>("value");
        QTest::addColumn<QString>("writes");
        QTest::newRow("focus 40 with autofocus on") << int(C::Focus) << 40 << QStringLiteral("autofocus 0, focus 40");
        QTest::newRow("white balance with auto white balance on")
            << int(C::WhiteBalanceTemperature) << 5000 << QStringLiteral("auto wb 0, wb temperature 5000");
        QTest::newRow("exposure with auto exposure on")
            << int(C::Exposure) << 120 << QStringLiteral("auto exposure 1, exposure 120");
        QTest::newRow("gain") << int(C::Gain) << 9 << QStringLiteral("gain 9");
        QTest::newRow("brightness") << int(C::Brightness) << -3 << QStringLiteral("brightness -3");
        QTest::newRow("autofocus off") << int(C::AutoFocus) << 0 << QStringLiteral("autofocus 0");
        QTest::newRow("auto white balance off") << int(C::AutoWhiteBalance) << 0 << QStringLiteral("auto wb 0");
    }
    void aControlIsWrittenThroughItsProperty()
    {
        QFETCH(int, control);
        QFETCH(int, value);
        QFETCH(QString, writes);
        auto pLog = webcamValues();
        auto pCamera = fakeWebcam(pLog, webcamRanges());
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->parameters().valid, 5000);
        pLog->clear();
        pCamera->setControl(V4l2Camera::Control(control), value);
        QTRY_COMPARE_WITH_TIMEOUT(describeControlWrites(pLog->written()), writes, 5000);
        auto shown = [&pCamera](V4l2Camera::Control which) {
            const hostsim::V4l2Parameters p = pCamera->parameters();
            const hostsim::V4l2Control* controls[] = {&p.exposure,  &p.gain,          &p.brightness,
                                                      &p.focus,     &p.autoFocus,     &p.autoWhiteBalance,
                                                      &p.whiteBalanceTemperature};
            return controls[int(which)]->value;
        };
        QTRY_COMPARE_WITH_TIMEOUT(shown(V4l2Camera::Control(control)), value, 5000);
        if (V4l2Camera::Control(control) == V4l2Camera::Control::Focus)
            QCOMPARE(shown(V4l2Camera::Control::AutoFocus), 0);
        if (V4l2Camera::Control(control) == V4l2Camera::Control::WhiteBalanceTemperature)
            QCOMPARE(shown(V4l2Camera::Control::AutoWhiteBalance), 0);
        QCOMPARE(describeControlWrites(pLog->written()), writes); // nothing more was written
    }

    // On reopening, the kept settings are written again, automatic modes
    // first, following the operator's last word on each pair.
    void keptControlsAreWrittenAgainOnReopening()
    {
        using C = V4l2Camera::Control;
        auto pLog = webcamValues();
        auto pCamera = fakeWebcam(pLog, webcamRanges());
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->parameters().valid, 5000);
        pCamera->setControl(C::Focus, 40);
        pCamera->setControl(C::WhiteBalanceTemperature, 5000);
        pCamera->setControl(C::Gain, 9);
        QTRY_COMPARE_WITH_TIMEOUT(pCamera->parameters().gain.value, 9, 5000);
        auto reopen = [&] {
            pCamera->StopGrab();
            QTRY_VERIFY_WITH_TIMEOUT(!pCamera->parameters().valid, 5000);
            pLog->clear();
            pCamera->StartGrab();
            QTRY_VERIFY_WITH_TIMEOUT(pCamera->parameters().valid, 5000);
        };
        reopen();
        QCOMPARE(describeControlWrites(pLog->written()),
                 QStringLiteral("autofocus 0, auto wb 0, gain 9, focus 40, wb temperature 5000"));
        // Autofocus turned on after the manual focus: the focus is no longer kept.
        pCamera->setControl(C::AutoFocus, 1);
        QTRY_COMPARE_WITH_TIMEOUT(pCamera->parameters().autoFocus.value, 1, 5000);
        reopen();
        QCOMPARE(describeControlWrites(pLog->written()),
                 QStringLiteral("autofocus 1, auto wb 0, gain 9, wb temperature 5000"));
    }

    // The rate asked in the camera configuration goes through CAP_PROP_FPS,
    // after the format it depends on; the dialog shows the rate the capture
    // tells. No rate asked: none is written.
    void theFrameRateGoesThroughOpenCv()
    {
        auto pLog = webcamValues();
        {
            auto pCamera = fakeWebcam(pLog, webcamRanges(), 15);
            QTRY_VERIFY_WITH_TIMEOUT(pCamera->parameters().valid, 5000);
            QCOMPARE(pCamera->parameters().framesPerSecond, 15.0);
        }
        auto sets = pLog->written();
        auto fps = std::find_if(sets.begin(), sets.end(), [](const std::pair<int, double>& s) { return s.first == cv::CAP_PROP_FPS; });
        QVERIFY(fps != sets.end());
        QCOMPARE(fps->second, 15.0);
        QVERIFY(std::none_of(fps, sets.end(), [](const std::pair<int, double>& s) {
            return s.first == cv::CAP_PROP_FOURCC || s.first == cv::CAP_PROP_FRAME_WIDTH;
        }));
        pLog->clear();
        {
            auto pCamera = fakeWebcam(pLog, webcamRanges(), 0);
            QTRY_VERIFY_WITH_TIMEOUT(pCamera->parameters().valid, 5000);
            QCOMPARE(pCamera->parameters().framesPerSecond, 30.0); // the device's own
        }
        sets = pLog->written();
        QVERIFY(std::none_of(sets.begin(), sets.end(), [](const std::pair<int, double>& s) { return s.first == cv::CAP_PROP_FPS; }));
    }

    // A control the device lacks is not offered: one its driver does not
    // list, and one whose value OpenCV cannot read (its -1 outside the
    // control's range). A brightness of -1 inside its range is offered.
    void aControlTheDeviceLacksIsNotOffered()
    {
        auto pLog = std::make_shared<CaptureLog>();
        pLog->values = {{cv::CAP_PROP_GAIN, 10}, {cv::CAP_PROP_BRIGHTNESS, -1}};
        const Ranges ranges = {{V4L2_CID_EXPOSURE_ABSOLUTE, range(3, 2047)},
                               {V4L2_CID_GAIN, range(0, 255)},
                               {V4L2_CID_BRIGHTNESS, range(-64, 64)}};
        auto pCamera = fakeWebcam(pLog, ranges);
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->parameters().valid, 5000);
        const hostsim::V4l2Parameters p = pCamera->parameters();
        QVERIFY(p.gain.available);
        QVERIFY(p.brightness.available);
        QVERIFY(!p.exposure.available);
        QVERIFY(!p.focus.available);
        QVERIFY(!p.autoFocus.available);
        QVERIFY(!p.autoWhiteBalance.available);
        QVERIFY(!p.whiteBalanceTemperature.available);
        QWidget container;
        pCamera->CreateParamWidget(&container);
        auto* pBrightness = container.findChild<QSlider*>(QStringLiteral("V4l2Brightness"));
        QVERIFY(pBrightness);
        QCOMPARE(pBrightness->value(), -1);
        QVERIFY(container.findChild<QSlider*>(QStringLiteral("V4l2Gain")));
        for (const char* pszAbsent : {"V4l2Exposure", "V4l2Focus", "V4l2WhiteBalance"})
            QVERIFY2(!container.findChild<QSlider*>(QLatin1String(pszAbsent)), pszAbsent);
        for (const char* pszAbsent : {"V4l2AutoFocus", "V4l2AutoWhiteBalance"})
            QVERIFY2(!container.findChild<QCheckBox*>(QLatin1String(pszAbsent)), pszAbsent);
        // The slider sets the value through OpenCV.
        pLog->clear();
        pBrightness->setValue(5);
        QTRY_COMPARE_WITH_TIMEOUT(describeControlWrites(pLog->written()), QStringLiteral("brightness 5"), 5000);
        // A control the device lacks refuses its value, and nothing is said
        // of it: the dialog never offered it.
        const int nLines = HostSim::operatorLines().size();
        pLog->clear();
        pCamera->setControl(V4l2Camera::Control::Focus, 40);
        QTRY_VERIFY_WITH_TIMEOUT(describeControlWrites(pLog->written()).endsWith(QStringLiteral("focus 40")), 5000);
        pCamera->setControl(V4l2Camera::Control::Gain, 11);
        QTRY_COMPARE_WITH_TIMEOUT(pCamera->parameters().gain.value, 11, 5000);
        QCOMPARE(HostSim::operatorLines(nLines), QStringList());
        QVERIFY2(pCamera->lastError().isEmpty(), qPrintable(pCamera->lastError()));
    }

    // A value of an offered control that the device refuses is said in the
    // window in one line naming it, once: the kept settings are written
    // again at the next change, and the refusal with them.
    void aRefusedValueIsSaidOnce()
    {
        auto pLog = webcamValues();
        pLog->refused = {cv::CAP_PROP_FOCUS};
        auto pCamera = fakeWebcam(pLog, webcamRanges());
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->parameters().valid, 5000);
        const int nLines = HostSim::operatorLines().size();
        pCamera->setControl(V4l2Camera::Control::Focus, 40);
        const QString strSaid = QStringLiteral("%1 refused a control value (focus 40)").arg(pCamera->setup().device);
        QTRY_COMPARE_WITH_TIMEOUT(HostSim::operatorLines(nLines), QStringList{strSaid}, 5000);
        QCOMPARE(pCamera->parameters().focus.value, 120); // the device kept its own
        QCOMPARE(pCamera->parameters().autoFocus.value, 0);
        pCamera->setControl(V4l2Camera::Control::Gain, 11);
        QTRY_COMPARE_WITH_TIMEOUT(pCamera->parameters().gain.value, 11, 5000);
        QVERIFY(describeControlWrites(pLog->written()).endsWith(QStringLiteral("gain 11, focus 40")));
        QCOMPARE(HostSim::operatorLines(nLines), QStringList{strSaid});
    }

    void modesAreListedWithTheirRates()
    {
        QVector<hostsim::V4l2Mode> modes(3);
        modes[0].width = 1280;
        modes[0].height = 720;
        modes[0].framesPerSecond = {30, 15, 7.5};
        modes[1].width = 640;
        modes[1].height = 480;
        modes[1].framesPerSecond = {29.97};
        modes[2].width = 160;
        modes[2].height = 120;
        QCOMPARE(V4l2Camera::describeModes(modes),
                 QStringList({QStringLiteral("1280 x 720: 30, 15, 7.5 fps"), QStringLiteral("640 x 480: 29.97 fps"),
                              QStringLiteral("160 x 120")}));
        QCOMPARE(V4l2Camera::describeModes({}), QStringList());
    }

    void frameSizeNoteSaysWhatTheDeviceGives()
    {
        QCOMPARE(V4l2Camera::frameSizeNote(QStringLiteral("/dev/video0"), 0, 0, 640, 480), QString());
        QCOMPARE(V4l2Camera::frameSizeNote(QStringLiteral("/dev/video0"), 640, 480, 640, 480), QString());
        QCOMPARE(V4l2Camera::frameSizeNote(QStringLiteral("/dev/video0"), 1920, 1080, 1280, 720),
                 QStringLiteral("/dev/video0 has no 1920 x 1080 frames; it gives 1280 x 720"));
    }

    // A stalled webcam holds the worker for at most a second per frame wait
    // (OpenCV's own default is ten), unless the operator chose otherwise.
    void frameWaitsAreBoundedToASecond()
    {
        qunsetenv("OPENCV_VIDEOIO_V4L_SELECT_TIMEOUT");
        hostsim::V4l2Setup setup;
        setup.device = m_dir.filePath(QStringLiteral("video-none"));
        {
            V4l2Camera camera(setup);
            QCOMPARE(qgetenv("OPENCV_VIDEOIO_V4L_SELECT_TIMEOUT"), QByteArray("1"));
        }
        qputenv("OPENCV_VIDEOIO_V4L_SELECT_TIMEOUT", "3");
        {
            V4l2Camera camera(setup);
            QCOMPARE(qgetenv("OPENCV_VIDEOIO_V4L_SELECT_TIMEOUT"), QByteArray("3"));
        }
        qputenv("OPENCV_VIDEOIO_V4L_SELECT_TIMEOUT", "1");
    }

    // A webcam that stops answering: each wait for its next frame ends after
    // OpenCV's select timeout, which the host sets to one second, so a
    // setting posted meanwhile and the end of the camera wait at most about
    // that. The capture object stands in for OpenCV's: its grab blocks for
    // that timeout and fails, as OpenCV's does on a silent device.
    void aStalledWebcamHoldsNothingUpLongerThanASecond()
    {
        qunsetenv("OPENCV_VIDEOIO_V4L_SELECT_TIMEOUT");
        QTemporaryFile node(m_dir.filePath(QStringLiteral("videoXXXXXX")));
        QVERIFY(node.open()); // the device node is there; it never sends a frame
        std::atomic<int> nGrabs{0};
        auto pLog = std::make_shared<CaptureLog>();
        hostsim::V4l2Setup setup;
        setup.device = node.fileName();
        setup.makeCapture = [&nGrabs, pLog] { return std::unique_ptr<cv::VideoCapture>(new StalledCapture(&nGrabs, pLog)); };
        setup.queryControl = [](quint32 nId) { return nId == V4L2_CID_GAIN ? range(0, 255) : hostsim::V4l2Control(); };
        std::unique_ptr<V4l2Camera> pCamera(new V4l2Camera(setup));
        QCOMPARE(qgetenv("OPENCV_VIDEOIO_V4L_SELECT_TIMEOUT"), QByteArray("1"));
        QTRY_VERIFY_WITH_TIMEOUT(nGrabs.load() >= 1, 5000); // the worker waits on the device now

        QElapsedTimer clock;
        clock.start();
        pCamera->setControl(V4l2Camera::Control::Gain, 5);
        // The capture refuses the gain, which the camera says: it was tried.
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->lastError().contains(QStringLiteral("refused a control value (gain 5)")), 5000);
        QVERIFY2(clock.elapsed() < 1600, qPrintable(QStringLiteral("%1 ms").arg(clock.elapsed())));
        QCOMPARE(describeControlWrites(pLog->written()), QStringLiteral("gain 5"));

        QTRY_VERIFY_WITH_TIMEOUT(nGrabs.load() >= 3, 5000);
        clock.restart();
        pCamera.reset();
        QVERIFY2(clock.elapsed() < 1600, qPrintable(QStringLiteral("%1 ms").arg(clock.elapsed())));
    }

    void damagedOrUnknownBuffersAreRefused_data()
    {
        QTest::addColumn<QString>("fourcc");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("bytes");
        QTest::addColumn<QString>("reason");
        QTest::newRow("damaged MJPG") << QStringLiteral("MJPG") << 64 << 500 << QStringLiteral("damaged MJPG");
        QTest::newRow("short YUYV") << QStringLiteral("YUYV") << 64 << 100 << QStringLiteral("too short");
        QTest::newRow("odd YUYV width") << QStringLiteral("YUYV") << 63 << 63 * 48 * 2 << QStringLiteral("even");
        QTest::newRow("H264") << QStringLiteral("H264") << 64 << 500 << QStringLiteral("not supported");
        QTest::newRow("short GREY") << QStringLiteral("GREY") << 64 << 64 * 48 - 1 << QStringLiteral("too short");
        QTest::newRow("short Y16") << QStringLiteral("Y16 ") << 64 << 64 * 48 * 2 - 1 << QStringLiteral("too short");
    }

    void damagedOrUnknownBuffersAreRefused()
    {
        QFETCH(QString, fourcc);
        QFETCH(int, width);
        QFETCH(int, bytes);
        QFETCH(QString, reason);
        std::vector<unsigned char> data(size_t(bytes), 0x5a);
        cv::Mat out;
        QString strWhy;
        QVERIFY(!V4l2Camera::convertFrame(fourcc, width, 48, data.data(), data.size(), out, &strWhy));
        QVERIFY2(strWhy.contains(reason), qPrintable(strWhy));
    }
};

QTEST_MAIN(tst_V4l2Camera)
#include "tst_v4l2_camera.moc"

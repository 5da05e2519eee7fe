// The V4L2 webcam camera: a device that is not there, and the conversion of
// the raw buffers a webcam delivers (MJPG and YUYV) into the host's format.

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

#include <QTemporaryFile>
#include <atomic>
#include <thread>
#include <opencv2/videoio.hpp>
#include <linux/videodev2.h>

Q_DECLARE_METATYPE(hostsim::V4l2Camera::ControlWrite)

namespace {

// A capture of a device that never sends a frame: grab() blocks for the
// select timeout OpenCV would take from the environment, then fails.
class StalledCapture : public cv::VideoCapture
{
public:
    explicit StalledCapture(std::atomic<int>* pGrabs) : m_pGrabs(pGrabs) {}
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
        if (nProperty == cv::CAP_PROP_FOURCC)
            m_dFourcc = dValue;
        return true;
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
        QTest::newRow("exposure") << int(C::Exposure) << 120
                                  << QVector<W>{{V4L2_CID_EXPOSURE_AUTO, V4L2_EXPOSURE_MANUAL}, {V4L2_CID_EXPOSURE_ABSOLUTE, 120}};
        QTest::newRow("focus") << int(C::Focus) << 40
                               << QVector<W>{{V4L2_CID_FOCUS_AUTO, 0}, {V4L2_CID_FOCUS_ABSOLUTE, 40}};
        QTest::newRow("white balance") << int(C::WhiteBalanceTemperature) << 4600
                                       << QVector<W>{{V4L2_CID_AUTO_WHITE_BALANCE, 0}, {V4L2_CID_WHITE_BALANCE_TEMPERATURE, 4600}};
        QTest::newRow("autofocus on") << int(C::AutoFocus) << 7 << QVector<W>{{V4L2_CID_FOCUS_AUTO, 1}};
        QTest::newRow("autofocus off") << int(C::AutoFocus) << 0 << QVector<W>{{V4L2_CID_FOCUS_AUTO, 0}};
        QTest::newRow("auto white balance on") << int(C::AutoWhiteBalance) << 1 << QVector<W>{{V4L2_CID_AUTO_WHITE_BALANCE, 1}};
        QTest::newRow("gain") << int(C::Gain) << 9 << QVector<W>{{V4L2_CID_GAIN, 9}};
        QTest::newRow("brightness") << int(C::Brightness) << -3 << QVector<W>{{V4L2_CID_BRIGHTNESS, -3}};
    }
    void controlsWriteTheirAutomaticModeFirst()
    {
        QFETCH(int, control);
        QFETCH(int, value);
        QFETCH(QVector<V4l2Camera::ControlWrite>, writes);
        const auto got = V4l2Camera::controlWrites(V4l2Camera::Control(control), value);
        QCOMPARE(got.size(), writes.size());
        for (int i = 0; i < got.size(); ++i) {
            QCOMPARE(got[i].id, writes[i].id);
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
        hostsim::V4l2Setup setup;
        setup.device = node.fileName();
        setup.makeCapture = [&nGrabs] { return std::unique_ptr<cv::VideoCapture>(new StalledCapture(&nGrabs)); };
        std::unique_ptr<V4l2Camera> pCamera(new V4l2Camera(setup));
        QCOMPARE(qgetenv("OPENCV_VIDEOIO_V4L_SELECT_TIMEOUT"), QByteArray("1"));
        QTRY_VERIFY_WITH_TIMEOUT(nGrabs.load() >= 1, 5000); // the worker waits on the device now

        QElapsedTimer clock;
        clock.start();
        pCamera->setControl(V4l2Camera::Control::Gain, 5);
        // The node is a plain file: writing the control fails, which shows it was tried.
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->lastError().contains(QStringLiteral("refused a control value")), 5000);
        QVERIFY2(clock.elapsed() < 1600, qPrintable(QStringLiteral("%1 ms").arg(clock.elapsed())));

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

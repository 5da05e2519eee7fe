// The GenICam camera against Aravis's fake GigE Vision camera on loopback:
// frames into the panel's live view, the camera parameter dialog, and a
// camera that is killed and started again.

#include "PanelTestSupport.h"

#include "HXL_RefreshCameraThread.h"
#include "display/HXLDisplayLabel.h"
#include "auxiliary/HXLCameraParameterSettingDialog.h"

#include "cameras/AravisCamera.h"
#include "HostSim.h"
#include "cameras/SimCamera.h"
#include "services/SimCameraManager.h"
#include "services/SimMachine.h"
#include "services/SimServices.h"
#include "drawing/SimDrawing.h"
#include "calibration/CalibrationRun.h"
#include "calibration/CameraModel.h"

#undef signals
#include <arv.h>
#define signals Q_SIGNALS

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <functional>
#include <memory>
#include <cstdio>
#include <vector>

#include <csignal>
#include <sys/prctl.h>

using hostsim::AravisCamera;
using hostsim::HostSim;
using hostsim::StreamingCamera;
using namespace panel_test;

namespace {

const QString kAddress = QStringLiteral("127.0.0.1");

QString fakeCameraProgram()
{
#ifdef HXL_ARV_FAKE_CAMERA
    if (QFileInfo(QStringLiteral(HXL_ARV_FAKE_CAMERA)).isExecutable())
        return QStringLiteral(HXL_ARV_FAKE_CAMERA);
#endif
    return QStandardPaths::findExecutable(QStringLiteral("arv-fake-gv-camera-0.8"));
}

// A child that the kernel kills when this test process dies, however it dies.
class ChildProcess : public QProcess
{
protected:
    void setupChildProcess() override { ::prctl(PR_SET_PDEATHSIG, SIGKILL); }
};

// Aravis's fake camera as a child process: started, waited for until it
// answers, killed by its process id. Never outlives the test.
class FakeCamera
{
public:
    ~FakeCamera() { stop(); }

    bool start(QString* pError)
    {
        const QString program = fakeCameraProgram();
        if (program.isEmpty()) {
            *pError = QStringLiteral("arv-fake-gv-camera-0.8 not found: install aravis-tools (scripts/setup.sh does)");
            return false;
        }
        m_process.setProgram(program);
        m_process.setArguments({QStringLiteral("-i"), kAddress});
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start();
        if (!m_process.waitForStarted(5000)) {
            *pError = QStringLiteral("%1 did not start: %2").arg(program, m_process.errorString());
            return false;
        }
        // It answers within a few milliseconds once its socket is bound.
        QElapsedTimer clock;
        clock.start();
        QString strWhy;
        while (clock.elapsed() < 5000) {
            if (m_process.state() != QProcess::Running) {
                *pError = QStringLiteral("the fake camera ended at once: %1")
                              .arg(QString::fromLocal8Bit(m_process.readAll()).trimmed());
                return false;
            }
            if (AravisCamera::probe(kAddress, &strWhy))
                return true;
            QThread::msleep(50);
        }
        *pError = QStringLiteral("the fake camera does not answer at %1 after 5 s: %2").arg(kAddress, strWhy);
        stop();
        return false;
    }

    void stop()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.kill(); // SIGKILL to its process id
        m_process.waitForFinished(3000);
    }

    bool isRunning() const { return m_process.state() == QProcess::Running; }

private:
    ChildProcess m_process;
};

// The fake camera's gray ramp: each pixel equals its lower-left neighbour and
// is one more than its left neighbour (mod 255). Empty when so.
QString checkGrayRamp(const cv::Mat& frame)
{
    int nChecked = 0, nWrong = 0;
    QString strFirst;
    for (int y = 64; y < frame.rows - 64; y += 61)
        for (int x = 64; x < frame.cols - 64; x += 37) {
            ++nChecked;
            const int v = frame.at<uint8_t>(y, x);
            const int nStep = int(frame.at<uint8_t>(y, x + 1)) - v;
            if (frame.at<uint8_t>(y + 1, x - 1) == v && (nStep == 1 || nStep == -254))
                continue;
            if (strFirst.isEmpty())
                strFirst = QStringLiteral("(%1, %2) = %3, right of it %4").arg(x).arg(y).arg(v).arg(v + nStep);
            ++nWrong;
        }
    return nWrong * 50 <= nChecked ? QString()
                                   : QStringLiteral("%1 of %2 pixels off the gray ramp, first %3").arg(nWrong).arg(nChecked).arg(strFirst);
}

// The fake camera's colour ramp: constant along the diagonals, yellow whose
// green falls to the right and cyan whose green rises. A wrong Bayer order
// breaks the diagonals; red and blue exchanged turn the slopes round.
QString checkColourRamp(const cv::Mat& frame)
{
    int nChecked = 0, nOffDiagonal = 0, nYellowFalling = 0, nYellowRising = 0, nCyanRising = 0, nCyanFalling = 0;
    for (int y = 64; y < frame.rows - 64; y += 61)
        for (int x = 64; x < frame.cols - 64; x += 7) {
            ++nChecked;
            const cv::Vec3b p = frame.at<cv::Vec3b>(y, x);
            const cv::Vec3b below = frame.at<cv::Vec3b>(y + 1, x - 1);
            for (int k = 0; k < 3; ++k)
                if (std::abs(int(p[k]) - int(below[k])) > 8) {
                    ++nOffDiagonal;
                    break;
                }
            const int nGreenStep = int(frame.at<cv::Vec3b>(y, x + 2)[1]) - int(p[1]);
            if (p[0] >= 250 && p[2] <= 10 && p[1] > 30 && p[1] < 225) {
                nYellowFalling += nGreenStep < 0 ? 1 : 0;
                nYellowRising += nGreenStep > 0 ? 1 : 0;
            }
            if (p[2] >= 250 && p[0] <= 10 && p[1] > 30 && p[1] < 225) {
                nCyanRising += nGreenStep > 0 ? 1 : 0;
                nCyanFalling += nGreenStep < 0 ? 1 : 0;
            }
        }
    if (nOffDiagonal * 10 > nChecked)
        return QStringLiteral("%1 of %2 pixels differ from their lower-left neighbour").arg(nOffDiagonal).arg(nChecked);
    if (nYellowFalling < 10 || nYellowFalling < 4 * nYellowRising || nCyanRising < 10 || nCyanRising < 4 * nCyanFalling)
        return QStringLiteral("hues run the wrong way: yellow's green falls %1, rises %2; cyan's rises %3, falls %4")
            .arg(nYellowFalling)
            .arg(nYellowRising)
            .arg(nCyanRising)
            .arg(nCyanFalling);
    return QString();
}

// Runs arv-tool-0.8 (another client) and returns what it prints.
QString arvTool(const QStringList& arguments)
{
    const QString program = QStandardPaths::findExecutable(QStringLiteral("arv-tool-0.8"));
    if (program.isEmpty())
        return QString();
    QProcess tool;
    tool.start(program, arguments);
    if (!tool.waitForFinished(5000)) {
        tool.kill();
        tool.waitForFinished(1000);
        return QString();
    }
    return QString::fromLocal8Bit(tool.readAllStandardOutput());
}

} // namespace

class tst_GenicamCamera : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    FakeCamera m_fake;

    AravisCamera* addFakeCamera(const QString& strFormat, int nWidth = 1280, int nHeight = 1024)
    {
        HostSim::removeAllCameras();
        hostsim::CameraRequest request;
        request.type = hostsim::CameraType::GenICam;
        request.address = kAddress;
        request.pixelFormat = strFormat;
        request.width = nWidth;
        request.height = nHeight;
        QString strError;
        auto* pCamera = dynamic_cast<AravisCamera*>(HostSim::addCamera(request, &strError));
        if (!pCamera)
            qWarning("%s", qPrintable(strError));
        return pCamera;
    }

    // The rows of a test that opens the fake camera in a format at a size.
    static void formatAndSizeColumns()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        // Another camera answering at the address would make every result here meaningless.
        QString strWhy;
        QVERIFY2(!AravisCamera::probe(kAddress, &strWhy),
                 "a GigE Vision camera already answers at 127.0.0.1 (a fake camera left running?); stop it first");
        QString strError;
        QVERIFY2(m_fake.start(&strError), qPrintable(strError));
    }

    void cleanupTestCase()
    {
        HostSim::removeAllCameras();
        m_fake.stop();
    }

    void init() { freshHost(m_dir); }

    void cleanup()
    {
        // Closes the camera (and its worker) before the next test, and brings
        // back a fake camera that a failed test left stopped.
        HostSim::removeAllCameras();
        QString strError;
        if (!m_fake.isRunning() && !m_fake.start(&strError))
            qWarning("%s", qPrintable(strError));
    }

    void typeNameTable()
    {
        QCOMPARE(hostsim::cameraTypeNames(),
                 QStringList({QStringLiteral("Auto"), QStringLiteral("Sim"), QStringLiteral("GenICam"),
                              QStringLiteral("V4L2")}));
        hostsim::CameraType type = hostsim::CameraType::Sim;
        QVERIFY(hostsim::cameraTypeFromName(QStringLiteral("genicam"), type));
        QCOMPARE(type, hostsim::CameraType::GenICam);
        QVERIFY(!hostsim::cameraTypeFromName(QStringLiteral("firewire"), type));
        QVERIFY(hostsim::cameraTypeAvailable(hostsim::CameraType::GenICam));
    }

    void frameConversions_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<uint>("pixelFormat");
        QTest::newRow("BGR8") << QStringLiteral("BGR8") << uint(ARV_PIXEL_FORMAT_BGR_8_PACKED);
        QTest::newRow("RGB8") << QStringLiteral("RGB8") << uint(ARV_PIXEL_FORMAT_RGB_8_PACKED);
        QTest::newRow("BayerRG8") << QStringLiteral("RG") << uint(ARV_PIXEL_FORMAT_BAYER_RG_8);
        QTest::newRow("BayerGR8") << QStringLiteral("GR") << uint(ARV_PIXEL_FORMAT_BAYER_GR_8);
        QTest::newRow("BayerGB8") << QStringLiteral("GB") << uint(ARV_PIXEL_FORMAT_BAYER_GB_8);
        QTest::newRow("BayerBG8") << QStringLiteral("BG") << uint(ARV_PIXEL_FORMAT_BAYER_BG_8);
    }

    // An orange picture (R 240, G 120, B 20) as each format carries it comes out orange.
    void frameConversions()
    {
        QFETCH(QString, format);
        QFETCH(uint, pixelFormat);
        const int w = 16, h = 12;
        const int rgb[3] = {240, 120, 20};
        std::vector<unsigned char> data;
        if (format == QLatin1String("BGR8") || format == QLatin1String("RGB8")) {
            const bool bBgr = format == QLatin1String("BGR8");
            for (int i = 0; i < w * h; ++i)
                for (int c = 0; c < 3; ++c)
                    data.push_back(static_cast<unsigned char>(rgb[bBgr ? 2 - c : c]));
        } else {
            // The pattern names the first row's first two colours.
            for (int y = 0; y < h; ++y) {
                for (int x = 0; x < w; ++x) {
                    QChar c;
                    if (y % 2 == 0)
                        c = format.at(x % 2);
                    else {
                        // Row 1 of RG is GB, of GR is BG, of GB is RG, of BG is GR.
                        const QString second = format == QLatin1String("RG")   ? QStringLiteral("GB")
                                               : format == QLatin1String("GR") ? QStringLiteral("BG")
                                               : format == QLatin1String("GB") ? QStringLiteral("RG")
                                                                               : QStringLiteral("GR");
                        c = second.at(x % 2);
                    }
                    data.push_back(static_cast<unsigned char>(c == QLatin1Char('R')   ? rgb[0]
                                                              : c == QLatin1Char('G') ? rgb[1]
                                                                                      : rgb[2]));
                }
            }
        }
        cv::Mat out;
        QString strWhy;
        QVERIFY2(AravisCamera::convertFrame(pixelFormat, w, h, data.data(), data.size(), out, &strWhy),
                 qPrintable(strWhy));
        QCOMPARE(out.type(), CV_8UC3);
        const cv::Vec3b p = out.at<cv::Vec3b>(h / 2, w / 2);
        QVERIFY2(std::abs(p[0] - rgb[0]) <= 3 && std::abs(p[1] - rgb[1]) <= 3 && std::abs(p[2] - rgb[2]) <= 3,
                 qPrintable(QStringLiteral("(%1, %2, %3)").arg(p[0]).arg(p[1]).arg(p[2])));
    }

    void unsupportedOrShortFramesAreRefused()
    {
        std::vector<unsigned char> data(100);
        cv::Mat out;
        QString strWhy;
        QVERIFY(!AravisCamera::convertFrame(ARV_PIXEL_FORMAT_MONO_8, 16, 16, data.data(), data.size(), out, &strWhy));
        QVERIFY2(strWhy.contains(QStringLiteral("too short")), qPrintable(strWhy));
        QVERIFY(!AravisCamera::convertFrame(0x02300018u /* RGB10 */, 4, 4, data.data(), data.size(), out, &strWhy));
        QVERIFY2(strWhy.contains(QStringLiteral("cannot be shown")), qPrintable(strWhy));
        // Mono8 with padded rows.
        for (int i = 0; i < 100; ++i)
            data[size_t(i)] = static_cast<unsigned char>(i);
        QVERIFY(AravisCamera::convertFrame(ARV_PIXEL_FORMAT_MONO_8, 8, 4, data.data(), data.size(), out, &strWhy, 10));
        QCOMPARE(int(out.at<unsigned char>(1, 0)), 10);
        QVERIFY(out.isContinuous());
    }

    void opensByAddressWithoutDiscovery()
    {
        QElapsedTimer clock;
        clock.start();
        QString strWhy;
        QVERIFY2(AravisCamera::probe(kAddress, &strWhy), qPrintable(strWhy));
        // Discovery over loopback takes about a second; by address it is a few milliseconds.
        QVERIFY2(clock.elapsed() < 900, qPrintable(QStringLiteral("%1 ms").arg(clock.elapsed())));
    }

    void framesReachTheLiveView_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<bool>("colour");
        QTest::newRow("Mono8") << QStringLiteral("Mono8") << false;
        QTest::newRow("Mono16") << QStringLiteral("Mono16") << false;
        QTest::newRow("RGB8") << QStringLiteral("RGB8") << true;
        QTest::newRow("BayerRG8") << QStringLiteral("BayerRG8") << true;
        QTest::newRow("BayerGR8") << QStringLiteral("BayerGR8") << true;
        QTest::newRow("BayerGB8") << QStringLiteral("BayerGB8") << true;
        QTest::newRow("BayerBG8") << QStringLiteral("BayerBG8") << true;
        // Seen in the fake camera's raw buffers (Aravis 0.8): its BayerRG8 has
        // blue at the top-left site and its BayerBG8 red there, the other way
        // round from the names (its BayerGR8 and BayerGB8 follow them). Those
        // two therefore come out with red and blue exchanged.
    }

    // The fake camera draws a diagonal ramp: every pixel equals its lower-left
    // neighbour. Gray is (x + y + frame) mod 255 (at 16 bits in the top
    // byte); colour runs through the hues along a row: yellow (red full,
    // green falling), red, blue, cyan (blue full, green rising), green. Each
    // format reaches the panel and the host's grab with those pixels.
    void framesReachTheLiveView()
    {
        QFETCH(QString, format);
        QFETCH(bool, colour);
        AravisCamera* pCamera = addFakeCamera(format);
        QVERIFY(pCamera);
        // The gray ramp's step is 1 at the fake camera's default exposure and no gain.
        pCamera->setExposureUs(10000.0);
        pCamera->setGain(0.0);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->refreshParameters(2000) && pCamera->parameters().gain == 0.0, 5000);
        QCOMPARE(pCamera->parameters().pixelFormat, format);
        QCOMPARE(pCamera->IsColorful(), colour);
        QCOMPARE(pCamera->GetImageWidth(true), 1280);
        QCOMPARE(pCamera->GetImageHeight(true), 1024);

        PanelPtr pPanel(makePanel());
        pPanel->show();
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->grabCount() >= 3, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(!labelPixmap(pPanel->m_pShowLabel).isNull(), 5000);
        QCOMPARE(pPanel->m_pRefreshThread->bufferBytes(), 1280 * 1024 * (colour ? 3 : 1));
        QCOMPARE(pCamera->GetImageWidth(false), 1280);
        QCOMPARE(pCamera->GetImageHeight(false), 1024);
        // The panel's picture (away from the cross drawn at its centre): gray stays gray.
        const QImage shown = labelPixmap(pPanel->m_pShowLabel).toImage();
        const QColor seen = shown.pixelColor(shown.width() * 3 / 10, shown.height() * 7 / 20);
        QCOMPARE(seen.red() == seen.green() && seen.green() == seen.blue(), !colour);

        // The live view's frame (rows as GrabImage writes them) and the host's own grab.
        pPanel.reset();
        pCamera->IsColorful();
        std::vector<unsigned char> buffer(size_t(1280) * 1024 * (colour ? 3 : 1));
        QCOMPARE(pCamera->GrabImage(buffer.data()), 0);
        const cv::Mat grabbed(1024, 1280, colour ? CV_8UC3 : CV_8UC1, buffer.data());
        cv::Mat own;
        QCOMPARE(pCamera->grabFrame(own), 0);
        for (const cv::Mat& frame : {grabbed, own}) {
            QCOMPARE(frame.cols, 1280);
            QCOMPARE(frame.rows, 1024);
            QCOMPARE(frame.channels(), colour ? 3 : 1);
            const bool bExchanged = format == QLatin1String("BayerRG8") || format == QLatin1String("BayerBG8");
            cv::Mat seenAs = frame;
            if (bExchanged)
                cv::cvtColor(frame, seenAs, cv::COLOR_RGB2BGR);
            const QString strWhy = colour ? checkColourRamp(seenAs) : checkGrayRamp(frame);
            QVERIFY2(strWhy.isEmpty(), qPrintable(strWhy));
        }
    }

    // A region of interest of any width: the grab writes the rows padded to
    // 4 bytes, as the panel's frame buffer is read, and the panel's buffer
    // has room for them. The fake camera draws a diagonal ramp (each pixel
    // equals its lower-left neighbour), which survives only rows that start
    // where the layout says.
    void oddWidthFramesKeepTheirRows_data()
    {
        formatAndSizeColumns();
        QTest::newRow("Mono8 1001x801") << QStringLiteral("Mono8") << 1001 << 801;
        QTest::newRow("RGB8 1003x601") << QStringLiteral("RGB8") << 1003 << 601;
    }
    void oddWidthFramesKeepTheirRows()
    {
        QFETCH(QString, format);
        QFETCH(int, width);
        QFETCH(int, height);
        AravisCamera* pCamera = addFakeCamera(format, width, height);
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        const bool bColour = pCamera->IsColorful();
        QCOMPARE(bColour, format == QLatin1String("RGB8"));
        QCOMPARE(pCamera->GetImageWidth(true), width);
        QCOMPARE(pCamera->GetImageHeight(true), height);
        const size_t nPixel = bColour ? 3 : 1;
        const size_t nRow = size_t(width) * nPixel;
        const size_t nStride = (nRow + 3) / 4 * 4;

        // The premise, on the host's own copy of a frame.
        cv::Mat frame;
        QCOMPARE(pCamera->grabFrame(frame), 0);
        auto ramps = [&](auto pixel) {
            for (int y = 0; y + 1 < height; y += 37)
                for (int x = 1; x < width; x += 13)
                    for (size_t c = 0; c < nPixel; ++c)
                        if (pixel(y, x, c) != pixel(y + 1, x - 1, c))
                            return false;
            return true;
        };
        QVERIFY(ramps([&](int y, int x, size_t c) { return frame.ptr(y)[size_t(x) * nPixel + c]; }));

        std::vector<unsigned char> buffer(nStride * size_t(height) + 16, 0xAB);
        QCOMPARE(pCamera->GrabImage(buffer.data()), 0);
        QVERIFY(ramps([&](int y, int x, size_t c) { return buffer[size_t(y) * nStride + size_t(x) * nPixel + c]; }));
        for (int y = 0; y < height; ++y) {
            const unsigned char* pLine = buffer.data() + size_t(y) * nStride;
            QVERIFY(std::all_of(pLine + nRow, pLine + nStride, [](unsigned char c) { return c == 0; }));
        }
        QVERIFY(std::all_of(buffer.end() - 16, buffer.end(), [](unsigned char c) { return c == 0xAB; }));

        PanelPtr pPanel(makePanel());
        pPanel->show();
        QTRY_VERIFY_WITH_TIMEOUT(!labelPixmap(pPanel->m_pShowLabel).isNull(), 10000);
        QCOMPARE(pPanel->m_pRefreshThread->bufferBytes(), int(nStride) * height);
    }

    // A small region streams at the camera's rate: a 64 x 64 frame is 4 KiB,
    // and a receive socket sized to one frame lost packets of nearly every
    // frame (about one frame a second got through).
    void smallRegionsStream_data()
    {
        formatAndSizeColumns();
        QTest::newRow("Mono8 16x16") << QStringLiteral("Mono8") << 16 << 16;
        QTest::newRow("Mono8 17x17") << QStringLiteral("Mono8") << 17 << 17;
        QTest::newRow("Mono8 64x64") << QStringLiteral("Mono8") << 64 << 64;
        QTest::newRow("BayerGR8 18x18") << QStringLiteral("BayerGR8") << 18 << 18;
        QTest::newRow("RGB8 33x21") << QStringLiteral("RGB8") << 33 << 21;
        QTest::newRow("Mono16 100x75") << QStringLiteral("Mono16") << 100 << 75;
        QTest::newRow("Mono8 256x256") << QStringLiteral("Mono8") << 256 << 256;
    }
    void smallRegionsStream()
    {
        QFETCH(QString, format);
        QFETCH(int, width);
        QFETCH(int, height);
        AravisCamera* pCamera = addFakeCamera(format, width, height);
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        QCOMPARE(pCamera->frameWidth(), width);
        QCOMPARE(pCamera->frameHeight(), height);
        // The fake camera runs at 25 frames a second: 10 more take 0.4 s.
        const quint64 nFrom = pCamera->framesReceived();
        QElapsedTimer clock;
        clock.start();
        QVERIFY2(pCamera->waitForFrame(nFrom + 10, 5000),
                 qPrintable(QStringLiteral("%1 frames in 5 s").arg(pCamera->framesReceived() - nFrom)));
        std::printf("%s %dx%d: 10 frames in %lld ms\n", qPrintable(format), width, height,
                    static_cast<long long>(clock.elapsed()));
        cv::Mat frame;
        QCOMPARE(pCamera->grabFrame(frame), 0);
        QCOMPARE(frame.cols, width);
        QCOMPARE(frame.rows, height);
    }

    // A calibrated real camera hands out its frames turned into the machine's
    // axes like any camera of the host: a turned camera's corners are black.
    void calibratedFramesAreTurned()
    {
        AravisCamera* pCamera = addFakeCamera(QStringLiteral("Mono8"));
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        cv::Mat frame;
        QCOMPARE(pCamera->grabFrame(frame), 0);
        const double dCornerBefore = cv::mean(frame(cv::Rect(0, 0, 8, 8)))[0] + cv::mean(frame(cv::Rect(1272, 1016, 8, 8)))[0];
        hostsim::CameraModel turned = hostsim::CameraModel::plain(0.02);
        turned.rotationDeg = 10.0;
        HostSim::cameraManager().setCameraModel(0, turned);
        const quint64 nFrames = pCamera->framesReceived();
        QVERIFY(pCamera->waitForFrame(nFrames + 1, 10000));
        QCOMPARE(pCamera->grabFrame(frame), 0);
        QCOMPARE(frame.cols, 1280);
        QCOMPARE(frame.rows, 1024);
        QCOMPARE(cv::countNonZero(frame(cv::Rect(0, 0, 8, 8))), 0);
        QCOMPARE(cv::countNonZero(frame(cv::Rect(1272, 1016, 8, 8))), 0);
        QVERIFY(dCornerBefore > 0.0); // the fake camera's own corners are not black
    }

    // The fake camera's picture does not move with the machine: the wizard's
    // measurement refuses it with a reason and leaves the calibration alone.
    void calibrationRunRefusesTheFakeCameraCleanly()
    {
        AravisCamera* pCamera = addFakeCamera(QStringLiteral("Mono8"));
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        hostsim::CalibrationRun run(pCamera, &HostSim::machine(), 2.0);
        run.setSettleMs(100);
        QVERIFY(!run.run(30000));
        QVERIFY(!run.failure().isEmpty());
        QVERIFY(!run.failure().contains('\n'));
        std::printf("fake GigE camera: calibration refused with %d of %d positions measured: %s\n",
                    run.positionsMeasured(), 9, qPrintable(run.failure()));
        QVERIFY(!pCamera->hasModel());
        double x = 0, y = 0;
        HostSim::machine().position(x, y);
        QCOMPARE(QPointF(x, y), run.startPosition());
    }

    void grabNeverWaitsLongerThanAboutOneFrame()
    {
        AravisCamera* pCamera = addFakeCamera(QStringLiteral("Mono8"));
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        pCamera->IsColorful();
        std::vector<unsigned char> buffer(size_t(pCamera->GetImageWidth(true)) * size_t(pCamera->GetImageHeight(true)));
        qint64 nWorstMs = 0;
        int nGrabbed = 0;
        for (int i = 0; i < 20; ++i) {
            QElapsedTimer clock;
            clock.start();
            nGrabbed += pCamera->GrabImage(buffer.data()) == 0 ? 1 : 0;
            nWorstMs = std::max(nWorstMs, clock.elapsed());
        }
        QVERIFY(nGrabbed >= 10);
        QVERIFY2(nWorstMs <= 60, qPrintable(QStringLiteral("a grab took %1 ms").arg(nWorstMs)));
        // Without a buffer nothing is copied, and a live camera has not ended.
        QCOMPARE(pCamera->GrabImage(nullptr), 2);
    }

    void parameterDialogChangesTheExposure()
    {
        AravisCamera* pCamera = addFakeCamera(QStringLiteral("Mono8"));
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->parameters().valid, 5000);
        const hostsim::GenicamParameters before = pCamera->parameters();
        QVERIFY(before.hasExposure);
        QVERIFY(before.exposureMaxUs > before.exposureMinUs);
        QVERIFY(before.hasFrameRate);
        QVERIFY(before.pixelFormats.contains(QStringLiteral("RGB8")));
        const double dWanted = qFuzzyCompare(before.exposureUs, 20000.0) ? 30000.0 : 20000.0;

        {
            HXLCameraParameterSettingDialog dialog(nullptr);
            auto* pExposure = dialog.findChild<QDoubleSpinBox*>(QStringLiteral("GenicamExposure"));
            QVERIFY(pExposure);
            QCOMPARE(pExposure->minimum(), before.exposureMinUs);
            QCOMPARE(pExposure->maximum(), before.exposureMaxUs);
            QCOMPARE(pExposure->value(), before.exposureUs);
            QVERIFY(dialog.findChild<QDoubleSpinBox*>(QStringLiteral("GenicamFrameRate")));
            QVERIFY(dialog.findChild<QComboBox*>(QStringLiteral("GenicamPixelFormat")));
            QElapsedTimer clock;
            clock.start();
            pExposure->setValue(dWanted);
            // Posted to the camera's thread: the dialog does not wait for the camera.
            QVERIFY(clock.elapsed() < 50);
        }
        // Read back from the camera itself.
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->refreshParameters(2000) && qAbs(pCamera->parameters().exposureUs - dWanted) < 1.0,
                                 5000);

        // And seen by another client once this one has let go.
        HostSim::removeAllCameras();
        const QString strOut = arvTool({QStringLiteral("-a"), kAddress, QStringLiteral("control"),
                                        QStringLiteral("ExposureTimeAbs")});
        if (!strOut.isEmpty())
            QVERIFY2(strOut.contains(QStringLiteral("= %1").arg(dWanted)), qPrintable(strOut));
    }

    void killedCameraStopsFramesAndComesBack()
    {
        AravisCamera* pCamera = addFakeCamera(QStringLiteral("Mono8"));
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        PanelPtr pPanel(makePanel());
        pPanel->show();
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->grabCount() >= 2, 10000);
        const int nOpened = pCamera->openCount();

        m_fake.stop();
        // The live view's grabs now fail, each of them at once.
        pCamera->IsColorful();
        std::vector<unsigned char> buffer(size_t(pCamera->GetImageWidth(true)) * size_t(pCamera->GetImageHeight(true)));
        QElapsedTimer clock;
        clock.start();
        bool bFailed = false;
        qint64 nWorstMs = 0;
        while (clock.elapsed() < 8000 && !bFailed) {
            QElapsedTimer one;
            one.start();
            bFailed = pCamera->GrabImage(buffer.data()) != 0;
            nWorstMs = std::max(nWorstMs, one.elapsed());
            QTest::qWait(20);
        }
        QVERIFY(bFailed);
        QVERIFY2(nWorstMs <= 60, qPrintable(QStringLiteral("a grab took %1 ms").arg(nWorstMs)));
        QVERIFY(pCamera->GrabImage(nullptr) != 1); // not ended: it comes back
        const int nGrabs = pCamera->grabCount();
        QTest::qWait(500);
        QCOMPARE(pCamera->grabCount(), nGrabs);
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->state() == StreamingCamera::State::Connecting, 10000);
        QVERIFY(!pCamera->lastError().isEmpty());

        QString strError;
        QVERIFY2(m_fake.start(&strError), qPrintable(strError));
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->openCount() > nOpened, 15000);
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->grabCount() > nGrabs + 2, 10000);
        // The restarted camera starts at its own defaults; the host set the frame again.
        QCOMPARE(pCamera->frameWidth(), 1280);
        QCOMPARE(pCamera->frameHeight(), 1024);
        QVERIFY2(pCamera->statusText().startsWith(QStringLiteral("streaming 1280 x 1024")),
                 qPrintable(pCamera->statusText()));
    }

    void unreachableCameraKeepsTrying()
    {
        hostsim::CameraRequest request;
        request.type = hostsim::CameraType::GenICam;
        request.address = QStringLiteral("127.0.0.2"); // nothing answers there
        HostSim::removeAllCameras();
        QString strError;
        auto* pCamera = dynamic_cast<AravisCamera*>(HostSim::addCamera(request, &strError));
        QVERIFY(pCamera);
        QTRY_VERIFY_WITH_TIMEOUT(!pCamera->lastError().isEmpty(), 10000);
        QCOMPARE(pCamera->GetImageWidth(true), 0);
        QVERIFY(pCamera->GrabImage(nullptr) != 1);
        std::vector<unsigned char> buffer(16);
        QVERIFY(pCamera->GrabImage(buffer.data()) != 0);
        QElapsedTimer clock;
        clock.start();
        HostSim::removeAllCameras();
        QVERIFY2(clock.elapsed() < 5000, qPrintable(QStringLiteral("closing took %1 ms").arg(clock.elapsed())));
        QCOMPARE(pCamera->GrabImage(nullptr), 1);
    }

    // Another program holds the camera (GigE Vision gives its control to one
    // program at a time): the host says so and waits, writes nothing (each
    // write would wait for a timeout and fail), and streams once the other
    // program lets go.
    void cameraHeldByAnotherProgramIsWaitedFor()
    {
        HostSim::removeAllCameras();
        GError* pError = nullptr;
        // Let go of on every way out, so that a failure here leaves the camera to the next test.
        std::unique_ptr<ArvCamera, void (*)(ArvCamera*)> pOther(arv_camera_new(kAddress.toUtf8().constData(), &pError),
                                                                [](ArvCamera* p) { g_object_unref(p); });
        QVERIFY2(pOther, pError ? pError->message : "no camera");
        QVERIFY(arv_gv_device_is_controller(ARV_GV_DEVICE(arv_camera_get_device(pOther.get()))));
        const int nLines = HostSim::operatorLines().size();

        AravisCamera* pCamera = addFakeCamera(QStringLiteral("Mono8"), 640, 480);
        QVERIFY(pCamera);
        QTRY_VERIFY_WITH_TIMEOUT(!pCamera->lastError().isEmpty(), 10000);
        QCOMPARE(pCamera->state(), StreamingCamera::State::Connecting);
        QVERIFY2(pCamera->statusText().contains(QStringLiteral("controlled by another program")),
                 qPrintable(pCamera->statusText()));
        QTest::qWait(1500);
        QCOMPARE(pCamera->openCount(), 0);
        QCOMPARE(pCamera->framesReceived(), quint64(0));
        // Nothing was written behind the other program's back, so nothing failed.
        QVERIFY2(HostSim::operatorLines(nLines).isEmpty(), qPrintable(HostSim::operatorLines(nLines).join('|')));

        pOther.reset();
        QVERIFY2(pCamera->waitForFrame(0, 15000), qPrintable(pCamera->statusText()));
        QCOMPARE(pCamera->frameWidth(), 640);
        QCOMPARE(pCamera->frameHeight(), 480);
        QVERIFY2(pCamera->statusText().startsWith(QStringLiteral("streaming 640 x 480")),
                 qPrintable(pCamera->statusText()));
        QVERIFY2(HostSim::operatorLines(nLines).isEmpty(), qPrintable(HostSim::operatorLines(nLines).join('|')));
    }

    // Another program left the camera waiting for triggers: opening it
    // switches trigger mode off and it streams.
    void triggerModeLeftOnStillStreams()
    {
        HostSim::removeAllCameras();
        const QString strSet = arvTool({QStringLiteral("-a"), kAddress, QStringLiteral("control"),
                                        QStringLiteral("TriggerSelector=FrameStart"), QStringLiteral("TriggerMode=On"),
                                        QStringLiteral("TriggerSource=Line0")});
        if (strSet.isEmpty())
            QSKIP("arv-tool-0.8 not found: install aravis-tools-cli (scripts/setup.sh does)");
        QVERIFY2(arvTool({QStringLiteral("-a"), kAddress, QStringLiteral("control"), QStringLiteral("TriggerMode")})
                     .contains(QStringLiteral("TriggerMode = On")),
                 qPrintable(strSet));
        AravisCamera* pCamera = addFakeCamera(QStringLiteral("Mono8"), 640, 480);
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        QVERIFY(pCamera->waitForFrame(pCamera->framesReceived() + 5, 5000));
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->parameters().valid, 5000);
        QCOMPARE(pCamera->parameters().triggerMode, QStringLiteral("Off"));
    }

    // The region is centred on the sensor (the optical axis at the picture's
    // centre), whatever region another program left; a size the sensor
    // cannot give is reported and the nearest one used.
    void regionIsCentredOnTheSensor()
    {
        AravisCamera* pCamera = addFakeCamera(QStringLiteral("Mono8"), 640, 480);
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->parameters().valid, 5000);
        hostsim::GenicamParameters p = pCamera->parameters();
        QCOMPARE(p.sensorWidth, 2048);
        QCOMPARE(p.sensorHeight, 2048);
        QCOMPARE(QRect(p.offsetX, p.offsetY, p.width, p.height), QRect(704, 784, 640, 480));

        HostSim::removeAllCameras();
        const QString strSet = arvTool({QStringLiteral("-a"), kAddress, QStringLiteral("control"), QStringLiteral("OffsetX=0"),
                                        QStringLiteral("OffsetY=0"), QStringLiteral("Width=512"), QStringLiteral("Height=256")});
        if (!strSet.isEmpty()) {
            pCamera = addFakeCamera(QStringLiteral("Mono8"), 0, 0); // the camera's own size
            QVERIFY(pCamera);
            QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
            QTRY_VERIFY_WITH_TIMEOUT(pCamera->parameters().valid, 5000);
            p = pCamera->parameters();
            QCOMPARE(QRect(p.offsetX, p.offsetY, p.width, p.height), QRect(768, 896, 512, 256));
        }

        const int nLines = HostSim::operatorLines().size();
        pCamera = addFakeCamera(QStringLiteral("Mono8"), 4000, 3000);
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        QCOMPARE(pCamera->frameWidth(), 2048);
        QCOMPARE(pCamera->frameHeight(), 2048);
        const QStringList lines = HostSim::operatorLines(nLines);
        QVERIFY2(lines.size() == 1 && lines.first().contains(QStringLiteral("4000 x 3000"))
                     && lines.first().contains(QStringLiteral("2048 x 2048")),
                 qPrintable(lines.join(QLatin1Char('|'))));
    }

    // The fake camera has auto gain (no auto exposure, no auto white balance):
    // the dialog offers what the camera has, and a manual gain turns auto gain off.
    void autoGainInTheDialogAndManualTurnsItOff()
    {
        AravisCamera* pCamera = addFakeCamera(QStringLiteral("Mono8"), 640, 480);
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->parameters().valid, 5000);
        hostsim::GenicamParameters p = pCamera->parameters();
        QVERIFY(p.hasGain);
        QVERIFY2(p.gainAutoModes.contains(QStringLiteral("Continuous")), qPrintable(p.gainAutoModes.join(',')));
        QVERIFY(p.exposureAuto.isEmpty());
        QVERIFY(p.whiteBalanceAuto.isEmpty());
        pCamera->setGainAuto(QStringLiteral("Continuous"));
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->refreshParameters(2000)
                                     && pCamera->parameters().gainAuto == QLatin1String("Continuous"),
                                 5000);
        p = pCamera->parameters();
        const double dWanted = p.gain == 2.0 ? 3.0 : 2.0;
        {
            HXLCameraParameterSettingDialog dialog(nullptr);
            auto* pAuto = dialog.findChild<QComboBox*>(QStringLiteral("GenicamGainAuto"));
            QVERIFY(pAuto);
            QCOMPARE(pAuto->currentText(), QStringLiteral("Continuous"));
            QVERIFY(!dialog.findChild<QComboBox*>(QStringLiteral("GenicamExposureAuto")));
            QVERIFY(!dialog.findChild<QComboBox*>(QStringLiteral("GenicamWhiteBalanceAuto")));
            auto* pGain = dialog.findChild<QDoubleSpinBox*>(QStringLiteral("GenicamGain"));
            QVERIFY(pGain);
            pGain->setValue(dWanted);
            QCOMPARE(pAuto->currentText(), QStringLiteral("Off"));
        }
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->refreshParameters(2000) && pCamera->parameters().gainAuto == QLatin1String("Off")
                                     && qAbs(pCamera->parameters().gain - dWanted) < 1e-6,
                                 5000);
        pCamera->setGain(0.0);
    }

    // A format switched while streaming is followed by the panel; grabs never
    // wait meanwhile. (Another program cannot switch it: the fake camera
    // refuses writes from a second client while the host has control.)
    void formatSwitchedMidStreamIsFollowed()
    {
        AravisCamera* pCamera = addFakeCamera(QStringLiteral("Mono8"), 640, 480);
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        PanelPtr pPanel(makePanel());
        pPanel->show();
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->grabCount() >= 2, 10000);

        // Grabs as the live view makes them, timed, until the camera shows colour / the other format.
        auto grabUntil = [&](const std::function<bool()>& done, qint64& nWorstMs) {
            QElapsedTimer clock;
            clock.start();
            while (clock.elapsed() < 10000) {
                pCamera->IsColorful();
                std::vector<unsigned char> buffer(size_t(std::max(1, pCamera->GetImageWidth(true))) * 3
                                                  * size_t(std::max(1, pCamera->GetImageHeight(true))) + 4096);
                QElapsedTimer one;
                one.start();
                pCamera->GrabImage(buffer.data());
                nWorstMs = std::max(nWorstMs, one.elapsed());
                if (done())
                    return true;
                QTest::qWait(20);
            }
            return false;
        };
        qint64 nWorstMs = 0;
        int nGrabs = pCamera->grabCount();
        pCamera->setPixelFormat(QStringLiteral("Mono16"));
        QVERIFY(grabUntil(
            [&] { return pCamera->parameters().pixelFormat == QLatin1String("Mono16") && pCamera->grabCount() > nGrabs + 3; },
            nWorstMs));

        // And to a format with larger frames than the buffers held: the stream starts again.
        nGrabs = pCamera->grabCount();
        pCamera->setPixelFormat(QStringLiteral("RGB8"));
        QVERIFY2(grabUntil([&] { return pCamera->IsColorful() && pCamera->grabCount() > nGrabs + 3; }, nWorstMs),
                 qPrintable(pCamera->lastError()));
        cv::Mat frame;
        QCOMPARE(pCamera->grabFrame(frame), 0);
        QCOMPARE(frame.channels(), 3);
        QCOMPARE(frame.cols, 640);
        QVERIFY2(nWorstMs <= 60, qPrintable(QStringLiteral("a grab took %1 ms").arg(nWorstMs)));
    }

    // Another program changes the format or the size while the host streams
    // (the stream is not told): larger frames no longer fit the stream's
    // buffers, and the stream starts again with buffers of the new payload;
    // smaller ones are taken as they come. The live view follows each, and
    // no grab waits longer than about a frame meanwhile.
    void formatChangedBehindTheHostIsFollowed_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("features");
        QTest::addColumn<QString>("to");
        QTest::addColumn<int>("channels");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        // A program changing what sets the payload stops the acquisition
        // first (the fake camera, like many, would otherwise send frames
        // larger than it prepared for).
        QTest::newRow("Mono8 to RGB8 (larger)")
            << "Mono8" << "AcquisitionStop PixelFormat=RGB8 AcquisitionStart" << "RGB8" << 3 << 640 << 480;
        QTest::newRow("Mono8 to Mono16 (larger)")
            << "Mono8" << "AcquisitionStop PixelFormat=Mono16 AcquisitionStart" << "Mono16" << 1 << 640 << 480;
        QTest::newRow("RGB8 to Mono8 (smaller)")
            << "RGB8" << "AcquisitionStop PixelFormat=Mono8 AcquisitionStart" << "Mono8" << 1 << 640 << 480;
        QTest::newRow("RGB8 to Mono8 without stopping")
            << "RGB8" << "PixelFormat=Mono8" << "Mono8" << 1 << 640 << 480;
        QTest::newRow("a larger region")
            << "Mono8" << "AcquisitionStop Width=800 Height=600 AcquisitionStart" << "Mono8" << 1 << 800 << 600;
        QTest::newRow("a smaller region")
            << "Mono8" << "AcquisitionStop Width=320 Height=240 AcquisitionStart" << "Mono8" << 1 << 320 << 240;
    }

    void formatChangedBehindTheHostIsFollowed()
    {
        QFETCH(QString, from);
        QFETCH(QString, features);
        QFETCH(QString, to);
        QFETCH(int, channels);
        QFETCH(int, width);
        QFETCH(int, height);
        AravisCamera* pCamera = addFakeCamera(from, 640, 480);
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        QVERIFY(pCamera->waitForFrame(pCamera->framesReceived() + 3, 5000));
        const int nOpened = pCamera->openCount();
        pCamera->writeFeaturesBehindTheHost(features);
        QElapsedTimer clock;
        clock.start();
        qint64 nWorstMs = 0;
        cv::Mat frame;
        bool bFollowed = false;
        while (!bFollowed && clock.elapsed() < 10000) {
            QElapsedTimer one;
            one.start();
            const int nResult = pCamera->grabFrame(frame);
            nWorstMs = std::max(nWorstMs, one.elapsed());
            bFollowed = nResult == 0 && frame.channels() == channels && frame.cols == width && frame.rows == height
                && pCamera->parameters().pixelFormat == to;
            QTest::qWait(20);
        }
        QVERIFY2(bFollowed, qPrintable(QStringLiteral("last frame %1 x %2 x %3 in %4, %5")
                                           .arg(frame.cols)
                                           .arg(frame.rows)
                                           .arg(frame.channels())
                                           .arg(pCamera->parameters().pixelFormat, pCamera->lastError())));
        std::printf("%s: followed in %lld ms, longest grab %lld ms\n", qPrintable(features),
                    static_cast<long long>(clock.elapsed()), static_cast<long long>(nWorstMs));
        QVERIFY2(nWorstMs <= 60, qPrintable(QStringLiteral("a grab took %1 ms").arg(nWorstMs)));
        // The camera stays open: a restart of the stream, not a reconnection.
        QCOMPARE(pCamera->openCount(), nOpened);
        // And the frames keep coming in the new format.
        QVERIFY(pCamera->waitForFrame(pCamera->framesReceived() + 3, 5000));
        QCOMPARE(pCamera->grabFrame(frame), 0);
        QCOMPARE(frame.cols, width);
        QCOMPARE(frame.channels(), channels);
    }

    // The camera runs at 25 frames a second, the panel shows about ten: only
    // the frames taken are converted, and none while nobody takes any.
    void onlyTakenFramesAreConverted()
    {
        AravisCamera* pCamera = addFakeCamera(QStringLiteral("Mono16"));
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        QVERIFY(pCamera->waitForFrame(pCamera->framesReceived() + 10, 5000));
        QCOMPARE(pCamera->framesConverted(), quint64(0));
        PanelPtr pPanel(makePanel());
        pPanel->show();
        const quint64 nReceivedBefore = pCamera->framesReceived();
        QTest::qWait(2000);
        pPanel.reset();
        const quint64 nReceived = pCamera->framesReceived() - nReceivedBefore;
        const quint64 nConverted = pCamera->framesConverted();
        std::printf("fake GigE camera Mono16: %llu frames received in 2 s, %llu converted for the panel\n",
                    static_cast<unsigned long long>(nReceived), static_cast<unsigned long long>(nConverted));
        QVERIFY(nConverted >= 5);
        QCOMPARE(nConverted, quint64(pCamera->grabCount()));
        QVERIFY2(nConverted * 3 < nReceived * 2,
                 qPrintable(QStringLiteral("%1 of %2 frames converted").arg(nConverted).arg(nReceived)));
        // Nor are the frames copied out of the stream's buffers: the frame
        // kept holds the buffer it arrived in, even while the panel's two
        // threads hold frames of their own.
        const quint64 nLent = pCamera->framesLent();
        const quint64 nCopied = pCamera->framesCopied();
        std::printf("fake GigE camera Mono16: %llu frames kept in their stream buffer, %llu copied out\n",
                    static_cast<unsigned long long>(nLent), static_cast<unsigned long long>(nCopied));
        QVERIFY2(nCopied * 10 < nLent, qPrintable(QStringLiteral("%1 lent, %2 copied").arg(nLent).arg(nCopied)));
    }

    // The host's image combine asks the camera, not its kind: along a
    // stretch the fake camera's frames make one picture of the stretch's
    // extent, every part of it covered.
    void combiningWorksWithTheFakeCamera()
    {
        AravisCamera* pCamera = addFakeCamera(QStringLiteral("Mono8"), 640, 480);
        QVERIFY(pCamera);
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        HostSim::machine().setPosition(0.0, 0.0);
        HostSim::machine().setSpeed(200.0);
        hostsim::SimCombineManager& combine = HostSim::combineManager();
        combine.SetCameraIndex(0);
        combine.SetCombineStartPos(ZKGePoint(0, 0, 0));
        combine.SetCombineEndPos(ZKGePoint(30, 0, 0));
        const int nLines = HostSim::operatorLines().size();
        IZKDbImage* pImage = combine.CombineImage();
        HostSim::machine().setSpeed(0.0);
        QVERIFY2(pImage, qPrintable(HostSim::operatorLines(nLines).join(QLatin1Char('\n'))));
        const double k = pCamera->mmPerPixel();
        double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        pImage->GetExtents(x0, y0, x1, y1);
        QCOMPARE(x1 - x0, 30.0 + 640 * k);
        QCOMPARE(y1 - y0, 480 * k);
        int w = 0, h = 0;
        pImage->GetImageSize(w, h);
        QCOMPARE(QSize(w, h), QSize(int(std::lround((30.0 + 640 * k) / k)), 480));
        QVERIFY(combine.lastFrameCount() >= 3);
        // The fake camera's ramp everywhere: no stretch of the canvas left black.
        const QImage image = dynamic_cast<hostsim::SimDbImage*>(pImage)->image();
        int nColumnsBlack = 0;
        for (int x = 0; x < image.width(); x += 4) {
            bool bAllBlack = true;
            for (int y = 0; y < image.height() && bAllBlack; y += 16)
                bAllBlack = qGray(image.pixel(x, y)) == 0;
            nColumnsBlack += bAllBlack;
        }
        QCOMPARE(nColumnsBlack, 0);
        pImage->Release();
    }

    void configurationListsTheCameras()
    {
        // The operator's "cameras" list opens the fake camera at start and survives a save.
        QFile file(HostSim::cameraManager().configPath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(R"({"record": {}, "cameras": [
            {"type": "GenICam", "address": "127.0.0.1", "pixelFormat": "Mono8", "width": 640, "height": 480,
             "mmPerPixel": 0.05},
            {"type": "Sim", "name": "Second"}]})");
        file.close();
        HostSim::reset(m_dir.path());
        QVERIFY(HostSim::camerasFromConfiguration());
        QCOMPARE(HostSim::cameraCount(), 2);
        auto* pCamera = dynamic_cast<AravisCamera*>(HostSim::hostCamera(0));
        QVERIFY(pCamera);
        QVERIFY(HostSim::camera(1));
        QCOMPARE(HostSim::camera(1)->GetCameraName(), std::string("Second"));
        QVERIFY2(pCamera->waitForFrame(0, 10000), qPrintable(pCamera->lastError()));
        QCOMPARE(pCamera->frameWidth(), 640);
        QCOMPARE(pCamera->mmPerPixel(), 0.05);
        QCOMPARE(HostSim::cameraManager().WriteSystemCFG(), 0);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll().contains("\"GenICam\""));
        file.close();
        HostSim::removeAllCameras();
        QVERIFY(file.remove());
    }
};

QTEST_MAIN(tst_GenicamCamera)
#include "tst_genicam_camera.moc"

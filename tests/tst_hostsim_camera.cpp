// The simulated camera renders the workpiece around the machine position and
// agrees with the calibration: a feature seen at pixel p lies at the machine
// position that the calibration gives for p.

#include "SceneTestSupport.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "cameras/HostCamera.h"
#include "cameras/PixelFormats.h"
#include "cameras/SimCamera.h"
#include "services/SimCameraManager.h"
#include "drawing/SimDrawing.h"
#include "services/SimMachine.h"
#include "cameras/Workpiece.h"

#include "host/HXL_HostFunctions.h"
#include "host/IZKDatabase.h"
#include "host/HXL_ServiceKeys.h"
#include "host/IServiceManager.h"
#include "host/IZKRobotService.h"

#include <QElapsedTimer>
#include <QDoubleSpinBox>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QSlider>
#include <QPainter>
#include <QTemporaryDir>
#include <QtTest>

#include <future>
#include <thread>

#include <algorithm>

#include <opencv2/imgproc.hpp>

using hostsim::CameraSetup;
using hostsim::FrameSource;
using hostsim::HostSim;
using hostsim::SimCamera;

using scene_test::crossCentroid;

namespace {

// A streaming camera whose device delivers one fixed frame, again and again.
class FrameFeedCamera : public hostsim::StreamingCamera
{
public:
    explicit FrameFeedCamera(const cv::Mat& frame) : StreamingCamera(feedOptions()), m_frame(frame.clone())
    {
        startWorker();
    }
    ~FrameFeedCamera() override { stopWorker(); }
    QString typeName() const override { return QStringLiteral("Feed"); }
    void CreateParamWidget(QWidget*) override {}

protected:
    bool openDevice(QString&) override { return true; }
    ReadResult readFrame(cv::Mat& frame, int, QString&) override
    {
        QThread::msleep(5);
        frame = m_frame.clone();
        return ReadResult::Frame;
    }
    void closeDevice() override {}

private:
    static Options feedOptions()
    {
        Options options;
        options.name = QStringLiteral("Feed");
        return options;
    }
    const cv::Mat m_frame;
};

// A streaming camera whose device hands over its own pixels (as a GenICam
// camera does): the format and the bytes can be changed while it runs.
class RawFeedCamera : public hostsim::StreamingCamera
{
public:
    RawFeedCamera() : StreamingCamera(feedOptions()) { startWorker(); }
    ~RawFeedCamera() override { stopWorker(); }
    QString typeName() const override { return QStringLiteral("RawFeed"); }
    void CreateParamWidget(QWidget*) override {}

    void feed(uint32_t nFormat, int nWidth, int nHeight, const std::vector<uint8_t>& bytes)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_nFormat = nFormat;
        m_nWidth = nWidth;
        m_nHeight = nHeight;
        m_bytes = std::make_shared<const std::vector<uint8_t>>(bytes);
    }

protected:
    bool openDevice(QString&) override { return true; }
    ReadResult readFrame(cv::Mat&, int, QString&) override { return ReadResult::Timeout; }
    ReadResult readRawFrame(RawFrame& frame, int, QString&) override
    {
        QThread::msleep(5);
        std::lock_guard<std::mutex> lock(m_mutex);
        frame = RawFrame();
        frame.pixelFormat = m_nFormat;
        frame.width = m_nWidth;
        frame.height = m_nHeight;
        frame.setBytes(m_bytes);
        return ReadResult::Frame;
    }
    void closeDevice() override {}

private:
    static Options feedOptions()
    {
        Options options;
        options.name = QStringLiteral("RawFeed");
        return options;
    }
    std::mutex m_mutex;
    uint32_t m_nFormat = hostsim::pfnc::Mono8;
    int m_nWidth = 1, m_nHeight = 1;
    std::shared_ptr<const std::vector<uint8_t>> m_bytes = std::make_shared<const std::vector<uint8_t>>(1, 0);
};

// The first (luminance) quantization table of a baseline JPEG, sorted.
QList<int> sortedLuminanceTable(const QByteArray& jpeg)
{
    const int nAt = jpeg.indexOf("\xFF\xDB");
    if (nAt < 0 || nAt + 5 + 64 > jpeg.size())
        return {};
    // Marker, two length bytes, precision and table number, 64 8-bit entries.
    QList<int> table;
    for (int i = 0; i < 64; ++i)
        table << quint8(jpeg.at(nAt + 5 + i));
    std::sort(table.begin(), table.end());
    return table;
}

// The standard luminance table of the JPEG standard's annex K, scaled for a
// quality as libjpeg's jpeg_set_quality does, sorted.
QList<int> scaledLuminanceTable(int nQuality)
{
    static const int kStandard[64] = {16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
                                      14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
                                      18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
                                      49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};
    const int nScale = nQuality < 50 ? 5000 / nQuality : 200 - 2 * nQuality;
    QList<int> table;
    for (int nEntry : kStandard)
        table << std::clamp((nEntry * nScale + 50) / 100, 1, 255);
    std::sort(table.begin(), table.end());
    return table;
}

} // namespace

class TestCamera : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(m_dir.isValid());
        HostSim::reset(m_dir.path());
        HostSim::workpiece().clear();
        HostSim::workpiece().addCross(QPointF(0, 0), 2.0);
        HostSim::workpiece().addCross(QPointF(10, 5), 2.0);
    }

    void defaultHostHasOneColourCamera()
    {
        HostSim::reset();
        IZKVisionCameraManager& m = HostSim::cameraManager();
        QCOMPARE(m.GetCameraCount(), 1);
        QCOMPARE(m.GetCurCameraIndex(), 0);
        IZKVisionCamera* pCamera = m.GetCamera(0);
        QVERIFY(pCamera);
        QVERIFY(pCamera->IsColorful());
        QCOMPARE(pCamera->GetImageWidth(true), 1280);
        QCOMPARE(pCamera->GetImageHeight(true), 1024);
        QCOMPARE(m.GetCamera(1), static_cast<IZKVisionCamera*>(nullptr));
        QCOMPARE(m.GetCamera(-1), static_cast<IZKVisionCamera*>(nullptr));
    }

    // GrabImage writes each row padded to a multiple of 4 bytes, the layout
    // the camera panel reads its frame buffers with, for every source, depth
    // and width: the rows are the frame's, the padding is zeros, and nothing
    // is written past stride x height.
    void grabWritesRowsPaddedToFourBytes_data()
    {
        QTest::addColumn<int>("source");
        QTest::addColumn<int>("width");
        QTest::addColumn<bool>("colour");
        const QPair<const char*, FrameSource> sources[] = {{"scene", FrameSource::Scene},
                                                           {"picture", FrameSource::Picture},
                                                           {"solid", FrameSource::Solid},
                                                           {"pattern", FrameSource::TestPattern}};
        for (const auto& source : sources)
            for (bool bColour : {false, true})
                for (int w : {1, 2, 3, 4, 5, 6, 7, 322, 641, 1001})
                    QTest::newRow(qPrintable(QStringLiteral("%1 %2 %3").arg(source.first).arg(w).arg(bColour ? "colour" : "gray")))
                        << int(source.second) << w << bColour;
    }
    void grabWritesRowsPaddedToFourBytes()
    {
        QFETCH(int, source);
        QFETCH(int, width);
        QFETCH(bool, colour);
        const int nHeight = 7;
        SimCamera* pCamera = HostSim::camera(0);
        pCamera->setFrameSize(width, nHeight);
        pCamera->setColour(colour);
        if (FrameSource(source) == FrameSource::Picture) {
            QImage picture(37, 11, QImage::Format_RGB888);
            for (int y = 0; y < picture.height(); ++y)
                for (int x = 0; x < picture.width(); ++x)
                    picture.setPixelColor(x, y, QColor(x * 7, y * 23, (x * y) % 256));
            pCamera->setPicture(picture);
        } else {
            QVERIFY(pCamera->setSource(FrameSource(source)));
        }
        // A client asks the format before it sizes its buffer.
        QCOMPARE(pCamera->IsColorful(), colour);
        QCOMPARE(pCamera->GetImageWidth(true), width);
        QCOMPARE(pCamera->GetImageHeight(true), nHeight);
        const size_t nRow = size_t(width) * (colour ? 3 : 1);
        const size_t nStride = (nRow + 3) / 4 * 4;
        std::vector<unsigned char> buffer(nStride * nHeight + 16, 0xAB);
        QCOMPARE(pCamera->GrabImage(buffer.data()), 0);
        const cv::Mat expected = pCamera->renderFrame();
        for (int y = 0; y < nHeight; ++y) {
            const unsigned char* pLine = buffer.data() + y * nStride;
            QVERIFY2(std::memcmp(pLine, expected.ptr(y), nRow) == 0, qPrintable(QStringLiteral("row %1").arg(y)));
            QVERIFY(std::all_of(pLine + nRow, pLine + nStride, [](unsigned char c) { return c == 0; }));
        }
        QVERIFY(std::all_of(buffer.end() - 16, buffer.end(), [](unsigned char c) { return c == 0xAB; }));
        QCOMPARE(pCamera->GetImageWidth(false), width);
        QCOMPARE(pCamera->GetImageHeight(false), nHeight);
    }

    // A picture of the frame's size is delivered pixel for pixel, gray and
    // colour (the picture is neither scaled nor smoothed).
    void pictureOfTheFrameSizeIsDeliveredAsItIs()
    {
        SimCamera* pCamera = HostSim::camera(0);
        pCamera->setFrameSize(13, 5);
        QImage picture(13, 5, QImage::Format_RGB888);
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 13; ++x)
                picture.setPixelColor(x, y, QColor(x * 19, y * 50, 255 - x * 3));
        pCamera->setPicture(picture);
        cv::Mat frame = pCamera->renderFrame();
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 13; ++x)
                QCOMPARE(frame.at<cv::Vec3b>(y, x), cv::Vec3b(uchar(x * 19), uchar(y * 50), uchar(255 - x * 3)));
        QImage gray(13, 5, QImage::Format_Grayscale8);
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 13; ++x)
                gray.scanLine(y)[x] = uchar(x * 11 + y * 40);
        pCamera->setColour(false);
        pCamera->setPicture(gray);
        frame = pCamera->renderFrame();
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 13; ++x)
                QCOMPARE(frame.at<uchar>(y, x), uchar(x * 11 + y * 40));
    }

    // The real cameras (GenICam, V4L2) share the streaming camera's grab: a
    // frame of any width reaches the client's buffer in the same layout.
    void streamingCameraWritesRowsPaddedToFourBytes_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<bool>("colour");
        for (bool bColour : {false, true})
            for (int w : {1, 2, 3, 4, 5, 1001, 1003})
                QTest::newRow(qPrintable(QStringLiteral("%1 %2").arg(w).arg(bColour ? "colour" : "gray"))) << w << bColour;
    }
    void streamingCameraWritesRowsPaddedToFourBytes()
    {
        QFETCH(int, width);
        QFETCH(bool, colour);
        const int nHeight = 5;
        cv::Mat frame(nHeight, width, colour ? CV_8UC3 : CV_8UC1);
        cv::randu(frame, cv::Scalar::all(1), cv::Scalar::all(255)); // no zero: padding is told apart
        FrameFeedCamera camera(frame);
        QVERIFY(camera.waitForFrame(0, 5000));
        QCOMPARE(camera.IsColorful(), colour);
        QCOMPARE(camera.GetImageWidth(true), width);
        QCOMPARE(camera.GetImageHeight(true), nHeight);
        const size_t nRow = size_t(width) * (colour ? 3 : 1);
        const size_t nStride = (nRow + 3) / 4 * 4;
        std::vector<unsigned char> buffer(nStride * nHeight + 16, 0xAB);
        QCOMPARE(camera.GrabImage(buffer.data()), 0);
        for (int y = 0; y < nHeight; ++y) {
            const unsigned char* pLine = buffer.data() + y * nStride;
            QVERIFY2(std::memcmp(pLine, frame.ptr(y), nRow) == 0, qPrintable(QStringLiteral("row %1").arg(y)));
            QVERIFY(std::all_of(pLine + nRow, pLine + nStride, [](unsigned char c) { return c == 0; }));
        }
        QVERIFY(std::all_of(buffer.end() - 16, buffer.end(), [](unsigned char c) { return c == 0xAB; }));
    }

    // A camera faster than its clients: the worker keeps the camera's own
    // pixels and converts nothing; each grab converts the frame it takes.
    void rawFramesAreConvertedOnlyWhenTaken()
    {
        const int w = 5, h = 3;
        std::vector<uint8_t> mono16(size_t(w) * h * 2);
        for (int i = 0; i < w * h; ++i) {
            mono16[size_t(2 * i)] = 0x0F;                         // low bits: not shown
            mono16[size_t(2 * i + 1)] = static_cast<uint8_t>(i + 1); // top bits: shown
        }
        RawFeedCamera camera;
        camera.feed(hostsim::pfnc::Mono16, w, h, mono16);
        QVERIFY(camera.waitForFrame(0, 5000));
        const quint64 nBefore = camera.framesReceived();
        QVERIFY(camera.waitForFrame(nBefore + 20, 5000));
        QCOMPARE(camera.framesConverted(), quint64(0));
        QCOMPARE(camera.IsColorful(), false);
        QCOMPARE(camera.GetImageWidth(true), w);
        QCOMPARE(camera.GetImageHeight(true), h);
        const size_t nStride = 8; // 5 gray bytes padded to 8
        std::vector<unsigned char> buffer(nStride * h, 0xAB);
        QCOMPARE(camera.GrabImage(buffer.data()), 0);
        QCOMPARE(camera.framesConverted(), quint64(1));
        for (int y = 0; y < h; ++y)
            for (size_t x = 0; x < nStride; ++x)
                QCOMPARE(int(buffer[size_t(y) * nStride + x]), x < size_t(w) ? y * w + int(x) + 1 : 0);
        cv::Mat frame;
        QCOMPARE(camera.grabFrame(frame), 0);
        QCOMPARE(camera.framesConverted(), quint64(2));
        QCOMPARE(int(frame.at<uint8_t>(2, 4)), 15);
        QVERIFY(camera.framesReceived() > camera.framesConverted() + 10);
    }

    // Two clients of one camera (a panel's video thread and its GUI thread):
    // each sized its buffer from what it was told itself. When the format
    // changes and the other client has learnt of it, a grab of the first
    // refuses the larger frame instead of writing it past its buffer.
    void aGrabWritesOnlyWhatItsOwnThreadWasTold()
    {
        RawFeedCamera camera;
        camera.feed(hostsim::pfnc::Mono8, 4, 4, std::vector<uint8_t>(16, 7));
        QVERIFY(camera.waitForFrame(0, 5000));
        std::promise<void> told, changed;
        int nAnswer = -1;
        std::vector<unsigned char> buffer(16 + 64, 0xAB); // 4 x 4 gray, then a guard
        std::thread client([&] {
            QCOMPARE(camera.IsColorful(), false);
            camera.GetImageWidth(true);
            camera.GetImageHeight(true);
            told.set_value();
            changed.get_future().wait();
            nAnswer = camera.GrabImage(buffer.data());
        });
        told.get_future().wait();
        std::vector<uint8_t> rgb(4 * 4 * 3, 9);
        camera.feed(hostsim::pfnc::RGB8, 4, 4, rgb);
        QTRY_VERIFY_WITH_TIMEOUT(camera.IsColorful(), 5000); // this thread learns of colour
        camera.GetImageWidth(true);
        camera.GetImageHeight(true);
        changed.set_value();
        client.join();
        QCOMPARE(nAnswer, 2);
        QVERIFY(std::all_of(buffer.begin() + 16, buffer.end(), [](unsigned char c) { return c == 0xAB; }));
        // This thread was told colour: its grab gets the colour frame.
        std::vector<unsigned char> colour(48, 0);
        QCOMPARE(camera.GrabImage(colour.data()), 0);
        QCOMPARE(int(colour[47]), 9);
    }

    // Frames of a format the host cannot show: one line to the operator naming
    // it, no frame handed out, and streaming again once the format changes.
    void aFormatTheHostCannotShowIsToldOnce()
    {
        const int nLinesBefore = HostSim::operatorLines().size();
        RawFeedCamera camera;
        camera.feed(0x02300018u, 4, 4, std::vector<uint8_t>(96, 0));
        QTRY_VERIFY_WITH_TIMEOUT(camera.lastError().contains(QStringLiteral("0x02300018")), 5000);
        QTest::qWait(200); // many frames
        const QStringList lines = HostSim::operatorLines(nLinesBefore);
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().contains(QStringLiteral("0x02300018")) && lines.first().contains(QStringLiteral("RawFeed")),
                 qPrintable(lines.first()));
        QVERIFY2(camera.statusText().contains(QStringLiteral("cannot show")), qPrintable(camera.statusText()));
        QCOMPARE(camera.framesReceived(), quint64(0));
        std::vector<unsigned char> buffer(64);
        QVERIFY(camera.GrabImage(buffer.data()) != 0);

        camera.feed(hostsim::pfnc::Mono8, 4, 4, std::vector<uint8_t>(16, 7));
        QVERIFY(camera.waitForFrame(0, 5000));
        QVERIFY(camera.lastError().isEmpty());
        QVERIFY2(camera.statusText().startsWith(QStringLiteral("streaming 4 x 4")), qPrintable(camera.statusText()));
        QCOMPARE(HostSim::operatorLines(nLinesBefore).size(), 1);
    }

    // The host's own pictures of a frame (the image adapter's, the combine's)
    // keep the frame's rows whatever the width.
    void imageFromFrameKeepsEveryRow_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<bool>("colour");
        for (bool bColour : {false, true})
            for (int w : {1, 2, 3, 5, 641})
                QTest::newRow(qPrintable(QStringLiteral("%1 %2").arg(w).arg(bColour ? "colour" : "gray"))) << w << bColour;
    }
    void imageFromFrameKeepsEveryRow()
    {
        QFETCH(int, width);
        QFETCH(bool, colour);
        cv::Mat frame(9, width, colour ? CV_8UC3 : CV_8UC1);
        cv::randu(frame, cv::Scalar::all(0), cv::Scalar::all(256));
        const QImage image = hostsim::imageFromFrame(frame);
        QCOMPARE(image.format(), colour ? QImage::Format_RGB888 : QImage::Format_Grayscale8);
        QCOMPARE(image.size(), QSize(width, 9));
        for (int y = 0; y < 9; ++y)
            QCOMPARE(std::memcmp(image.constScanLine(y), frame.ptr(y), frame.cols * frame.elemSize()), 0);
        // And back: the adapter's picture read from the image is the frame.
        hostsim::SimImageAdapter adapter;
        adapter.setBuffer(frame);
        QCOMPARE(adapter.bufferImage(), image);
    }

    // The frame changes size or depth between the client's questions and its
    // grab (the client's buffer is sized for the old frame): the grab is
    // refused and writes nothing; asking again makes the next grab work.
    void grabRefusesAFrameOfAnotherSizeThanTold()
    {
        SimCamera* pCamera = HostSim::camera(0);
        pCamera->setFrameSize(320, 240);
        QVERIFY(pCamera->IsColorful());
        QCOMPARE(pCamera->GetImageWidth(true), 320);
        QCOMPARE(pCamera->GetImageHeight(true), 240);
        std::vector<unsigned char> buffer(3 * 320 * 240 + 16, 0xAB);
        QCOMPARE(pCamera->GrabImage(buffer.data()), 0);

        pCamera->setFrameSize(640, 480); // bigger than the buffer
        std::fill(buffer.begin(), buffer.end(), 0xAB);
        QCOMPARE(pCamera->GrabImage(buffer.data()), 2);
        QVERIFY(std::all_of(buffer.begin(), buffer.end(), [](unsigned char c) { return c == 0xAB; }));
        QCOMPARE(pCamera->GetImageWidth(true), 640);
        QCOMPARE(pCamera->GrabImage(buffer.data()), 2); // the height is still the old one
        QCOMPARE(pCamera->GetImageHeight(true), 480);
        std::vector<unsigned char> bigger(3 * 640 * 480);
        QCOMPARE(pCamera->GrabImage(bigger.data()), 0);

        pCamera->setColour(false); // a third of the bytes: still refused until asked
        QCOMPARE(pCamera->GrabImage(bigger.data()), 2);
        QVERIFY(!pCamera->IsColorful());
        QCOMPARE(pCamera->GrabImage(bigger.data()), 0);
        pCamera->setColour(true);
        pCamera->setFrameSize(1280, 1024);
    }
    void centreFeatureSitsOnTheCentrePixel()
    {
        SimCamera* pCamera = HostSim::camera(0);
        HostSim::machine().setPosition(0.0, 0.0);
        const cv::Mat frame = pCamera->renderFrame();
        const QPointF c = crossCentroid(frame, QPointF(640, 512), 120);
        QVERIFY2(std::abs(c.x() - 640.0) < 0.5 && std::abs(c.y() - 512.0) < 0.5,
                 qPrintable(QStringLiteral("cross at %1, %2").arg(c.x()).arg(c.y())));
    }

    void movingOneMillimetreMovesTheFeatureByOneOverPixelSize_data()
    {
        QTest::addColumn<double>("dx");
        QTest::addColumn<double>("dy");
        QTest::addColumn<double>("mmPerPixel");
        QTest::newRow("+x 1 mm") << 1.0 << 0.0 << 0.02;
        QTest::newRow("-x 1 mm") << -1.0 << 0.0 << 0.02;
        QTest::newRow("+y 1 mm") << 0.0 << 1.0 << 0.02;
        QTest::newRow("diagonal, 0.05 mm pixels") << 1.0 << -1.0 << 0.05;
    }
    void movingOneMillimetreMovesTheFeatureByOneOverPixelSize()
    {
        QFETCH(double, dx);
        QFETCH(double, dy);
        QFETCH(double, mmPerPixel);
        SimCamera* pCamera = HostSim::camera(0);
        CameraSetup setup = pCamera->setup();
        setup.mmPerPixel = mmPerPixel;
        pCamera->setSetup(setup);
        HostSim::machine().setPosition(0.0, 0.0);
        const QPointF before = crossCentroid(pCamera->renderFrame(), QPointF(640, 512), 100);
        HostSim::machine().setPosition(dx, dy);
        // The camera moved: the feature moves the opposite way in x, and with
        // the picture's y pointing down, the same way in y.
        const QPointF expected(640 - dx / mmPerPixel, 512 + dy / mmPerPixel);
        const QPointF after = crossCentroid(pCamera->renderFrame(), expected, 100);
        QVERIFY2(std::abs((after.x() - before.x()) - (-dx / mmPerPixel)) < 0.5,
                 qPrintable(QString::number(after.x() - before.x())));
        QVERIFY2(std::abs((after.y() - before.y()) - (dy / mmPerPixel)) < 0.5,
                 qPrintable(QString::number(after.y() - before.y())));
    }

    void calibrationMapsAFeaturesPixelToItsMachinePosition()
    {
        SimCamera* pCamera = HostSim::camera(0);
        HostSim::machine().setPosition(9.3, 4.1);
        double x = 0.0, y = 0.0;
        HXL_GetCurPos(x, y);
        MovableCam_SetCurMachineMmPos(x, y);
        const cv::Mat frame = pCamera->renderFrame();
        // The cross at (10, 5) mm is expected at ((10 - 9.3) / 0.02, -(5 - 4.1) / 0.02) from the centre.
        const QPointF seen = crossCentroid(frame, QPointF(640 + 35, 512 - 45), 100);
        double mx = 0.0, my = 0.0;
        pCamera->GetCalibration()->ImageToMachine(seen.x(), seen.y(), mx, my);
        const double halfPixel = 0.5 * pCamera->mmPerPixel();
        QVERIFY2(std::abs(mx - 10.0) < halfPixel && std::abs(my - 5.0) < halfPixel,
                 qPrintable(QStringLiteral("%1, %2").arg(mx).arg(my)));
        // And back.
        double u = 0.0, v = 0.0;
        pCamera->machineToPixel(mx, my, x, y, u, v);
        QVERIFY(std::abs(u - seen.x()) < 1e-9 && std::abs(v - seen.y()) < 1e-9);
    }

    void calibrationBoundIsTheFieldAtTheGivenPosition()
    {
        IZKVisionCameraManager& m = HostSim::cameraManager();
        MovableCam_SetCurMachineMmPos(12.0, -3.0);
        IZKBound* pBound = m.GetCamerasCalImageBound();
        QVERIFY(pBound);
        QCOMPARE(pBound->GetWidth(), 1280 * 0.02);
        QCOMPARE(pBound->GetHeight(), 1024 * 0.02);
        QCOMPARE(pBound->GetCenter().x, 12.0);
        QCOMPARE(pBound->GetCenter().y, -3.0);
        QCOMPARE(pBound->GetMinX(), 12.0 - 12.8);
        QCOMPARE(pBound->GetMaxY(), -3.0 + 10.24);
        HostSim::camera(0)->setCalibrated(false);
        QCOMPARE(m.GetCamerasCalImageBound(), static_cast<IZKBound*>(nullptr));
    }

    void saveCalibrateAndPlaceAgree()
    {
        IZKVisionCameraManager& m = HostSim::cameraManager();
        HostSim::machine().setPosition(10.0, 5.0);
        MovableCam_SetCurMachineMmPos(10.0, 5.0);
        const std::string path = (HostSim::workPath() + QStringLiteral("VisSourcePic.jpg")).toLocal8Bit().toStdString();
        QCOMPARE(m.SaveImageFile(path), 0);
        QVERIFY(QImage(QString::fromLocal8Bit(path.c_str())).size() == QSize(1280, 1024));
        QCOMPARE(m.CalibrateImages(), 0);
        int w = 0, h = 0;
        m.GetCameraCalImageSize(w, h);
        QCOMPARE(w, 1280);
        QCOMPARE(h, 1024);
        ImageAdapter* pAdapter = m.GetImageAdapter();
        QVERIFY(!pAdapter->IsEmpty());
        QVERIFY(pAdapter->GetBuffer());
        IZKDbImage* pImage = pAdapter->CreateDbImage();
        QVERIFY(pImage);
        int a = 0, b = 0;
        pImage->GetImageSize(a, b);
        QCOMPARE(a, 1280);
        QCOMPARE(b, 1024);
        pImage->Release();
    }

    void calibrationFailsWithoutPicture()
    {
        IZKVisionCameraManager& m = HostSim::cameraManager();
        QVERIFY(m.CalibrateImages() < 0);
        HostSim::cameraManager().setCalibrationFails(true);
        QVERIFY(m.SaveImageFile((HostSim::workPath() + "a.jpg").toStdString()) == 0);
        QVERIFY(m.CalibrateImages() < 0);
    }

    // The picture the module has saved at every photograph ("VisSourcePic.jpg")
    // is a real JPEG of the frame, written with the host's quality, in colour
    // and in gray, at every frame size.
    void savedPictureIsAJpegOfTheFrame_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<bool>("colour");
        QTest::newRow("colour 1280x1024") << 1280 << 1024 << true;
        QTest::newRow("gray 1280x1024") << 1280 << 1024 << false;
        QTest::newRow("colour odd 641x479") << 641 << 479 << true;
        QTest::newRow("gray odd 1023x767") << 1023 << 767 << false;
        QTest::newRow("colour 1x1") << 1 << 1 << true;
        QTest::newRow("gray 3x2") << 3 << 2 << false;
        QTest::newRow("colour 4096x3072") << 4096 << 3072 << true;
    }
    void savedPictureIsAJpegOfTheFrame()
    {
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(bool, colour);
        HostSim::removeAllCameras();
        CameraSetup setup;
        setup.width = width;
        setup.height = height;
        setup.colour = colour;
        SimCamera* pCamera = HostSim::addCamera(setup);
        const QString path = HostSim::workPath() + QStringLiteral("VisSourcePic.jpg");
        QCOMPARE(HostSim::cameraManager().SaveImageFile(path.toLocal8Bit().toStdString()), 0);

        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        QVERIFY2(bytes.startsWith("\xFF\xD8\xFF"), "no JPEG start-of-image marker");
        QVERIFY2(bytes.endsWith("\xFF\xD9"), "no JPEG end-of-image marker");
        // The luminance quantization table is the standard one scaled for the
        // quality, as every libjpeg-based writer does it.
        QCOMPARE(sortedLuminanceTable(bytes), scaledLuminanceTable(hostsim::SimCameraManager::kSavedPictureQuality));
        QCOMPARE(hostsim::SimCameraManager::kSavedPictureQuality, 95);

        QImageReader reader(path);
        QCOMPARE(reader.format(), QByteArray("jpeg"));
        QCOMPARE(reader.size(), QSize(width, height));
        const QImage read = reader.read();
        QCOMPARE(read.size(), QSize(width, height));
        QCOMPARE(read.format() == QImage::Format_Grayscale8, !colour);
        // What was saved is the frame: the adapter holds it, and the file
        // differs from it only by the compression's small error.
        const QImage frame = pCamera->adapter().bufferImage().convertToFormat(QImage::Format_RGB888);
        QCOMPARE(frame.size(), QSize(width, height));
        const QImage back = read.convertToFormat(QImage::Format_RGB888);
        qint64 nError = 0;
        for (int y = 0; y < height; ++y) {
            const uchar* a = frame.constScanLine(y);
            const uchar* b = back.constScanLine(y);
            for (int x = 0; x < width * 3; ++x)
                nError += std::abs(int(a[x]) - int(b[x]));
        }
        const double dMeanError = double(nError) / (double(width) * height * 3);
        QVERIFY2(dMeanError < 2.0, qPrintable(QString::number(dMeanError)));
    }

    void grayCameraDeliversOneBytePerPixel()
    {
        HostSim::removeAllCameras();
        CameraSetup setup;
        setup.colour = false;
        setup.width = 640;
        setup.height = 480;
        SimCamera* pGray = HostSim::addCamera(setup);
        IZKVisionCamera* pCamera = HostSim::cameraManager().GetCamera(0);
        QCOMPARE(static_cast<SimCamera*>(pCamera), pGray);
        QVERIFY(!pCamera->IsColorful());
        std::vector<unsigned char> buffer(640 * 480 + 1, 7);
        QCOMPARE(pCamera->GrabImage(buffer.data()), 0);
        QCOMPARE(buffer[640 * 480], static_cast<unsigned char>(7));
        // The centre shows the fiducial's dark ink, the corners the light background.
        QVERIFY(buffer[240 * 640 + 320] < buffer[10 * 640 + 10]);
    }

    void otherSources_data()
    {
        QTest::addColumn<int>("source");
        QTest::newRow("solid") << int(FrameSource::Solid);
        QTest::newRow("pattern") << int(FrameSource::TestPattern);
        QTest::newRow("picture") << int(FrameSource::Picture);
    }
    void otherSources()
    {
        QFETCH(int, source);
        SimCamera* pCamera = HostSim::camera(0);
        pCamera->setFrameSize(200, 100);
        QString picture;
        if (FrameSource(source) == FrameSource::Picture) {
            QImage image(100, 50, QImage::Format_RGB888);
            image.fill(QColor(10, 200, 30));
            picture = m_dir.filePath(QStringLiteral("green.png"));
            QVERIFY(image.save(picture));
        }
        CameraSetup setup = pCamera->setup();
        setup.solidColour = QColor(200, 100, 50);
        pCamera->setSetup(setup);
        QVERIFY(pCamera->setSource(FrameSource(source), picture));
        const cv::Mat frame = pCamera->renderFrame();
        const cv::Vec3b centre = frame.at<cv::Vec3b>(10, 20);
        switch (FrameSource(source)) {
        case FrameSource::Solid: QCOMPARE(centre, cv::Vec3b(200, 100, 50)); break;
        case FrameSource::TestPattern: QCOMPARE(centre, cv::Vec3b(255, 255, 255)); break;
        case FrameSource::Picture: QCOMPARE(centre, cv::Vec3b(10, 200, 30)); break;
        default: break;
        }
        // Sources other than the scene do not pan with the machine.
        HostSim::machine().setPosition(3.0, 3.0);
        QCOMPARE(cv::norm(frame, pCamera->renderFrame(), cv::NORM_INF), 0.0);
    }

    void unreadablePictureIsRefused()
    {
        SimCamera* pCamera = HostSim::camera(0);
        QVERIFY(!pCamera->setSource(FrameSource::Picture, m_dir.filePath(QStringLiteral("missing.png"))));
        QCOMPARE(pCamera->setup().source, FrameSource::Scene);
    }

    void exposureAndGainChangeBrightness()
    {
        HostSim::removeAllCameras();
        CameraSetup setup;
        setup.source = FrameSource::Solid;
        setup.solidColour = QColor(100, 100, 100);
        setup.width = 64;
        setup.height = 48;
        SimCamera* pCamera = HostSim::addCamera(setup);
        QCOMPARE(int(pCamera->renderFrame().at<cv::Vec3b>(0, 0)[0]), 100);
        pCamera->setExposureUs(20000);
        QCOMPARE(int(pCamera->renderFrame().at<cv::Vec3b>(0, 0)[0]), 200);
        pCamera->setExposureUs(10000);
        pCamera->setGainDb(6.0);
        QCOMPARE(int(pCamera->renderFrame().at<cv::Vec3b>(0, 0)[0]), 200); // 6 dB = x1.995
        pCamera->setExposureUs(2500);
        QCOMPARE(int(pCamera->renderFrame().at<cv::Vec3b>(0, 0)[0]), 50);
    }

    void paramWidgetControlsExposureAndGain()
    {
        QWidget container;
        SimCamera* pCamera = HostSim::camera(0);
        pCamera->CreateParamWidget(&container);
        auto* pExposure = container.findChild<QSlider*>(QStringLiteral("SimCameraExposure"));
        auto* pGain = container.findChild<QDoubleSpinBox*>(QStringLiteral("SimCameraGain"));
        QVERIFY(pExposure && pGain);
        pExposure->setValue(30000);
        QCOMPARE(pCamera->exposureUs(), 30000);
        pGain->setValue(12.0);
        QCOMPARE(pCamera->gainDb(), 12.0);
    }

    void failureInjection()
    {
        SimCamera* pCamera = HostSim::camera(0);
        std::vector<unsigned char> buffer(3 * 1280 * 1024);
        // A null buffer never gets a frame; only an ended camera answers 1.
        int nNull = pCamera->GrabImage(nullptr);
        QVERIFY(nNull != 0 && nNull != 1);
        pCamera->setGrabFails(true);
        QVERIFY(pCamera->GrabImage(buffer.data()) != 0);
        pCamera->setGrabFails(false);
        QCOMPARE(pCamera->GrabImage(buffer.data()), 0);
        pCamera->setZeroSize(true);
        QCOMPARE(pCamera->GetImageWidth(true), 0);
        QCOMPARE(pCamera->GetImageHeight(true), 0);
        nNull = pCamera->GrabImage(nullptr);
        QVERIFY(nNull != 1);
        pCamera->setEnded(true);
        QCOMPARE(pCamera->GrabImage(nullptr), 1);
        pCamera->setZeroSize(false);
        pCamera->setEnded(false);
        HostSim::removeAllCameras();
        QCOMPARE(HostSim::cameraManager().GetCameraCount(), 0);
        QCOMPARE(HostSim::cameraManager().GetImageAdapter(), static_cast<ImageAdapter*>(nullptr));
        // A camera still held by a thread stays a valid object and answers "ended".
        QCOMPARE(pCamera->GrabImage(nullptr), 1);
    }

    void severalCamerasAndCurrentIndex()
    {
        CameraSetup second;
        second.name = QStringLiteral("Second");
        second.width = 800;
        second.height = 600;
        HostSim::addCamera(second);
        IZKVisionCameraManager& m = HostSim::cameraManager();
        QCOMPARE(m.GetCameraCount(), 2);
        m.SetCurCameraIndex(1);
        QCOMPARE(m.GetCurCameraIndex(), 1);
        int w = 0, h = 0;
        m.GetImageSize(1, w, h);
        QCOMPARE(w, 800);
        QCOMPARE(h, 600);
        m.SetCurCameraIndex(5); // no such camera: unchanged
        QCOMPARE(m.GetCurCameraIndex(), 1);
        QCOMPARE(m.GetCamera(1)->GetCameraName(), std::string("Second"));
    }

    void grabIsJournaledWithItsCamera()
    {
        HostSim::journal().clear();
        std::vector<unsigned char> buffer(3 * 1280 * 1024);
        HostSim::cameraManager().GetCamera(0)->GrabImage(buffer.data());
        HostSim::cameraManager().GetCamera(0)->GrabImage(nullptr);
        const QStringList lines = HostSim::journal().lines();
        QCOMPARE(lines, QStringList({QStringLiteral("IZKVisionCameraManager::GetCamera(0)"),
                                     QStringLiteral("IZKVisionCamera::GrabImage(buffer) [SimCam]"),
                                     QStringLiteral("IZKVisionCameraManager::GetCamera(0)"),
                                     QStringLiteral("IZKVisionCamera::GrabImage(null) [SimCam]")}));
    }

    void machineMovesTakeTimeAtItsSpeed()
    {
        hostsim::SimMachine& machine = HostSim::machine();
        auto* pRobot = dynamic_cast<IZKRobotService*>(
            IServiceManager::singleton()->m_mapService.at(HXLServiceKey::RobotService));
        QVERIFY(pRobot);
        IZKMachine* pMachine = pRobot->GetCurMachine();
        QCOMPARE(pMachine, static_cast<IZKMachine*>(&machine));
        machine.setSpeed(0.0);
        QCOMPARE(HXL_MachineMoveTo(3.0, 4.0), 0);
        QCOMPARE(pMachine->GetRunState(), 0);
        QCOMPARE(pMachine->GetAxisPos(0), 3.0);
        QCOMPARE(pMachine->GetAxisPos(1), 4.0);
        machine.setSpeed(50.0); // 5 mm take 100 ms
        QElapsedTimer clock;
        clock.start();
        HXL_MachineMoveTo(3.0, 9.0);
        QVERIFY(pMachine->GetRunState() != 0);
        QVERIFY(machine.waitIdle(5000));
        QVERIFY(clock.elapsed() >= 90);
        QCOMPARE(pMachine->GetRunState(), 0);
        double x = 0, y = 0;
        HXL_GetCurPos(x, y);
        QCOMPARE(x, 3.0);
        QCOMPARE(y, 9.0);
    }

    void pictureFollowsTheMachineDuringAMove()
    {
        hostsim::SimMachine& machine = HostSim::machine();
        machine.setSpeed(20.0);
        HXL_MachineMoveTo(2.0, 0.0); // 100 ms
        QTest::qWait(40);
        double x0 = 0, x1 = 0, y = 0;
        machine.position(x0, y);
        const cv::Mat frame = HostSim::camera(0)->renderFrame();
        machine.position(x1, y);
        QVERIFY(x0 > 0.0 && x1 < 2.0);
        // The cross at the origin is seen where the position at the grab puts it.
        const QPointF c = crossCentroid(frame, QPointF(640 - x0 / 0.02, 512), 200);
        QVERIFY2(c.x() <= 640 - x0 / 0.02 + 0.5 && c.x() >= 640 - x1 / 0.02 - 0.5,
                 qPrintable(QStringLiteral("%1 not in [%2, %3]").arg(c.x()).arg(640 - x1 / 0.02).arg(640 - x0 / 0.02)));
        machine.waitIdle();
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(TestCamera)
#include "tst_hostsim_camera.moc"

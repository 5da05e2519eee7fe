// The host's image combine with a camera that is not the simulated one: a
// streaming camera (as the GenICam and V4L2 cameras are) whose frames show
// where the machine was when each frame was taken. The combined picture must
// hold every part of the stretch where it lies on the machine, the GUI must
// run during the moves, the operator may cancel, and a camera that fails part
// way leaves the drawing as it was and says which frame failed.

#include "PanelTestSupport.h"

#include "auxiliary/ZKCCDImageCombineUI.h"

#include "cameras/HostCamera.h"
#include "drawing/SimDrawing.h"
#include "services/SimCameraManager.h"
#include "services/SimMachine.h"
#include "services/SimServices.h"

#include "host/IZKDatabase.h"

#include <QApplication>
#include <QLineEdit>
#include <QProgressDialog>
#include <QTimer>

#include <opencv2/core.hpp>

#include <atomic>
#include <cmath>
#include <thread>

using hostsim::HostSim;
using namespace panel_test;

namespace {

constexpr int kFrameW = 200;
constexpr int kFrameH = 160;
constexpr double kMmPerPixel = 0.05;

// The pattern on the work plane: red codes machine x, green machine y, in
// cells of half a millimetre (ten pixels).
int cellCode(double dMm)
{
    const int nCell = static_cast<int>(std::floor(dMm * 2.0));
    return ((nCell % 200) + 200) % 200 + 20;
}

// Distance of dMm from the nearest cell border, in millimetres.
double fromCellBorder(double dMm)
{
    const double dIn = dMm * 2.0 - std::floor(dMm * 2.0);
    return std::min(dIn, 1.0 - dIn) / 2.0;
}

// A camera with a worker thread like the real ones: about 50 frames a second,
// each showing the pattern around the machine's position at the moment the
// frame is taken. It can be told to go away once the machine passes a given x.
class PatternCamera : public hostsim::StreamingCamera
{
public:
    static Options options()
    {
        Options o;
        o.name = QStringLiteral("pattern");
        o.mmPerPixel = kMmPerPixel;
        o.retryMs = 200;
        return o;
    }
    PatternCamera() : StreamingCamera(options()) { startWorker(); }
    ~PatternCamera() override { stopWorker(); }

    QString typeName() const override { return QStringLiteral("Pattern"); }
    void CreateParamWidget(QWidget*) override {}

    std::atomic<double> lostBeyondX{1e9};

protected:
    bool openDevice(QString& strError) override
    {
        if (pastTheEdge()) {
            strError = QStringLiteral("the pattern camera was unplugged");
            return false;
        }
        return true;
    }
    ReadResult readFrame(cv::Mat& frame, int nTimeoutMs, QString& strError) override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min(20, nTimeoutMs)));
        if (pastTheEdge()) {
            strError = QStringLiteral("the pattern camera was unplugged");
            return ReadResult::Lost;
        }
        double mx = 0.0, my = 0.0;
        HostSim::machine().position(mx, my);
        frame.create(kFrameH, kFrameW, CV_8UC3);
        for (int r = 0; r < kFrameH; ++r) {
            const int g = cellCode(my - (r + 0.5 - kFrameH / 2.0) * kMmPerPixel);
            auto* p = frame.ptr<cv::Vec3b>(r);
            for (int c = 0; c < kFrameW; ++c)
                p[c] = cv::Vec3b(uchar(cellCode(mx + (c + 0.5 - kFrameW / 2.0) * kMmPerPixel)), uchar(g), 128);
        }
        return ReadResult::Frame;
    }
    void closeDevice() override {}

private:
    bool pastTheEdge() const
    {
        double mx = 0.0, my = 0.0;
        HostSim::machine().position(mx, my);
        return mx > lostBeyondX.load();
    }
};

// Samples of the combined picture that do not show the pattern of the place
// they lie on (samples next to a cell border are left out: placement is
// exact to half a pixel).
int misplacedSamples(IZKDbImage* pImage, int* pSampled)
{
    auto* pSimImage = dynamic_cast<hostsim::SimDbImage*>(pImage);
    const QImage image = pSimImage->image().convertToFormat(QImage::Format_RGB888);
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    pImage->GetExtents(x0, y0, x1, y1);
    const double kx = (x1 - x0) / image.width();
    const double ky = (y1 - y0) / image.height();
    int nBad = 0;
    *pSampled = 0;
    for (int r = 3; r < image.height(); r += 7) {
        const double y = y1 - (r + 0.5) * ky;
        if (fromCellBorder(y) < 1.5 * ky)
            continue;
        for (int c = 3; c < image.width(); c += 7) {
            const double x = x0 + (c + 0.5) * kx;
            if (fromCellBorder(x) < 1.5 * kx)
                continue;
            const QRgb pixel = image.pixel(c, r);
            ++*pSampled;
            if (qRed(pixel) != cellCode(x) || qGreen(pixel) != cellCode(y))
                ++nBad;
        }
    }
    return nBad;
}

QProgressDialog* combineProgress()
{
    for (QWidget* pWidget : QApplication::topLevelWidgets()) {
        if (auto* pDialog = qobject_cast<QProgressDialog*>(pWidget))
            if (pDialog->objectName() == QLatin1String("hostCombineProgress"))
                return pDialog;
        if (auto* pDialog = pWidget->findChild<QProgressDialog*>(QStringLiteral("hostCombineProgress")))
            return pDialog;
    }
    return nullptr;
}

} // namespace

class TestImageCombine : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_pDir.reset(new QTemporaryDir());
        QVERIFY(m_pDir->isValid());
        freshHost(*m_pDir);
        HostSim::cameraManager().removeAllCameras();
        m_pCamera = static_cast<PatternCamera*>(
            HostSim::cameraManager().addCamera(std::unique_ptr<hostsim::HostCamera>(new PatternCamera())));
        QVERIFY(m_pCamera->waitForFrame(0, 5000));
        HostSim::machine().setPosition(0.0, 0.0);
        HostSim::machine().setSpeed(100.0);
        HostSim::combineManager().SetCameraIndex(0);
        HostSim::combineManager().SetCombineStartPos(ZKGePoint(0, 0, 0));
        HostSim::combineManager().SetCombineEndPos(ZKGePoint(30, 4, 0));
    }

    void cleanup()
    {
        HostSim::machine().setSpeed(0.0);
        // The manager keeps removed cameras alive; a fresh host drops them.
        m_pCamera = nullptr;
        HostSim::reset(m_pDir->path());
    }

    // Each stop's frame is one taken after the machine stopped there: a frame
    // exposed during the move would show the pattern of another place.
    void everyPartLiesWhereItWasSeen()
    {
        IZKDbImage* pImage = HostSim::combineManager().CombineImage();
        QVERIFY(pImage);
        double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        pImage->GetExtents(x0, y0, x1, y1);
        QCOMPARE(x0, -kFrameW * kMmPerPixel / 2);
        QCOMPARE(x1, 30 + kFrameW * kMmPerPixel / 2);
        QCOMPARE(y0, -kFrameH * kMmPerPixel / 2);
        QCOMPARE(y1, 4 + kFrameH * kMmPerPixel / 2);
        QVERIFY(HostSim::combineManager().lastFrameCount() >= 4);
        int nSampled = 0;
        const int nBad = misplacedSamples(pImage, &nSampled);
        QVERIFY(nSampled > 500);
        // The canvas outside the fields along a slanted stretch stays black;
        // everything else must match.
        auto* pSimImage = dynamic_cast<hostsim::SimDbImage*>(pImage);
        const QImage image = pSimImage->image().convertToFormat(QImage::Format_RGB888);
        int nBlack = 0;
        for (int r = 3; r < image.height(); r += 7)
            for (int c = 3; c < image.width(); c += 7)
                nBlack += image.pixel(c, r) == qRgb(0, 0, 0);
        QVERIFY2(nBad - nBlack <= nSampled / 200, qPrintable(QStringLiteral("%1 of %2 samples misplaced (%3 black)")
                                                              .arg(nBad)
                                                              .arg(nSampled)
                                                              .arg(nBlack)));
        pImage->Release();
        double mx = 0, my = 0;
        HostSim::machine().position(mx, my);
        QCOMPARE(mx, 30.0);
        QCOMPARE(my, 4.0);
    }

    // The GUI thread runs during the moves, with the host's progress box up.
    void theGuiRunsWhileTheMachineMoves()
    {
        HostSim::machine().setSpeed(30.0);
        int nTicks = 0;
        QTimer ticker;
        connect(&ticker, &QTimer::timeout, &ticker, [&nTicks] { ++nTicks; });
        ticker.start(10);
        bool bProgressSeen = false;
        QTimer look;
        connect(&look, &QTimer::timeout, &look, [&bProgressSeen] { bProgressSeen |= combineProgress() != nullptr; });
        look.start(50);
        IZKDbImage* pImage = HostSim::combineManager().CombineImage();
        QVERIFY(pImage);
        pImage->Release();
        // About a second of moves at 30 mm/s.
        QVERIFY2(nTicks >= 20, qPrintable(QString::number(nTicks)));
        QVERIFY(bProgressSeen);
        QVERIFY(!combineProgress()); // gone afterwards
    }

    // While one combine runs, another request is refused at once.
    void aSecondRequestMeanwhileIsRefused()
    {
        HostSim::machine().setSpeed(30.0);
        int nInner = 0;
        bool bInnerNull = true;
        QTimer::singleShot(100, this, [&] {
            ++nInner;
            IZKDbImage* p = HostSim::combineManager().CombineImage();
            bInnerNull = p == nullptr;
            if (p)
                p->Release();
        });
        IZKDbImage* pImage = HostSim::combineManager().CombineImage();
        QCOMPARE(nInner, 1);
        QVERIFY(bInnerNull);
        QVERIFY(pImage);
        pImage->Release();
    }

    // Cancel in the progress box ends the combine: nothing is placed and the
    // operator reads where it stopped.
    void cancelStopsBetweenTwoPictures()
    {
        HostSim::machine().setSpeed(10.0);
        const int nLines = HostSim::operatorLines().size();
        bool bFound = false;
        QTimer::singleShot(700, this, [&bFound] {
            if (QProgressDialog* pDialog = combineProgress()) {
                bFound = true;
                pDialog->cancel();
            }
        });
        IZKDbImage* pImage = HostSim::combineManager().CombineImage();
        QVERIFY(bFound);
        QVERIFY(!pImage);
        const QStringList told = HostSim::operatorLines(nLines);
        QCOMPARE(told.size(), 1);
        QVERIFY2(told.first().startsWith(QStringLiteral("Image combine: cancelled at frame ")) &&
                     told.first().endsWith(QStringLiteral("; nothing was placed")),
                 qPrintable(told.first()));
        double mx = 0, my = 0;
        HostSim::machine().position(mx, my);
        QVERIFY(mx < 30.0);
    }

    // The camera goes away part way: the dialog places nothing, the drawing
    // stays as it was, and the operator learns which frame failed.
    void aCameraLostPartWayLeavesTheDrawingAlone()
    {
        m_pCamera->lostBeyondX = 12.0;
        const int nLines = HostSim::operatorLines().size();
        const int nEntities = HostSim::database().shapes().GetEntityCount();
        ZKCCDImageCombineUI dialog(nullptr);
        dialog.findChild<QLineEdit*>(QStringLiteral("CombineStartPosX"))->setText(QStringLiteral("0"));
        dialog.findChild<QLineEdit*>(QStringLiteral("CombineStartPosY"))->setText(QStringLiteral("0"));
        dialog.findChild<QLineEdit*>(QStringLiteral("CombineEndPosX"))->setText(QStringLiteral("30"));
        dialog.findChild<QLineEdit*>(QStringLiteral("CombineEndPosY"))->setText(QStringLiteral("0"));
        dialog.slotOk();
        QCOMPARE(HostSim::database().shapes().GetEntityCount(), nEntities);
        QVERIFY(HostSim::database().entitiesOnLayer(210).empty());
        const int nDone = HostSim::combineManager().lastFrameCount();
        QVERIFY2(nDone >= 1, qPrintable(QString::number(nDone)));
        const QStringList told = HostSim::operatorLines(nLines);
        QCOMPARE(told.size(), 1);
        QVERIFY2(told.first().startsWith(QStringLiteral("Image combine: frame %1 of ").arg(nDone + 1)) &&
                     told.first().contains(QStringLiteral("unplugged")),
                 qPrintable(told.first()));
    }

    // A camera that has not delivered a frame yet: the combine waits for its
    // first frame to learn the size instead of giving up.
    void aCameraStillStartingIsWaitedFor()
    {
        HostSim::cameraManager().removeAllCameras();
        m_pCamera = static_cast<PatternCamera*>(
            HostSim::cameraManager().addCamera(std::unique_ptr<hostsim::HostCamera>(new PatternCamera())));
        HostSim::combineManager().SetCombineEndPos(ZKGePoint(0, 0, 0));
        IZKDbImage* pImage = HostSim::combineManager().CombineImage();
        QVERIFY(pImage);
        int w = 0, h = 0;
        pImage->GetImageSize(w, h);
        QCOMPARE(QSize(w, h), QSize(kFrameW, kFrameH));
        pImage->Release();
    }

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
    PatternCamera* m_pCamera = nullptr;
};

QTEST_MAIN(TestImageCombine)
#include "tst_image_combine.moc"

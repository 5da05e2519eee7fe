// The live video refresh thread: frame composition, the pause protocol,
// buffers and outlines, single frames.

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"
#include "CLock.h"
#include "HXL_RefreshCameraThread.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "cameras/SimCamera.h"
#include "drawing/SimDrawing.h"
#include "services/SimMachine.h"

#include "host/HXL_HostFunctions.h"
#include "host/IZKDatabase.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QPainter>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <memory>
#include <type_traits>

using hostsim::CameraSetup;
using hostsim::FrameSource;
using hostsim::HostSim;
using Mode = HXL_RefreshCameraThread::ComposeMode;

Q_DECLARE_METATYPE(HXL_RefreshCameraThread::ComposeMode)

namespace {

const QColor kFrameColour(30, 140, 60);

bool isRed(QRgb c)
{
    return qRed(c) == 255 && qGreen(c) == 0 && qBlue(c) == 0;
}

bool isWhite(QRgb c)
{
    return c == qRgb(255, 255, 255);
}

// A camera that shows one colour, of a given size.
hostsim::SimCamera* solidCamera(int w, int h, bool bColour = true, QColor colour = kFrameColour)
{
    HostSim::removeAllCameras();
    CameraSetup setup;
    setup.width = w;
    setup.height = h;
    setup.colour = bColour;
    setup.source = FrameSource::Solid;
    setup.solidColour = colour;
    return HostSim::addCamera(setup);
}

// Checks the composed picture of a frame drawn into a label: the frame fills
// the fitted rectangle, white elsewhere, red lines at the label's halves.
void checkComposition(const QImage& image, const QRect& fitted, int nLineY, int nLineX, QRgb frameColour)
{
    QVERIFY(!image.isNull());
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb c = image.pixel(x, y);
            if (y == nLineY || x == nLineX) {
                if (!isRed(c))
                    QFAIL(qPrintable(QStringLiteral("crosshair pixel %1,%2 is %3").arg(x).arg(y).arg(c, 0, 16)));
            } else if (fitted.contains(x, y)) {
                if (c != frameColour)
                    QFAIL(qPrintable(QStringLiteral("picture pixel %1,%2 is %3").arg(x).arg(y).arg(c, 0, 16)));
            } else if (!isWhite(c)) {
                QFAIL(qPrintable(QStringLiteral("background pixel %1,%2 is %3").arg(x).arg(y).arg(c, 0, 16)));
            }
        }
    }
}

// Records a signal of the worker on the test's own thread. QSignalSpy records
// on the emitting thread, which races with the test reading it.
class GuiSpy : public QObject
{
public:
    GuiSpy(HXL_RefreshCameraThread* pThread, void (HXL_RefreshCameraThread::*)(QPixmap))
    {
        connect(pThread, &HXL_RefreshCameraThread::updatePixmap, this,
                [this](QPixmap pixmap) { m_records.append(QVariantList{QVariant::fromValue(pixmap)}); });
    }
    GuiSpy(HXL_RefreshCameraThread* pThread, void (HXL_RefreshCameraThread::*)(int))
    {
        connect(pThread, &HXL_RefreshCameraThread::updateUIBtn, this,
                [this](int nValue) { m_records.append(QVariantList{nValue}); });
    }
    bool wait(int nMs)
    {
        const int nBefore = m_records.size();
        return QTest::qWaitFor([&] { return m_records.size() > nBefore; }, nMs);
    }
    int size() const { return m_records.size(); }
    int count() const { return m_records.size(); }
    bool isEmpty() const { return m_records.isEmpty(); }
    const QVariantList& last() const { return m_records.last(); }
    QList<QVariantList>::const_iterator begin() const { return m_records.begin(); }
    QList<QVariantList>::const_iterator end() const { return m_records.end(); }

private:
    QList<QVariantList> m_records;
};

} // namespace

class TestRefreshThread : public QObject
{
    Q_OBJECT

private:
    // Ends a thread for good: the camera has gone and says so.
    void endThread(HXL_RefreshCameraThread& thread)
    {
        if (!thread.isRunning())
            return;
        for (int i = 0; i < HostSim::cameraCount(); ++i) {
            HostSim::camera(i)->setZeroSize(true);
            HostSim::camera(i)->setEnded(true);
        }
        thread.Resume();
        QVERIFY(thread.wait(5000));
        thread.ReleaseBuffer(); // the frame buffer is freed only here
    }

    // A test that fails half-way still stops its thread before deleting it
    // (deleting a running QThread aborts the whole test program).
    struct StopAndDelete
    {
        void operator()(HXL_RefreshCameraThread* pThread) const
        {
            if (pThread->isRunning()) {
                pThread->RequestStop();
                pThread->Resume();
                pThread->wait(5000);
            }
            pThread->ReleaseBuffer();
            delete pThread;
        }
    };
    using ThreadPtr = std::unique_ptr<HXL_RefreshCameraThread, StopAndDelete>;

    ThreadPtr startThread()
    {
        ThreadPtr pThread(new HXL_RefreshCameraThread());
        pThread->SetShowLabel(m_pLabel.get());
        int w = m_pLabel->width(), h = m_pLabel->height();
        pThread->SetShowLabelWH(&w, &h);
        pThread->SetMode(0);
        pThread->start(QThread::InheritPriority);
        pThread->Resume();
        return pThread;
    }

private slots:
    void initTestCase()
    {
        qRegisterMetaType<QPixmap>("QPixmap");
    }

    void init()
    {
        m_pDir.reset(new QTemporaryDir());
        QVERIFY(m_pDir->isValid());
        HostSim::reset(m_pDir->path());
        HXL_CameraUI_ReadParam();
        isOpenVideo = 1;
        HXL_RefreshCameraThread::SetComposeMode(Mode::Auto);
        m_pLabel.reset(new QLabel());
        m_pLabel->resize(640, 480);
    }

    void cleanup()
    {
        m_pLabel.reset();
        HXL_RefreshCameraThread::SetComposeMode(Mode::Auto);
    }

    void metaObjectInterface()
    {
        const QMetaObject& mo = HXL_RefreshCameraThread::staticMetaObject;
        QCOMPARE(QString(mo.superClass()->className()), QStringLiteral("QThread"));
        QStringList signatures;
        QList<QList<QByteArray>> names;
        for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
            const QMetaMethod m = mo.method(i);
            QCOMPARE(m.methodType(), QMetaMethod::Signal);
            signatures << QString::fromLatin1(m.methodSignature());
            names << m.parameterNames();
        }
        QCOMPARE(signatures,
                 QStringList({QStringLiteral("resultReady()"), QStringLiteral("updateUIBtn(int)"),
                              QStringLiteral("updatePixmap(QPixmap)"), QStringLiteral("getShowLabelWH(int*,int*)"),
                              QStringLiteral("getBuff(char**,bool*,bool*,bool*,int*,int*,int*,int*,int*,int*,int*,int*,int*,int*)")}));
        QCOMPARE(names[1], QList<QByteArray>{"isEnable"});
        QCOMPARE(names[2], QList<QByteArray>{"pixmap"});
        QCOMPARE(names[3], (QList<QByteArray>{"", ""}));
        QCOMPARE(names[4], (QList<QByteArray>{"pImageBuffer", "isColorful", "iscontinue", "isCanSend", "showW", "showH",
                                              "imageW", "imageH", "imageW1", "imageH1", "BoundXMax", "BoundXMin",
                                              "BoundYMax", "BoundYMin"}));
    }

    void constructedState()
    {
        HXL_RefreshCameraThread thread;
        QCOMPARE(thread.parent(), static_cast<QObject*>(nullptr));
        QCOMPARE(thread.m_bRunning.load(), 1);
        QCOMPARE(thread.m_bParked.load(), 0);
        QVERIFY(!thread.m_bAck);
        QVERIFY(!thread.m_bPauseRequested);
        QCOMPARE(thread.m_pImageBuffer, static_cast<unsigned char*>(nullptr));
        QVERIFY(thread.m_vecPolylines.empty());
        QCOMPARE(thread.m_pShowLabel.load(), static_cast<QWidget*>(nullptr));
        int w = 123, h = 45;
        thread.SetShowLabelWH(&w, &h);
        QCOMPARE(thread.m_nShowW.load(), 123);
        QCOMPARE(thread.m_nShowH.load(), 45);
        thread.SetMode(7);
        QCOMPARE(thread.m_nMode, 7);
    }

    void composition_data()
    {
        QTest::addColumn<QSize>("label");
        QTest::addColumn<QSize>("frame");
        QTest::addColumn<bool>("colour");
        QTest::addColumn<QRect>("fitted");
        QTest::addColumn<int>("lineY");
        QTest::addColumn<int>("lineX");
        QTest::newRow("wide frame") << QSize(640, 480) << QSize(1000, 500) << true << QRect(0, 80, 640, 320) << 240 << 320;
        QTest::newRow("wide gray frame") << QSize(640, 480) << QSize(1000, 500) << false << QRect(0, 80, 640, 320) << 240 << 320;
        QTest::newRow("odd label") << QSize(641, 481) << QSize(1000, 500) << true << QRect(0, 80, 641, 320) << 240 << 320;
        QTest::newRow("tall frame") << QSize(640, 480) << QSize(500, 1000) << true << QRect(200, 0, 240, 480) << 240 << 320;
        QTest::newRow("camera 1280x1024") << QSize(640, 480) << QSize(1280, 1024) << true << QRect(20, 0, 600, 480) << 240 << 320;
    }
    void composition()
    {
        QFETCH(QSize, label);
        QFETCH(QSize, frame);
        QFETCH(bool, colour);
        QFETCH(QRect, fitted);
        QFETCH(int, lineY);
        QFETCH(int, lineX);
        const QColor shade = colour ? kFrameColour : QColor(90, 90, 90);
        std::vector<unsigned char> buffer(size_t(frame.width()) * frame.height() * (colour ? 3 : 1));
        for (size_t i = 0; i < buffer.size(); ++i)
            buffer[i] = colour ? (i % 3 == 0 ? 30 : i % 3 == 1 ? 140 : 60) : 90;
        const QImage composed = HXL_RefreshCameraThread::ComposeImage(buffer.data(), colour, frame.width(),
                                                                      frame.height(), label.width(), label.height());
        QCOMPARE(composed.size(), label);
        checkComposition(composed, fitted, lineY, lineX, shade.rgb());
    }

    // The live thread writes the picture directly; it must be the very
    // picture the shared painter routine makes (single frames, full screen).
    void directCompositionMatchesThePaintedOne_data()
    {
        QTest::addColumn<QSize>("label");
        QTest::addColumn<QSize>("frame");
        QTest::addColumn<bool>("colour");
        QTest::newRow("wide colour") << QSize(640, 480) << QSize(1000, 500) << true;
        QTest::newRow("camera gray") << QSize(640, 480) << QSize(1280, 1024) << false;
        QTest::newRow("odd sizes") << QSize(641, 481) << QSize(333, 777) << true;
        QTest::newRow("upscaled") << QSize(640, 480) << QSize(64, 37) << true;
        QTest::newRow("unaligned gray rows") << QSize(300, 200) << QSize(401, 301) << false;
    }
    void directCompositionMatchesThePaintedOne()
    {
        QFETCH(QSize, label);
        QFETCH(QSize, frame);
        QFETCH(bool, colour);
        const int nStride = (frame.width() * (colour ? 3 : 1) + 3) / 4 * 4;
        std::vector<unsigned char> buffer(size_t(nStride) * frame.height() + 4);
        for (size_t i = 0; i < buffer.size(); ++i)
            buffer[i] = static_cast<unsigned char>((i * 131) ^ (i >> 7));
        const QImage direct = HXL_RefreshCameraThread::ComposeImage(buffer.data(), colour, frame.width(),
                                                                    frame.height(), label.width(), label.height());
        QImage painted(label, QImage::Format_RGB32);
        painted.fill(Qt::white);
        {
            QPainter painter(&painted);
            HXL_RefreshCameraThread::DrawFrame(
                painter, HXL_RefreshCameraThread::WrapBuffer(buffer.data(), colour, frame.width(), frame.height()),
                label.width(), label.height());
        }
        // Geometry, background and crosshair are the same pixel for pixel; inside
        // the picture both take the nearest source pixel, and may round the
        // sampling position of a column or row differently.
        const double r = double(frame.width()) / frame.height();
        const double ratio = double(label.width()) / label.height();
        const int nDrawW = r > ratio ? label.width() : int(r * label.height());
        const int nDrawH = r > ratio ? int(label.width() / r) : label.height();
        const QRect fitted((label.width() - nDrawW) / 2, (label.height() - nDrawH) / 2, nDrawW, nDrawH);
        int nOutside = 0, nInside = 0;
        for (int y = 0; y < label.height(); ++y)
            for (int x = 0; x < label.width(); ++x) {
                if (direct.pixel(x, y) == painted.pixel(x, y))
                    continue;
                const bool bCrosshair = y == label.height() / 2 || x == label.width() / 2;
                if (fitted.contains(x, y) && !bCrosshair)
                    ++nInside;
                else
                    ++nOutside;
            }
        QCOMPARE(nOutside, 0);
        QVERIFY2(nInside <= fitted.width() * fitted.height() * 15 / 100, qPrintable(QString::number(nInside)));
        if (colour)
            QCOMPARE(nInside, 0); // colour frames are sampled exactly alike
    }

    // The live frames reach the label through updatePixmap, composed on the
    // worker or, where the platform cannot, on the GUI thread.
    void liveFramesThroughEitherPath_data()
    {
        QTest::addColumn<Mode>("mode");
        QTest::newRow("pixmap composed on the worker") << Mode::WorkerPixmap;
        QTest::newRow("pixmap made on the GUI thread") << Mode::GuiThreadPixmap;
    }
    void liveFramesThroughEitherPath()
    {
        QFETCH(Mode, mode);
        HXL_RefreshCameraThread::SetComposeMode(mode);
        solidCamera(1000, 500);
        QThread* pEmitter = nullptr;
        QPixmap last;
        QObject context;
        auto pThread = std::make_unique<HXL_RefreshCameraThread>();
        connect(pThread.get(), &HXL_RefreshCameraThread::updatePixmap, &context,
                [&](QPixmap pixmap) { pEmitter = QThread::currentThread(); Q_UNUSED(pixmap); }, Qt::DirectConnection);
        connect(pThread.get(), &HXL_RefreshCameraThread::updatePixmap, &context, [&](QPixmap pixmap) { last = pixmap; });
        pThread->SetShowLabel(m_pLabel.get());
        pThread->start();
        QTRY_VERIFY_WITH_TIMEOUT(!last.isNull(), 5000);
        if (mode == Mode::WorkerPixmap)
            QCOMPARE(pEmitter, static_cast<QThread*>(pThread.get()));
        else
            QCOMPARE(pEmitter, QThread::currentThread());
        checkComposition(last.toImage().convertToFormat(QImage::Format_RGB32), QRect(0, 80, 640, 320), 240, 320,
                         kFrameColour.rgb());
        endThread(*pThread);
    }

    void platformDecidesByDefault()
    {
        HXL_RefreshCameraThread::SetComposeMode(Mode::Auto);
        // The offscreen and xcb platforms support pixmaps on other threads.
        QVERIFY(HXL_RefreshCameraThread::ComposesPixmapOnWorker());
        HXL_RefreshCameraThread::SetComposeMode(Mode::GuiThreadPixmap);
        QVERIFY(!HXL_RefreshCameraThread::ComposesPixmapOnWorker());
    }

    void pauseParksAndResumeRuns()
    {
        solidCamera(320, 240);
        auto pThread = startThread();
        GuiSpy frames(pThread.get(), &HXL_RefreshCameraThread::updatePixmap);
        QVERIFY(frames.wait(5000));
        pThread->Pause();
        QCOMPARE(pThread->m_bRunning.load(), 0);
        pThread->WaitPaused();
        QVERIFY(pThread->m_bAck);
        QTRY_COMPARE_WITH_TIMEOUT(pThread->m_bParked.load(), 1, 3000);
        QCoreApplication::processEvents();
        const int nGrabs = HostSim::camera(0)->grabCount();
        QTest::qWait(350);
        QCOMPARE(HostSim::camera(0)->grabCount(), nGrabs); // parked: nothing grabbed
        pThread->Resume();
        QTRY_VERIFY_WITH_TIMEOUT(HostSim::camera(0)->grabCount() > nGrabs, 3000);
        QTRY_COMPARE(pThread->m_bParked.load(), 0);
        endThread(*pThread);
    }

    void pauseTwiceThenResumeOnceRuns()
    {
        solidCamera(320, 240);
        auto pThread = startThread();
        pThread->Pause();
        pThread->Pause(); // changes nothing
        QVERIFY(pThread->m_bPauseRequested);
        pThread->WaitPaused();
        QTRY_COMPARE_WITH_TIMEOUT(pThread->m_bParked.load(), 1, 3000);
        pThread->Resume();
        const int nGrabs = HostSim::camera(0)->grabCount();
        QTRY_VERIFY_WITH_TIMEOUT(HostSim::camera(0)->grabCount() >= nGrabs + 2, 3000);
        QCOMPARE(pThread->m_bRunning.load(), 1);
        endThread(*pThread);
    }

    void videoOffPublishesOneBlackFramePerPausedPass()
    {
        solidCamera(320, 240);
        isOpenVideo = 0;
        auto pThread = startThread();
        GuiSpy frames(pThread.get(), &HXL_RefreshCameraThread::updatePixmap);
        pThread->Pause();
        pThread->WaitPaused();
        QTRY_COMPARE_WITH_TIMEOUT(pThread->m_bParked.load(), 1, 3000);
        QTest::qWait(100);
        QCoreApplication::processEvents();
        // The last frame is the black one; only one black frame for this pass.
        auto isBlack = [this](const QVariant& v) {
            const QImage image = v.value<QPixmap>().toImage().convertToFormat(QImage::Format_RGB32);
            if (image.size() != m_pLabel->size())
                return false;
            for (int y = 0; y < image.height(); y += 7)
                for (int x = 0; x < image.width(); x += 7)
                    if (image.pixel(x, y) != qRgb(0, 0, 0))
                        return false;
            return true;
        };
        int nBlack = 0;
        for (const QList<QVariant>& args : frames)
            nBlack += isBlack(args.at(0)) ? 1 : 0;
        QCOMPARE(nBlack, 1);
        QVERIFY(isBlack(frames.last().at(0)));
        // Parked: no new pass, nothing new.
        const int nBefore = frames.size();
        QTest::qWait(400);
        QCoreApplication::processEvents();
        QCOMPARE(frames.size(), nBefore);

        // A second pause pass publishes another.
        pThread->Resume();
        QTRY_VERIFY_WITH_TIMEOUT(frames.size() > nBefore, 3000);
        pThread->Pause();
        pThread->WaitPaused();
        QTRY_COMPARE_WITH_TIMEOUT(pThread->m_bParked.load(), 1, 3000);
        QTest::qWait(100);
        QCoreApplication::processEvents();
        nBlack = 0;
        for (const QList<QVariant>& args : frames)
            nBlack += isBlack(args.at(0)) ? 1 : 0;
        QCOMPARE(nBlack, 2);
        isOpenVideo = 1;
        endThread(*pThread);
    }

    void zeroSizeCameraThatHasEndedEndsTheThread()
    {
        hostsim::SimCamera* pCamera = solidCamera(320, 240);
        pCamera->setZeroSize(true);
        auto pThread = startThread();
        QTest::qWait(450);
        QVERIFY(pThread->isRunning()); // keeps polling every 100 ms
        QVERIFY(HostSim::journal().count(QStringLiteral("IZKVisionCamera::GrabImage(null)")) >= 2);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCamera::GrabImage(buffer)")), 0);
        pCamera->setEnded(true);
        QVERIFY(pThread->wait(3000)); // GrabImage(null) answered 1: the thread ends
        QVERIFY(pThread->isFinished());
        // Waiting for an ended thread to pause returns at once.
        pThread->Pause();
        QElapsedTimer clock;
        clock.start();
        pThread->WaitPaused();
        QVERIFY(clock.elapsed() < 1000);
    }

    void frameSizeChangeReallocatesBeforeTheNextGrab()
    {
        hostsim::SimCamera* pCamera = solidCamera(320, 240);
        auto pThread = startThread();
        QPixmap last;
        QObject context;
        connect(pThread.get(), &HXL_RefreshCameraThread::updatePixmap, &context, [&](QPixmap p) { last = p; });
        QTRY_VERIFY_WITH_TIMEOUT(!last.isNull(), 5000);
        QCOMPARE(pThread->bufferBytes(), 320 * 240 * 3);
        pCamera->setFrameSize(1000, 500);
        QTRY_COMPARE_WITH_TIMEOUT(pThread->bufferBytes(), 1000 * 500 * 3, 3000);
        last = QPixmap();
        QTRY_VERIFY_WITH_TIMEOUT(!last.isNull(), 3000);
        checkComposition(last.toImage().convertToFormat(QImage::Format_RGB32), QRect(0, 80, 640, 320), 240, 320,
                         kFrameColour.rgb());
        // Same size, other pixel depth: a gray camera needs a third of the bytes.
        pCamera->setColour(false);
        QTRY_COMPARE_WITH_TIMEOUT(pThread->bufferBytes(), 1000 * 500, 3000);
        endThread(*pThread);
    }

    void photographButtonFollowsTheMachine()
    {
        solidCamera(320, 240);
        hostsim::SimMachine& machine = HostSim::machine();
        machine.setSpeed(10.0);
        auto pThread = startThread();
        GuiSpy buttons(pThread.get(), &HXL_RefreshCameraThread::updateUIBtn);
        QVERIFY(buttons.wait(3000));
        QCOMPARE(buttons.last().at(0).toInt(), 1); // idle
        HXL_MachineMoveTo(20.0, 0.0); // two seconds of travel
        QTRY_VERIFY_WITH_TIMEOUT(!buttons.isEmpty() && buttons.last().at(0).toInt() == 0, 3000);
        machine.setPosition(20.0, 0.0); // arrived
        QTRY_VERIFY_WITH_TIMEOUT(buttons.last().at(0).toInt() == 1, 3000);
        endThread(*pThread);
    }

    void grabOneFrameResults()
    {
        hostsim::SimCamera* pCamera = solidCamera(1000, 500);
        HXL_RefreshCameraThread thread;
        QPixmap out;
        QCOMPARE(thread.GrabOneFrame(out), -1); // no label
        thread.SetShowLabel(m_pLabel.get());
        HostSim::journal().clear();
        // No buffer yet: the camera is handed none, and says no.
        QCOMPARE(thread.GrabOneFrame(out), -4);
        QVERIFY(HostSim::journal().lines().contains(QStringLiteral("IZKVisionCamera::GrabImage(null) [SimCam]")));
        QVERIFY(out.isNull());
        pCamera->setZeroSize(true);
        QCOMPARE(thread.GrabOneFrame(out), -2);
        pCamera->setZeroSize(false);
        HostSim::removeAllCameras();
        QCOMPARE(thread.GrabOneFrame(out), -3);
    }

    void grabOneFrameIntoTheThreadsBuffer()
    {
        hostsim::SimCamera* pCamera = solidCamera(1000, 500);
        auto pThread = startThread();
        QTRY_VERIFY_WITH_TIMEOUT(pThread->bufferBytes() > 0, 5000);
        pThread->Pause();
        pThread->WaitPaused();
        QTRY_COMPARE_WITH_TIMEOUT(pThread->m_bParked.load(), 1, 3000);
        m_pLabel->resize(641, 481);
        QPixmap out;
        HostSim::journal().clear();
        QCOMPARE(pThread->GrabOneFrame(out), 0);
        QCOMPARE(out.size(), QSize(641, 481));
        checkComposition(out.toImage().convertToFormat(QImage::Format_RGB32), QRect(0, 80, 641, 320), 240, 320,
                         kFrameColour.rgb());
        const QStringList calls = HostSim::journal().lines();
        QVERIFY(calls.indexOf(QStringLiteral("IZKVisionCamera::GetImageWidth(0) [SimCam]")) <
                calls.indexOf(QStringLiteral("IZKVisionCamera::GrabImage(buffer) [SimCam]")));
        pCamera->setGrabFails(true);
        QCOMPARE(pThread->GrabOneFrame(out), -4);
        pCamera->setGrabFails(false);
        endThread(*pThread);
    }

    void outlinesAreClonedAndReleased()
    {
        solidCamera(320, 240);
        auto* pFactory = HXL_GetEntityFactory();
        std::vector<IZKGePolyline*> mine;
        for (int i = 0; i < 3; ++i) {
            IZKGePolyline* p = pFactory->CreatePolyline();
            p->AddVertex(ZKGePoint(i, i));
            mine.push_back(p);
        }
        const int nLive = hostsim::SimPolyline::liveCount();
        auto pThread = startThread();
        QTRY_VERIFY_WITH_TIMEOUT(pThread->bufferBytes() > 0, 5000);

        // The journal's outline calls in their order (the running worker
        // journals its own grabs in between).
        auto outlineCalls = [] {
            QStringList calls;
            for (const QString& line : HostSim::journal().lines())
                if (line.startsWith(QLatin1String("BatchReleasePolyline"))
                    || line.startsWith(QLatin1String("IZKGePolyline::Clone")))
                    calls << line;
            return calls;
        };

        HostSim::journal().clear();
        pThread->SetPolylines(mine); // while running
        QCOMPARE(pThread->m_vecPolylines.size(), size_t(3));
        QCOMPARE(hostsim::SimPolyline::liveCount(), nLive + 3);
        QCOMPARE(outlineCalls(),
                 QStringList({QStringLiteral("BatchReleasePolyline(0)"), QStringLiteral("IZKGePolyline::Clone()"),
                              QStringLiteral("IZKGePolyline::Clone()"), QStringLiteral("IZKGePolyline::Clone()")}));
        for (size_t i = 0; i < 3; ++i) {
            QVERIFY(pThread->m_vecPolylines[i] != mine[i]);
            QCOMPARE(pThread->m_vecPolylines[i]->GetVertexAt(0).x, double(i));
        }

        HostSim::journal().clear();
        pThread->SetPolylines({mine[0]});
        QCOMPARE(outlineCalls(),
                 QStringList({QStringLiteral("BatchReleasePolyline(3)"), QStringLiteral("IZKGePolyline::Clone()")}));
        QCOMPARE(pThread->m_vecPolylines.size(), size_t(1));
        QCOMPARE(hostsim::SimPolyline::liveCount(), nLive + 1);
        QCOMPARE(pThread->m_bRunning.load(), 1);

        HostSim::journal().clear();
        pThread->ReleaseBuffer(); // while running
        QCOMPARE(outlineCalls(), QStringList({QStringLiteral("BatchReleasePolyline(1)")}));
        QVERIFY(pThread->m_vecPolylines.empty());
        QCOMPARE(hostsim::SimPolyline::liveCount(), nLive);
        QCOMPARE(pThread->m_bRunning.load(), 1);
        // The thread goes on and takes a new buffer.
        QTRY_VERIFY_WITH_TIMEOUT(pThread->bufferBytes() > 0, 3000);
        GuiSpy frames(pThread.get(), &HXL_RefreshCameraThread::updatePixmap);
        QVERIFY(frames.wait(3000));
        endThread(*pThread);
        pThread->ReleaseBuffer();
        QCOMPARE(pThread->m_pImageBuffer, static_cast<unsigned char*>(nullptr));
        BatchReleasePolyline(mine);
    }

    void stopRequestEndsARunningOrParkedThread()
    {
        solidCamera(320, 240);
        auto pRunning = startThread();
        QTRY_VERIFY_WITH_TIMEOUT(pRunning->bufferBytes() > 0, 5000);
        pRunning->RequestStop();
        QVERIFY(pRunning->wait(2000));
        pRunning->ReleaseBuffer();

        auto pParked = startThread();
        pParked->Pause();
        pParked->WaitPaused();
        QTRY_COMPARE_WITH_TIMEOUT(pParked->m_bParked.load(), 1, 3000);
        pParked->RequestStop();
        QVERIFY(pParked->wait(2000));
        pParked->ReleaseBuffer();
    }

    void destructionKeepsTheOutlines()
    {
        auto* pFactory = HXL_GetEntityFactory();
        std::vector<IZKGePolyline*> mine{pFactory->CreatePolyline()};
        const int nLive = hostsim::SimPolyline::liveCount();
        IZKGePolyline* pClone = nullptr;
        {
            HXL_RefreshCameraThread thread;
            thread.SetPolylines(mine);
            pClone = thread.m_vecPolylines.at(0);
            QCOMPARE(hostsim::SimPolyline::liveCount(), nLive + 1);
        }
        // Destroying the thread frees the vector, not the polylines in it.
        QCOMPARE(hostsim::SimPolyline::liveCount(), nLive + 1);
        pClone->Release();
        BatchReleasePolyline(mine);
    }

    // The buffer lock: a critical section on Windows, a recursive mutex
    // elsewhere. The thread that holds it may enter again; another thread
    // waits until it has left as often as it entered.
    void bufferLockIsRecursiveAndExcludesOtherThreads()
    {
        static_assert(std::has_virtual_destructor<CLock>::value, "CLock has a virtual destructor");
#ifdef Q_OS_WIN
        static_assert(std::is_same<decltype(CLock::m_cs), CRITICAL_SECTION>::value, "a Windows critical section");
#endif
        CLock lock;
        lock.Enter();
        lock.Enter();
        std::atomic<bool> bEntered{false};
        std::unique_ptr<QThread> pOther(QThread::create([&lock, &bEntered] {
            lock.Enter();
            bEntered = true;
            lock.Leave();
        }));
        pOther->start();
        lock.Leave();
        // Still held once: the other thread cannot have entered.
        QVERIFY(!pOther->wait(200));
        QVERIFY(!bEntered);
        lock.Leave();
        QVERIFY(pOther->wait(10000));
        QVERIFY(bEntered);
    }

    void bufferLockSerialisesTwoThreads()
    {
        CLock lock;
        volatile qint64 nCount = 0; // guarded by the lock alone
        std::atomic<int> nReady{0};
        auto count = [&lock, &nCount, &nReady] {
            // Both threads count at the same time.
            ++nReady;
            while (nReady.load() < 2) {
            }
            for (int i = 0; i < 20000; ++i) {
                lock.Enter();
                // Read, let the other thread run, write: without the lock
                // counts would be lost even on one core.
                const qint64 n = nCount;
                QThread::yieldCurrentThread();
                nCount = n + 1;
                lock.Leave();
            }
        };
        std::unique_ptr<QThread> pFirst(QThread::create(count));
        std::unique_ptr<QThread> pSecond(QThread::create(count));
        pFirst->start();
        pSecond->start();
        QVERIFY(pFirst->wait(60000));
        QVERIFY(pSecond->wait(60000));
        QCOMPARE(qint64(nCount), qint64(40000));
    }

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
    std::unique_ptr<QLabel> m_pLabel;
};

QTEST_MAIN(TestRefreshThread)
#include "tst_refresh_thread.moc"

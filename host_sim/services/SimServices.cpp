#include "services/SimServices.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "HostState.h"
#include "cameras/HostCamera.h"
#include "cameras/SimCamera.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QPainter>
#include <QPointer>
#include <QProgressDialog>
#include <QThread>
#include <QTimer>

#include <opencv2/core.hpp>

#include <cmath>
#include <cstring>

ZKWindowManager& ZKWindowManager::singleton()
{
    static hostsim::SimWindowManager s_manager;
    return s_manager;
}

namespace hostsim {

IZKGePolyline* SimEntityFactory::CreatePolyline()
{
    HostSim::journal().append(QStringLiteral("IZKEntityFactory::CreatePolyline()"));
    if (HostSim::isAbsent(AbsentPart::Polyline))
        return nullptr;
    return new SimPolyline();
}

IZKBound* SimPartFactory::CreateBound()
{
    HostSim::journal().append(QStringLiteral("IZKPartFactory::CreateBound()"));
    if (HostSim::isAbsent(AbsentPart::Bound))
        return nullptr;
    return new SimBound();
}

void SimDataPoolManager::ClearCache()
{
    HostSim::journal().append(QStringLiteral("ZKVisionDataPoolManager::ClearCache()"));
    cacheEntries = 0;
}

void SimDataPoolManager::ClearOverlapCache()
{
    HostSim::journal().append(QStringLiteral("ZKVisionDataPoolManager::ClearOverlapCache()"));
    overlapEntries = 0;
}

void SimDataPoolManager::ClearOneOverlapCache()
{
    HostSim::journal().append(QStringLiteral("ZKVisionDataPoolManager::ClearOneOverlapCache()"));
    oneOverlapEntries = 0;
}

ZKVisionDataPoolManager* SimLocatorManager::GetDataPoolMgr()
{
    HostSim::journal().append(QStringLiteral("ZKVisionLocatorManager::GetDataPoolMgr()"));
    return HostSim::isAbsent(AbsentPart::DataPool) ? nullptr : &m_pool;
}

void SimLocatorManager::AddSearchDataToMap(std::string strName, IZKDatabase* pDatabase)
{
    const QString name = QString::fromLocal8Bit(strName.c_str());
    HostSim::journal().append(QStringLiteral("ZKVisionLocatorManager::AddSearchDataToMap(%1)").arg(name));
    if (pDatabase)
        m_searchData.append(name);
}

void SimCombineManager::GetCombineStartPos(ZKGePoint& ptStart)
{
    HostSim::journal().append(QStringLiteral("ZKCCDImageCombineManager::GetCombineStartPos()"));
    ptStart = m_ptStart;
}

void SimCombineManager::GetCombineEndPos(ZKGePoint& ptEnd)
{
    HostSim::journal().append(QStringLiteral("ZKCCDImageCombineManager::GetCombineEndPos()"));
    ptEnd = m_ptEnd;
}

void SimCombineManager::SetCombineStartPos(ZKGePoint ptStart)
{
    HostSim::journal().append(QStringLiteral("ZKCCDImageCombineManager::SetCombineStartPos(%1, %2, %3)")
                                  .arg(jnum(ptStart.x), jnum(ptStart.y), jnum(ptStart.z)));
    m_ptStart = ptStart;
}

void SimCombineManager::SetCombineEndPos(ZKGePoint ptEnd)
{
    HostSim::journal().append(QStringLiteral("ZKCCDImageCombineManager::SetCombineEndPos(%1, %2, %3)")
                                  .arg(jnum(ptEnd.x), jnum(ptEnd.y), jnum(ptEnd.z)));
    m_ptEnd = ptEnd;
}

void SimCombineManager::SetCameraIndex(int nCamera)
{
    HostSim::journal().append(QStringLiteral("ZKCCDImageCombineManager::SetCameraIndex(%1)").arg(nCamera));
    m_nCamera = nCamera;
}

namespace {

// How long the host waits for a camera's picture at one stop of a stretch.
constexpr int kCombineFrameTimeoutMs = 3000;
// How long one move of a stretch may take.
constexpr int kCombineMoveTimeoutMs = 60000;

// The host's progress box while it combines: the GUI keeps painting and the
// operator can cancel between two pictures. Without a GUI (or off the GUI
// thread) the waits are plain sleeps and nothing can cancel.
class CombineProgress
{
public:
    explicit CombineProgress(int nFrames)
    {
        if (!onGuiThread())
            return;
        QWidget* pParent = QApplication::activeModalWidget();
        if (!pParent)
            pParent = hostState().pMainWindow.data();
        m_pDialog = new QProgressDialog(QStringLiteral("Combining pictures..."), QStringLiteral("Cancel"), 0, nFrames,
                                        pParent);
        m_pDialog->setObjectName(QStringLiteral("hostCombineProgress"));
        m_pDialog->setWindowTitle(QStringLiteral("Image combine"));
        m_pDialog->setWindowModality(Qt::ApplicationModal);
        m_pDialog->setAutoClose(false);
        m_pDialog->setAutoReset(false);
        // A short stretch of the simulated camera ends before the box would be worth showing.
        m_pDialog->setMinimumDuration(400);
        m_pDialog->setValue(0);
    }
    ~CombineProgress() { delete m_pDialog.data(); }

    static bool onGuiThread()
    {
        return qobject_cast<QApplication*>(QCoreApplication::instance()) &&
               QThread::currentThread() == QCoreApplication::instance()->thread();
    }

    void step(int nFrame, int nFrames)
    {
        if (m_pDialog) {
            m_pDialog->setLabelText(QStringLiteral("Combining pictures: frame %1 of %2").arg(nFrame).arg(nFrames));
            m_pDialog->setValue(nFrame - 1);
        }
    }
    bool cancelled() const { return m_pDialog && m_pDialog->wasCanceled(); }

    // Lets the GUI run for about nMs (or sleeps that long without one).
    void idle(int nMs)
    {
        if (!m_pDialog) {
            QThread::msleep(static_cast<unsigned long>(nMs));
            return;
        }
        QEventLoop loop;
        QTimer::singleShot(nMs, &loop, &QEventLoop::quit);
        loop.exec();
    }

private:
    QPointer<QProgressDialog> m_pDialog;
};

} // namespace

IZKDbImage* SimCombineManager::CombineImage()
{
    HostSim::journal().append(QStringLiteral("ZKCCDImageCombineManager::CombineImage()"));
    m_nLastFrames = 0;
    if (HostSim::isAbsent(AbsentPart::CombinedImage))
        return nullptr;
    // The GUI runs while the machine moves: a second request meanwhile is refused.
    if (m_bCombining)
        return nullptr;
    m_bCombining = true;
    IZKDbImage* pImage = combineStretch();
    m_bCombining = false;
    return pImage;
}

IZKDbImage* SimCombineManager::combineStretch()
{
    HostState& state = hostState();
    // Any camera the host can open: the host asks the camera, not its kind.
    HostCamera* pCamera = state.cameraManager.hostCamera(m_nCamera);
    if (!pCamera)
        return nullptr;
    auto* pStreaming = dynamic_cast<StreamingCamera*>(pCamera);
    const auto fail = [](const QString& strWhy) -> IZKDbImage* {
        HostSim::tellOperator(QStringLiteral("Image combine: %1; nothing was placed").arg(strWhy));
        return nullptr;
    };

    // The frames are in the machine's axes (the camera's calibration turned
    // them), each centred where the optical axis meets the work plane. A
    // camera that has not delivered yet tells its size with its first frame.
    int nFrameW = pCamera->frameWidth();
    int nFrameH = pCamera->frameHeight();
    if ((nFrameW <= 0 || nFrameH <= 0) && pStreaming) {
        pStreaming->waitForFrame(0, kCombineFrameTimeoutMs);
        nFrameW = pCamera->frameWidth();
        nFrameH = pCamera->frameHeight();
    }
    if (nFrameW <= 0 || nFrameH <= 0)
        return fail(QStringLiteral("camera %1 gives no picture (%2)")
                        .arg(m_nCamera)
                        .arg(pCamera->statusText().isEmpty() ? QStringLiteral("no frame size") : pCamera->statusText()));
    const CameraModel model = pCamera->model();
    const double kx = model.alignedMmPerPixelX();
    const double ky = model.alignedMmPerPixelY();
    const double dFieldW = nFrameW * kx;
    const double dFieldH = nFrameH * ky;

    // Steps along the stretch so that neighbouring fields overlap.
    const double dx = m_ptEnd.x - m_ptStart.x;
    const double dy = m_ptEnd.y - m_ptStart.y;
    const double dLength = std::hypot(dx, dy);
    int nFrames = 1;
    if (dLength > 0.0) {
        // Field extent along the direction of travel.
        const double dAlong = std::min(std::abs(dx) > 0 ? dFieldW * dLength / std::abs(dx) : 1e300,
                                       std::abs(dy) > 0 ? dFieldH * dLength / std::abs(dy) : 1e300);
        const double dStep = std::max(1e-6, dAlong * (1.0 - m_dOverlap));
        nFrames = static_cast<int>(std::ceil(dLength / dStep)) + 1;
    }

    const double dMinX = std::min(m_ptStart.x, m_ptEnd.x) + model.offsetX - dFieldW / 2.0;
    const double dMaxX = std::max(m_ptStart.x, m_ptEnd.x) + model.offsetX + dFieldW / 2.0;
    const double dMinY = std::min(m_ptStart.y, m_ptEnd.y) + model.offsetY - dFieldH / 2.0;
    const double dMaxY = std::max(m_ptStart.y, m_ptEnd.y) + model.offsetY + dFieldH / 2.0;
    const int nCanvasW = static_cast<int>(std::lround((dMaxX - dMinX) / kx));
    const int nCanvasH = static_cast<int>(std::lround((dMaxY - dMinY) / ky));
    cv::Mat canvas;

    CombineProgress progress(nFrames);
    for (int i = 0; i < nFrames; ++i) {
        const int nFrame = i + 1;
        progress.step(nFrame, nFrames);
        const double f = nFrames > 1 ? static_cast<double>(i) / (nFrames - 1) : 0.0;
        const double px = m_ptStart.x + dx * f;
        const double py = m_ptStart.y + dy * f;
        state.machine.startMove(px, py);
        QElapsedTimer moveClock;
        moveClock.start();
        while (state.machine.isMoving()) {
            if (progress.cancelled())
                return fail(QStringLiteral("cancelled at frame %1 of %2").arg(nFrame).arg(nFrames));
            if (moveClock.elapsed() > kCombineMoveTimeoutMs)
                return fail(QStringLiteral("the machine did not reach frame %1 of %2").arg(nFrame).arg(nFrames));
            progress.idle(10);
        }

        // A real camera's newest frame may have been exposed while the
        // machine still moved: the second frame that arrives after the stop
        // was begun after it.
        cv::Mat frame;
        int nAnswer = 2;
        if (pStreaming) {
            const quint64 nStopped = pStreaming->framesReceived();
            QElapsedTimer clock;
            clock.start();
            while (pStreaming->framesReceived() < nStopped + 2 && clock.elapsed() < kCombineFrameTimeoutMs) {
                if (progress.cancelled())
                    return fail(QStringLiteral("cancelled at frame %1 of %2").arg(nFrame).arg(nFrames));
                progress.idle(5);
            }
            if (pStreaming->framesReceived() >= nStopped + 2)
                nAnswer = pCamera->grabFrame(frame);
        } else {
            nAnswer = pCamera->grabFrame(frame);
        }
        if (nAnswer != 0 || frame.empty()) {
            const QString strState = pCamera->statusText();
            return fail(QStringLiteral("frame %1 of %2 failed (%3)")
                            .arg(nFrame)
                            .arg(nFrames)
                            .arg(strState.isEmpty() ? QStringLiteral("no picture from the camera") : strState));
        }
        if (frame.cols != nFrameW || frame.rows != nFrameH)
            return fail(QStringLiteral("frame %1 of %2 is %3 x %4, not %5 x %6 like the first")
                            .arg(nFrame)
                            .arg(nFrames)
                            .arg(frame.cols)
                            .arg(frame.rows)
                            .arg(nFrameW)
                            .arg(nFrameH));
        if (canvas.empty())
            canvas = cv::Mat(nCanvasH, nCanvasW, frame.type(), cv::Scalar::all(0));
        else if (frame.type() != canvas.type())
            return fail(QStringLiteral("frame %1 of %2 changed between colour and gray").arg(nFrame).arg(nFrames));
        const int nLeft = static_cast<int>(std::lround((px + model.offsetX - dFieldW / 2.0 - dMinX) / kx));
        const int nTop = static_cast<int>(std::lround((dMaxY - (py + model.offsetY + dFieldH / 2.0)) / ky));
        const cv::Rect target = cv::Rect(nLeft, nTop, frame.cols, frame.rows) & cv::Rect(0, 0, nCanvasW, nCanvasH);
        if (target.area() > 0)
            frame(cv::Rect(target.x - nLeft, target.y - nTop, target.width, target.height)).copyTo(canvas(target));
        ++m_nLastFrames;
    }

    auto* pImage = new SimDbImage(imageFromFrame(canvas));
    pImage->SetExtents(dMinX, dMinY, dMaxX, dMaxY);
    return pImage;
}

IMainWindow* SimWindowManager::getMainWindow()
{
    HostSim::journal().append(QStringLiteral("ZKWindowManager::getMainWindow()"));
    if (HostSim::isAbsent(AbsentPart::MainWindow))
        return nullptr;
    HostState& state = hostState();
    if (!state.pMainWindow && qobject_cast<QApplication*>(QCoreApplication::instance())) {
        // A host always has a main window; without the demo's, make a hidden
        // one. It is kept for the life of the process.
        static QPointer<SimMainWindow> s_pDefault;
        if (!s_pDefault)
            s_pDefault = new SimMainWindow();
        state.pMainWindow = s_pDefault.data();
    }
    return state.pMainWindow.data();
}

UiUserConfig* SimWindowManager::GetUiCfg()
{
    HostSim::journal().append(QStringLiteral("ZKWindowManager::GetUiCfg()"));
    return HostSim::isAbsent(AbsentPart::UiConfig) ? nullptr : &hostState().uiConfig;
}

} // namespace hostsim

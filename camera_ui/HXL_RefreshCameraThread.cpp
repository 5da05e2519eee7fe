#include "HXL_RefreshCameraThread.h"
#include "HXL_TsanAnnotations.h"

#include "host/HXL_HostFunctions.h"
#include "host/IZKDatabase.h"
#include "host/IZKRobotService.h"
#include "host/IZKVisionCameraManager.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QPainter>
#include <QPen>
#include <QWidget>

#include <private/qguiapplication_p.h>
#include <qpa/qplatformintegration.h>

#include <algorithm>
#include <new>
#include <vector>


namespace {
std::atomic<int> g_composeMode{static_cast<int>(HXL_RefreshCameraThread::ComposeMode::Auto)};

// Where a frame of nWidth x nHeight goes in a nShowW x nShowH label: the
// largest rectangle of the frame's aspect that fits, centred.
QRect fittedRect(int nWidth, int nHeight, int nShowW, int nShowH)
{
    const double r = static_cast<double>(nWidth) / nHeight;
    const double s = static_cast<double>(nShowW) / nShowH;
    int nDrawW = 0;
    int nDrawH = 0;
    if (r > s) {
        nDrawW = nShowW;
        nDrawH = static_cast<int>(nShowW / r);
    } else {
        nDrawH = nShowH;
        nDrawW = static_cast<int>(r * nShowH);
    }
    return QRect((nShowW - nDrawW) / 2, (nShowH - nDrawH) / 2, nDrawW, nDrawH);
}
} // namespace

HXL_RefreshCameraThread::HXL_RefreshCameraThread() : QThread(nullptr) {}

HXL_RefreshCameraThread::~HXL_RefreshCameraThread()
{
    // The wait condition, the mutex and both locks go with the members; the
    // outlines' storage is freed, the outlines themselves are not released
    // here, and the frame buffer is freed only by ReleaseBuffer.
    std::vector<IZKGePolyline*>().swap(m_vecPolylines);
}

void HXL_RefreshCameraThread::SetShowLabel(QWidget* pLabel)
{
    m_pShowLabel = pLabel;
}

void HXL_RefreshCameraThread::SetShowLabelWH(int* pW, int* pH)
{
    m_nShowW = *pW;
    m_nShowH = *pH;
}

void HXL_RefreshCameraThread::SetMode(int nMode)
{
    m_nMode = nMode;
}

void HXL_RefreshCameraThread::Resume()
{
    m_mutex.lock();
    HXL_TSAN_ACQUIRE(&m_mutex);
    m_bRunning = 1;
    m_bPauseRequested = false;
    m_cond.wakeOne();
    HXL_TSAN_RELEASE(&m_mutex);
    m_mutex.unlock();
}

void HXL_RefreshCameraThread::Pause()
{
    m_mutex.lock();
    HXL_TSAN_ACQUIRE(&m_mutex);
    if (m_bRunning) {
        m_bRunning = 0;
        m_bAck = false;
        m_bPauseRequested = true;
    }
    HXL_TSAN_RELEASE(&m_mutex);
    m_mutex.unlock();
}

void HXL_RefreshCameraThread::WaitPaused()
{
    // Signals the worker already emitted to the GUI thread are delivered while
    // we wait. A worker that has ended (its camera went for good) never
    // answers: there is nothing to wait for then.
    while (!m_bAck && isRunning()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        QThread::msleep(50);
    }
}

void HXL_RefreshCameraThread::RequestStop()
{
    m_mutex.lock();
    HXL_TSAN_ACQUIRE(&m_mutex);
    m_bStopRequested = true;
    m_bRunning = 1;
    m_bPauseRequested = false;
    m_cond.wakeOne();
    HXL_TSAN_RELEASE(&m_mutex);
    m_mutex.unlock();
}

void HXL_RefreshCameraThread::ReleaseBuffer()
{
    m_lockBuffer.Enter();
    const int nRunning = m_bRunning;
    m_bRunning = 0;
    BatchReleasePolyline(m_vecPolylines);
    delete[] m_pImageBuffer;
    m_pImageBuffer = nullptr;
    m_nBufferBytes = 0;
    m_bRunning = nRunning;
    m_vecPolylines.clear();
    m_lockBuffer.Leave();
}

void HXL_RefreshCameraThread::SetPolylines(std::vector<IZKGePolyline*> vecPolylines)
{
    m_lockBuffer.Enter();
    const int nRunning = m_bRunning;
    m_bRunning = 0;
    BatchReleasePolyline(m_vecPolylines);
    for (IZKGePolyline* pLine : vecPolylines)
        m_vecPolylines.push_back(pLine ? pLine->Clone() : nullptr);
    m_bRunning = nRunning;
    m_lockBuffer.Leave();
    std::vector<IZKGePolyline*>().swap(vecPolylines); // the given polylines stay the caller's
}

void HXL_RefreshCameraThread::SetComposeMode(ComposeMode mode)
{
    g_composeMode = static_cast<int>(mode);
}

bool HXL_RefreshCameraThread::ComposesPixmapOnWorker()
{
    switch (static_cast<ComposeMode>(g_composeMode.load())) {
    case ComposeMode::WorkerPixmap:
        return true;
    case ComposeMode::GuiThreadPixmap:
        return false;
    case ComposeMode::Auto:
        break;
    }
    QPlatformIntegration* pIntegration = QGuiApplicationPrivate::platformIntegration();
    return pIntegration && pIntegration->hasCapability(QPlatformIntegration::ThreadedPixmaps);
}

QImage HXL_RefreshCameraThread::WrapBuffer(const unsigned char* pBuffer, bool bColour, int nWidth, int nHeight)
{
    return QImage(pBuffer, nWidth, nHeight, bColour ? QImage::Format_RGB888 : QImage::Format_Grayscale8);
}

int HXL_RefreshCameraThread::FrameStride(int nWidth, bool bColour)
{
    return (nWidth * (bColour ? 3 : 1) + 3) & ~3;
}

int HXL_RefreshCameraThread::FrameBytes(int nWidth, int nHeight, bool bColour)
{
    return FrameStride(nWidth, bColour) * nHeight;
}

void HXL_RefreshCameraThread::DrawFrame(QPainter& painter, const QImage& frame, int nShowW, int nShowH)
{
    painter.drawImage(fittedRect(frame.width(), frame.height(), nShowW, nShowH), frame);

    QPen pen(QColor(255, 0, 0, 255));
    pen.setWidth(1);
    pen.setStyle(Qt::SolidLine);
    painter.setPen(pen);
    painter.drawLine(QPointF(0, nShowH / 2), QPointF(nShowW, nShowH / 2));
    painter.drawLine(QPointF(nShowW / 2, 0), QPointF(nShowW / 2, nShowH));
    // Kept as the panel has always done it; nothing is drawn with it.
    pen.setStyle(Qt::DashLine);
    painter.setPen(pen);
}

QImage HXL_RefreshCameraThread::ComposeImage(const unsigned char* pBuffer, bool bColour, int nWidth, int nHeight,
                                             int nShowW, int nShowH)
{
    QImage composed(nShowW, nShowH, QImage::Format_RGB32);
    if (composed.isNull())
        return composed;
    composed.fill(Qt::white);
    if (!pBuffer || nWidth <= 0 || nHeight <= 0)
        return composed;

    // The same picture DrawFrame paints (aspect fit, nearest pixel, crosshair),
    // written straight into the image: the live thread does this ten times a
    // second, and painting through QPainter costs several times more.
    const QRect fitted = fittedRect(nWidth, nHeight, nShowW, nShowH);
    const int nDrawW = fitted.width();
    const int nDrawH = fitted.height();
    const int nLeft = fitted.left();
    const int nTop = fitted.top();
    const int nChannels = bColour ? 3 : 1;
    const int nStride = FrameStride(nWidth, bColour); // scan lines as the wrapping QImage reads them
    if (nDrawW > 0 && nDrawH > 0) {
        std::vector<int> columns(static_cast<size_t>(nDrawW));
        for (int x = 0; x < nDrawW; ++x)
            columns[static_cast<size_t>(x)] =
                std::min(nWidth - 1, static_cast<int>((x + 0.5) * nWidth / nDrawW)) * nChannels;
        for (int y = 0; y < nDrawH; ++y) {
            const int nSourceRow = std::min(nHeight - 1, static_cast<int>((y + 0.5) * nHeight / nDrawH));
            const unsigned char* pRow = pBuffer + static_cast<size_t>(nSourceRow) * nStride;
            auto* pOut = reinterpret_cast<QRgb*>(composed.scanLine(nTop + y)) + nLeft;
            if (bColour) {
                for (int x = 0; x < nDrawW; ++x) {
                    const unsigned char* p = pRow + columns[static_cast<size_t>(x)];
                    pOut[x] = 0xFF000000u | (QRgb(p[0]) << 16) | (QRgb(p[1]) << 8) | QRgb(p[2]);
                }
            } else {
                for (int x = 0; x < nDrawW; ++x)
                    pOut[x] = 0xFF000000u | QRgb(pRow[columns[static_cast<size_t>(x)]]) * 0x010101u;
            }
        }
    }
    // One-pixel red crosshair over the whole label, through its halves.
    const QRgb red = qRgb(255, 0, 0);
    if (nShowH / 2 < nShowH) {
        auto* pLine = reinterpret_cast<QRgb*>(composed.scanLine(nShowH / 2));
        std::fill(pLine, pLine + nShowW, red);
    }
    if (nShowW / 2 < nShowW)
        for (int y = 0; y < nShowH; ++y)
            reinterpret_cast<QRgb*>(composed.scanLine(y))[nShowW / 2] = red;
    return composed;
}

void HXL_RefreshCameraThread::takeLabelSize()
{
    if (QWidget* pLabel = m_pShowLabel.load()) {
        m_nShowW = pLabel->width();
        m_nShowH = pLabel->height();
    }
}

// Hands a finished picture to the GUI thread as updatePixmap.
void HXL_RefreshCameraThread::publish(const QImage& composed)
{
    if (ComposesPixmapOnWorker()) {
        QPixmap pixmap = QPixmap::fromImage(composed);
        emit updatePixmap(pixmap);
        return;
    }
    // No pixmaps off the GUI thread here: make it there, then emit from there
    // (the thread object lives in the GUI thread; a pending call dies with it).
    QMetaObject::invokeMethod(
        this, [this, composed] { emit updatePixmap(QPixmap::fromImage(composed)); }, Qt::QueuedConnection);
}

void HXL_RefreshCameraThread::run()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (pManager) {
        if (IZKVisionCamera* pCamera = pManager->GetCamera(pManager->GetCurCameraIndex()))
            pCamera->StartGrab();
    }

    for (;;) {
        if (m_bStopRequested)
            return;
        if (m_bRunning)
            QThread::msleep(100);

        m_mutex.lock();
        HXL_TSAN_ACQUIRE(&m_mutex);
        if (m_bRunning == 0) {
            do {
                m_bParked = 1;
                takeLabelSize();
                if (isOpenVideo == 0) {
                    // Video switched off: the panel shows black while paused.
                    QImage black(m_nShowW, m_nShowH, QImage::Format_RGB32);
                    black.fill(Qt::black);
                    publish(black);
                }
                // ReleaseBuffer and SetPolylines stop the grabbing for a moment
                // without a pause request; leave as soon as that moment is over
                // instead of waiting here for a request that will not come.
                while (!m_bPauseRequested && m_bRunning == 0)
                    QThread::msleep(2000);
                if (m_bRunning != 0)
                    break;
                m_bAck = true;
                HXL_TSAN_RELEASE(&m_mutex);
                m_cond.wait(&m_mutex);
                HXL_TSAN_ACQUIRE(&m_mutex);
            } while (m_bRunning == 0);
            m_bPauseRequested = false;
        }
        HXL_TSAN_RELEASE(&m_mutex);
        m_mutex.unlock();
        m_bParked = 0;
        if (m_bStopRequested)
            return;

        QImage composed;
        switch (GrabLiveFrame(composed)) {
        case LiveFrame::Composed:
            break;
        case LiveFrame::Skipped:
            continue;
        case LiveFrame::Stop:
            return;
        }
        publish(composed);

        IZKRobotService* pRobot = HXL_GetRobotService();
        IZKMachine* pMachine = pRobot ? pRobot->GetCurMachine() : nullptr;
        if (pMachine)
            emit updateUIBtn(pMachine->GetRunState() == 0 ? 1 : 0);

        if (!m_bAck)
            m_bAck = true;
    }
}

HXL_RefreshCameraThread::LiveFrame HXL_RefreshCameraThread::GrabLiveFrame(QImage& composed)
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (!pManager || pManager->GetCameraCount() == 0)
        return LiveFrame::Skipped;
    IZKVisionCamera* pCamera = pManager->GetCamera(pManager->GetCurCameraIndex());
    if (!pCamera)
        return LiveFrame::Skipped;
    const bool bColour = pCamera->IsColorful();
    const int nHeight = pCamera->GetImageHeight(true);
    const int nWidth = pCamera->GetImageWidth(true);
    if (nHeight == 0 || nWidth == 0) {
        if (pCamera->GrabImage(nullptr) == 1)
            return LiveFrame::Stop; // the camera has ended for good
        return LiveFrame::Skipped;
    }

    // The buffer is read and replaced under the buffer lock, so that
    // ReleaseBuffer from the GUI thread never frees it under a grab.
    m_lockBuffer.Enter();
    // Room for the frame as GrabImage writes it and ComposeImage reads it:
    // rows padded to 4 bytes, so no read passes the end for any width.
    const int nBytes = FrameBytes(nWidth, nHeight, bColour);
    // Reallocate on a new frame size (and on a new pixel depth: a colour
    // camera of the same size needs three times the bytes).
    if (m_pImageBuffer && (nWidth != m_nBufferW || nHeight != m_nBufferH || nBytes != m_nBufferBytes)) {
        delete[] m_pImageBuffer;
        m_pImageBuffer = nullptr;
    }
    if (!m_pImageBuffer) {
        m_pImageBuffer = new (std::nothrow) unsigned char[static_cast<size_t>(nBytes)];
        m_nBufferBytes = m_pImageBuffer ? nBytes : 0;
        m_nBufferW = nWidth;
        m_nBufferH = nHeight;
    }
    if (!m_pImageBuffer) {
        m_lockBuffer.Leave();
        return LiveFrame::Stop;
    }
    // A pause that came meanwhile skips the grab: the last frame is shown once more.
    if (m_bRunning && pCamera->GrabImage(m_pImageBuffer) != 0) {
        m_lockBuffer.Leave();
        return LiveFrame::Skipped;
    }
    takeLabelSize();
    pCamera->GetImageHeight(false);
    pCamera->GetImageWidth(false);
    composed = ComposeImage(m_pImageBuffer, bColour, nWidth, nHeight, m_nShowW, m_nShowH);
    m_lockBuffer.Leave();
    return LiveFrame::Composed;
}

int HXL_RefreshCameraThread::GrabOneFrame(QPixmap& out)
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (!pManager)
        return -3;
    if (IZKVisionCamera* pCamera = pManager->GetCamera(pManager->GetCurCameraIndex()))
        pCamera->StartGrab();
    QWidget* pLabel = m_pShowLabel.load();
    if (!pLabel)
        return -1;
    m_nShowW = pLabel->width();
    m_nShowH = pLabel->height();
    IZKVisionCamera* pCamera = pManager->GetCamera(pManager->GetCurCameraIndex());
    if (!pCamera)
        return -3;
    const bool bColour = pCamera->IsColorful();
    const int nHeight = pCamera->GetImageHeight(true);
    const int nWidth = pCamera->GetImageWidth(true);
    if (nHeight == 0 || nWidth == 0)
        return -2;
    pCamera->GetImageHeight(false);
    pCamera->GetImageWidth(false);

    m_lockBuffer.Enter();
    // The existing buffer is used as it stands. One too small for this frame
    // is not handed to the camera: the camera gets no buffer and says no.
    const int nBytes = FrameBytes(nWidth, nHeight, bColour);
    unsigned char* pTarget = m_nBufferBytes >= nBytes ? m_pImageBuffer : nullptr;
    if (pCamera->GrabImage(pTarget) != 0) {
        m_lockBuffer.Leave();
        return -4;
    }
    QPixmap pixmap(m_nShowW, m_nShowH);
    pixmap.fill(Qt::white);
    {
        QPainter painter(&pixmap);
        DrawFrame(painter, WrapBuffer(pTarget, bColour, nWidth, nHeight), m_nShowW, m_nShowH);
    }
    m_lockBuffer.Leave();
    out = pixmap;
    return 0;
}

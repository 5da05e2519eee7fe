// Live view cost and memory soak.
//
//   soak_live [frames] [pause_cycles] [panel_cycles]     (defaults 3000 1000 200)
//
// The live thread feeds a 640 x 480 label from a 1280 x 1024 colour camera
// whose frame is rendered once (a grab is one copy). Reported: process CPU
// time per delivered frame, GUI-thread CPU time per frame, frames per second
// against what the thread's 100 ms pacing allows, each beside the floor of a
// plain copy of one frame buffer; then resident memory after the frames, after
// pause/resume cycles and after panel create/destroy cycles.

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"
#include "HXL_RefreshCameraThread.h"
#include "IZKCostomCameraWidget.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "cameras/SimCamera.h"
#include "services/SimEvents.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QTemporaryDir>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <vector>

namespace {

double cpuSeconds(clockid_t clock)
{
    timespec ts{};
    clock_gettime(clock, &ts);
    return ts.tv_sec + ts.tv_nsec / 1e9;
}

double residentMb()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1.0;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
    return -1.0;
}

void waitFrames(const int& nFrames, int nTarget)
{
    while (nFrames < nTarget)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents); // sleeps until the next frame arrives
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? QByteArray("offscreen") : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    const int nFrames = argc > 1 ? std::atoi(argv[1]) : 3000;
    const int nPauseCycles = argc > 2 ? std::atoi(argv[2]) : 1000;
    const int nPanelCycles = argc > 3 ? std::atoi(argv[3]) : 200;

    QTemporaryDir dir;
    hostsim::HostSim::reset(dir.path());
    hostsim::HostSim::journal().setEnabled(false);
    HXL_CameraUI_ReadParam();

    // Floor: one plain copy of a frame buffer.
    std::vector<unsigned char> a(size_t(HXL_RefreshCameraThread::FrameBytes(1280, 1024, true)), 7), b(a.size());
    QElapsedTimer floorClock;
    floorClock.start();
    for (int i = 0; i < 200; ++i) {
        std::memcpy(b.data(), a.data(), a.size());
        a[i] = b[i + 1];
    }
    const double dCopyMs = floorClock.nsecsElapsed() / 1e6 / 200;

    QLabel label;
    label.resize(640, 480);
    HXL_RefreshCameraThread thread;
    thread.SetShowLabel(&label);
    int nFramesSeen = 0;
    double dGuiSeconds = 0.0;
    QObject::connect(&thread, &HXL_RefreshCameraThread::updatePixmap, &label, [&](QPixmap pixmap) {
        const double t0 = cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
        label.setPixmap(pixmap);
        dGuiSeconds += cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - t0;
        ++nFramesSeen;
    });
    thread.start();
    thread.Resume();

    waitFrames(nFramesSeen, 100);
    const double dRssAt100 = residentMb();
    const int nStartFrames = nFramesSeen;
    const double dCpu0 = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID);
    const double dGui0 = dGuiSeconds;
    const double dMainCpu0 = cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
    QElapsedTimer wall;
    wall.start();
    waitFrames(nFramesSeen, 100 + nFrames);
    const double dWallS = wall.nsecsElapsed() / 1e9;
    const int nDelivered = nFramesSeen - nStartFrames;
    const double dCpuMsPerFrame = (cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - dCpu0) * 1000.0 / nDelivered;
    const double dSlotMsPerFrame = (dGuiSeconds - dGui0) * 1000.0 / nDelivered;
    const double dMainMsPerFrame = (cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - dMainCpu0) * 1000.0 / nDelivered;
    const double dFps = nDelivered / dWallS;
    const double dRssAfterFrames = residentMb();

    for (int i = 0; i < nPauseCycles; ++i) {
        thread.Pause();
        thread.WaitPaused();
        thread.Resume();
    }
    const double dRssAfterPause = residentMb();
    thread.RequestStop();
    thread.wait();
    thread.ReleaseBuffer();

    for (int i = 0; i < nPanelCycles; ++i) {
        IZKCostomCameraWidget* pPanel = IZKCostomCameraWidget::NewInstance(nullptr);
        pPanel->InitWidget();
        QCoreApplication::processEvents();
        QWidget* pWidget = pPanel->GetWidget();
        hostsim::eventManager().removeListenerEverywhere(static_cast<IZKEventListener*>(pWidget->qt_metacast("IZKEventListener")));
        delete pWidget;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    const double dRssAfterPanels = residentMb();

    std::printf("| figure | value | floor / target |\n|---|---|---|\n");
    std::printf("| frames delivered | %d in %.1f s | |\n", nDelivered, dWallS);
    std::printf("| process CPU per frame | %.3f ms | plain frame copy %.3f ms (x%.1f); target <= 3 ms |\n",
                dCpuMsPerFrame, dCopyMs, dCpuMsPerFrame / dCopyMs);
    std::printf("| GUI thread per frame (slot) | %.3f ms | target <= 1 ms |\n", dSlotMsPerFrame);
    std::printf("| GUI thread per frame (all events) | %.3f ms | |\n", dMainMsPerFrame);
    std::printf("| frames per second | %.2f | %.0f %% of the 10/s the 100 ms pacing allows; target >= 95 %% |\n", dFps,
                dFps * 10.0);
    std::printf("| resident memory after 100 frames | %.1f MB | |\n", dRssAt100);
    std::printf("| ... after %d more frames | %.1f MB | growth %+.1f MB; target <= 2 MB |\n", nDelivered,
                dRssAfterFrames, dRssAfterFrames - dRssAt100);
    std::printf("| ... after %d pause/resume cycles | %.1f MB | growth %+.1f MB |\n", nPauseCycles, dRssAfterPause,
                dRssAfterPause - dRssAt100);
    std::printf("| ... after %d panel create/destroy cycles | %.1f MB | growth %+.1f MB |\n", nPanelCycles,
                dRssAfterPanels, dRssAfterPanels - dRssAt100);
    return 0;
}

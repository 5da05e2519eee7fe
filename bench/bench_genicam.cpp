// Frames from Aravis's fake GigE Vision camera through the host's GenICam
// camera into the module's live-view label: frames per second reaching the
// label and grab latency, beside the floor of a plain copy of one frame.
//
// Starts the fake camera itself (arv-fake-gv-camera-0.8 -i 127.0.0.1) and
// kills it by process id at the end.

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"
#include "HXL_RefreshCameraThread.h"
#include "IZKCostomCameraWidget.h"
#include "ZKCostomCameraWidget.h"

#include "cameras/AravisCamera.h"
#include "HostSim.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <benchmark/benchmark.h>

#include <csignal>
#include <cstring>
#include <sys/prctl.h>
#include <vector>

namespace {

class ChildProcess : public QProcess
{
protected:
    void setupChildProcess() override { ::prctl(PR_SET_PDEATHSIG, SIGKILL); }
};

ChildProcess* g_pFake = nullptr;
hostsim::AravisCamera* g_pCamera = nullptr;

const char* const kFormats[] = {"Mono8", "RGB8", "Mono16"};

// Switches the running camera to a pixel format and waits for its frames.
bool useFormat(int nFormat)
{
    const QString strFormat = QString::fromLatin1(kFormats[nFormat]);
    const bool bColour = nFormat == 1;
    if (g_pCamera->parameters().pixelFormat != strFormat)
        g_pCamera->setPixelFormat(strFormat);
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < 10000) {
        g_pCamera->waitForFrame(g_pCamera->framesReceived(), 500);
        if (g_pCamera->IsColorful() == bColour && g_pCamera->GetImageWidth(true) == 1280)
            return true;
    }
    return false;
}

bool startFakeCamera(const QString& strFormat)
{
    const QString program = QStandardPaths::findExecutable(QStringLiteral("arv-fake-gv-camera-0.8"));
    if (program.isEmpty())
        return false;
    g_pFake = new ChildProcess();
    g_pFake->start(program, {QStringLiteral("-i"), QStringLiteral("127.0.0.1")});
    if (!g_pFake->waitForStarted(5000))
        return false;
    for (int i = 0; i < 100 && !hostsim::AravisCamera::probe(QStringLiteral("127.0.0.1"), nullptr); ++i)
        QThread::msleep(50);
    hostsim::HostSim::removeAllCameras();
    hostsim::CameraRequest request;
    request.type = hostsim::CameraType::GenICam;
    request.address = QStringLiteral("127.0.0.1");
    request.pixelFormat = strFormat;
    request.width = 1280;
    request.height = 1024;
    g_pCamera = dynamic_cast<hostsim::AravisCamera*>(hostsim::HostSim::addCamera(request, nullptr));
    return g_pCamera && g_pCamera->waitForFrame(0, 10000);
}

void stopFakeCamera()
{
    hostsim::HostSim::removeAllCameras();
    g_pCamera = nullptr;
    if (g_pFake) {
        g_pFake->kill();
        g_pFake->waitForFinished(3000);
        delete g_pFake;
        g_pFake = nullptr;
    }
}

// Floor: one plain copy of a 1280 x 1024 gray frame.
void BM_FrameCopyFloor(benchmark::State& state)
{
    std::vector<unsigned char> source(1280 * 1024, 7), target(1280 * 1024);
    for (auto _ : state) {
        std::memcpy(target.data(), source.data(), source.size());
        benchmark::DoNotOptimize(target.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(source.size()));
}
BENCHMARK(BM_FrameCopyFloor);

// GrabImage right after a frame arrived (the frame is converted by the grab
// itself, the camera thread keeps the camera's bytes): the latency the host adds between
// the camera's stream and the module's buffer.
void BM_GrabLatency(benchmark::State& state)
{
    if (!useFormat(int(state.range(0)))) {
        state.SkipWithError("the camera did not switch format");
        return;
    }
    state.SetLabel(kFormats[state.range(0)]);
    // Sized as the panel sizes it, from what the camera announces.
    const bool bColour = g_pCamera->IsColorful();
    std::vector<unsigned char> buffer(size_t(HXL_RefreshCameraThread::FrameBytes(
        g_pCamera->GetImageWidth(true), g_pCamera->GetImageHeight(true), bColour)));
    double dTotalUs = 0.0;
    int nFailed = 0;
    // A frame of the format used before may still be the newest: let it pass.
    g_pCamera->waitForFrame(g_pCamera->framesReceived(), 1000);
    for (auto _ : state) {
        state.PauseTiming();
        const quint64 nFrames = g_pCamera->framesReceived();
        g_pCamera->waitForFrame(nFrames, 1000);
        state.ResumeTiming();
        if (g_pCamera->GrabImage(buffer.data()) != 0)
            ++nFailed;
        dTotalUs += double(hostsim::steadyMicroseconds() - g_pCamera->newestFrameArrivalUs());
    }
    state.counters["arrival_to_copied_us"] = dTotalUs / double(std::max<int64_t>(1, state.iterations()));
    state.counters["failed"] = nFailed;
}
BENCHMARK(BM_GrabLatency)->Arg(0)->Arg(1)->Arg(2)->Iterations(50)->Unit(benchmark::kMicrosecond);

// The whole chain with the panel's refresh thread: frames that reach the label per second.
void BM_FramesToLabel(benchmark::State& state)
{
    if (!useFormat(int(state.range(0)))) {
        state.SkipWithError("the camera did not switch format");
        return;
    }
    state.SetLabel(kFormats[state.range(0)]);
    IZKCostomCameraWidget* pInterface = IZKCostomCameraWidget::NewInstance(nullptr);
    pInterface->InitWidget();
    auto* pPanel = static_cast<ZKCostomCameraWidget*>(pInterface);
    pPanel->resize(800, 290);
    pPanel->show();
    for (auto _ : state) {
        const int nStart = g_pCamera->grabCount();
        const quint64 nReceivedStart = g_pCamera->framesReceived();
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < 3000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        const double dSeconds = clock.elapsed() / 1000.0;
        state.counters["label_fps"] = (g_pCamera->grabCount() - nStart) / dSeconds;
        state.counters["camera_fps"] = double(g_pCamera->framesReceived() - nReceivedStart) / dSeconds;
    }
    delete pPanel;
}
BENCHMARK(BM_FramesToLabel)->Arg(0)->Arg(1)->Arg(2)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir dir;
    hostsim::HostSim::reset(dir.path());
    HXL_CameraUI_ReadParam();
    benchmark::Initialize(&argc, argv);
    if (!startFakeCamera(QStringLiteral("Mono8"))) {
        std::fprintf(stderr, "bench_genicam: the fake camera (arv-fake-gv-camera-0.8, aravis-tools) does not run\n");
        stopFakeCamera();
        return 1;
    }
    std::printf("fake camera 1280 x 1024 at 25 fps (its default); the panel polls every 100 ms\n");
    benchmark::RunSpecifiedBenchmarks();
    stopFakeCamera();
    benchmark::Shutdown();
    return 0;
}

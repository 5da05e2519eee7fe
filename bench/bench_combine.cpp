// The host's image combining along a straight stretch of travel, for 10 and 50
// frames, with the machine's moves instant (speed 0) so that only the grabs
// and the mosaic are measured.
//
// Each figure stands beside floors measured in the same iteration:
//  - grab floor: the same camera grabbing the same number of frames at the same
//    machine positions, without laying them into a picture;
//  - canvas floor: making a zeroed canvas of the combined picture's size and
//    copying it into a QImage once (the unavoidable cost of a picture that big).
// Memory: the peak resident growth while one combine runs (the kernel's peak
// counter is reset just before) beside the size of the combined picture, and
// the resident growth left behind once the picture is released.

#include "HostJournal.h"
#include "HostSim.h"
#include "cameras/SimCamera.h"
#include "drawing/SimDrawing.h"
#include "services/SimMachine.h"
#include "services/SimServices.h"

#include "host/IZKDatabase.h"

#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QImage>
#include <QTemporaryDir>

#include <opencv2/core.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point t0)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0.0;
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

// A field of /proc/self/status in kB ("VmRSS", "VmHWM"); 0 when unavailable.
long statusKb(const char* pszField)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    const std::string prefix = std::string(pszField) + ":";
    while (std::getline(status, line)) {
        if (line.compare(0, prefix.size(), prefix) == 0)
            return std::stol(line.substr(prefix.size()));
    }
    return 0;
}

// Resets the peak resident size (VmHWM) to the current one; false when the
// kernel does not allow it.
bool resetPeakRss()
{
    std::FILE* pFile = std::fopen("/proc/self/clear_refs", "w");
    if (!pFile)
        return false;
    const bool bOk = std::fputs("5", pFile) >= 0;
    return std::fclose(pFile) == 0 && bOk;
}

// A stretch along X that the combine covers with exactly nFrames frames: the
// combine steps by the field width less the overlap and takes
// ceil(length / step) + 1 frames, so half a step short of (n - 1) steps.
double stretchLengthFor(int nFrames, double dFieldWidth, double dOverlap)
{
    const double dStep = dFieldWidth * (1.0 - dOverlap);
    return (nFrames - 1.5) * dStep;
}

void BM_CombineStretch(benchmark::State& state)
{
    const int nFrames = static_cast<int>(state.range(0));
    hostsim::HostSim::machine().setSpeed(0.0);
    hostsim::HostSim::machine().setLimits(-5000.0, -5000.0, 5000.0, 5000.0);
    hostsim::SimCamera* pCamera = hostsim::HostSim::camera(0);
    const hostsim::CameraSetup setup = pCamera->setup();
    const double dFieldW = setup.width * setup.mmPerPixel;
    const double dFieldH = setup.height * setup.mmPerPixel;

    hostsim::SimCombineManager& combine = hostsim::HostSim::combineManager();
    const double dOverlap = combine.overlap();
    const double dLength = stretchLengthFor(nFrames, dFieldW, dOverlap);
    const double dStartX = -dLength / 2.0;
    const double dEndX = dLength / 2.0;
    const double dY = 3.0;
    combine.SetCombineStartPos(ZKGePoint(dStartX, dY, 0.0));
    combine.SetCombineEndPos(ZKGePoint(dEndX, dY, 0.0));
    combine.SetCameraIndex(0);

    // The canvas the combine fills: the stretch widened by half a field each side.
    const int nCanvasW = static_cast<int>(std::lround((dLength + dFieldW) / setup.mmPerPixel));
    const int nCanvasH = static_cast<int>(std::lround(dFieldH / setup.mmPerPixel));
    const int nChannels = setup.colour ? 3 : 1;
    const double dCanvasMb = double(nCanvasW) * nCanvasH * nChannels / (1024.0 * 1024.0);

    std::vector<double> combineMs, grabMs, canvasMs, peakMb, leftMb;
    for (auto _ : state) {
        // --- the combine --------------------------------------------------------
        hostsim::HostSim::machine().setPosition(0.0, 0.0);
        const long nRssBefore = statusKb("VmRSS");
        const bool bPeak = resetPeakRss();
        auto t0 = Clock::now();
        IZKDbImage* pImage = combine.CombineImage();
        const double dCombine = msSince(t0);
        const long nPeak = statusKb("VmHWM");
        if (!pImage || combine.lastFrameCount() != nFrames) {
            state.SkipWithError("the combine did not take the expected frames");
            if (pImage)
                pImage->Release();
            break;
        }
        int w = 0, h = 0;
        pImage->GetImageSize(w, h);
        if (w != nCanvasW || h != nCanvasH) {
            state.SkipWithError("unexpected picture size");
            pImage->Release();
            break;
        }
        pImage->Release();
        const long nRssAfter = statusKb("VmRSS");
        state.SetIterationTime(dCombine / 1000.0);
        combineMs.push_back(dCombine);
        if (bPeak)
            peakMb.push_back((nPeak - nRssBefore) / 1024.0);
        leftMb.push_back((nRssAfter - nRssBefore) / 1024.0);

        // --- floor: the same grabs at the same positions, no mosaic -------------
        hostsim::HostSim::machine().setPosition(0.0, 0.0);
        cv::Mat frame;
        t0 = Clock::now();
        for (int i = 0; i < nFrames; ++i) {
            const double f = nFrames > 1 ? double(i) / (nFrames - 1) : 0.0;
            hostsim::HostSim::machine().startMove(dStartX + (dEndX - dStartX) * f, dY);
            hostsim::HostSim::machine().waitIdle();
            pCamera->grabFrame(frame);
            benchmark::DoNotOptimize(frame.data);
        }
        grabMs.push_back(msSince(t0));

        // --- floor: a zeroed canvas of the picture's size, copied into a QImage --
        t0 = Clock::now();
        {
            cv::Mat canvas(nCanvasH, nCanvasW, setup.colour ? CV_8UC3 : CV_8UC1, cv::Scalar::all(0));
            const QImage image = hostsim::imageFromFrame(canvas);
            benchmark::DoNotOptimize(image.constBits());
        }
        canvasMs.push_back(msSince(t0));
    }
    if (combineMs.empty())
        return;

    const double dCombine = median(combineMs);
    const double dGrab = median(grabMs);
    const double dCanvas = median(canvasMs);
    state.counters["combine_ms"] = dCombine;
    state.counters["per_frame_ms"] = dCombine / nFrames;
    state.counters["floor_grabs_ms"] = dGrab;
    state.counters["floor_grab_per_frame_ms"] = dGrab / nFrames;
    state.counters["floor_canvas_ms"] = dCanvas;
    state.counters["x_floor"] = dCombine / (dGrab + dCanvas);
    state.counters["canvas_MB"] = dCanvasMb;
    if (!peakMb.empty()) {
        state.counters["peak_rss_growth_MB"] = median(peakMb);
        state.counters["peak_x_canvas"] = median(peakMb) / dCanvasMb;
    }
    state.counters["rss_left_MB"] = median(leftMb);
    state.SetLabel(std::to_string(nFrames) + " frames " + std::to_string(setup.width) + "x" +
                   std::to_string(setup.height) + ", canvas " + std::to_string(nCanvasW) + "x" +
                   std::to_string(nCanvasH) + ", overlap " + std::to_string(dOverlap).substr(0, 4));
}

} // namespace

BENCHMARK(BM_CombineStretch)->Arg(10)->Iterations(10)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CombineStretch)->Arg(50)->Iterations(5)->UseManualTime()->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTemporaryDir dir;
    hostsim::HostSim::reset(dir.path());
    hostsim::HostSim::journal().setEnabled(false);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

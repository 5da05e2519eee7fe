// The host's picture pre-processing with every feature on, beside a plain
// colour-to-gray conversion of the same frame as the floor.

#include "HostJournal.h"
#include "HostSim.h"
#include "SimCameraManager.h"
#include "SimPreprocess.h"

#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QTemporaryDir>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <chrono>
#include <vector>

namespace {

void everythingOn(IZKVisionCameraManager& m)
{
    m.nSatMode = 2;
    m.bSatDef = false;
    m.nSatValue = 70;
    m.nBriMode = 2;
    m.bBriDef = false;
    m.nBriValue = 60;
    m.nBriWidth = 31;
    m.bGrayPro = true;
    m.nGrayValue = 50;
    m.nGrayWidth = 200;
    m.bGoInterfere = true;
    m.bGoInterfereDef = false;
    m.nGoInterfereValue = 20;
    m.nSharpenKernel = 5;
    m.bSharpening = 1;
    m.nAdvancedSetting = 1;
    m.nMorphologyType = 3;
    m.nMorphologyW = 3;
    m.nMorphologyH = 3;
    m.nAdvancedSetting1 = 1;
    m.vecMorphology = {{1, 3, 1, 0}, {4, 3, 1, 0}};
    m.nFilterMode = 1;
    m.nFilterMin = 10;
    m.nFilterMax = 20;
    m.nFilterPoleMode = 2;
    m.nFilterPoleValue = 240;
    m.bGrayscaleEqualization = true;
    m.bIsInver = true;
}

cv::Mat testFrame(int w, int h)
{
    cv::Mat frame(h, w, CV_8UC3);
    cv::randu(frame, cv::Scalar::all(0), cv::Scalar::all(255));
    cv::GaussianBlur(frame, frame, cv::Size(0, 0), 3.0);
    return frame;
}

void BM_Preprocess(benchmark::State& state)
{
    const int w = static_cast<int>(state.range(0));
    const int h = static_cast<int>(state.range(1));
    hostsim::SimCameraManager& m = hostsim::HostSim::cameraManager();
    m.resetRecord();
    everythingOn(m);
    const cv::Mat source = testFrame(w, h);

    std::vector<double> floors;
    cv::Mat gray;
    for (int i = 0; i < 21; ++i) {
        const auto t0 = std::chrono::steady_clock::now();
        cv::cvtColor(source, gray, cv::COLOR_RGB2GRAY);
        floors.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count());
    }
    std::nth_element(floors.begin(), floors.begin() + 10, floors.end());

    std::vector<double> times;
    for (auto _ : state) {
        state.PauseTiming();
        cv::Mat frame = source.clone();
        state.ResumeTiming();
        const auto t0 = std::chrono::steady_clock::now();
        hostsim::preprocessImage(frame, m);
        times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count());
        benchmark::DoNotOptimize(frame.data);
    }
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    state.counters["median_ms"] = times[times.size() / 2];
    state.counters["floor_cvtColor_ms"] = floors[10];
    state.counters["x_floor"] = times[times.size() / 2] / floors[10];
    state.SetLabel(std::to_string(w) + "x" + std::to_string(h) + " colour, every feature on");
}

} // namespace

BENCHMARK(BM_Preprocess)->Args({1280, 1024})->Args({2592, 1944})->Unit(benchmark::kMillisecond)->MinTime(2.0);

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

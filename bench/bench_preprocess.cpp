// The host's picture pre-processing with every feature on, beside a plain
// colour-to-gray conversion of the same frame as the floor.

#include "HostJournal.h"
#include "HostSim.h"
#include "services/SimCameraManager.h"
#include "processing/SimPreprocess.h"

#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QTemporaryDir>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>
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

// One stage at a time (every other stage off), to see where the time goes.
struct Stage
{
    const char* name;
    void (*enable)(IZKVisionCameraManager&);
};

const Stage kStages[] = {
    {"saturation", [](IZKVisionCameraManager& m) { m.nSatMode = 2; m.bSatDef = false; m.nSatValue = 70; }},
    {"brightness", [](IZKVisionCameraManager& m) { m.nBriMode = 2; m.bBriDef = false; m.nBriValue = 60; m.nBriWidth = 31; }},
    {"gray processing", [](IZKVisionCameraManager& m) { m.bGrayPro = true; m.nGrayValue = 50; m.nGrayWidth = 200; }},
    {"de-interference", [](IZKVisionCameraManager& m) { m.bGoInterfere = true; m.bGoInterfereDef = false; m.nGoInterfereValue = 20; }},
    {"sharpening", [](IZKVisionCameraManager& m) { m.nSharpenKernel = 5; m.bSharpening = 1; }},
    {"morphology", [](IZKVisionCameraManager& m) { m.nAdvancedSetting = 1; m.nMorphologyType = 3; m.nMorphologyW = 3; m.nMorphologyH = 3; }},
    {"morphology list", [](IZKVisionCameraManager& m) { m.nAdvancedSetting1 = 1; m.vecMorphology = {{1, 3, 1, 0}, {4, 3, 1, 0}}; }},
    {"range and pole filters", [](IZKVisionCameraManager& m) { m.nFilterMode = 1; m.nFilterMin = 10; m.nFilterMax = 20; m.nFilterPoleMode = 2; m.nFilterPoleValue = 240; }},
    {"equalization", [](IZKVisionCameraManager& m) { m.bGrayscaleEqualization = true; }},
    {"inversion", [](IZKVisionCameraManager& m) { m.bIsInver = true; }},
};

void BM_PreprocessStage(benchmark::State& state)
{
    const Stage& stage = kStages[state.range(0)];
    hostsim::SimCameraManager& m = hostsim::HostSim::cameraManager();
    m.resetRecord();
    stage.enable(m);
    const cv::Mat source = testFrame(1280, 1024);
    cv::Mat frame;
    for (auto _ : state) {
        state.PauseTiming();
        frame = source.clone();
        state.ResumeTiming();
        hostsim::preprocessImage(frame, m);
        benchmark::DoNotOptimize(frame.data);
    }
    state.SetLabel(std::string("1280x1024 colour, ") + stage.name + " only");
}

} // namespace

BENCHMARK(BM_PreprocessStage)->DenseRange(0, int(std::size(kStages)) - 1)->Unit(benchmark::kMillisecond);
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

// Frame composition of the live video thread (aspect fit into the label,
// white fill, crosshair) for several camera sizes, beside two floors measured
// in the same run: writing the label-sized output once, and a single-threaded
// nearest-neighbour cv::resize of the same frame to the label size.

#include "HXL_RefreshCameraThread.h"

#include <benchmark/benchmark.h>

#include <QGuiApplication>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <vector>

namespace {

constexpr int kLabelW = 640;
constexpr int kLabelH = 480;

// A frame buffer as the camera fills it (rows padded to 4 bytes).
std::vector<unsigned char> makeFrame(int w, int h, bool bColour)
{
    std::vector<unsigned char> frame(static_cast<size_t>(HXL_RefreshCameraThread::FrameBytes(w, h, bColour)));
    for (size_t i = 0; i < frame.size(); ++i)
        frame[i] = static_cast<unsigned char>((i * 7) ^ (i >> 11));
    return frame;
}

template <class Fn>
double medianMicroseconds(Fn&& fn, int nRuns = 31)
{
    std::vector<double> times;
    for (int i = 0; i < nRuns; ++i) {
        const auto t0 = std::chrono::steady_clock::now();
        fn();
        const auto t1 = std::chrono::steady_clock::now();
        times.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
    }
    std::nth_element(times.begin(), times.begin() + nRuns / 2, times.end());
    return times[nRuns / 2];
}

void BM_ComposeFrame(benchmark::State& state)
{
    const int w = static_cast<int>(state.range(0));
    const int h = static_cast<int>(state.range(1));
    const bool bColour = state.range(2) != 0;
    const std::vector<unsigned char> frame = makeFrame(w, h, bColour);

    // Floors, measured now, in this run.
    std::vector<unsigned char> target(static_cast<size_t>(kLabelW) * kLabelH * 4);
    const double dWriteUs = medianMicroseconds([&] {
        std::memset(target.data(), 0xFF, target.size());
        benchmark::DoNotOptimize(target.data());
    });
    cv::setNumThreads(1);
    const cv::Mat source(h, w, bColour ? CV_8UC3 : CV_8UC1, const_cast<unsigned char*>(frame.data()),
                         static_cast<size_t>(HXL_RefreshCameraThread::FrameStride(w, bColour)));
    cv::Mat resized;
    const double dResizeUs = medianMicroseconds([&] {
        cv::resize(source, resized, cv::Size(kLabelW, kLabelH), 0, 0, cv::INTER_NEAREST);
        benchmark::DoNotOptimize(resized.data);
    });

    std::vector<double> times;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        QImage composed = HXL_RefreshCameraThread::ComposeImage(frame.data(), bColour, w, h, kLabelW, kLabelH);
        benchmark::DoNotOptimize(composed.constBits());
        const auto t1 = std::chrono::steady_clock::now();
        const double dSeconds = std::chrono::duration<double>(t1 - t0).count();
        state.SetIterationTime(dSeconds);
        times.push_back(dSeconds * 1e6);
    }
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    const double dMedianUs = times[times.size() / 2];
    state.counters["median_us"] = dMedianUs;
    state.counters["floor_write_us"] = dWriteUs;
    state.counters["floor_resize_us"] = dResizeUs;
    state.counters["x_resize"] = dMedianUs / dResizeUs;
    state.counters["x_write"] = dMedianUs / dWriteUs;
    state.SetLabel(std::to_string(w) + "x" + std::to_string(h) + (bColour ? " colour" : " gray"));
}

} // namespace

BENCHMARK(BM_ComposeFrame)
    ->Args({1280, 1024, 1})
    ->Args({1280, 1024, 0})
    ->Args({2592, 1944, 1})
    ->Args({2592, 1944, 0})
    ->Args({5472, 3648, 1})
    ->Args({5472, 3648, 0})
    ->Args({1001, 801, 0}) // rows padded to 4 bytes
    ->Args({1003, 601, 1})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->MinTime(1.0);

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? QByteArray("offscreen") : qgetenv("QT_QPA_PLATFORM"));
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

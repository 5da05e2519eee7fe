// A 1280 x 1024 camera picture of each pixel format turned into a host frame,
// beside the floor of one plain copy of the host frame's bytes (gray 1.3 MB,
// colour 3.9 MB) in the same run. No device.

#include "cameras/PixelFormats.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace {

constexpr int kWidth = 1280;
constexpr int kHeight = 1024;

struct Case
{
    const char* name;
    uint32_t format;
};

const Case kCases[] = {
    {"Mono8", hostsim::pfnc::Mono8},         {"Mono16", hostsim::pfnc::Mono16},
    {"Mono12", hostsim::pfnc::Mono12},       {"Mono10p", hostsim::pfnc::Mono10p},
    {"Mono12p", hostsim::pfnc::Mono12p},     {"Mono10Packed", hostsim::pfnc::Mono10Packed},
    {"Mono12Packed", hostsim::pfnc::Mono12Packed}, {"RGB8", hostsim::pfnc::RGB8},
    {"BGR8", hostsim::pfnc::BGR8},           {"BayerRG8", hostsim::pfnc::BayerRG8},
    {"BayerRG12", hostsim::pfnc::BayerRG12}, {"YUV422_8", hostsim::pfnc::YUV422_8},
};

// Floor: copying the host frame's bytes once (Arg 1 gray, 3 colour).
void BM_CopyFloor(benchmark::State& state)
{
    const size_t nBytes = size_t(kWidth) * kHeight * size_t(state.range(0));
    std::vector<unsigned char> source(nBytes, 7), target(nBytes);
    for (auto _ : state) {
        std::memcpy(target.data(), source.data(), nBytes);
        benchmark::DoNotOptimize(target.data());
    }
    state.SetLabel(state.range(0) == 1 ? "gray frame" : "colour frame");
}
BENCHMARK(BM_CopyFloor)->Arg(1)->Arg(3)->Unit(benchmark::kMicrosecond);

// One picture converted into a frame that already has its size (as the
// host's grab writes into the client's buffer).
void BM_Convert(benchmark::State& state)
{
    const Case& c = kCases[state.range(0)];
    const size_t nBytes = hostsim::pixelFormatMinimumBytes(c.format, kWidth, kHeight);
    std::vector<unsigned char> raw(nBytes);
    for (size_t i = 0; i < nBytes; ++i)
        raw[i] = static_cast<unsigned char>(i * 131 + i / 4099);
    cv::Mat out(kHeight, kWidth, hostsim::pixelFormatChannels(c.format) == 3 ? CV_8UC3 : CV_8UC1);
    for (auto _ : state) {
        if (!hostsim::convertPixels(c.format, kWidth, kHeight, raw.data(), raw.size(), out, nullptr)) {
            state.SkipWithError("conversion refused");
            return;
        }
        benchmark::DoNotOptimize(out.data);
    }
    state.SetLabel(c.name);
}
BENCHMARK(BM_Convert)->DenseRange(0, int(sizeof kCases / sizeof kCases[0]) - 1)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();

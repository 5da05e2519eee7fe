// What the camera calibration costs.
//
//  - A turned camera's frame is turned into the machine's axes as it is made
//    (1280 x 1024, RGB and gray), beside a copy of the same frame as the floor.
//  - The simulated camera's grab with and without that turn (the rendering of
//    the workpiece is in both: a new machine position every time).
//  - A whole calibration run (nine positions, instant moves) beside the floor
//    of rendering the ten pictures it looks at.

#include "HostSim.h"
#include "calibration/CalibrationRun.h"
#include "calibration/CameraModel.h"
#include "cameras/SimCamera.h"
#include "services/SimCameraManager.h"
#include "services/SimMachine.h"

#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QTemporaryDir>

#include <opencv2/core.hpp>

namespace {

hostsim::CameraModel turned()
{
    hostsim::CameraModel model = hostsim::CameraModel::plain(0.021);
    model.mmPerPixelY = 0.020;
    model.rotationDeg = 3.0;
    return model;
}

cv::Mat picture(int nType)
{
    cv::Mat frame(1024, 1280, nType);
    cv::randu(frame, cv::Scalar::all(0), cv::Scalar::all(255));
    return frame;
}

void BM_CopyFloor(benchmark::State& state)
{
    const cv::Mat frame = picture(state.range(0) == 3 ? CV_8UC3 : CV_8UC1);
    for (auto _ : state)
        benchmark::DoNotOptimize(frame.clone().data);
}
BENCHMARK(BM_CopyFloor)->Arg(3)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_AlignFrame(benchmark::State& state)
{
    const cv::Mat frame = picture(state.range(0) == 3 ? CV_8UC3 : CV_8UC1);
    const hostsim::CameraModel model = turned();
    for (auto _ : state)
        benchmark::DoNotOptimize(model.alignFrame(frame).data);
}
BENCHMARK(BM_AlignFrame)->Arg(3)->Arg(1)->Unit(benchmark::kMillisecond);

// Arg 1: the host's calibration turns the frames; 0: the camera's own picture.
void BM_SimGrab(benchmark::State& state)
{
    hostsim::HostSim::removeAllCameras();
    hostsim::CameraSetup setup;
    setup.rotationDeg = 3.0;
    hostsim::SimCamera* pCamera = hostsim::HostSim::addCamera(setup);
    if (state.range(0))
        hostsim::HostSim::cameraManager().setCameraModel(0, turned());
    double x = 0.0;
    cv::Mat frame;
    for (auto _ : state) {
        x += 0.01;
        hostsim::HostSim::machine().setPosition(x, 0.0);
        pCamera->grabFrame(frame);
    }
}
BENCHMARK(BM_SimGrab)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_RenderTenFloor(benchmark::State& state)
{
    hostsim::HostSim::removeAllCameras();
    hostsim::SimCamera* pCamera = hostsim::HostSim::addCamera(hostsim::CameraSetup());
    for (auto _ : state)
        for (int i = 0; i < 10; ++i)
            benchmark::DoNotOptimize(pCamera->renderFrameAt(0.1 * i, 0.0).data);
}
BENCHMARK(BM_RenderTenFloor)->Unit(benchmark::kMillisecond);

void BM_CalibrationRun(benchmark::State& state)
{
    hostsim::HostSim::removeAllCameras();
    hostsim::SimCamera* pCamera = hostsim::HostSim::addCamera(hostsim::CameraSetup());
    hostsim::HostSim::machine().setSpeed(0.0);
    for (auto _ : state) {
        hostsim::HostSim::machine().setPosition(0.0, 0.0);
        hostsim::CalibrationRun run(pCamera, &hostsim::HostSim::machine(), 3.0);
        if (!run.run())
            state.SkipWithError(qPrintable(run.failure()));
    }
}
BENCHMARK(BM_CalibrationRun)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? QByteArray("offscreen")
                                                                    : qgetenv("QT_QPA_PLATFORM"));
    QGuiApplication app(argc, argv); // the workpiece's text needs fonts
    QTemporaryDir dir;
    hostsim::HostSim::reset(dir.path());
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    hostsim::HostSim::removeAllCameras();
    return 0;
}

// The panel's photograph command end to end with the replacement host,
// 1280 x 1024 colour, split into the host's time and the module's own: the
// same host operations are also run directly, in the same order, without the
// panel, and the module's share is the difference.

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"
#include "IZKCostomCameraWidget.h"
#include "ZKCostomCameraWidget.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "services/SimCameraManager.h"
#include "drawing/SimDrawing.h"
#include "services/SimEvents.h"

#include "host/HXL_HostFunctions.h"
#include "host/IZKDatabase.h"
#include "host/IZKEventManger.h"
#include "host/ZKAppService.h"
#include "host/ZKWindowManager.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <vector>

namespace {

ZKCostomCameraWidget* g_pPanel = nullptr;

double medianMs(std::vector<double> v)
{
    std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
    return v[v.size() / 2];
}

// What the photograph command asks of the host, in its order, without the panel.
void hostOperationsOfACapture()
{
    IMainWindow* pMain = ZKWindowManager::singleton().getMainWindow();
    ZKProgressUI* pProgress = pMain->GetProgressUI();
    int w = 0, h = 0;
    FTGetScreenSize(0, w, h);
    pProgress->move(w / 2, h / 2);
    pProgress->show();
    pProgress->UpdateProgress(2, QStringLiteral("processing"));
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->GetCameraCount();
    IZKDatabase* pDb = HXL_GetAppService()->GetMainApp()->GetDocument()->GetDatabase();
    pProgress->UpdateProgress(10, QStringLiteral("processing"));
    ClearLayerData(pDb, 210, true);
    int n = 0;
    IZKEventManger::singleton()->FireEvent(3, 902, &n);
    pManager->SaveImageFile(GetCurrentWorkPath() + "VisSourcePic.jpg");
    double x = 0, y = 0;
    HXL_GetCurPos(x, y);
    MovableCam_SetCurMachineMmPos(x, y);
    pManager->CalibrateImages();
    IZKBound* pBound = pManager->GetCamerasCalImageBound();
    pManager->GetImageAdapter()->IsEmpty();
    pProgress->UpdateProgress(70, QStringLiteral("process"));
    pManager->PreprocessImage();
    IZKDbImage* pImage = pManager->GetImageAdapter()->CreateDbImage();
    pImage->SetLayer(pDb->GetLayerTable()->GetLayer(210));
    pImage->SetExtents(pBound->GetMinX(), pBound->GetMinY(), pBound->GetMaxX(), pBound->GetMaxY());
    pDb->GetShapeTable()->AppendEntity(pImage);
    double l, r, b, t;
    Dll_HXL_VisionFeature_GetSearchRangeCalibPer(l, r, b, t);
    HXL_AddImageRange(pDb, pBound, pDb->GetShapeTable(), pDb->GetLayerTable(), l, r, b, t, 480);
    Dll_HXL_VisionFeature_GetSearchRangeSelectedPer(l, r, b, t);
    HXL_AddImageRange(pDb, pBound, pDb->GetShapeTable(), pDb->GetLayerTable(), l, r, b, t, 360);
    IZKEventManger::singleton()->FireEvent(0, 405, nullptr);
    pDb->Update();
    HXL_GetAppService()->GetMainApp()->GetDocument()->GetView()->RefreshView(true);
    pProgress->UpdateProgress(100, QStringLiteral("process"));
    pProgress->hide();
}

void BM_Capture(benchmark::State& state)
{
    std::vector<double> total, host;
    for (auto _ : state) {
        auto t0 = std::chrono::steady_clock::now();
        g_pPanel->slotCapture();
        auto t1 = std::chrono::steady_clock::now();
        hostOperationsOfACapture();
        auto t2 = std::chrono::steady_clock::now();
        total.push_back(std::chrono::duration<double, std::milli>(t1 - t0).count());
        host.push_back(std::chrono::duration<double, std::milli>(t2 - t1).count());
    }
    const double dTotal = medianMs(total);
    const double dHost = medianMs(host);
    state.counters["total_ms"] = dTotal;
    state.counters["host_ms"] = dHost;
    state.counters["module_ms"] = dTotal - dHost;
    state.SetLabel("1280x1024 colour; module share = total - the same host calls made directly");
}

} // namespace

BENCHMARK(BM_Capture)->Unit(benchmark::kMillisecond)->Iterations(40);

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir dir;
    hostsim::HostSim::reset(dir.path());
    hostsim::HostSim::journal().setEnabled(false);
    HXL_CameraUI_ReadParam();
    isOpenVideo = 0; // the live thread stays parked: only the command is measured
    g_pPanel = static_cast<ZKCostomCameraWidget*>(IZKCostomCameraWidget::NewInstance(nullptr));
    g_pPanel->InitWidget();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    hostsim::eventManager().removeListenerEverywhere(g_pPanel);
    delete g_pPanel;
    return 0;
}

// The minimal host's program: it sets up the services of its eight libraries,
// starts the module, makes a panel through the factory, shows live video from
// the test-pattern camera, takes a photograph onto its in-memory drawing,
// pauses and resumes the video with host events, and ends cleanly.
//
//   minimal_host [WORK_DIR]
//
// It prints what it saw, one "name: value" line each, and exits with 0 when
// everything held; with a message and a non-zero code otherwise.

#include "MinimalHost.h"

#include <HXL_CameraUI.h>
#include <IZKCostomCameraWidget.h>
#include <host/HXL_HostFunctions.h>
#include <host/IZKDatabase.h>
#include <host/IZKEventManger.h>

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <thread>

namespace {

int fail(const char* szWhat)
{
    std::fprintf(stderr, "minimal_host: %s\n", szWhat);
    return 1;
}

// Runs the event loop until bDone answers true or nMs have passed.
bool runUntil(const std::function<bool()>& bDone, int nMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!bDone()) {
        if (timer.elapsed() > nMs)
            return false;
        QApplication::processEvents(QEventLoop::AllEvents, 20);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

// The host's own listener: counts what the panel fires.
class HostListener : public IZKEventListener
{
public:
    void OnEvent(int nEventId, int*) override { ++m_counts[nEventId]; }
    int count(int nEventId) const
    {
        auto it = m_counts.find(nEventId);
        return it == m_counts.end() ? 0 : it->second;
    }

private:
    std::map<int, int> m_counts;
};

// True when the picture holds a pixel close to (r, g, b).
bool shows(const QImage& image, int r, int g, int b)
{
    for (int y = 0; y < image.height(); y += 2)
        for (int x = 0; x < image.width(); x += 2) {
            const QRgb px = image.pixel(x, y);
            if (std::abs(qRed(px) - r) < 40 && std::abs(qGreen(px) - g) < 40 && std::abs(qBlue(px) - b) < 40)
                return true;
        }
    return false;
}

} // namespace

int main(int argc, char* argv[])
{
    // Whatever happens, the program ends: a hang is a failure too.
    std::thread([] {
        std::this_thread::sleep_for(std::chrono::seconds(60));
        std::fprintf(stderr, "minimal_host: still running after 60 s\n");
        std::_Exit(3);
    }).detach();

    QApplication app(argc, argv);

    QTemporaryDir tempDir;
    const QString strWork = argc > 1 ? QString::fromLocal8Bit(argv[1]) : tempDir.path();
    if (!QDir().mkpath(strWork))
        return fail("cannot make the work directory");

    // 1. The host is ready before the module is used: work path, language,
    //    every service in the registry.
    MinimalHost_SetWorkPath(QDir::toNativeSeparators(QDir(strWork).absolutePath() + QLatin1Char('/')).toLocal8Bit().toStdString());
    MinimalHost_SetLanguage("en");
    MinimalHost_RegisterDrawingServices();
    MinimalHost_RegisterCameraManager();
    MinimalHost_RegisterVisionServices();
    MinimalHost_RegisterAppService();
    MinimalHost_RegisterRobotService();
    // The operator's search range, as the host keeps it (HXL_VisionFeature).
    Dll_HXL_VisionFeature_SetSearchRangeSelectedPer(0.1, 0.9, 0.1, 0.9);
    HostListener listener;
    IZKEventManger::singleton()->AddListener(0, &listener);
    IZKEventManger::singleton()->AddListener(3, &listener);

    // 2. The module's start, then one panel through the factory.
    if (HXL_CameraUI_ReadParam() != 0)
        return fail("HXL_CameraUI_ReadParam did not return 0");
    IZKCostomCameraWidget* pPanel = IZKCostomCameraWidget::NewInstance(nullptr);
    if (!pPanel)
        return fail("the panel factory gave no panel");
    pPanel->InitWidget();
    QWidget* pWidget = pPanel->GetWidget();
    pWidget->resize(900, 290);
    pWidget->show();

    // 3. Live video: the camera delivers frames and the panel shows the pattern.
    const long nBefore = MinimalHost_FramesDelivered();
    if (!runUntil([&] { return MinimalHost_FramesDelivered() >= nBefore + 10; }, 20000))
        return fail("the panel took fewer than 10 frames in 20 s");
    QImage shown;
    const bool bShown = runUntil(
        [&] {
            shown = pWidget->grab().toImage();
            return shows(shown, 255, 0, 0) && shows(shown, 0, 0, 255) && shows(shown, 255, 0, 255);
        },
        5000);
    if (!bShown)
        return fail("the panel does not show the test pattern's red, blue and magenta bars");
    std::printf("frames delivered: %ld\n", MinimalHost_FramesDelivered() - nBefore);
    std::printf("test pattern shown: yes\n");

    // 4. Host events: 1201 pauses the video, 1202 resumes it.
    IZKEventManger::singleton()->FireEvent(3, 1201, nullptr);
    const long nPaused = MinimalHost_FramesDelivered();
    runUntil([] { return false; }, 500);
    const long nDuringPause = MinimalHost_FramesDelivered() - nPaused;
    IZKEventManger::singleton()->FireEvent(3, 1202, nullptr);
    const long nResumed = MinimalHost_FramesDelivered();
    if (!runUntil([&] { return MinimalHost_FramesDelivered() >= nResumed + 3; }, 10000))
        return fail("the video did not resume after event 1202");
    if (nDuringPause > 1)
        return fail("the video went on during the pause (event 1201)");
    std::printf("paused and resumed: yes\n");

    // 5. A photograph, as the operator takes it: the button whose caption the
    //    host's language table gave (text 0), once the machine is idle.
    QPushButton* pPhoto = nullptr;
    for (QPushButton* pButton : pWidget->findChildren<QPushButton*>())
        if (pButton->text() == QStringLiteral("Photograph"))
            pPhoto = pButton;
    if (!pPhoto)
        return fail("no photograph button");
    if (!runUntil([&] { return pPhoto->isEnabled(); }, 5000))
        return fail("the photograph button stays disabled");
    pPhoto->click();
    runUntil([&] { return listener.count(405) > 0; }, 10000);
    if (listener.count(902) != 1 || listener.count(405) != 1)
        return fail("the photograph did not fire 902 and 405 once each");

    // The drawing: the picture on layer 210, at the calibrated extent around
    // the machine position (10, 20), and the two search ranges (480, 360).
    IZKShapeTable* pShapes = MinimalHost_Database()->GetShapeTable();
    int nPictures = 0, nRanges = 0;
    double dMinX = 0, dMinY = 0, dMaxX = 0, dMaxY = 0;
    for (int i = 0; i < pShapes->GetEntityCount(); ++i) {
        IZKEntity* pEntity = pShapes->GetEntityAt(i);
        const int nLayer = pEntity->GetLayer() ? pEntity->GetLayer()->GetLayerId() : 0;
        if (pEntity->GetEntityType() == ZKEntity_Image && nLayer == 210) {
            ++nPictures;
            static_cast<IZKDbImage*>(pEntity)->GetExtents(dMinX, dMinY, dMaxX, dMaxY);
        } else if (pEntity->GetEntityType() == ZKEntity_Polyline && (nLayer == 480 || nLayer == 360)) {
            ++nRanges;
        }
    }
    const double dHalfW = 640 * kMinimalHostMmPerPixel / 2, dHalfH = 480 * kMinimalHostMmPerPixel / 2;
    if (nPictures != 1)
        return fail("the photograph did not place one picture on layer 210");
    if (std::abs(dMinX - (10 - dHalfW)) > 1e-6 || std::abs(dMaxX - (10 + dHalfW)) > 1e-6 ||
        std::abs(dMinY - (20 - dHalfH)) > 1e-6 || std::abs(dMaxY - (20 + dHalfH)) > 1e-6)
        return fail("the picture is not placed at the calibrated extent");
    if (nRanges != 2)
        return fail("the photograph did not draw the two search ranges");
    if (!QFileInfo(QDir(strWork).filePath(QStringLiteral("VisSourcePic.jpg"))).isFile())
        return fail("no VisSourcePic.jpg in the work directory");
    // The module told the calibration where the machine was (HXL_VisionCameraCalibration).
    double dCalX = 0, dCalY = 0;
    MinimalHost_GetCalibrationPosition(dCalX, dCalY);
    if (std::abs(dCalX - 10) > 1e-9 || std::abs(dCalY - 20) > 1e-9)
        return fail("the photograph was not calibrated at the machine position");
    std::printf("photo placed: layer 210, extent %.2f %.2f %.2f %.2f mm\n", dMinX, dMinY, dMaxX, dMaxY);
    std::printf("calibrated at: %.2f %.2f mm\n", dCalX, dCalY);
    std::printf("search ranges drawn: %d\n", nRanges);
    std::printf("view refreshes: %d\n", MinimalHost_ViewRefreshes());

    // 6. The end: the panel leaves the event channels it joined, goes, and the
    //    module writes its settings.
    auto* pPanelListener = dynamic_cast<IZKEventListener*>(pWidget);
    if (!pPanelListener)
        return fail("the panel is not an event listener");
    for (int nChannel : {3, 2, 4})
        IZKEventManger::singleton()->RemoveListener(nChannel, pPanelListener);
    delete pWidget;
    HXL_CameraUI_TellAppExit();
    IZKEventManger::singleton()->RemoveListener(0, &listener);
    IZKEventManger::singleton()->RemoveListener(3, &listener);

    const QString strSettings = QDir(strWork).filePath(QStringLiteral("qcv.dat"));
    QSettings settings(strSettings, QSettings::IniFormat);
    if (!QFileInfo(strSettings).isFile() || settings.value(QStringLiteral("HXL_CameraUI/isOpenVideo")).toInt() != 1)
        return fail("qcv.dat was not written with isOpenVideo=1");
    std::printf("settings written: qcv.dat\n");
    std::printf("minimal_host: ok\n");
    return 0;
}

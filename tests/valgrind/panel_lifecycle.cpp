// One camera panel's whole life, for a memory checker (valgrind memcheck):
// build the panel, show 50 live frames, take a photo, open and cancel each of
// its dialogs, preview full screen (with one failed grab, whose buffer the
// preview keeps), show frames of odd widths (1001x801 gray, 1003x601 colour),
// destroy the panel. Prints each step; exits non-zero when a
// step does not happen (so that a run that checked nothing cannot pass).
//
// Run by tests/valgrind/run_memcheck.sh (ctest: valgrind_panel_lifecycle).

#include "../PanelTestSupport.h"

#include "HXL_RefreshCameraThread.h"
#include "ZKFullScreenUI.h"
#include "dialogs/HXL_AdvancedMorphologyDialog.h"
#include "dialogs/HXL_AdvancedPreprocessingDialog.h"

#include "cameras/SimCamera.h"

#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QPushButton>
#include <QTimer>

#include <cstdio>
#include <functional>

using hostsim::HostSim;
using namespace panel_test;

namespace {

int g_nFailures = 0;

void step(const char* what, bool bDone)
{
    std::printf("%s %s\n", bDone ? "done:  " : "FAILED:", what);
    std::fflush(stdout);
    if (!bDone)
        ++g_nFailures;
}

// Runs the event loop until pred() or the time is up (valgrind runs the
// program some 20 to 50 times slower than usual).
bool waitFor(const std::function<bool()>& pred, int nMs)
{
    QElapsedTimer clock;
    clock.start();
    while (!pred() && clock.elapsed() < nMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return pred();
}

// Closes the dialogs left open (top-level, visible) and deletes what they
// leave for later deletion.
int closeOpenDialogs()
{
    int nClosed = 0;
    for (QWidget* pWidget : QApplication::topLevelWidgets())
        if (auto* pDialog = qobject_cast<QDialog*>(pWidget); pDialog && pDialog->isVisible()) {
            pDialog->reject();
            pDialog->close();
            ++nClosed;
        }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return nClosed;
}

// A modal dialog opened by fn: rejected from the event loop once it shows.
bool cancelModal(const char* className, const std::function<void()>& fn)
{
    bool bSeen = false;
    QTimer closer;
    closer.setInterval(50);
    QObject::connect(&closer, &QTimer::timeout, [&] {
        QWidget* pModal = QApplication::activeModalWidget();
        if (pModal && qstrcmp(pModal->metaObject()->className(), className) == 0) {
            bSeen = true;
            static_cast<QDialog*>(pModal)->reject();
        }
    });
    closer.start();
    fn();
    closer.stop();
    return bSeen;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QTemporaryDir dir;
    freshHost(dir);
    HostSim::journal().setEnabled(false);

    ZKCostomCameraWidget* pPanel = makePanel();
    pPanel->show();
    step("panel built", pPanel->m_pRefreshThread != nullptr);

    int nFrames = 0;
    QObject::connect(pPanel->m_pRefreshThread, &HXL_RefreshCameraThread::updatePixmap, pPanel,
                     [&nFrames](const QPixmap&) { ++nFrames; });
    step("50 live frames", waitFor([&] { return nFrames >= 50; }, 600000));

    HostSim::journal().setEnabled(true);
    HostSim::journal().clear();
    pPanel->slotCapture();
    step("photo taken and placed",
         HostSim::journal().count(QStringLiteral("IZKVisionCameraManager::PreprocessImage()")) == 1);
    HostSim::journal().setEnabled(false);

    // The four small settings dialogs, each from its button.
    for (QPushButton* pButton : {pPanel->m_pSatSettingBtn, pPanel->m_pBriSettingBtn,
                                 pPanel->m_pDeInterferedSettingBtn, pPanel->m_pGraySettingBtn}) {
        pButton->setEnabled(true);
        pButton->click();
        step("settings dialog opened and cancelled", closeOpenDialogs() == 1);
    }
    // The advanced dialogs (non-modal, one each).
    pPanel->slotSeniorBtn();
    step("advanced pre-processing dialog opened", g_pPreprocessingDialog != nullptr);
    if (g_pPreprocessingDialog)
        QTest::keyClick(g_pPreprocessingDialog, Qt::Key_Escape);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    closeOpenDialogs();
    pPanel->slotSeniorBtn1();
    step("morphology dialog opened", g_pMorphologyDialog != nullptr);
    if (g_pMorphologyDialog)
        QTest::keyClick(g_pMorphologyDialog, Qt::Key_Escape);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    step("morphology dialog cancelled", g_pMorphologyDialog == nullptr);
    closeOpenDialogs();
    // The camera's own parameter dialog (modal).
    step("camera parameter dialog opened and cancelled",
         cancelModal("HXLCameraParameterSettingDialog", [&] { pPanel->slotCameraParameter(); }));
    // The open-picture dialog, cancelled (the file dialog answers nothing).
    ZKCostomCameraWidget::SetOpenFileNameFunction(
        [](QWidget*, const QString&, const QString&, const QString&) { return QString(); });
    pPanel->slotOpenThePicture();
    step("open-picture dialog cancelled", true);

    // Full screen: a few refreshes, one of them with a failed grab (the
    // preview keeps that tick's buffer: the one leak allowed), then Escape.
    int nTicks = 0;
    QTimer driver;
    driver.setInterval(100);
    QObject::connect(&driver, &QTimer::timeout, [&] {
        auto* pPreview = pPanel->findChild<ZKFullScreenUI*>();
        if (!pPreview)
            return;
        ++nTicks;
        // Long enough for at least one of the preview's own 200 ms ticks.
        if (nTicks == 3)
            HostSim::camera(0)->setGrabFails(true);
        if (nTicks == 9)
            HostSim::camera(0)->setGrabFails(false);
        if (nTicks == 14)
            QTest::keyClick(pPreview, Qt::Key_Escape);
    });
    driver.start();
    pPanel->slotShowPreviewFullScreen();
    driver.stop();
    step("full-screen preview shown and closed", nTicks >= 14);

    nFrames = 0;
    step("live frames again after the preview", waitFor([&] { return nFrames >= 3; }, 120000));

    // Frame widths whose rows are not a multiple of 4 bytes: the camera pads
    // each row, and every buffer the panel reads a frame from must hold the
    // padding. Live frames, then a single frame (host event 1205), at each.
    struct OddFrame
    {
        int nWidth, nHeight;
        bool bColour;
    };
    for (const OddFrame& odd : {OddFrame{1001, 801, false}, OddFrame{1003, 601, true}}) {
        HostSim::camera(0)->setFrameSize(odd.nWidth, odd.nHeight);
        HostSim::camera(0)->setColour(odd.bColour);
        nFrames = 0;
        step(odd.bColour ? "live frames at 1003x601 colour" : "live frames at 1001x801 gray",
             waitFor([&] { return nFrames >= 5; }, 120000));
        pPanel->OnEvent(1201, nullptr);
        int nResult = 0;
        pPanel->OnEvent(1205, &nResult);
        step("a single frame at that size", nResult == 0);
        pPanel->OnEvent(1202, nullptr);
    }

    destroyPanel(pPanel);
    step("panel destroyed", true);
    HXL_CameraUI_TellAppExit();

    // The check of the check: with --plant-leak one block is lost on
    // purpose, and the memcheck run must fail (ctest: valgrind_catches_a_leak).
    if (QCoreApplication::arguments().contains(QStringLiteral("--plant-leak"))) {
        [[maybe_unused]] static char* volatile pLost = nullptr;
        pLost = new char[4096];
        pLost = nullptr;
        step("leak planted", true);
    }
    return g_nFailures == 0 ? 0 : 1;
}

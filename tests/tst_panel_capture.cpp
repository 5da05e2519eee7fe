// The panel's photograph and open-picture commands and the hand-over of the
// picture to the host's drawing.

#include "PanelTestSupport.h"

#include "HXL_RefreshCameraThread.h"

#include "cameras/SimCamera.h"
#include "services/SimCameraManager.h"
#include "drawing/SimDrawing.h"
#include "services/SimMachine.h"
#include "services/SimServices.h"

#include "host/HXL_HostFunctions.h"
#include "host/IZKDatabase.h"
#include "host/ZKWindowManager.h"

#include <QImage>

using hostsim::HostSim;
using namespace panel_test;

namespace {

QString g_strNextFile;
QString g_strCaption;
QString g_strFilter;
int g_nDialogs = 0;

QString fakeOpenFileName(QWidget*, const QString& strCaption, const QString&, const QString& strFilter)
{
    ++g_nDialogs;
    g_strCaption = strCaption;
    g_strFilter = strFilter;
    return g_strNextFile;
}

// Starts a capture again whenever the capture announces itself (event 902).
class ReentrantListener : public IZKEventListener
{
public:
    explicit ReentrantListener(ZKCostomCameraWidget* pPanel) : m_pPanel(pPanel) {}
    void OnEvent(int nEventId, int*) override
    {
        if (nEventId == 902)
            m_pPanel->slotCapture();
    }

private:
    ZKCostomCameraWidget* m_pPanel;
};

hostsim::SimDbImage* pictureOnLayer210()
{
    const auto entities = HostSim::database().entitiesOnLayer(210);
    return entities.size() == 1 ? dynamic_cast<hostsim::SimDbImage*>(entities[0]) : nullptr;
}

} // namespace

class TestPanelCapture : public QObject
{
    Q_OBJECT

private:
    // A panel whose live video is paused, so that the journal holds only the commands' calls.
    PanelPtr quietPanel()
    {
        isOpenVideo = 0;
        PanelPtr pPanel(makePanel());
        [&] { QTRY_COMPARE_WITH_TIMEOUT(pPanel->m_pRefreshThread->m_bParked.load(), 1, 3000); }();
        HostSim::journal().clear();
        return pPanel;
    }

private slots:
    void init()
    {
        m_pDir.reset(new QTemporaryDir());
        QVERIFY(m_pDir->isValid());
        freshHost(*m_pDir);
        HostSim::machine().setPosition(10.0, 5.0);
        HostSim::setSearchRangeCalibPer(0.2, 0.8, 0.2, 0.8);
        HostSim::setSearchRangeSelectedPer(0.1, 0.9, 0.1, 0.9);
        ZKCostomCameraWidget::SetOpenFileNameFunction(&fakeOpenFileName);
        g_nDialogs = 0;
    }

    void cleanup()
    {
        ZKCostomCameraWidget::SetOpenFileNameFunction(nullptr);
    }

    void captureCallsTheHostInOrder()
    {
        PanelPtr pPanel = quietPanel();
        HXL_SetIsOpenFile(true);
        HostSim::journal().clear();
        const QByteArray out = captureStdout([&] { pPanel->slotCapture(); });
        QVERIFY2(QRegularExpression(QStringLiteral("(^|\\n)start1 \\d+ms\\n")).match(QString::fromLatin1(out)).hasMatch(),
                 out.constData());
        int nScreenW = 0, nScreenH = 0;
        FTGetScreenSize(0, nScreenW, nScreenH);
        ZKProgressUI* pProgress = ZKWindowManager::singleton().getMainWindow()->GetProgressUI();
        const QString shown = QStringLiteral("ZKProgressUI::show(%1, %2)")
                                  .arg(nScreenW / 2 - pProgress->width() / 2)
                                  .arg(nScreenH / 2 - pProgress->height() / 2 + 50);
        const QString work = HostSim::workPath();
        const QStringList expected = {
            "HXL_SetIsOpenFile(false)",
            "ZKWindowManager::getMainWindow()",
            "IMainWindow::GetProgressUI()",
            "FTGetScreenSize(0)",
            shown,
            "ZKProgressUI::UpdateProgress(2, processing)",
            "IZKVisionCameraManager::GetCameraCount()",
            "ZKAppService::GetMainApp()",
            "ZKGloabVisionAppBase::GetDocument()",
            "IZKDocument::GetDatabase()",
            "IZKDatabase::GetShapeTable()",
            "IZKDatabase::GetLayerTable()",
            "ZKProgressUI::UpdateProgress(10, processing)",
            "ClearLayerData(210, true)",
            "IZKEventManger::FireEvent(3, 902, 0)",
            "GetCurrentWorkPath()",
            "IZKVisionCameraManager::SaveImageFile(" + work + "VisSourcePic.jpg)",
            "HXL_GetCurPos() = (10, 5)",
            "MovableCam_SetCurMachineMmPos(10, 5)",
            "IZKVisionCameraManager::CalibrateImages()",
            "IZKVisionCameraManager::GetCamerasCalImageBound()",
            "IZKVisionCameraManager::GetImageAdapter()",
            "ImageAdapter::IsEmpty()",
            "ZKProgressUI::UpdateProgress(70, process)",
            "IZKVisionCameraManager::PreprocessImage()",
            "ImageAdapter::CreateDbImage()",
            "IZKDbImage::SetExtents(",
            "IZKShapeTable::AppendEntity(image, layer 210)",
            "Dll_HXL_VisionFeature_GetSearchRangeCalibPer()",
            "HXL_AddImageRange(0.2, 0.8, 0.2, 0.8, 480)",
            "Dll_HXL_VisionFeature_GetSearchRangeSelectedPer()",
            "HXL_AddImageRange(0.1, 0.9, 0.1, 0.9, 360)",
            "IZKEventManger::FireEvent(0, 405, null)",
            "IZKDatabase::Update()",
            "ZKAppService::GetMainApp()",
            "ZKGloabVisionAppBase::GetDocument()",
            "IZKDocument::GetView()",
            "IZKView::RefreshView(true)",
            "ZKProgressUI::UpdateProgress(100, process)",
            "ZKProgressUI::hide()",
        };
        QString why;
        QVERIFY2(hasSequence(HostSim::journal().lines(), expected, &why), qPrintable(why));
        QVERIFY(!HXL_GetIsOpenFile());
        QVERIFY(g_bCanCapture);
        QVERIFY(QFile::exists(work + QStringLiteral("VisSourcePic.jpg")));
    }

    void capturedPictureSitsOnTheCalibratedBound()
    {
        PanelPtr pPanel = quietPanel();
        pPanel->slotCapture();
        hostsim::SimDbImage* pImage = pictureOnLayer210();
        QVERIFY(pImage);
        double x0, y0, x1, y1;
        pImage->GetExtents(x0, y0, x1, y1);
        QCOMPARE(x0, 10.0 - 12.8);
        QCOMPARE(y0, 5.0 - 10.24);
        QCOMPARE(x1, 10.0 + 12.8);
        QCOMPARE(y1, 5.0 + 10.24);
        int w = 0, h = 0;
        pImage->GetImageSize(w, h);
        QCOMPARE(QSize(w, h), QSize(1280, 1024));
        // The two ranges, in millimetres on the picture.
        const auto calib = HostSim::database().entitiesOnLayer(480);
        const auto selected = HostSim::database().entitiesOnLayer(360);
        QCOMPARE(calib.size(), size_t(1));
        QCOMPARE(selected.size(), size_t(1));
        QVERIFY(qAbs(calib[0]->GetBound()->GetMinX() - (x0 + 25.6 * 0.2)) < 1e-9);
        QVERIFY(qAbs(selected[0]->GetBound()->GetMaxY() - (y0 + 20.48 * 0.9)) < 1e-9);
        // A second capture replaces the picture (layer 210 is cleared first).
        pPanel->slotCapture();
        QVERIFY(pictureOnLayer210());
    }

    void debugSourceReadsTheTestPicture()
    {
        PanelPtr pPanel = quietPanel();
        QImage picture(640, 480, QImage::Format_RGB888);
        picture.fill(QColor(200, 10, 10));
        QVERIFY(picture.save(HostSim::workPath() + QStringLiteral("VisSourcePicTest.jpg")));
        bIsDebug = true;
        HostSim::journal().clear();
        pPanel->slotCapture();
        bIsDebug = false;
        const QStringList lines = HostSim::journal().lines();
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCameraManager::SaveImageFile")), 0);
        QString why;
        QVERIFY2(hasSequence(lines,
                             {"IZKEventManger::FireEvent(3, 902, 0)", "IZKVisionCameraManager::GetCurCameraIndex()",
                              "IZKVisionCameraManager::GetCamera(0)", "IZKVisionCamera::GetImageAdapter()",
                              "ImageAdapter::Release()", "ImageAdapter::ReleaseSrc()",
                              "ImageAdapter::ReadFile(" + HostSim::workPath() + "VisSourcePicTest.jpg)",
                              "ImageAdapter::setSrcData()", "HXL_GetCurPos()", "IZKVisionCameraManager::CalibrateImages()",
                              "IZKVisionCameraManager::PreprocessImage()", "IZKShapeTable::AppendEntity(image, layer 210)"},
                             &why),
                 qPrintable(why));
        int w = 0, h = 0;
        pictureOnLayer210()->GetImageSize(w, h);
        QCOMPARE(QSize(w, h), QSize(640, 480));
    }

    void noCameraShowsTheBoxBriefly()
    {
        PanelPtr pPanel = quietPanel();
        HostSim::removeAllCameras();
        HostSim::journal().clear();
        pPanel->slotCapture();
        QStringList calls = HostSim::journal().lines();
        QString why;
        QVERIFY2(hasSequence(calls, {"ZKProgressUI::show(", "ZKProgressUI::UpdateProgress(2, processing)",
                                     "IZKVisionCameraManager::GetCameraCount()", "ZKProgressUI::hide()"},
                             &why),
                 qPrintable(why));
        QCOMPARE(HostSim::journal().count(QStringLiteral("ClearLayerData")), 0);
        QVERIFY(g_bCanCapture);
        QVERIFY(!ZKWindowManager::singleton().getMainWindow()->GetProgressUI()->isVisible());
    }

    void failurePaths_data()
    {
        QTest::addColumn<int>("failure");
        QTest::addColumn<QStringList>("tail");
        QTest::newRow("calibration fails") << 0
            << QStringList({"IZKVisionCameraManager::CalibrateImages()", "IZKVisionCameraManager::GetImageAdapter()",
                            "ImageAdapter::ReleaseSrc()", "ImageAdapter::Release()", "ZKProgressUI::hide()"});
        QTest::newRow("no calibrated bound") << 1
            << QStringList({"IZKVisionCameraManager::CalibrateImages()",
                            "IZKVisionCameraManager::GetCamerasCalImageBound()", "ZKProgressUI::hide()"});
        QTest::newRow("empty picture") << 2
            << QStringList({"IZKVisionCameraManager::GetCamerasCalImageBound()", "IZKVisionCameraManager::GetImageAdapter()",
                            "ImageAdapter::IsEmpty()", "IZKView::RefreshView(true)", "ZKProgressUI::hide()"});
    }
    void failurePaths()
    {
        QFETCH(int, failure);
        QFETCH(QStringList, tail);
        PanelPtr pPanel = quietPanel();
        hostsim::SimCameraManager& m = HostSim::cameraManager();
        m.setCalibrationFails(failure == 0);
        m.setCalImageBoundMissing(failure == 1);
        m.setCalibrationDropsPicture(failure == 2);
        pPanel->slotCapture();
        QString why;
        QVERIFY2(hasSequence(HostSim::journal().lines(), tail, &why), qPrintable(why));
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCameraManager::PreprocessImage()")), 0);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKEventManger::FireEvent(0, 405")), 0);
        QVERIFY(!pictureOnLayer210());
        QVERIFY(g_bCanCapture); // re-armed on every failure path
        QCOMPARE(HostSim::journal().lines().last(), QStringLiteral("ZKProgressUI::hide()"));
        if (failure == 0)
            QVERIFY(m.GetImageAdapter()->IsEmpty());
    }

    void aSecondCaptureWhileOneRunsIsIgnored()
    {
        PanelPtr pPanel = quietPanel();
        ReentrantListener again(pPanel.get());
        IZKEventManger::singleton()->AddListener(3, &again);
        pPanel->slotCapture();
        hostsim::eventManager().removeListenerEverywhere(&again);
        QCOMPARE(HostSim::journal().count(QStringLiteral("HXL_SetIsOpenFile(false)")), 1);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCameraManager::SaveImageFile")), 1);
        QVERIFY(g_bCanCapture);
        g_bCanCapture = false;
        HostSim::journal().clear();
        pPanel->slotCapture();
        QVERIFY(HostSim::journal().lines().isEmpty());
        g_bCanCapture = true;
    }

    void liveVideoKeepsRunningDuringCapture()
    {
        PanelPtr pPanel(makePanel());
        QTRY_VERIFY_WITH_TIMEOUT(HostSim::camera(0)->grabCount() > 0, 5000);
        pPanel->slotCapture();
        QCOMPARE(pPanel->m_pRefreshThread->m_bRunning.load(), 1);
        QVERIFY(pictureOnLayer210());
    }

    void openPictureCancelledOrMissing()
    {
        PanelPtr pPanel = quietPanel();
        g_strNextFile.clear();
        pPanel->slotOpenThePicture();
        QCOMPARE(g_nDialogs, 1);
        QCOMPARE(HostSim::journal().count(QStringLiteral("ImageAdapter::ReadFile")), 0);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IsFileExists")), 0);
        g_strNextFile = m_pDir->filePath(QStringLiteral("missing.jpg"));
        pPanel->slotOpenThePicture();
        QCOMPARE(HostSim::journal().count(QStringLiteral("IsFileExists(")), 1);
        QCOMPARE(HostSim::journal().count(QStringLiteral("ImageAdapter::ReadFile")), 0);
        QVERIFY(!HXL_GetIsOpenFile());
        QCOMPARE(HostSim::database().GetShapeTable()->GetEntityCount(), 0);
    }

    void openPictureDialogTexts()
    {
        PanelPtr pPanel = quietPanel();
        pPanel->slotOpenThePicture();
        QCOMPARE(g_strCaption, QStringLiteral("选择一个文件"));
        QCOMPARE(g_strFilter, QStringLiteral("图片文件(*.jpg *.bmp)"));
    }

    void openPicturePlacesItFromTheCalibration()
    {
        PanelPtr pPanel = quietPanel();
        QImage picture(800, 600, QImage::Format_RGB888);
        picture.fill(QColor(40, 90, 160));
        picture.setDotsPerMeterX(qRound(200 / 0.0254));
        picture.setDotsPerMeterY(qRound(200 / 0.0254));
        g_strNextFile = m_pDir->filePath(QStringLiteral("board.bmp"));
        QVERIFY(picture.save(g_strNextFile));
        // Something on a layer that a new picture clears, and on one it keeps.
        auto* pOld = HXL_GetEntityFactory()->CreatePolyline();
        pOld->AddVertex(ZKGePoint(0, 0));
        pOld->SetLayer(HostSim::database().GetLayerTable()->GetLayer(7));
        HostSim::database().GetShapeTable()->AppendEntity(pOld);
        auto* pKept = HXL_GetEntityFactory()->CreatePolyline();
        pKept->AddVertex(ZKGePoint(0, 0));
        pKept->SetLayer(HostSim::database().GetLayerTable()->GetLayer(370));
        HostSim::database().GetShapeTable()->AppendEntity(pKept);

        pPanel->slotOpenThePicture();
        QCOMPARE(pPanel->m_nImageDpi, 200);
        QVERIFY(HXL_GetIsOpenFile());
        QString why;
        QVERIFY2(hasSequence(HostSim::journal().lines(),
                             {"IsFileExists(" + g_strNextFile + ")", "ImageAdapter::ReadFile(" + g_strNextFile + ")",
                              "ImageAdapter::setSrcData()", "HXL_GetImageDpi()", "ImageAdapter::setSrcData()",
                              "IZKVisionCameraManager::PreprocessImage()", "ClearLayerData(210, true)",
                              "ZKVisionDataPoolManager::ClearCache()", "ZKVisionDataPoolManager::ClearOverlapCache()",
                              "ZKVisionDataPoolManager::ClearOneOverlapCache()",
                              "ClearExceptLayer(210, 370, 380, 390, 400, 360, 410)", "ImageAdapter::IsEmpty()",
                              "IZKRobotService::GetCurMachine()", "IZKMachine::GetAxisPos(0)", "IZKMachine::GetAxisPos(1)",
                              "MovableCam_SetCurMachineMmPos(10, 5)", "IZKVisionCameraManager::GetCamerasCalImageBound()",
                              "IZKVisionCameraManager::GetCameraCalImageSize()", "ImageAdapter::CreateDbImage()",
                              "ImageAdapter::CreateDbImage()", "IZKShapeTable::AppendEntity(image, layer 210)",
                              "HXL_SetIsOpenFile(true)", "ZKVisionLocatorManager::AddSearchDataToMap(" + g_strNextFile + ")",
                              "IZKView::RefreshView(true)"},
                             &why),
                 qPrintable(why));
        QVERIFY(HostSim::database().entitiesOnLayer(7).empty());
        QCOMPARE(HostSim::database().entitiesOnLayer(370).size(), size_t(1));
        // Placed from the calibration bound's corner, scaled by bound / calibrated size.
        hostsim::SimDbImage* pImage = pictureOnLayer210();
        QVERIFY(pImage);
        double x0, y0, x1, y1;
        pImage->GetExtents(x0, y0, x1, y1);
        const double scale = 25.6 / 1280.0; // no picture was calibrated: the camera's frame size counts
        QCOMPARE(x0, double(float(10.0 - 12.8)));
        QCOMPARE(y0, double(float(5.0 - 10.24)));
        QCOMPARE(x1, double(float(float(10.0 - 12.8) + float(800 * scale))));
        QCOMPARE(y1, double(float(float(5.0 - 10.24) + float(600 * scale))));
        QCOMPARE(HostSim::locator().searchData(), QStringList{g_strNextFile});
    }

    void openPictureWithoutCalibrationPlacesNothing()
    {
        PanelPtr pPanel = quietPanel();
        QImage picture(100, 100, QImage::Format_RGB888);
        picture.fill(Qt::gray);
        g_strNextFile = m_pDir->filePath(QStringLiteral("plain.jpg"));
        QVERIFY(picture.save(g_strNextFile));
        HostSim::camera(0)->setCalibrated(false);
        pPanel->slotOpenThePicture();
        QVERIFY(!pictureOnLayer210());
        QVERIFY(HXL_GetIsOpenFile());
    }

    void parameterChangeAfterOpeningSkipsCalibration()
    {
        PanelPtr pPanel = quietPanel();
        QImage picture(320, 240, QImage::Format_RGB888);
        picture.fill(QColor(250, 250, 250));
        g_strNextFile = m_pDir->filePath(QStringLiteral("white.jpg"));
        QVERIFY(picture.save(g_strNextFile));
        pPanel->slotOpenThePicture();
        double before[4];
        pictureOnLayer210()->GetExtents(before[0], before[1], before[2], before[3]);
        HostSim::journal().clear();
        HostSim::cameraManager().bIsInver = true;
        pPanel->slotGrayParamChanged();
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCameraManager::CalibrateImages()")), 0);
        QString why;
        QVERIFY2(hasSequence(HostSim::journal().lines(),
                             {"IZKVisionCameraManager::WriteSystemCFG()", "IZKVisionCameraManager::GetCamera(0)",
                              "IZKVisionCamera::GetImageAdapter()", "ImageAdapter::bufferUseSrc()", "HXL_GetIsOpenFile()",
                              "IZKVisionCameraManager::GetImageAdapter()", "ImageAdapter::bufferUseSrc()",
                              "IZKVisionCameraManager::PreprocessImage()", "GetLayerData(210)",
                              "IZKPartFactory::CreateBound()", "IZKBound::AddBound()", "ClearLayerData(210, true)",
                              "ZKVisionDataPoolManager::ClearCache()", "ZKVisionDataPoolManager::ClearOverlapCache()",
                              "ImageAdapter::CreateDbImage()", "IZKDbImage::SetExtents(",
                              "IZKShapeTable::AppendEntity(image, layer 210)", "IZKDatabase::Update()",
                              "IZKView::RefreshView(true)"},
                             &why),
                 qPrintable(why));
        // The re-processed picture keeps the previous picture's place, and is inverted.
        hostsim::SimDbImage* pImage = pictureOnLayer210();
        double after[4];
        pImage->GetExtents(after[0], after[1], after[2], after[3]);
        for (int i = 0; i < 4; ++i)
            QCOMPARE(after[i], before[i]);
        QVERIFY(qRed(pImage->image().pixel(5, 5)) < 10);

        // A capture makes the camera the source again.
        pPanel->slotCapture();
        QVERIFY(!HXL_GetIsOpenFile());
        HostSim::journal().clear();
        pPanel->slotGrayParamChanged();
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCameraManager::CalibrateImages()")), 1);
    }

    void reprocessingCalibrationFailureDropsThePicture()
    {
        PanelPtr pPanel = quietPanel();
        pPanel->slotCapture();
        HostSim::cameraManager().setCalibrationFails(true);
        HostSim::journal().clear();
        pPanel->slotGrayParamChanged();
        QString why;
        QVERIFY2(hasSequence(HostSim::journal().lines(),
                             {"IZKVisionCameraManager::CalibrateImages()", "IZKVisionCameraManager::GetImageAdapter()",
                              "ImageAdapter::Release()", "ImageAdapter::ReleaseSrc()"},
                             &why),
                 qPrintable(why));
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCameraManager::PreprocessImage()")), 0);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKView::RefreshView")), 0);
        QVERIFY(HostSim::cameraManager().GetImageAdapter()->IsEmpty());
    }

    void reprocessingWithoutPreviousPictureUsesTheCalibration()
    {
        PanelPtr pPanel = quietPanel();
        pPanel->slotCapture();
        ClearLayerData(&HostSim::database(), 210, false); // the picture was removed meanwhile
        HostSim::journal().clear();
        pPanel->slotGrayParamChanged();
        QString why;
        QVERIFY2(hasSequence(HostSim::journal().lines(),
                             {"GetLayerData(210)", "ClearLayerData(210, true)", "ImageAdapter::CreateDbImage()",
                              "ClearExceptLayer(210, 370, 380, 390, 400, 360, 410)",
                              "IZKVisionCameraManager::GetCamerasCalImageBound()",
                              "IZKVisionCameraManager::GetCameraCalImageSize()", "ImageAdapter::CreateDbImage()",
                              "IZKDbImage::SetExtents(", "IZKShapeTable::AppendEntity(image, layer 210)"},
                             &why),
                 qPrintable(why));
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKPartFactory::CreateBound()")), 0);
        double x0, y0, x1, y1;
        pictureOnLayer210()->GetExtents(x0, y0, x1, y1);
        QCOMPARE(x0, double(float(10.0 - 12.8)));
        QCOMPARE(x1, double(float(float(10.0 - 12.8) + float(1280 * (25.6 / 1280)))));
    }

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
};

QTEST_MAIN(TestPanelCapture)
#include "tst_panel_capture.moc"

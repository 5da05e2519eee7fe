// The replacement host's other services: journal, events, texts, windows,
// vision fractions, locator caches, picture files and combining.

#include "HostJournal.h"
#include "HostSim.h"
#include "services/SimApp.h"
#include "cameras/SimCamera.h"
#include "services/SimCameraManager.h"
#include "drawing/SimDrawing.h"
#include "services/SimEvents.h"
#include "services/SimLanguage.h"
#include "services/SimMachine.h"
#include "services/SimServices.h"

#include "host/HXL_HostFunctions.h"
#include "host/HXL_ServiceKeys.h"
#include "host/IHXLLanguageManager.h"
#include "host/IZKEventManger.h"
#include "host/IZKRobotService.h"
#include "host/ZKAppService.h"
#include "host/ZKWindowManager.h"

#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <memory>

using hostsim::AbsentPart;
using hostsim::HostSim;

namespace {
class RecordingListener : public IZKEventListener
{
public:
    void OnEvent(int nEventId, int* pParam) override
    {
        events.append(qMakePair(nEventId, pParam ? *pParam : -999));
        if (pParam)
            *pParam = reply;
    }
    QVector<QPair<int, int>> events;
    int reply = 0;
};
template <class Service>
Service* registered(int nKey)
{
    return dynamic_cast<Service*>(IServiceManager::singleton()->m_mapService.at(nKey));
}

// What the host operations that a test can make absent answer now; objects
// made for the question are released again.
QList<const void*> answersOf(AbsentPart part)
{
    ZKGloabVisionAppBase* pApp = registered<ZKAppService>(HXLServiceKey::AppService)->GetMainApp();
    switch (part) {
    case AbsentPart::MainApp: return {pApp};
    case AbsentPart::Document: return {pApp->GetDocument()};
    case AbsentPart::Database: return {pApp->GetDocument()->GetDatabase()};
    case AbsentPart::View: return {pApp->GetDocument()->GetView()};
    case AbsentPart::MainWindow: return {ZKWindowManager::singleton().getMainWindow()};
    case AbsentPart::UiConfig: return {ZKWindowManager::singleton().GetUiCfg()};
    case AbsentPart::ProgressUI: return {ZKWindowManager::singleton().getMainWindow()->GetProgressUI()};
    case AbsentPart::CurrentMachine:
        return {registered<IZKRobotService>(HXLServiceKey::RobotService)->GetCurMachine()};
    case AbsentPart::Camera: return {HostSim::cameraManager().GetCamera(0)};
    case AbsentPart::ImageAdapter:
        return {HostSim::cameraManager().GetImageAdapter(), HostSim::hostCamera(0)->GetImageAdapter()};
    case AbsentPart::CameraCalibration: return {HostSim::hostCamera(0)->GetCalibration()};
    case AbsentPart::DataPool: return {HostSim::locator().GetDataPoolMgr()};
    case AbsentPart::Polyline: {
        IZKGePolyline* pLine = registered<IZKEntityFactory>(HXLServiceKey::EntityFactory)->CreatePolyline();
        if (pLine)
            pLine->Release();
        return {pLine};
    }
    case AbsentPart::Bound: {
        IZKBound* pBound = registered<IZKPartFactory>(HXLServiceKey::PartFactory)->CreateBound();
        if (pBound)
            pBound->Release();
        return {pBound};
    }
    case AbsentPart::CombinedImage: {
        IZKDbImage* pImage = HostSim::combineManager().CombineImage();
        if (pImage)
            pImage->Release();
        return {pImage};
    }
    }
    return {};
}

} // namespace

class TestServices : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(m_dir.isValid());
        HostSim::reset(m_dir.path());
        HostSim::setLanguage(QStringLiteral("en"));
    }

    void journalRecordsInOrderAndClears()
    {
        HostSim::journal().clear();
        double x = 0, y = 0;
        HXL_MachineMoveTo(1.5, -2);
        HXL_GetCurPos(x, y);
        MovableCam_SetCurMachineMmPos(x, y);
        QCOMPARE(HostSim::journal().lines(),
                 QStringList({QStringLiteral("HXL_MachineMoveTo(1.5, -2)"), QStringLiteral("HXL_GetCurPos() = (1.5, -2)"),
                              QStringLiteral("MovableCam_SetCurMachineMmPos(1.5, -2)")}));
        QCOMPARE(HostSim::journal().indexOf(QStringLiteral("MovableCam")), 2);
        QCOMPARE(HostSim::journal().count(QStringLiteral("HXL_")), 2);
        HostSim::journal().clear();
        QVERIFY(HostSim::journal().lines().isEmpty());
    }

    void journalIsThreadSafeAndBounded()
    {
        hostsim::Journal& journal = HostSim::journal();
        journal.clear();
        std::vector<std::unique_ptr<QThread>> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back(QThread::create([t, &journal] {
                for (int i = 0; i < 2000; ++i)
                    journal.append(QStringLiteral("t%1 %2").arg(t).arg(i));
            }));
        for (auto& pThread : threads)
            pThread->start();
        for (auto& pThread : threads)
            pThread->wait();
        QCOMPARE(journal.lines().size(), 8000);
        for (int t = 0; t < 4; ++t) {
            const QStringList mine = journal.linesStartingWith(QStringLiteral("t%1 ").arg(t));
            QCOMPARE(mine.size(), 2000);
            QCOMPARE(mine.last(), QStringLiteral("t%1 1999").arg(t)); // each thread's lines stay in order
        }
        {
            const hostsim::HostCallScope hostOwnCalls;
            journal.append(QStringLiteral("host's own"));
            double x, y;
            HXL_GetCurPos(x, y);
        }
        QCOMPARE(journal.lines().size(), 8000);
        journal.setCapacity(100);
        journal.append(QStringLiteral("last"));
        QCOMPARE(journal.lines().size(), 100);
        QCOMPARE(journal.lines().last(), QStringLiteral("last"));
        journal.setCapacity(200000);
        journal.setEnabled(false);
        journal.append(QStringLiteral("dropped"));
        QVERIFY(!journal.lines().contains(QStringLiteral("dropped")));
        journal.setEnabled(true);
    }

    void eventsReachTheListenersOfTheirChannel()
    {
        RecordingListener a, b;
        IZKEventManger* pEvents = IZKEventManger::singleton();
        pEvents->AddListener(3, &a);
        pEvents->AddListener(2, &a);
        pEvents->AddListener(4, &a);
        pEvents->AddListener(3, &a); // twice: once
        pEvents->AddListener(0, &b);
        int nParam = 7;
        a.reply = -1;
        pEvents->FireEvent(3, 1205, &nParam);
        QCOMPARE(nParam, -1); // the listener answered through the parameter
        pEvents->FireEvent(0, 600, nullptr);
        pEvents->FireEvent(5, 1, nullptr); // nobody listens
        pEvents->FireEvent(4, 1202, nullptr);
        QCOMPARE(a.events, (QVector<QPair<int, int>>{{1205, 7}, {1202, -999}}));
        QCOMPARE(b.events, (QVector<QPair<int, int>>{{600, -999}}));
        pEvents->RemoveListener(3, &a);
        pEvents->FireEvent(3, 208, nullptr);
        QCOMPARE(a.events.size(), 2);
        QCOMPARE(hostsim::eventManager().channelsOf(&a), (std::vector<int>{2, 4}));
        QVERIFY(HostSim::journal().lines().contains(QStringLiteral("IZKEventManger::FireEvent(3, 1205, 7)")));
        hostsim::eventManager().removeListenerEverywhere(&a);
        hostsim::eventManager().removeListenerEverywhere(&b);
    }

    void defaultListenerIgnoresEvents()
    {
        IZKEventListener plain;
        IZKEventManger::singleton()->AddListener(2, &plain);
        int n = 3;
        IZKEventManger::singleton()->FireEvent(2, 1002, &n);
        QCOMPARE(n, 3);
        hostsim::eventManager().removeListenerEverywhere(&plain);
    }

    void resetDropsListeners()
    {
        RecordingListener a;
        IZKEventManger::singleton()->AddListener(3, &a);
        HostSim::reset();
        IZKEventManger::singleton()->FireEvent(3, 902, nullptr);
        QVERIFY(a.events.isEmpty());
    }

    void everyTextExistsInBothLanguages_data()
    {
        QTest::addColumn<QString>("language");
        QTest::newRow("English") << QStringLiteral("en");
        QTest::newRow("Simplified Chinese") << QStringLiteral("zh_CN");
    }
    void everyTextExistsInBothLanguages()
    {
        QFETCH(QString, language);
        QHash<int, QString> texts;
        QString why;
        QVERIFY2(hostsim::SimLanguageManager::readTable(
                     hostsim::SimLanguageManager::tablePath(QStringLiteral("CameraUI"), language), texts, &why),
                 qPrintable(why));
        for (int n = 0; n <= 56; ++n)
            QVERIFY2(!texts.value(n).trimmed().isEmpty(), qPrintable(QStringLiteral("text %1 missing").arg(n)));
        QCOMPARE(texts.size(), 57);
    }

    void languageManagerSetUpAndTexts()
    {
        HostSim::setLanguage(QStringLiteral("zh_CN"));
        HostSim::journal().clear();
        std::unique_ptr<IHXLLanguageManager> pManager(IHXLLanguageManager::Create());
        QCOMPARE(pManager->LoadTextTable("CameraUI"), 0);
        QCOMPARE(pManager->ApplyLanguage(), 0);
        QCOMPARE(pManager->GetLanguage(), std::string("zh_CN"));
        QCOMPARE(QString::fromUtf8(pManager->GetText(0).c_str()), QStringLiteral("拍照"));
        QCOMPARE(QString::fromUtf8(pManager->GetText(44).c_str()), QStringLiteral("正在处理"));
        QCOMPARE(pManager->GetText(57), std::string()); // unknown number
        QCOMPARE(HostSim::journal().lines().mid(0, 3),
                 QStringList({QStringLiteral("IHXLLanguageManager::Create()"),
                              QStringLiteral("IHXLLanguageManager::LoadTextTable(CameraUI)"),
                              QStringLiteral("IHXLLanguageManager::ApplyLanguage()")}));
        QCOMPARE(pManager->SetLanguage("en"), 0);
        QCOMPARE(pManager->ApplyLanguage(), 0);
        QCOMPARE(QString::fromUtf8(pManager->GetText(0).c_str()), QStringLiteral("Take Photo"));
    }

    void unknownTableIsReported()
    {
        std::unique_ptr<IHXLLanguageManager> pManager(IHXLLanguageManager::Create());
        QVERIFY(pManager->LoadTextTable("NoSuchModule") != 0);
        QVERIFY(pManager->ApplyLanguage() != 0);
        QCOMPARE(pManager->GetText(0), std::string());
    }

    void windowManagerHandsOutAMainWindowWithAProgressBox()
    {
        IMainWindow* pMain = ZKWindowManager::singleton().getMainWindow();
        QVERIFY(pMain);
        ZKProgressUI* pProgress = pMain->GetProgressUI();
        QVERIFY(pProgress);
        QVERIFY(pProgress->isWindow());
        HostSim::journal().clear();
        pProgress->move(100, 200);
        pProgress->show();
        pProgress->UpdateProgress(70, QStringLiteral("process"));
        pProgress->hide();
        QCOMPARE(static_cast<hostsim::SimProgressUI*>(pProgress)->percent(), 70);
        QCOMPARE(HostSim::journal().lines(),
                 QStringList({QStringLiteral("ZKProgressUI::show(100, 200)"),
                              QStringLiteral("ZKProgressUI::UpdateProgress(70, process)"),
                              QStringLiteral("ZKProgressUI::hide()")}));

        hostsim::SimMainWindow own;
        HostSim::setMainWindow(&own);
        QCOMPARE(ZKWindowManager::singleton().getMainWindow(), static_cast<IMainWindow*>(&own));
        QSignalSpy spy(&own, &QObject::destroyed);
        QMetaObject::invokeMethod(&own, "slotImageParamChanged");
        QCOMPARE(own.imageParamChangedCount(), 1);
        HostSim::setMainWindow(nullptr);
    }

    void uiConfiguration()
    {
        UiUserConfig* pCfg = ZKWindowManager::singleton().GetUiCfg();
        QVERIFY(pCfg);
        QVERIFY(pCfg->clrBackground.isValid());
        QVERIFY(pCfg->nRowHeight > 0);
        HostSim::uiConfig().nRowHeight = 31;
        QCOMPARE(ZKWindowManager::singleton().GetUiCfg()->nRowHeight, 31);
    }

    void visionFeatureFractions()
    {
        double l, r, b, t;
        Dll_HXL_VisionFeature_GetSearchRangeSelectedPer(l, r, b, t);
        QCOMPARE(l + r + b + t, 0.0);
        Dll_HXL_VisionFeature_SetSearchRangeSelectedPer(0.1, 0.9, 0.2, 0.8);
        Dll_HXL_VisionFeature_GetSearchRangeSelectedPer(l, r, b, t);
        QCOMPARE(l, 0.1);
        QCOMPARE(r, 0.9);
        QCOMPARE(b, 0.2);
        QCOMPARE(t, 0.8);
        HostSim::setSearchRangeCalibPer(0.3, 0.7, 0.35, 0.65);
        Dll_HXL_VisionFeature_GetSearchRangeCalibPer(l, r, b, t);
        QCOMPARE(b, 0.35);
        QCOMPARE(t, 0.65);
    }

    void pictureFilesResolutionAndOpenFlag()
    {
        QImage picture(120, 80, QImage::Format_RGB888);
        picture.fill(QColor(1, 2, 3));
        picture.setDotsPerMeterX(qRound(300 / 0.0254));
        picture.setDotsPerMeterY(qRound(300 / 0.0254));
        const QString path = m_dir.filePath(QStringLiteral("open.png"));
        QVERIFY(picture.save(path));
        QVERIFY(IsFileExists(path.toLocal8Bit().toStdString()));
        QVERIFY(!IsFileExists(m_dir.filePath(QStringLiteral("nope.jpg")).toLocal8Bit().toStdString()));
        ImageAdapter* pAdapter = HostSim::cameraManager().GetImageAdapter();
        QCOMPARE(pAdapter->ReadFile(path.toLocal8Bit().toStdString()), 0);
        QCOMPARE(HXL_GetImageDpi(), 300);
        QCOMPARE(pAdapter->GetWidth(), 120);
        QCOMPARE(pAdapter->GetChannels(), 3);
        QVERIFY(pAdapter->ReadFile(m_dir.filePath(QStringLiteral("nope.jpg")).toStdString()) < 0);
        QVERIFY(pAdapter->IsEmpty());

        QVERIFY(!HXL_GetIsOpenFile());
        HXL_SetIsOpenFile(true);
        QVERIFY(HXL_GetIsOpenFile());
        QVERIFY(HostSim::isOpenFile());
    }

    void sourceAndWorkingBuffers()
    {
        ImageAdapter* pAdapter = HostSim::cameraManager().GetImageAdapter();
        HostSim::cameraManager().SaveImageFile((HostSim::workPath() + QStringLiteral("x.jpg")).toStdString());
        const cv::Mat original = static_cast<hostsim::SimImageAdapter*>(pAdapter)->buffer().clone();
        HostSim::cameraManager().bIsInver = true;
        QCOMPARE(HostSim::cameraManager().PreprocessImage(), 0);
        QVERIFY(cv::norm(original, static_cast<hostsim::SimImageAdapter*>(pAdapter)->buffer(), cv::NORM_INF) > 0);
        pAdapter->bufferUseSrc(); // back to the picture as taken
        QCOMPARE(cv::norm(original, static_cast<hostsim::SimImageAdapter*>(pAdapter)->buffer(), cv::NORM_INF), 0.0);
        pAdapter->Release();
        QVERIFY(pAdapter->IsEmpty());
        QCOMPARE(pAdapter->GetBuffer(), static_cast<unsigned char*>(nullptr));
        QCOMPARE(pAdapter->CreateDbImage(), static_cast<IZKDbImage*>(nullptr));
        pAdapter->bufferUseSrc();
        QVERIFY(!pAdapter->IsEmpty());
        pAdapter->ReleaseSrc();
        pAdapter->bufferUseSrc();
        QVERIFY(pAdapter->IsEmpty());
    }

    void locatorCaches()
    {
        hostsim::SimLocatorManager& locator = HostSim::locator();
        locator.dataPool().cacheEntries = 3;
        locator.dataPool().overlapEntries = 2;
        locator.dataPool().oneOverlapEntries = 1;
        ZKVisionDataPoolManager* pPool = locator.GetDataPoolMgr();
        pPool->ClearCache();
        pPool->ClearOverlapCache();
        QCOMPARE(locator.dataPool().cacheEntries, 0);
        QCOMPARE(locator.dataPool().overlapEntries, 0);
        QCOMPARE(locator.dataPool().oneOverlapEntries, 1);
        pPool->ClearOneOverlapCache();
        QCOMPARE(locator.dataPool().oneOverlapEntries, 0);
        locator.AddSearchDataToMap("picture.jpg", &HostSim::database());
        QCOMPARE(locator.searchData(), QStringList{QStringLiteral("picture.jpg")});
    }

    void searchRangesOfAModelInPictureCoordinates()
    {
        std::vector<IZKGePolyline*> outlines;
        HostSim::cameraManager().setModelSearchRange(QStringLiteral("Main"), QRectF(-1.0, -1.0, 2.0, 2.0));
        HostSim::cameraManager().GetSearchRangeByModelName("Main", outlines);
        QCOMPARE(outlines.size(), size_t(1));
        MovableCam_SetCurMachineMmPos(0.0, 0.0);
        HostSim::cameraManager().WorldToStandardImage(0, outlines);
        IZKBound* b = outlines[0]->GetBound();
        QCOMPARE(b->GetMinX(), 640.0 - 50.0);
        QCOMPARE(b->GetMaxX(), 640.0 + 50.0);
        QCOMPARE(b->GetMinY(), 512.0 - 50.0);
        BatchReleasePolyline(outlines);
        HostSim::cameraManager().GetSearchRangeByModelName("Unknown", outlines);
        QVERIFY(outlines.empty());
    }

    void combineAlongAStretch()
    {
        hostsim::SimCombineManager& combine = HostSim::combineManager();
        combine.SetCombineStartPos(ZKGePoint(0, 0, 0));
        combine.SetCombineEndPos(ZKGePoint(40, 0, 0));
        combine.SetCameraIndex(0);
        ZKGePoint pt;
        combine.GetCombineEndPos(pt);
        QCOMPARE(pt.x, 40.0);
        IZKDbImage* pImage = combine.CombineImage();
        QVERIFY(pImage);
        double x0, y0, x1, y1;
        pImage->GetExtents(x0, y0, x1, y1);
        QCOMPARE(x0, -12.8);
        QCOMPARE(x1, 52.8);
        QCOMPARE(y0, -10.24);
        QCOMPARE(y1, 10.24);
        int w = 0, h = 0;
        pImage->GetImageSize(w, h);
        QCOMPARE(w, 3280);
        QCOMPARE(h, 1024);
        QVERIFY(combine.lastFrameCount() >= 3); // 40 mm with 25.6 mm fields overlapping by a fifth
        double mx, my;
        HostSim::machine().position(mx, my);
        QCOMPARE(mx, 40.0);
        pImage->Release();

        combine.SetCombineEndPos(ZKGePoint(0, 0, 0));
        pImage = combine.CombineImage();
        QVERIFY(pImage);
        QCOMPARE(combine.lastFrameCount(), 1);
        pImage->Release();

        HostSim::camera(0)->setGrabFails(true);
        QCOMPARE(combine.CombineImage(), static_cast<IZKDbImage*>(nullptr));
    }

    // The facade's switches for a host whose operation answers "not there":
    // null while the part is absent (the call is still journalled), the
    // object again when it is present or after a reset.
    void absentPartsAnswerNull_data()
    {
        QTest::addColumn<int>("part");
        QTest::newRow("main application") << int(AbsentPart::MainApp);
        QTest::newRow("document") << int(AbsentPart::Document);
        QTest::newRow("database") << int(AbsentPart::Database);
        QTest::newRow("view") << int(AbsentPart::View);
        QTest::newRow("main window") << int(AbsentPart::MainWindow);
        QTest::newRow("user interface configuration") << int(AbsentPart::UiConfig);
        QTest::newRow("progress box") << int(AbsentPart::ProgressUI);
        QTest::newRow("current machine") << int(AbsentPart::CurrentMachine);
        QTest::newRow("camera") << int(AbsentPart::Camera);
        QTest::newRow("image adapter") << int(AbsentPart::ImageAdapter);
        QTest::newRow("camera calibration") << int(AbsentPart::CameraCalibration);
        QTest::newRow("data pool") << int(AbsentPart::DataPool);
        QTest::newRow("polyline") << int(AbsentPart::Polyline);
        QTest::newRow("bound") << int(AbsentPart::Bound);
        QTest::newRow("combined picture") << int(AbsentPart::CombinedImage);
    }
    void absentPartsAnswerNull()
    {
        QFETCH(int, part);
        const auto absent = AbsentPart(part);
        auto allThere = [absent] {
            const QList<const void*> answers = answersOf(absent);
            return !answers.isEmpty() && !answers.contains(nullptr);
        };
        auto noneThere = [absent] {
            const QList<const void*> answers = answersOf(absent);
            return !answers.isEmpty() && answers.count(nullptr) == answers.size();
        };
        QVERIFY(allThere());
        HostSim::setAbsent(absent);
        QVERIFY(HostSim::isAbsent(absent));
        HostSim::journal().clear();
        QVERIFY(noneThere());
        QVERIFY(!HostSim::journal().lines().isEmpty());
        // Only that part: the camera manager and the machine still answer.
        QVERIFY(HostSim::cameraManager().GetCameraCount() == 1);
        QVERIFY(absent == AbsentPart::CurrentMachine
                || registered<IZKRobotService>(HXLServiceKey::RobotService)->GetCurMachine());
        HostSim::setAbsent(absent, false);
        QVERIFY(allThere());
        HostSim::setAbsent(absent);
        HostSim::reset(m_dir.path());
        QVERIFY(!HostSim::isAbsent(absent));
        QVERIFY(allThere());
    }

    void screenSize()
    {
        int w = 0, h = 0;
        FTGetScreenSize(0, w, h);
        QVERIFY(w > 0 && h > 0);
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(TestServices)
#include "tst_hostsim_services.moc"

// A host that lacks one part: each service of the registry, and each host
// answer that can be "not there", missing in turn. With that one part gone the
// module is driven through everything it offers: its entry points, the panel
// made by the factory and its builder, every host event the panel handles, a
// photograph and an opened picture, the parameter controls and every parameter
// dialog (opened, applied, cancelled, closed), the full-screen preview, the
// camera parameter dialog, the combine dialog, the camera tab host, the picture
// label's mouse paths and the processing notice. Nothing may crash or hang;
// what the host integration says a missing part gives (defaults, an empty
// dialog, nothing placed) is checked.
//
// Each row runs in a process of its own: the test starts itself again for
// that one row (two rows at a time), so that a crash or a hang is reported as
// that row's failure, with the row's output, and the other rows still run.

#include "ChildProcess.h"
#include "MouseTestSupport.h"
#include "PanelTestSupport.h"

#include "HXL_RefreshCameraThread.h"
#include "ZKFullScreenUI.h"
#include "auxiliary/HXLCameraParameterSettingDialog.h"
#include "auxiliary/HXLCameraWidget.h"
#include "auxiliary/HXL_ShowDealWithDialog.h"
#include "auxiliary/ZKCCDImageCombineUI.h"
#include "dialogs/HXLBriSettingDialog.h"
#include "dialogs/HXLGaySettingDialog.h"
#include "dialogs/HXLGoInterfereSettingDialog.h"
#include "dialogs/HXLParamDialogCommon.h"
#include "dialogs/HXLSatSettingDialog.h"
#include "dialogs/HXL_AdvancedMorphologyDialog.h"
#include "dialogs/HXL_AdvancedPreprocessingDialog.h"
#include "display/HXLDisplayLabel.h"

#include "cameras/SimCamera.h"
#include "drawing/SimDrawing.h"
#include "services/SimCameraManager.h"
#include "services/SimMachine.h"
#include "services/SimServices.h"
#include "services/SimApp.h"

#include "host/HXL_ServiceKeys.h"
#include "host/ZKWindowManager.h"

#include <QCheckBox>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QLayout>
#include <QLineEdit>
#include <QPointer>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QSlider>
#include <QTabWidget>
#include <QTableWidget>
#include <QTimer>

#include <map>

using hostsim::AbsentPart;
using hostsim::HostSim;
using namespace mouse_test;
using namespace panel_test;

namespace {

// --- the rows ----------------------------------------------------------------------

constexpr int kNoPart = -1;

// One part of the host taken away: a registry key, an answer of the host
// that comes back null, or one of the simulator's own failures.
struct Row
{
    const char* szTag;
    int nServiceKey; // withdrawn from the registry (0: none)
    int nPart;       // an AbsentPart (kNoPart: none)
    enum Other { Nothing, NoCameras, NoCalibratedBound } other;
};

const Row kRows[] = {
    {"no camera manager", HXLServiceKey::VisionCameraManager, kNoPart, Row::Nothing},
    {"no application service", HXLServiceKey::AppService, kNoPart, Row::Nothing},
    {"no entity factory", HXLServiceKey::EntityFactory, kNoPart, Row::Nothing},
    {"no robot service", HXLServiceKey::RobotService, kNoPart, Row::Nothing},
    {"no combine manager", HXLServiceKey::CCDImageCombineManager, kNoPart, Row::Nothing},
    {"no part factory", HXLServiceKey::PartFactory, kNoPart, Row::Nothing},
    {"no locator manager", HXLServiceKey::VisionLocatorManager, kNoPart, Row::Nothing},
    {"no main application", 0, int(AbsentPart::MainApp), Row::Nothing},
    {"no document", 0, int(AbsentPart::Document), Row::Nothing},
    {"no database", 0, int(AbsentPart::Database), Row::Nothing},
    {"no view", 0, int(AbsentPart::View), Row::Nothing},
    {"no main window", 0, int(AbsentPart::MainWindow), Row::Nothing},
    {"no user interface configuration", 0, int(AbsentPart::UiConfig), Row::Nothing},
    {"no progress box", 0, int(AbsentPart::ProgressUI), Row::Nothing},
    {"no current machine", 0, int(AbsentPart::CurrentMachine), Row::Nothing},
    {"no camera object", 0, int(AbsentPart::Camera), Row::Nothing},
    {"no image adapter", 0, int(AbsentPart::ImageAdapter), Row::Nothing},
    {"no camera calibration", 0, int(AbsentPart::CameraCalibration), Row::Nothing},
    {"no data pool", 0, int(AbsentPart::DataPool), Row::Nothing},
    {"no polyline from the factory", 0, int(AbsentPart::Polyline), Row::Nothing},
    {"no bound from the factory", 0, int(AbsentPart::Bound), Row::Nothing},
    {"no combined picture", 0, int(AbsentPart::CombinedImage), Row::Nothing},
    {"no calibrated picture bound", 0, kNoPart, Row::NoCalibratedBound},
    {"no cameras", 0, kNoPart, Row::NoCameras},
};
constexpr int kRowCount = int(sizeof(kRows) / sizeof(kRows[0]));

// What a row takes away, in the terms of what the module then cannot do.
struct Gone
{
    explicit Gone(const Row& row)
    {
        auto key = [&row](int nKey) { return row.nServiceKey == nKey; };
        auto part = [&row](AbsentPart p) { return row.nPart == int(p); };
        manager = key(HXLServiceKey::VisionCameraManager);
        cameras = row.other == Row::NoCameras;
        app = key(HXLServiceKey::AppService) || part(AbsentPart::MainApp) || part(AbsentPart::Document);
        database = app || part(AbsentPart::Database);
        view = app || part(AbsentPart::View);
        polylines = key(HXLServiceKey::EntityFactory) || part(AbsentPart::Polyline);
        machine = key(HXLServiceKey::RobotService) || part(AbsentPart::CurrentMachine);
        combine = key(HXLServiceKey::CCDImageCombineManager);
        combinedPicture = combine || part(AbsentPart::CombinedImage) || cameras;
        bound = key(HXLServiceKey::PartFactory) || part(AbsentPart::Bound);
        dataPool = key(HXLServiceKey::VisionLocatorManager) || part(AbsentPart::DataPool);
        mainWindow = part(AbsentPart::MainWindow);
        progress = mainWindow || part(AbsentPart::ProgressUI);
        uiConfig = part(AbsentPart::UiConfig);
        cameraObject = part(AbsentPart::Camera);
        adapter = part(AbsentPart::ImageAdapter);
        calibratedBound = row.other == Row::NoCalibratedBound;

        // The module sees a camera it can use.
        const bool bCamera = !manager && !cameras;
        thread = bCamera;
        frames = bCamera && !cameraObject;
        pictureRect = bCamera && !polylines;
        picturePlaced = bCamera && !adapter && !calibratedBound && !database;
    }

    bool manager, cameras, app, database, view, polylines, machine, combine, combinedPicture, bound, dataPool;
    bool mainWindow, progress, uiConfig, cameraObject, adapter, calibratedBound;
    bool thread, frames, pictureRect, picturePlaced;
};

// --- helpers -------------------------------------------------------------------------

QString g_strPictureFile;
QString pictureFileName(QWidget*, const QString&, const QString&, const QString&)
{
    return g_strPictureFile;
}

QPushButton* buttonWithText(QWidget* pParent, const QString& strText)
{
    for (QPushButton* pButton : pParent->findChildren<QPushButton*>()) {
        if (pButton->text() == strText)
            return pButton;
    }
    return nullptr;
}

template <class T>
T* openWindow()
{
    for (QWidget* pWidget : QApplication::topLevelWidgets()) {
        if (auto* p = qobject_cast<T*>(pWidget); p && p->isVisible())
            return p;
    }
    return nullptr;
}

void deleteLaterNow()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

int entitiesOnPictureLayer()
{
    return int(HostSim::database().entitiesOnLayer(210).size());
}

int journalCount(const char* szPrefix)
{
    return HostSim::journal().count(QString::fromLatin1(szPrefix));
}

// While a modal loop runs, calls fn every 20 ms with the active modal window
// (null when there is none: the full-screen preview is shown before its loop
// starts, so it never becomes the active modal window).
class ModalDriver : public QObject
{
public:
    explicit ModalDriver(std::function<void(QWidget*)> fn) : m_fn(std::move(fn))
    {
        connect(&m_timer, &QTimer::timeout, this, [this] { m_fn(QApplication::activeModalWidget()); });
        m_timer.start(20);
    }

private:
    QTimer m_timer;
    std::function<void(QWidget*)> m_fn;
};

// A small picture file to open.
QString writePicture(const QTemporaryDir& dir)
{
    QImage picture(320, 240, QImage::Format_RGB888);
    picture.fill(QColor(40, 120, 200));
    const QString path = dir.filePath(QStringLiteral("opened.jpg"));
    picture.save(path, "JPG");
    return path;
}

} // namespace

class TestMissingServices : public QObject
{
    Q_OBJECT

private slots:
    void everythingWithOnePartMissing_data();
    void everythingWithOnePartMissing();
    void cleanupTestCase();

private:
    // --- the parent: one process per row ----------------------------------------------
    static bool inRowProcess() { return qEnvironmentVariableIsSet("HXL_MISSING_PART_ROW"); }
    void startRow(int nRow);
    void reportRow(int nRow);

    // --- a row, in its own process ------------------------------------------------------
    void setUpHost(const Row& row);
    void driveEntryPoints();
    void drivePanel(const Gone& gone);
    void driveSimpleDialogs(ZKCostomCameraWidget* pPanel, const Gone& gone);
    template <class Dialog>
    void driveSimpleDialog(QPushButton* pOpen);
    void drivePreprocessingDialog(ZKCostomCameraWidget* pPanel, const Gone& gone);
    void driveMorphologyDialog(ZKCostomCameraWidget* pPanel, const Gone& gone);
    void drivePreviewAndCameraDialog(ZKCostomCameraWidget* pPanel, const Gone& gone);
    void drivePictureLabel(const Gone& gone);
    void driveCombineDialog(const Gone& gone);
    void driveSmallWindows();

    std::unique_ptr<QTemporaryDir> m_pDir;
    struct Child
    {
        std::unique_ptr<QProcess> process;
        QElapsedTimer clock;
    };
    std::map<int, Child> m_children;
};

// --- the parent ----------------------------------------------------------------------------

void TestMissingServices::everythingWithOnePartMissing_data()
{
    QTest::addColumn<int>("row");
    for (int i = 0; i < kRowCount; ++i)
        QTest::newRow(kRows[i].szTag) << i;
}

void TestMissingServices::startRow(int nRow)
{
    if (nRow >= kRowCount || m_children.count(nRow))
        return;
    Child& child = m_children[nRow];
    child.process.reset(new QProcess());
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HXL_MISSING_PART_ROW"), QString::number(nRow));
    child.process->setProcessEnvironment(env);
    child.process->setProcessChannelMode(QProcess::MergedChannels);
    child.clock.start();
    child.process->start(QCoreApplication::applicationFilePath(),
                         sameProgramArguments({QStringLiteral("everythingWithOnePartMissing:%1")
                                                   .arg(QLatin1String(kRows[nRow].szTag))}));
}

void TestMissingServices::reportRow(int nRow)
{
    // This row, and the next one meanwhile (two cores).
    startRow(nRow);
    startRow(nRow + 1);
    Child& child = m_children[nRow];
    QProcess& process = *child.process;
    QVERIFY2(waitForChildStarted(process), qPrintable(process.errorString()));
    // Generous for a sanitizer build on a loaded machine; a row takes seconds.
    const int kLimitMs = 180000;
    const bool bFinished = process.waitForFinished(qMax(1, kLimitMs - int(child.clock.elapsed())));
    if (!bFinished) {
        process.kill();
        process.waitForFinished(5000);
    }
    const QString output = QString::fromLocal8Bit(process.readAll());
    const bool bPassed = bFinished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    if (!bPassed) {
        QStringList lines = output.split(QLatin1Char('\n'));
        if (lines.size() > 120)
            lines = lines.mid(lines.size() - 120);
        qWarning().noquote() << "--- output of the row's process ---\n" + lines.join(QLatin1Char('\n'));
    }
    const QString why = !bFinished ? QStringLiteral("hung (stopped after %1 s)").arg(kLimitMs / 1000)
                        : process.exitStatus() != QProcess::NormalExit
                            ? QStringLiteral("crashed")
                            : QStringLiteral("ended with %1 (failures, or a sanitizer report)").arg(process.exitCode());
    m_children.erase(nRow);
    QVERIFY2(bPassed, qPrintable(QStringLiteral("with %1: the row's process %2").arg(QLatin1String(kRows[nRow].szTag), why)));
}

void TestMissingServices::cleanupTestCase()
{
    // Rows started ahead that did not get reported (the parent was stopped early).
    for (auto& entry : m_children) {
        entry.second.process->kill();
        entry.second.process->waitForFinished(5000);
    }
    m_children.clear();
}

// --- a row -----------------------------------------------------------------------------------

void TestMissingServices::everythingWithOnePartMissing()
{
    QFETCH(int, row);
    if (!inRowProcess()) {
        reportRow(row);
        return;
    }
    QCOMPARE(qEnvironmentVariableIntValue("HXL_MISSING_PART_ROW"), row);
    const Row& what = kRows[row];
    const Gone gone(what);

    m_pDir.reset(new QTemporaryDir());
    QVERIFY(m_pDir->isValid());
    setUpHost(what);
    if (QTest::currentTestFailed())
        return;

    driveEntryPoints();
    if (!QTest::currentTestFailed())
        drivePictureLabel(gone);
    if (!QTest::currentTestFailed())
        drivePanel(gone);
    if (!QTest::currentTestFailed())
        driveCombineDialog(gone);
    if (!QTest::currentTestFailed())
        driveSmallWindows();
    if (QTest::currentTestFailed())
        return;

    // Across the whole row: the view is refreshed only when the host has one
    // (and then by the dialogs' applies, which need the camera manager).
    if (gone.view)
        QCOMPARE(HostSim::view().refreshCount(), 0);
    else if (!gone.manager)
        QVERIFY(HostSim::view().refreshCount() > 0);

    HXL_CameraUI_TellAppExit();
    QVERIFY(QFile::exists(HostSim::workPath() + QStringLiteral("qcv.dat")));
}

void TestMissingServices::setUpHost(const Row& row)
{
    freshHost(*m_pDir);
    HostSim::machine().setPosition(3.0, 4.0);

    // A record with every pop-up button of the panel enabled.
    IZKVisionCameraManager& record = HostSim::cameraManager();
    record.nSatMode = 2;
    record.bSatDef = false;
    record.nBriMode = 2;
    record.bBriDef = false;
    record.bGoInterfere = true;
    record.bGoInterfereDef = false;
    record.bGrayPro = true;
    record.nGrayMode = 1;
    record.nAdvancedSetting1 = 1;
    record.nMode5 = 3;
    ZKMorphologyParam step;
    step.nMorphType = 1;
    step.nLineSize = 5;
    record.vecMorphology = {step, step};

    HostSim::uiConfig().clrBackground = QColor(10, 20, 30);
    HostSim::uiConfig().nRowHeight = 30;
    ZKGePoint start(1.5, 2.5, 0.0);
    HostSim::combineManager().SetCombineStartPos(start);
    HostSim::combineManager().SetCombineEndPos(start);
    HostSim::locator().dataPool().cacheEntries = 5;

    g_strPictureFile = writePicture(*m_pDir);
    ZKCostomCameraWidget::SetOpenFileNameFunction(&pictureFileName);
    // The apply wait of the dialogs ends at once: its deadline falls past midnight.
    HXLParamDialogCommon::setTimeOfDayClock([] { return QTime(23, 59, 59, 900); });

    // Now take the part away.
    if (row.nServiceKey != 0)
        QVERIFY(HostSim::withdrawService(row.nServiceKey));
    if (row.nPart != kNoPart)
        HostSim::setAbsent(AbsentPart(row.nPart));
    if (row.other == Row::NoCameras)
        HostSim::removeAllCameras();
    if (row.other == Row::NoCalibratedBound)
        HostSim::cameraManager().setCalImageBoundMissing(true);
    HostSim::journal().clear();
}

void TestMissingServices::driveEntryPoints()
{
    QCOMPARE(HXL_CameraUI_ReadParam(), 0);
    QCOMPARE(isOpenVideo, 1);
    HXL_CameraUI_SetVideoClose(1);
    HXL_CameraUI_SetVideoClose(0);
}

void TestMissingServices::drivePictureLabel(const Gone& gone)
{
    const double dSavedLeft = dPerMinX;
    HXLDisplayLabel label(nullptr);
    QSignalSpy dbClicks(&label, &HXLDisplayLabel::sigDbClicked);
    label.resize(640, 480);
    label.show();
    label.resizeEvent(nullptr);
    label.grab();

    // 1280 x 1024 in 640 x 480: a 600 x 480 picture at x 20 (also for a
    // camera the host cannot hand out: its size is taken as 1280 x 1024).
    QCOMPARE(label.imageRect(), gone.pictureRect ? QRectF(20, 0, 600, 480) : QRectF());

    // Draw a range, right and down.
    leftPress(&label, QPoint(200, 150));
    leftDrag(&label, QPoint(300, 220));
    label.grab(); // the rubber band
    leftDrag(&label, QPoint(400, 300));
    leftRelease(&label, QPoint(400, 300));
    // Without outlines from the host no range is drawn; without the
    // picture's rectangle a drawn range is not committed.
    if (gone.polylines)
        QVERIFY(label.selectRect().isNull());
    else
        QCOMPARE(label.selectRect(), QRectF(QPointF(200, 150), QPointF(400, 300)));
    QCOMPARE(dPerMinX, gone.pictureRect ? 180.0 / 600.0 : dSavedLeft);

    // A click on its outline: edit status, then move it by its centre and
    // pull its right edge, and commit with a right click.
    leftPress(&label, QPoint(200, 220));
    leftRelease(&label, QPoint(200, 220));
    QCOMPARE(label.isEditStatus(), !gone.polylines);
    hover(&label, QPoint(300, 225));
    QCOMPARE(label.hitHandle(), gone.polylines ? -1 : 1);
    leftPress(&label, QPoint(300, 225));
    leftDrag(&label, QPoint(310, 235));
    leftRelease(&label, QPoint(310, 235));
    hover(&label, QPoint(410, 235));
    QCOMPARE(label.hitHandle(), gone.polylines ? -1 : 5);
    leftPress(&label, QPoint(410, 235));
    leftDrag(&label, QPoint(450, 235));
    leftRelease(&label, QPoint(450, 235));
    label.grab(); // edit status: outline, hint and handles
    if (!gone.polylines)
        QCOMPARE(label.selectRect(), QRectF(QPointF(210, 160), QPointF(450, 310)));
    rightPress(&label, QPoint(300, 300));
    rightRelease(&label, QPoint(300, 300));
    QVERIFY(!label.isEditStatus());

    // A right click outside edit status moves the machine under the clicked
    // point: 100 pixels right of the centre of a 600-pixel picture.
    HostSim::journal().clear();
    rightPress(&label, QPoint(420, 240));
    rightRelease(&label, QPoint(420, 240));
    const QStringList moves = HostSim::journal().linesStartingWith(QStringLiteral("HXL_MachineMoveTo("));
    QCOMPARE(moves.size(), gone.pictureRect ? 1 : 0);
    if (gone.pictureRect) {
        // 25.6 mm of calibrated picture; without it 5 pixels a millimetre.
        const double dExpected = 3.0 + (gone.calibratedBound ? (gone.cameraObject ? 0.0 : 1280.0 / 5.0) : 25.6) / 6.0;
        const QRegularExpressionMatch match =
            QRegularExpression(QStringLiteral("^HXL_MachineMoveTo\\(([-0-9.e]+), ([-0-9.e]+)\\)$")).match(moves.first());
        QVERIFY2(match.hasMatch(), qPrintable(moves.first()));
        QVERIFY2(qAbs(match.captured(1).toDouble() - dExpected) < 1e-6, qPrintable(moves.first()));
        QVERIFY2(qAbs(match.captured(2).toDouble() - 4.0) < 1e-6, qPrintable(moves.first()));
    }

    sendMouse(&label, QEvent::MouseButtonDblClick, Qt::LeftButton, Qt::LeftButton, QPoint(100, 100));
    leftRelease(&label, QPoint(100, 100));
    leftPress(&label, QPoint(100, 100)); // swallowed once after the double click
    leftRelease(&label, QPoint(100, 100));
    sendMouse(&label, QEvent::MouseButtonDblClick, Qt::RightButton, Qt::RightButton, QPoint(100, 100));
    QCOMPARE(dbClicks.count(), 1);
    QTest::keyClick(&label, Qt::Key_A);
    label.grab();
    HostSim::machine().setPosition(3.0, 4.0);
}

void TestMissingServices::drivePanel(const Gone& gone)
{
    PanelPtr pPanel(makePanel());
    ZKCostomCameraWidget* pPanelRaw = pPanel.get();
    pPanel->show();

    // The builder: without a usable camera manager or camera, an empty panel
    // with its controls at the defaults, and no video thread.
    QCOMPARE(pPanel->m_pRefreshThread != nullptr, gone.thread);
    QCOMPARE(pPanel->m_pMainLayout->count(), gone.thread ? 1 : 0);
    QCOMPARE(pPanel->m_pDealWithDialog != nullptr, gone.thread);
    if (gone.manager) {
        QCOMPARE(pPanel->m_nSatMode, 0);
        QCOMPARE(pPanel->m_nGrayValue, 7);
        QVERIFY(pPanel->m_bSatDef);
        QVERIFY(!pPanel->m_pAdvancedCheck1->isEnabled());
    } else {
        QCOMPARE(pPanel->m_nSatMode, 2);
        QVERIFY(pPanel->m_pAdvancedCheck1->isEnabled());
    }

    // Live video: frames only from a camera the host hands out. Without the
    // machine the photograph button keeps the state it has.
    if (gone.frames) {
        QTRY_VERIFY_WITH_TIMEOUT(!labelPixmap(pPanel->m_pShowLabel).isNull(), 10000);
        pPanel->m_pPhotographBtn->setEnabled(false);
        const int nGrabs = HostSim::camera(0)->grabCount();
        QTRY_VERIFY_WITH_TIMEOUT(HostSim::camera(0)->grabCount() >= nGrabs + 3, 10000);
        QCoreApplication::processEvents();
        if (gone.machine)
            QVERIFY(!pPanel->m_pPhotographBtn->isEnabled());
        else
            QTRY_VERIFY_WITH_TIMEOUT(pPanel->m_pPhotographBtn->isEnabled(), 5000);
    } else {
        QTest::qWait(250);
        QVERIFY(labelPixmap(pPanel->m_pShowLabel).isNull());
    }

    // The host events the panel handles (1102 comes at the end).
    IZKEventManger* pEvents = IZKEventManger::singleton();
    HostSim::setSearchRangeSelectedPer(0.2, 0.6, 0.3, 0.7);
    pEvents->FireEvent(2, 208, nullptr);
    int nCamera = 0;
    pEvents->FireEvent(3, 1002, &nCamera);
    const int nSaves = journalCount("IZKVisionCameraManager::WriteSystemCFG()");
    pEvents->FireEvent(4, 1101, nullptr);
    QCOMPARE(journalCount("IZKVisionCameraManager::WriteSystemCFG()"), nSaves + (gone.manager ? 0 : 1));
    pEvents->FireEvent(2, 1201, nullptr);
    int nGrab = 7;
    pEvents->FireEvent(2, 1205, &nGrab);
    // No video thread: nothing to report; a camera the host cannot hand out: -1.
    QCOMPARE(nGrab, gone.thread && gone.cameraObject ? -1 : 7);
    pEvents->FireEvent(2, 1205, nullptr);
    pEvents->FireEvent(2, 1202, nullptr);
    pEvents->FireEvent(2, 4711, &nGrab);

    // A photograph.
    HostSim::journal().clear();
    pPanel->slotCapture();
    QVERIFY(g_bCanCapture);
    QCOMPARE(entitiesOnPictureLayer(), gone.picturePlaced ? 1 : 0);
    QCOMPARE(journalCount("ZKProgressUI::show(") > 0, !gone.progress);
    QCOMPARE(journalCount("ZKProgressUI::show("), journalCount("ZKProgressUI::hide()"));

    // An apply with the picture held: re-processed and handed over again.
    HostSim::journal().clear();
    pPanel->m_pInverCheck->click();
    QVERIFY(g_bCanApply);
    QCOMPARE(entitiesOnPictureLayer(), gone.picturePlaced ? 1 : 0);
    if (gone.picturePlaced) {
        // Without a bound for the old picture's place the new one is placed anew.
        QCOMPARE(journalCount("ClearExceptLayer("), gone.bound ? 1 : 0);
        // Without the locator's caches nothing is cleared.
        QCOMPARE(HostSim::locator().dataPool().cacheEntries, gone.dataPool ? 5 : 0);
    }
    // The apply writes the panel's values, with the constant 10, when the
    // panel applies at all (it does with a camera).
    QCOMPARE(HostSim::cameraManager().nMode5, gone.thread ? 10 : 3);
    pPanel->m_pGraySlider->setValue(40);
    QMetaObject::invokeMethod(pPanel->m_pGraySlider, "sliderReleased");
    pPanel->m_pGrayRestoreBtn->click();
    pPanel->m_pSharpeningCombo->setCurrentIndex(2);
    pPanel->m_pSatCombo->setCurrentIndex(1);
    pPanel->m_pSatCombo->setCurrentIndex(2);
    QTest::qWait(150); // the debounce timers apply
    for (QCheckBox* pCheck : {pPanel->m_pSatDefCheck, pPanel->m_pBriDefCheck, pPanel->m_pDeInterferedDefCheck,
                              pPanel->m_pGrayEqualizationCheck, pPanel->m_pAdvancedCheck1,
                              pPanel->m_pAutoPhotoCheck}) {
        pCheck->setChecked(!pCheck->isChecked());
        pCheck->setChecked(!pCheck->isChecked());
    }
    QMetaObject::invokeMethod(pPanelRaw, "slotShowGrayChange", Q_ARG(int, 1));
    QMetaObject::invokeMethod(pPanelRaw, "slotAdvancedSetting", Q_ARG(int, 1));
    QMetaObject::invokeMethod(pPanelRaw, "slotCameraChange", Q_ARG(int, 0));
    QContextMenuEvent menu(QContextMenuEvent::Mouse, pPanel->m_pShowLabel->geometry().center());
    QCoreApplication::sendEvent(pPanelRaw, &menu);
    QVERIFY(g_bCanApply);

    // An opened picture.
    HostSim::journal().clear();
    pPanel->slotOpenThePicture();
    QCOMPARE(entitiesOnPictureLayer(), gone.picturePlaced ? 1 : 0);
    if (gone.picturePlaced) {
        // Without the machine the calibration keeps the last known position.
        QCOMPARE(journalCount("MovableCam_SetCurMachineMmPos("), gone.machine ? 0 : 1);
    }

    driveSimpleDialogs(pPanelRaw, gone);
    if (!QTest::currentTestFailed())
        drivePreprocessingDialog(pPanelRaw, gone);
    if (!QTest::currentTestFailed())
        driveMorphologyDialog(pPanelRaw, gone);
    if (!QTest::currentTestFailed())
        drivePreviewAndCameraDialog(pPanelRaw, gone);
    if (QTest::currentTestFailed())
        return;
    // Every dialog's parameter change reaches the main window, when there is one.
    QCOMPARE(journalCount("IMainWindow::slotImageParamChanged()") > 0, !gone.mainWindow);

    QMetaObject::invokeMethod(pPanelRaw, "slotTurnOffTheVideo");
    QMetaObject::invokeMethod(pPanelRaw, "slotOpenVideo");
    pEvents->FireEvent(2, 1102, nullptr);
    pEvents->FireEvent(2, 1205, &nGrab);
}

void TestMissingServices::driveSimpleDialogs(ZKCostomCameraWidget* pPanel, const Gone& gone)
{
    if (gone.manager) {
        // Left as the simple dialogs are made: they read and write the
        // camera manager's record with no check, since they exist to edit
        // it. Without the manager the panel shows none of its controls (and
        // the buttons that open these dialogs are disabled besides), so the
        // operator cannot reach them; nothing to drive here.
        qInfo("not driven without the camera manager: the four simple parameter dialogs (they need its record)");
        QVERIFY(pPanel->m_pMainLayout->indexOf(pPanel->m_pTabWidget) < 0);
        QVERIFY(!pPanel->m_pSatSettingBtn->isEnabled());
        QVERIFY(!pPanel->m_pBriSettingBtn->isEnabled());
        QVERIFY(!pPanel->m_pGraySettingBtn->isEnabled());
        QVERIFY(!pPanel->m_pDeInterferedSettingBtn->isEnabled());
        return;
    }
    driveSimpleDialog<HXLSatSettingDialog>(pPanel->m_pSatSettingBtn);
    if (!QTest::currentTestFailed())
        driveSimpleDialog<HXLBriSettingDialog>(pPanel->m_pBriSettingBtn);
    if (!QTest::currentTestFailed())
        driveSimpleDialog<HXLGaySettingDialog>(pPanel->m_pGraySettingBtn);
    if (!QTest::currentTestFailed())
        driveSimpleDialog<HXLGoInterfereSettingDialog>(pPanel->m_pDeInterferedSettingBtn);
}

template <class Dialog>
void TestMissingServices::driveSimpleDialog(QPushButton* pOpen)
{
    const QString okText = HXL_Text(40);
    const QString cancelText = HXL_Text(41);
    // Ended by Cancel after edits, by OK, and by the window's close button.
    for (int nEnd = 0; nEnd < 3; ++nEnd) {
        QVERIFY2(pOpen->isEnabled(), Dialog::staticMetaObject.className());
        pOpen->click();
        QPointer<Dialog> pDialog = openWindow<Dialog>();
        QVERIFY2(pDialog, Dialog::staticMetaObject.className());
        QWidget* pWindow = pDialog.data();
        if (nEnd == 0) {
            for (QSlider* pSlider : pWindow->findChildren<QSlider*>()) {
                pSlider->setValue(pSlider->minimum() + 1);
                QMetaObject::invokeMethod(pSlider, "sliderReleased");
            }
            for (QPushButton* pButton : pWindow->findChildren<QPushButton*>()) {
                if (pButton->toolTip() == HXL_Text(26))
                    pButton->click(); // a default button
            }
            for (QCheckBox* pCheck : pWindow->findChildren<QCheckBox*>()) {
                pCheck->click();
                pCheck->click();
            }
            for (QComboBox* pCombo : pWindow->findChildren<QComboBox*>()) {
                pCombo->setCurrentIndex(1);
                pCombo->setCurrentIndex(2);
            }
            QVERIFY(buttonWithText(pWindow, cancelText));
            buttonWithText(pWindow, cancelText)->click();
        } else if (nEnd == 1) {
            QVERIFY(buttonWithText(pWindow, okText));
            buttonWithText(pWindow, okText)->click();
        } else {
            pDialog->close();
        }
        deleteLaterNow();
        QVERIFY2(pDialog.isNull(), Dialog::staticMetaObject.className());
    }
}

void TestMissingServices::drivePreprocessingDialog(ZKCostomCameraWidget* pPanel, const Gone& gone)
{
    if (gone.manager) {
        // Left as the dialog is made: it loads, applies and restores the
        // camera manager's record with no check (it is the record's editor),
        // and no control of the panel opens it.
        qInfo("not driven without the camera manager: the advanced preprocessing dialog (it needs its record)");
        return;
    }
    // Ended by Cancel after edits, by OK, and by the window's close button.
    for (int nEnd = 0; nEnd < 3; ++nEnd) {
        QMetaObject::invokeMethod(pPanel, "slotSeniorBtn");
        QPointer<HXL_AdvancedPreprocessingDialog> pDialog = g_pPreprocessingDialog;
        QVERIFY(pDialog);
        QVERIFY(pDialog->isVisible());
        if (nEnd == 0) {
            for (QComboBox* pCombo : pDialog->findChildren<QComboBox*>())
                pCombo->setCurrentIndex(1);
            for (QSlider* pSlider : pDialog->findChildren<QSlider*>()) {
                pSlider->setValue(pSlider->minimum() + 1);
                QMetaObject::invokeMethod(pSlider, "sliderReleased");
            }
            for (QCheckBox* pCheck : pDialog->findChildren<QCheckBox*>())
                pCheck->click();
            buttonWithText(pDialog, QStringLiteral("cancel"))->click();
        } else if (nEnd == 1) {
            buttonWithText(pDialog, QStringLiteral("Ok"))->click();
        } else {
            pDialog->close();
        }
        deleteLaterNow();
        QVERIFY(pDialog.isNull());
        QVERIFY(!g_pPreprocessingDialog);
    }
}

void TestMissingServices::driveMorphologyDialog(ZKCostomCameraWidget* pPanel, const Gone& gone)
{
    // Opened as the panel's button opens it (without the manager the button
    // is disabled, but the slot is the panel's public interface).
    for (int nEnd = 0; nEnd < 3; ++nEnd) {
        QMetaObject::invokeMethod(pPanel, "slotSeniorBtn1");
        QPointer<HXL_AdvancedMorphologyDialog> pDialog = g_pMorphologyDialog;
        QVERIFY(pDialog);
        QVERIFY(pDialog->isVisible());
        QSignalSpy paramSpy(pDialog.data(), &HXL_AdvancedMorphologyDialog::sigGrayParamChanged);
        auto* pTable = pDialog->findChild<QTableWidget*>();
        QVERIFY(pTable);
        // The host's steps; none without the manager.
        QCOMPARE(pTable->rowCount(), gone.manager ? 0 : 2);
        // Rows as high as the host's table rows, 4 more; the configuration's
        // default without one.
        QCOMPARE(pTable->verticalHeader()->defaultSectionSize(), (gone.uiConfig ? UiUserConfig().nRowHeight : 30) + 4);
        if (nEnd == 0) {
            buttonWithText(pDialog, HXL_Text(45))->click();
            buttonWithText(pDialog, HXL_Text(48))->click();
            pTable->selectRow(0);
            buttonWithText(pDialog, HXL_Text(49))->click();
            buttonWithText(pDialog, HXL_Text(53))->click(); // Apply
            QCOMPARE(paramSpy.count(), 1);
            if (!gone.manager)
                QCOMPARE(int(HostSim::cameraManager().vecMorphology.size()), 3);
            buttonWithText(pDialog, HXL_Text(41))->click(); // Cancel
        } else if (nEnd == 1) {
            buttonWithText(pDialog, HXL_Text(40))->click(); // OK
        } else {
            pDialog->close();
        }
        // Apply and Cancel announce a change each; OK, or Cancel alone, one.
        QCOMPARE(paramSpy.count(), nEnd == 0 ? 2 : 1);
        if (gone.manager) {
            // Nothing to write to: the dialog announces the change and stays.
            QVERIFY(pDialog->isVisible());
            delete pDialog.data();
            g_pMorphologyDialog = nullptr;
        }
        deleteLaterNow();
        QVERIFY(pDialog.isNull());
        QVERIFY(!g_pMorphologyDialog);
    }
    if (!gone.manager)
        QCOMPARE(int(HostSim::cameraManager().vecMorphology.size()), 2);
}

void TestMissingServices::drivePreviewAndCameraDialog(ZKCostomCameraWidget* pPanel, const Gone& gone)
{
    // The camera's own controls go into the dialog when the host has a camera.
    const int nExpectedItems = gone.manager || gone.cameras ? 0 : 1;

    int nParamItems = -1;
    {
        ModalDriver driver([&](QWidget* pModal) {
            if (auto* pDialog = qobject_cast<HXLCameraParameterSettingDialog*>(pModal)) {
                nParamItems = pDialog->layout()->count();
                pDialog->reject();
            }
        });
        pPanel->slotCameraParameter();
    }
    QCOMPARE(nParamItems, nExpectedItems);

    // The preview: a picture when the host hands out the camera, then its
    // camera parameter dialog, then Escape.
    bool bPicture = false;
    nParamItems = -1;
    QElapsedTimer open;
    bool bAskedForParameters = false;
    {
        ModalDriver driver([&](QWidget* pModal) {
            if (auto* pDialog = qobject_cast<HXLCameraParameterSettingDialog*>(pModal)) {
                nParamItems = pDialog->layout()->count();
                pDialog->reject();
                return;
            }
            ZKFullScreenUI* pPreview = pModal ? nullptr : pPanel->findChild<ZKFullScreenUI*>();
            if (!pPreview || !pPreview->isVisible())
                return;
            if (!open.isValid())
                open.start();
            bPicture = bPicture || !labelPixmap(pPreview->showLabel()).isNull();
            if (!bAskedForParameters && (bPicture || open.elapsed() > 450)) {
                bAskedForParameters = true;
                // From the preview's own loop, not from inside this callback.
                QTimer::singleShot(0, pPreview, [pPreview] {
                    QTest::mouseClick(buttonWithText(pPreview, QStringLiteral("photographPara")), Qt::LeftButton);
                });
            } else if (nParamItems >= 0) {
                QTest::keyClick(pPreview, Qt::Key_Escape);
            } else if (open.elapsed() > 20000) {
                pPreview->close(); // stuck: the checks below fail
            }
        });
        pPanel->slotShowPreviewFullScreen();
    }
    QCOMPARE(bPicture, gone.frames);
    QCOMPARE(nParamItems, nExpectedItems);
    QCOMPARE(pPanel->m_pShowLabel->imageRect().isNull(), !gone.pictureRect);
}

void TestMissingServices::driveCombineDialog(const Gone& gone)
{
    auto* pDialog = new ZKCCDImageCombineUI(nullptr);
    QPointer<ZKCCDImageCombineUI> pGuard = pDialog;
    pDialog->show();
    auto field = [pDialog](const char* szName) {
        return pDialog->findChild<QLineEdit*>(QLatin1String(szName))->text();
    };
    // The stored positions; zeros without the manager.
    QCOMPARE(field("CombineStartPosX"), gone.combine ? QStringLiteral("0") : QStringLiteral("1.5"));
    QCOMPARE(field("CombineEndPosY"), gone.combine ? QStringLiteral("0") : QStringLiteral("2.5"));
    // The host's background; the configuration's default without one.
    QVERIFY(pDialog->styleSheet().contains(gone.uiConfig ? QStringLiteral("rgb(53,53,53)")
                                                          : QStringLiteral("rgb(10,20,30)")));
    // The machine's position; without the machine the fields keep theirs.
    QTest::mouseClick(buttonWithText(pDialog, QStringLiteral("GetStartPos")), Qt::LeftButton);
    QTest::mouseClick(buttonWithText(pDialog, QStringLiteral("GetEndPos")), Qt::LeftButton);
    const QString stored = gone.combine ? QStringLiteral("0") : QStringLiteral("1.5");
    QCOMPARE(field("CombineStartPosX"), gone.machine ? stored : QStringLiteral("3"));
    QCOMPARE(field("CombineEndPosX"), gone.machine ? stored : QStringLiteral("3"));
    QCOMPARE(field("CombineEndPosY"), gone.machine ? (gone.combine ? QStringLiteral("0") : QStringLiteral("2.5"))
                                                   : QStringLiteral("4"));

    HostSim::journal().clear();
    QTest::mouseClick(buttonWithText(pDialog, QStringLiteral("Ok")), Qt::LeftButton);
    QCOMPARE(pDialog->result(), int(QDialog::Accepted));
    QCOMPARE(journalCount("ZKGloabVisionAppBase::RunCommand(ZoomToData)"),
             gone.combinedPicture || gone.database ? 0 : 1);
    delete pGuard.data();

    ZKCCDImageCombineUI second(nullptr);
    second.show();
    QTest::mouseClick(buttonWithText(&second, QStringLiteral("Cancel")), Qt::LeftButton);
    QVERIFY(!second.isVisible());
}

void TestMissingServices::driveSmallWindows()
{
    HXLCameraWidget tabHost(nullptr);
    tabHost.InitDisplay();
    tabHost.show();
    QVERIFY(tabHost.findChild<QTabWidget*>());
    QCOMPARE(tabHost.findChild<QTabWidget*>()->count(), 1);
    tabHost.grab();

    HXL_ShowDealWithDialog notice(nullptr);
    notice.InitUI();
    notice.StartShow();
    QVERIFY(notice.isVisible());
    QMetaObject::invokeMethod(&notice, "onTimeout"); // one step of its animation
    notice.StopShow();
    QVERIFY(!notice.isVisible());
}

QTEST_MAIN(TestMissingServices)
#include "tst_missing_services.moc"

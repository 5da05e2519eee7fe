// The panel's pre-processing controls: debounce timers, the apply chain, the
// switches, the pop-up dialogs, video, auto photo and the context menu.

#include "PanelTestSupport.h"

#include "HXL_RefreshCameraThread.h"
#include "auxiliary/HXL_ShowDealWithDialog.h"
#include "dialogs/HXLBriSettingDialog.h"
#include "dialogs/HXLGaySettingDialog.h"
#include "dialogs/HXLGoInterfereSettingDialog.h"
#include "dialogs/HXLSatSettingDialog.h"
#include "dialogs/HXL_AdvancedMorphologyDialog.h"
#include "dialogs/HXL_AdvancedPreprocessingDialog.h"
#include "display/HXLDisplayLabel.h"

#include "cameras/SimCamera.h"
#include "services/SimCameraManager.h"

#include <QCheckBox>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QLabel>
#include <QPushButton>
#include <QSlider>

using hostsim::HostSim;
using namespace panel_test;

namespace {

// Counts the timer events that reach an object, by timer id.
class TimerEventCounter : public QObject
{
public:
    int count(int nTimerId) const { return m_counts.value(nTimerId); }

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Timer)
            ++m_counts[static_cast<QTimerEvent*>(event)->timerId()];
        return false;
    }

private:
    QHash<int, int> m_counts;
};

} // namespace

class TestPanelControls : public QObject
{
    Q_OBJECT

private:
    PanelPtr quietPanel()
    {
        isOpenVideo = 0;
        PanelPtr pPanel(makePanel());
        [&] { QTRY_COMPARE_WITH_TIMEOUT(pPanel->m_pRefreshThread->m_bParked.load(), 1, 3000); }();
        QTest::qWait(150); // the builder's own debounce timers have run
        HostSim::journal().clear();
        return pPanel;
    }

    // A picture held by the camera manager, so that applies re-process it.
    static void holdAPicture()
    {
        HostSim::cameraManager().SaveImageFile((HostSim::workPath() + QStringLiteral("held.jpg")).toStdString());
    }

    template <class Dialog>
    static QList<Dialog*> openDialogs()
    {
        QList<Dialog*> result;
        for (QWidget* pWidget : QApplication::allWidgets())
            if (auto* pDialog = qobject_cast<Dialog*>(pWidget))
                result << pDialog;
        return result;
    }

private slots:
    void init()
    {
        m_pDir.reset(new QTemporaryDir());
        QVERIFY(m_pDir->isValid());
        freshHost(*m_pDir);
    }

    void cleanup()
    {
        for (QWidget* pWidget : QApplication::topLevelWidgets())
            if (qobject_cast<QDialog*>(pWidget) && pWidget->isVisible())
                pWidget->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void comboChangeAppliesAfterItsDebounce()
    {
        PanelPtr pPanel = quietPanel();
        QSignalSpy changed(pPanel.get(), &ZKCostomCameraWidget::sigGrayParamChanged);
        pPanel->m_pSatCombo->setCurrentIndex(2);
        QCOMPARE(pPanel->m_nSatMode, 2);
        QVERIFY(pPanel->m_nTimerId2 != -1);
        QCOMPARE(changed.count(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(changed.count(), 1, 2000);
        QCOMPARE(pPanel->m_nTimerId2, -1);
        QCOMPARE(HostSim::cameraManager().nSatMode, 2);
        QVERIFY(pPanel->m_pSatDefCheck->isEnabled());
    }

    void twoChangesWithinTheDebounceApplyOnce()
    {
        PanelPtr pPanel = quietPanel();
        TimerEventCounter timers;
        pPanel->installEventFilter(&timers);
        QSignalSpy changed(pPanel.get(), &ZKCostomCameraWidget::sigGrayParamChanged);
        pPanel->m_pSatCombo->setCurrentIndex(1);
        const int nFirst = pPanel->m_nTimerId2;
        pPanel->m_pSatCombo->setCurrentIndex(2);
        const int nSecond = pPanel->m_nTimerId2;
        QVERIFY(nFirst != -1);
        QVERIFY(nSecond != nFirst);
        // The first timer is left running, not killed: its id was overwritten,
        // so it keeps reaching the panel every 100 ms and applies nothing.
        QTRY_VERIFY_WITH_TIMEOUT(timers.count(nFirst) >= 3, 5000);
        QCOMPARE(timers.count(nSecond), 1); // the stored one applied once and was killed
        QCOMPARE(pPanel->m_nTimerId2, -1);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(HostSim::cameraManager().nSatMode, 2);
    }

    void timersAreMatchedInOrder_data()
    {
        QTest::addColumn<int>("which");
        for (int i = 1; i <= 5; ++i)
            QTest::newRow(qPrintable(QStringLiteral("timer %1").arg(i))) << i;
    }
    void timersAreMatchedInOrder()
    {
        QFETCH(int, which);
        PanelPtr pPanel = quietPanel();
        int* ids[] = {nullptr, &pPanel->m_nTimerId1, &pPanel->m_nTimerId2, &pPanel->m_nTimerId3,
                      &pPanel->m_nTimerId4, &pPanel->m_nTimerId5};
        *ids[which] = 424242; // an id the panel believes it started
        QSignalSpy changed(pPanel.get(), &ZKCostomCameraWidget::sigGrayParamChanged);
        QTimerEvent event(424242);
        QCoreApplication::sendEvent(pPanel.get(), &event);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(*ids[which], -1);
        QCoreApplication::sendEvent(pPanel.get(), &event); // now unknown: ignored
        QCOMPARE(changed.count(), 1);
    }

    void sharpeningItemWritesTheKernel_data()
    {
        QTest::addColumn<int>("item");
        QTest::addColumn<int>("kernel");
        QTest::newRow("item 0") << 0 << 0;
        QTest::newRow("item 1") << 1 << 3;
        QTest::newRow("item 4") << 4 << 9;
        QTest::newRow("item 5") << 5 << 11;
    }
    void sharpeningItemWritesTheKernel()
    {
        QFETCH(int, item);
        QFETCH(int, kernel);
        HostSim::cameraManager().nSharpenKernel = 7;
        PanelPtr pPanel = quietPanel();
        pPanel->slotSharpeningChanged(item);
        QCOMPARE(pPanel->m_nSharpeningIndex, item);
        pPanel->slotApplication();
        QCOMPARE(HostSim::cameraManager().nSharpenKernel, kernel);
    }

    void everyApplyWritesModeFiveAsTen()
    {
        PanelPtr pPanel = quietPanel();
        IZKVisionCameraManager& m = HostSim::cameraManager();
        m.nMode5 = 3;
        pPanel->m_nGrayMode = 4;
        pPanel->m_nInver = 5;
        pPanel->m_nSatValue = 61;
        pPanel->slotApplication();
        QCOMPARE(m.nMode5, 10);
        QCOMPARE(m.nGrayMode, 4);
        QCOMPARE(m.bIsInver, true);
        QCOMPARE(m.nSatValue, 61);
        QVERIFY(pPanel->m_pAdvancedCheck1->isEnabled());
        // Without a picture nothing else happens.
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCameraManager::PreprocessImage()")), 0);
        QVERIFY(g_bCanApply);
    }

    void applyWithAPictureReprocessesUnderTheNotice()
    {
        PanelPtr pPanel = quietPanel();
        pPanel->show();
        pPanel->slotCapture();
        holdAPicture();
        QSignalSpy appl(pPanel.get(), &ZKCostomCameraWidget::sigAppication);
        bool bNoticeShown = false;
        QPoint noticePos;
        QObject context;
        connect(pPanel.get(), &ZKCostomCameraWidget::sigAppication, &context, [&] {
            bNoticeShown = pPanel->m_pDealWithDialog->isVisible();
            noticePos = pPanel->m_pDealWithDialog->pos();
        });
        HostSim::journal().clear();
        pPanel->slotApplication();
        QCOMPARE(appl.count(), 1);
        QVERIFY(bNoticeShown);
        const QPoint topLeft = pPanel->mapToGlobal(QPoint(0, 0));
        QCOMPARE(noticePos, QPoint(topLeft.x() + pPanel->width() / 2 - pPanel->m_pDealWithDialog->width() / 2,
                                   topLeft.y() + pPanel->height() / 2 - pPanel->m_pDealWithDialog->height() / 2));
        QVERIFY(!pPanel->m_pDealWithDialog->isVisible()); // hidden again, not destroyed
        QCOMPARE(pPanel->m_pDealWithDialog->windowModality(), Qt::WindowModal);
        QString why;
        QVERIFY2(hasSequence(HostSim::journal().lines(),
                             {"IZKVisionCameraManager::GetImageAdapter()", "ImageAdapter::GetBuffer()",
                              "IZKVisionCameraManager::WriteSystemCFG()", "IZKVisionCameraManager::CalibrateImages()",
                              "IZKVisionCameraManager::PreprocessImage()", "IZKShapeTable::AppendEntity(image, layer 210)",
                              "IZKDatabase::Update()", "IZKView::RefreshView(true)", "IZKView::RefreshView(true)"},
                             &why),
                 qPrintable(why));
        // Applying again works: the notice is still there.
        pPanel->slotApplication();
        QCOMPARE(appl.count(), 2);
    }

    void nestedApplyIsDropped()
    {
        PanelPtr pPanel = quietPanel();
        pPanel->slotCapture();
        QSignalSpy appl(pPanel.get(), &ZKCostomCameraWidget::sigAppication);
        // While the apply processes events, another change asks to apply.
        QTimer::singleShot(0, pPanel.get(), [&] { emit pPanel->sigGrayParamChanged(); });
        HostSim::journal().clear();
        pPanel->slotApplication();
        QCoreApplication::processEvents();
        QCOMPARE(appl.count(), 1);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCameraManager::PreprocessImage()")), 1);
        QVERIFY(g_bCanApply);
    }

    void switchesWriteSaveAndApply_data()
    {
        QTest::addColumn<QString>("slot");
        QTest::addColumn<int>("state");
        QTest::newRow("saturation default off") << "slotSatDef" << 0;
        QTest::newRow("brightness default off") << "slotBriDef" << 0;
        QTest::newRow("de-interference on") << "slotDeInterfered" << 2;
        QTest::newRow("de-interference default off") << "slotDeInterferedDef" << 0;
        QTest::newRow("gray processing on") << "slotGrayPro" << 2;
        QTest::newRow("equalization on") << "slotGrayscaleEqualization" << 2;
        QTest::newRow("advanced switch") << "slotAdvancedSetting" << 1;
        QTest::newRow("second advanced switch") << "slotAdvancedSetting1" << 1;
    }
    void switchesWriteSaveAndApply()
    {
        QFETCH(QString, slot);
        QFETCH(int, state);
        PanelPtr pPanel = quietPanel();
        IZKVisionCameraManager& m = HostSim::cameraManager();
        QSignalSpy changed(pPanel.get(), &ZKCostomCameraWidget::sigGrayParamChanged);
        QVERIFY(QMetaObject::invokeMethod(pPanel.get(), slot.toLatin1().constData(), Q_ARG(int, state)));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCameraManager::WriteSystemCFG()")), 1);
        if (slot == "slotSatDef") {
            QCOMPARE(m.bSatDef, false);
            QCOMPARE(pPanel->m_bSatDef, false);
        } else if (slot == "slotBriDef") {
            QCOMPARE(m.bBriDef, false);
            QCOMPARE(pPanel->m_bBriDef, false);
        } else if (slot == "slotDeInterfered") {
            QCOMPARE(m.bGoInterfere, true);
            QVERIFY(pPanel->m_pDeInterferedDefCheck->isEnabled());
            QVERIFY(!pPanel->m_pDeInterferedSettingBtn->isEnabled()); // the default switch is on
        } else if (slot == "slotDeInterferedDef") {
            QCOMPARE(m.bGoInterfereDef, false);
            QVERIFY(pPanel->m_pDeInterferedSettingBtn->isEnabled());
        } else if (slot == "slotGrayPro") {
            QCOMPARE(m.bGrayPro, true);
            QVERIFY(pPanel->m_pGraySlider->isEnabled());
            QVERIFY(pPanel->m_pGraySliderLabel->isEnabled());
            QCOMPARE(pPanel->m_bGrayPro, false); // refreshed only by the reload after a dialog
        } else if (slot == "slotGrayscaleEqualization") {
            QCOMPARE(m.bGrayscaleEqualization, true);
        } else if (slot == "slotAdvancedSetting") {
            QCOMPARE(m.nAdvancedSetting, 1);
            QCOMPARE(pPanel->m_nAdvancedSetting, 1);
        } else if (slot == "slotAdvancedSetting1") {
            QCOMPARE(m.nAdvancedSetting1, 1);
            QVERIFY(pPanel->m_pAdvancedBtn1->isEnabled());
        }
    }

    void inversionAndShowGray()
    {
        PanelPtr pPanel = quietPanel();
        QSignalSpy changed(pPanel.get(), &ZKCostomCameraWidget::sigGrayParamChanged);
        QSignalSpy appl(pPanel.get(), &ZKCostomCameraWidget::sigAppication);
        pPanel->slotInverChange(2);
        QCOMPARE(pPanel->m_nInver, 2);
        QVERIFY(pPanel->m_pInverCheck->isChecked());
        QVERIFY(changed.count() >= 1);
        pPanel->slotShowGrayChange(1);
        QCOMPARE(HostSim::cameraManager().bShowGray, true);
        QCOMPARE(appl.count(), 1);
    }

    void grayModeAndGrayProModes()
    {
        PanelPtr pPanel = quietPanel();
        pPanel->slotGrayModeChange(0);
        QVERIFY(!pPanel->m_pAdvancedCheck1->isEnabled());
        QVERIFY(pPanel->m_nTimerId1 != -1);
        pPanel->slotGrayModeChange(5);
        QVERIFY(pPanel->m_pAdvancedCheck1->isEnabled());
        pPanel->slotGrayProChange(2);
        QVERIFY(pPanel->m_pGraySlider->isEnabled());
        QVERIFY(pPanel->m_pGraySliderLabel->isEnabled());
        QVERIFY(pPanel->m_nTimerId4 != -1);
        pPanel->slotGrayProChange(1);
        QVERIFY(!pPanel->m_pGraySlider->isEnabled());
        pPanel->slotLightChange(2);
        QVERIFY(pPanel->m_pBriDefCheck->isEnabled());
        QVERIFY(!pPanel->m_pBriSettingBtn->isEnabled()); // default switch on
        QVERIFY(pPanel->m_nTimerId3 != -1);
        pPanel->slotSatSliderValueChanged(44);
        pPanel->slotBriSliderValueChanged(55);
        QCOMPARE(pPanel->m_nSatValue, 44);
        QCOMPARE(pPanel->m_nBriValue, 55);
    }

    void grayRestoreButton()
    {
        IZKVisionCameraManager& m = HostSim::cameraManager();
        m.bGrayPro = true;
        m.nGrayValue = 80;
        m.nGrayWidth = 200;
        m.nGrayValueDef = 42;
        m.nGrayWidthDef = 60;
        PanelPtr pPanel = quietPanel();
        QSignalSpy changed(pPanel.get(), &ZKCostomCameraWidget::sigGrayParamChanged);
        QTest::mouseClick(pPanel->m_pGrayRestoreBtn, Qt::LeftButton);
        QCOMPARE(m.nGrayValue, 42);
        QCOMPARE(m.nGrayWidth, 60);
        QCOMPARE(pPanel->m_nGrayValue, 42);
        QCOMPARE(pPanel->m_pGraySlider->value(), 42);
        QCOMPARE(pPanel->m_pGraySliderLabel->text(), QStringLiteral("42%"));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCameraManager::WriteSystemCFG()")), 1);
    }

    void graySliderAppliesOnRelease()
    {
        HostSim::cameraManager().bGrayPro = true;
        PanelPtr pPanel = quietPanel();
        pPanel->m_pGraySlider->setValue(66);
        QCOMPARE(HostSim::cameraManager().nGrayValue, 50); // dragging does not apply
        emit pPanel->m_pGraySlider->sliderReleased();
        QCOMPARE(HostSim::cameraManager().nGrayValue, 66);
    }

    void simpleDialogsPopUp_data()
    {
        QTest::addColumn<int>("which");
        QTest::newRow("saturation") << 0;
        QTest::newRow("brightness") << 1;
        QTest::newRow("gray") << 2;
        QTest::newRow("de-interference") << 3;
    }
    void simpleDialogsPopUp()
    {
        QFETCH(int, which);
        IZKVisionCameraManager& m = HostSim::cameraManager();
        m.nSatMode = 2;
        m.bSatDef = false;
        m.nBriMode = 2;
        m.bBriDef = false;
        m.bGrayPro = true;
        m.bGoInterfere = true;
        m.bGoInterfereDef = false;
        PanelPtr pPanel = quietPanel();
        pPanel->show();
        QPushButton* buttons[] = {pPanel->m_pSatSettingBtn, pPanel->m_pBriSettingBtn, pPanel->m_pGraySettingBtn,
                                  pPanel->m_pDeInterferedSettingBtn};
        QVERIFY(buttons[which]->isEnabled());
        QTest::mouseClick(buttons[which], Qt::LeftButton);
        QDialog* pDialog = nullptr;
        switch (which) {
        case 0: pDialog = openDialogs<HXLSatSettingDialog>().value(0); break;
        case 1: pDialog = openDialogs<HXLBriSettingDialog>().value(0); break;
        case 2: pDialog = openDialogs<HXLGaySettingDialog>().value(0); break;
        case 3: pDialog = openDialogs<HXLGoInterfereSettingDialog>().value(0); break;
        }
        QVERIFY(pDialog);
        // The saturation dialog is a top-level window of its own; the others are the panel's.
        QCOMPARE(pDialog->parentWidget(), which == 0 ? nullptr : static_cast<QWidget*>(pPanel.get()));
        QVERIFY(pDialog->isVisible());
        QVERIFY(!pDialog->isModal());
        QVERIFY(pDialog->testAttribute(Qt::WA_DeleteOnClose));
        QCOMPARE(pDialog->width(), pPanel->width() - 15);
        QCOMPARE(pDialog->minimumWidth(), pDialog->maximumWidth());
        QCOMPARE(pDialog->pos(), pPanel->mapToGlobal(QPoint(0, 0)));
        // While it is open the page-2 controls are disabled.
        QVERIFY(!pPanel->m_pSatCombo->isEnabled());
        QVERIFY(!pPanel->m_pGraySlider->isEnabled());
        QPointer<QDialog> pGuard = pDialog;
        QMetaObject::invokeMethod(pDialog, "sigClose");
        QVERIFY(pPanel->m_pSatCombo->isEnabled());
        QVERIFY(pPanel->m_pSatSettingBtn->isEnabled());
        pDialog->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(pGuard.isNull());
    }

    void reloadAfterADialog()
    {
        PanelPtr pPanel = quietPanel();
        IZKVisionCameraManager& m = HostSim::cameraManager();
        m.nSatMode = 1;
        m.nBriMode = 2;
        m.nGrayMode = 6;
        m.nGrayProMode = 2;
        m.bIsInver = true;
        m.nGrayValue = 33;
        m.nSharpenKernel = 7;
        m.bGoInterfere = true;
        m.bGoInterfereDef = false;
        m.bSatDef = false;
        m.bBriDef = false;
        m.bGrayPro = true;
        m.bGrayscaleEqualization = true;
        g_pPreprocessingDialog = reinterpret_cast<HXL_AdvancedPreprocessingDialog*>(0x1); // cleared by the reload
        pPanel->slotDealWithDialog();
        QCOMPARE(g_pPreprocessingDialog, static_cast<HXL_AdvancedPreprocessingDialog*>(nullptr));
        QCOMPARE(pPanel->m_pSatCombo->currentIndex(), 1);
        QCOMPARE(pPanel->m_pBriCombo->currentIndex(), 2);
        QCOMPARE(pPanel->m_pGrayModeCombo->currentIndex(), 6);
        QCOMPARE(pPanel->m_pGraySlider->value(), 33);
        QVERIFY(pPanel->m_pInverCheck->isChecked());
        QCOMPARE(pPanel->m_pSharpeningCombo->currentIndex(), 3);
        QVERIFY(pPanel->m_pGrayProCheck->isChecked());
        QVERIFY(!pPanel->m_pSatDefCheck->isChecked());
        QVERIFY(pPanel->m_pBriSettingBtn->isEnabled());
        QVERIFY(pPanel->m_pDeInterferedSettingBtn->isEnabled());
        QVERIFY(pPanel->m_pGrayRestoreBtn->isEnabled());
        QCOMPARE(pPanel->m_nGrayProMode, 2);
        QVERIFY(pPanel->m_bGrayscaleEqualization);
        // The combo changes start timers that apply the values again.
        QVERIFY(pPanel->m_nTimerId2 != -1 || pPanel->m_nTimerId3 != -1);
    }

    void enablingRule()
    {
        IZKVisionCameraManager& m = HostSim::cameraManager();
        m.nGrayMode = 2;
        m.nAdvancedSetting1 = 0;
        PanelPtr pPanel = quietPanel();
        QMetaObject::invokeMethod(pPanel.get(), "slotDealWithDialog");
        QVERIFY(pPanel->m_pAdvancedCheck1->isEnabled());
        QVERIFY(!pPanel->m_pAdvancedBtn1->isEnabled());
        m.nAdvancedSetting1 = 1;
        pPanel->slotDealWithDialog();
        QVERIFY(pPanel->m_pAdvancedBtn1->isEnabled());
        QVERIFY(!pPanel->m_pSatDefCheck->isEnabled()); // mode 0
        QVERIFY(!pPanel->m_pGraySlider->isEnabled());  // gray processing off
        pPanel->m_pGraySliderLabel->setEnabled(true);
        pPanel->slotDealWithDialog();
        QVERIFY(pPanel->m_pGraySliderLabel->isEnabled()); // not part of the rule
    }

    void morphologyDialogIsSingle()
    {
        HostSim::cameraManager().nAdvancedSetting1 = 1;
        HostSim::cameraManager().nGrayMode = 1;
        PanelPtr pPanel = quietPanel();
        pPanel->show();
        pPanel->slotSeniorBtn1();
        HXL_AdvancedMorphologyDialog* pFirst = g_pMorphologyDialog;
        QVERIFY(pFirst);
        QVERIFY(pFirst->isVisible());
        QCOMPARE(pFirst->parentWidget(), static_cast<QWidget*>(pPanel.get()));
        QCOMPARE(pFirst->pos(), pPanel->mapToGlobal(QPoint(0, 0)) - QPoint(300, 0));
        QVERIFY(pPanel->m_pSatCombo->isEnabled()); // the morphology dialog leaves the controls on
        pPanel->slotSeniorBtn1();
        QCOMPARE(g_pMorphologyDialog, pFirst);
        QCOMPARE(openDialogs<HXL_AdvancedMorphologyDialog>().size(), 1);
        QTest::mouseClick(pPanel->m_pAdvancedBtn1, Qt::LeftButton);
        QCOMPARE(openDialogs<HXL_AdvancedMorphologyDialog>().size(), 1);
        // Closing it (Escape runs its Cancel) allows a new one.
        QTest::keyClick(pFirst, Qt::Key_Escape);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(g_pMorphologyDialog, static_cast<HXL_AdvancedMorphologyDialog*>(nullptr));
        QVERIFY(pPanel->m_pAdvancedCheck1->isEnabled());
        pPanel->slotSeniorBtn1();
        QVERIFY(g_pMorphologyDialog);
        QCOMPARE(openDialogs<HXL_AdvancedMorphologyDialog>().size(), 1);
        g_pMorphologyDialog->close();
        g_pMorphologyDialog = nullptr;
    }

    void preprocessingDialogIsSingleAndDisablesTheControls()
    {
        PanelPtr pPanel = quietPanel();
        pPanel->show();
        pPanel->slotSeniorBtn();
        HXL_AdvancedPreprocessingDialog* pFirst = g_pPreprocessingDialog;
        QVERIFY(pFirst && pFirst->isVisible());
        QVERIFY(!pPanel->m_pSatCombo->isEnabled());
        QCOMPARE(pFirst->pos(), pPanel->mapToGlobal(QPoint(0, 0)) - QPoint(300, 0));
        pPanel->slotSeniorBtn();
        QCOMPARE(openDialogs<HXL_AdvancedPreprocessingDialog>().size(), 1);
        QTest::keyClick(pFirst, Qt::Key_Escape);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(g_pPreprocessingDialog, static_cast<HXL_AdvancedPreprocessingDialog*>(nullptr));
        QVERIFY(pPanel->m_pSatCombo->isEnabled());
    }

    void videoOffAndOn()
    {
        PanelPtr pPanel(makePanel());
        pPanel->show();
        QTRY_VERIFY_WITH_TIMEOUT(HostSim::camera(0)->grabCount() > 0, 5000);
        pPanel->slotTurnOffTheVideo();
        QCOMPARE(isOpenVideo, 0);
        QCOMPARE(pPanel->m_pRefreshThread->m_bRunning.load(), 0);
        const QImage black = labelPixmap(pPanel->m_pShowLabel).toImage();
        QCOMPARE(black.size(), pPanel->m_pShowLabel->size());
        QCOMPARE(black.pixel(3, 3), qRgb(0, 0, 0));
        pPanel->slotOpenVideo();
        QCOMPARE(isOpenVideo, 1);
        QCOMPARE(pPanel->m_pRefreshThread->m_bRunning.load(), 1);
    }

    void autoPhotoFiresEvent600()
    {
        PanelPtr pPanel = quietPanel();
        pPanel->slotAutoPhoto(2);
        QCOMPARE(isAutoPhoto, 1);
        QCOMPARE(HostSim::journal().lines().last(), QStringLiteral("IZKEventManger::FireEvent(0, 600, 1)"));
        pPanel->m_pAutoPhotoCheck->setChecked(true);
        QCOMPARE(HostSim::journal().lines().last(), QStringLiteral("IZKEventManger::FireEvent(0, 600, 1)"));
        pPanel->m_pAutoPhotoCheck->setChecked(false);
        QCOMPARE(isAutoPhoto, 0);
        QCOMPARE(HostSim::journal().lines().last(), QStringLiteral("IZKEventManger::FireEvent(0, 600, 0)"));
    }

    void contextMenuSkipIsOneShot()
    {
        PanelPtr pPanel = quietPanel();
        pPanel->show();
        g_bSkipContextMenu = true;
        QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(5, 5));
        QCoreApplication::sendEvent(pPanel.get(), &event);
        QVERIFY(!g_bSkipContextMenu);
        QCoreApplication::sendEvent(pPanel.get(), &event); // no menu either way
        QVERIFY(!g_bSkipContextMenu);
        QVERIFY(QApplication::activePopupWidget() == nullptr);
    }

    void cameraParameterDialogIsModal()
    {
        PanelPtr pPanel = quietPanel();
        bool bSeen = false;
        QTimer::singleShot(50, [&] {
            QWidget* pModal = QApplication::activeModalWidget();
            bSeen = pModal && QString(pModal->metaObject()->className()) == "HXLCameraParameterSettingDialog";
            if (pModal)
                static_cast<QDialog*>(pModal)->reject();
        });
        pPanel->slotCameraParameter();
        QVERIFY(bSeen);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCamera::CreateParamWidget()")), 1);
    }

    void emptySlotsDoNothing()
    {
        PanelPtr pPanel = quietPanel();
        pPanel->slotMakePhoto();
        pPanel->slotMorphyModeChange(1);
        pPanel->slotMorphySizeChange(1);
        pPanel->slotImageGainChange(1);
        pPanel->slotSatSetting();
        pPanel->slotBriSetting();
        pPanel->slotDefDeInterfered(1);
        QVERIFY(HostSim::journal().lines().isEmpty());
    }

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
};

QTEST_MAIN(TestPanelControls)
#include "tst_panel_controls.moc"

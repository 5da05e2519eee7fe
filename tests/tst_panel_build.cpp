// The camera panel: its interface, construction, widget tree, initial states
// from the host's record, host events and teardown.

#include "PanelTestSupport.h"

#include "HXL_RefreshCameraThread.h"
#include "ZKFullScreenUI.h"
#include "auxiliary/HXL_ShowDealWithDialog.h"
#include "display/HXLDisplayLabel.h"

#include "cameras/SimCamera.h"
#include "services/SimCameraManager.h"
#include "drawing/SimDrawing.h"

#include "host/HXL_HostFunctions.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScopeGuard>
#include <QSettings>
#include <QSlider>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>

using hostsim::HostSim;
using namespace panel_test;

class TestPanelBuild : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_pDir.reset(new QTemporaryDir());
        QVERIFY(m_pDir->isValid());
        freshHost(*m_pDir);
    }

    void metaObjectInterface()
    {
        const QMetaObject& mo = ZKCostomCameraWidget::staticMetaObject;
        QStringList methods;
        for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
            const QMetaMethod m = mo.method(i);
            QString text = QString::fromLatin1(m.methodSignature());
            const QList<QByteArray> names = m.parameterNames();
            QStringList named;
            for (const QByteArray& n : names)
                named << QString::fromLatin1(n);
            if (!names.isEmpty())
                text += QLatin1Char(' ') + named.join(QLatin1Char(','));
            if (m.methodType() == QMetaMethod::Signal)
                text.prepend(QStringLiteral("signal "));
            methods << text;
        }
        const QStringList expected = {
            "signal sigGrayParamChanged()",
            "signal sigAppication()",
            "slotMakePhoto()",
            "slotSatChange(int) value",
            "slotLightChange(int) ",
            "slotGrayModeChange(int) ",
            "slotGrayProChange(int) ",
            "slotMorphyModeChange(int) ",
            "slotMorphySizeChange(int) ",
            "slotImageGainChange(int) ",
            "slotInverChange(int) bCheck",
            "slotShowGrayChange(int) ",
            "slotShowPreviewFullScreen()",
            "slotCameraParameter()",
            "slotCapture()",
            "slotApplication()",
            "slotOpenThePicture()",
            "slotUpdatePhotographBtn(int) ienable",
            "slotUpdataShowLabel(QPixmap) pixmap",
            "slotSetShowLabelWH(int*,int*) ,",
            "slotSetBuff(char**,bool*,bool*,bool*,int*,int*,int*,int*,int*,int*,int*,int*,int*,int*) ,isColorful,"
            "iscontinue,isCanSend,showW,showH,imageW,imageH,imageW1,imageH1,BoundXMax,BoundXMin,BoundYMax,BoundYMin",
            "slotAutoPhoto(int) index",
            "slotSatSliderValueChanged(int) ",
            "slotBriSliderValueChanged(int) ",
            "slotGraSliderValueChanged(int) ",
            "slotAdvancedSetting(int) ",
            "slotAdvancedSetting1(int) ",
            "slotSeniorBtn()",
            "slotSeniorBtn1()",
            "slotDealWithDialog()",
            "slotDealWithDialog1()",
            "slotOpenVideo()",
            "slotTurnOffTheVideo()",
            "slotSharpeningChanged(int) ",
            "slotCameraChange(int) ",
            "slotSatDef(int) ",
            "slotSatSetting()",
            "slotBriDef(int) ",
            "slotBriSetting()",
            "slotDeInterfered(int) ",
            "slotDeInterferedDef(int) ",
            "slotDefDeInterfered(int) ",
            "slotGrayPro(int) ",
            "slotGrayscaleEqualization(int) ",
            "slotGrayParamChanged()",
        };
        QCOMPARE(methods.size(), 45);
        QCOMPARE(methods, expected);
    }

    void castsToBothInterfaces()
    {
        PanelPtr pPanel(makePanel(false));
        QCOMPARE(pPanel->qt_metacast("IZKEventListener"),
                 static_cast<void*>(static_cast<IZKEventListener*>(pPanel.get())));
        QCOMPARE(pPanel->qt_metacast("IZKCostomCameraWidget"),
                 static_cast<void*>(static_cast<IZKCostomCameraWidget*>(pPanel.get())));
        QCOMPARE(pPanel->qt_metacast("QWidget"), static_cast<void*>(static_cast<QWidget*>(pPanel.get())));
        QCOMPARE(pPanel->qt_metacast("NoSuchInterface"), static_cast<void*>(nullptr));
        QCOMPARE(static_cast<IZKCostomCameraWidget*>(pPanel.get())->GetWidget(), static_cast<QWidget*>(pPanel.get()));
    }

    void styleSheetLiteral()
    {
        const QByteArray expected = "QTabBar::tab{height:30px;}                   QPushButton{height:20px;}            "
                                    "       QSpinBox{height:24px;}                   QComboBox{height:22px;}          "
                                    "         QWidget{font-family: \xE5\xBE\xAE\xE8\xBD\xAF\xE9\x9B\x85\xE9\xBB\x91;}"
                                    "                   QLineEdit{height::30px;}";
        QCOMPARE(expected.size(), 250);
        PanelPtr pPanel(makePanel(false));
        QCOMPARE(pPanel->styleSheet().toUtf8(), expected);
        QVERIFY(pPanel->windowFlags().testFlag(Qt::FramelessWindowHint));
        QVERIFY(pPanel->testAttribute(Qt::WA_MouseTracking));
    }

    void listensOnChannelsThreeTwoFour()
    {
        PanelPtr pPanel(makePanel(false));
        QCOMPARE(HostSim::journal().linesStartingWith(QStringLiteral("IZKEventManger::AddListener")),
                 QStringList({"IZKEventManger::AddListener(3)", "IZKEventManger::AddListener(2)",
                              "IZKEventManger::AddListener(4)"}));
        QCOMPARE(hostsim::eventManager().channelsOf(pPanel.get()), (std::vector<int>{2, 3, 4}));
    }

    void membersBeforeBuilding()
    {
        PanelPtr pPanel(makePanel(false));
        QCOMPARE(pPanel->m_nTimerInterval, 100);
        QCOMPARE(pPanel->m_nReserved100, 100);
        QCOMPARE(pPanel->m_nSatValue, 10);
        QCOMPARE(pPanel->m_nBriValue, 7);
        QCOMPARE(pPanel->m_nGrayValue, 7);
        QCOMPARE(pPanel->m_nImageDpi, 100);
        for (int nId : {pPanel->m_nTimerId0, pPanel->m_nTimerId1, pPanel->m_nTimerId2, pPanel->m_nTimerId3,
                        pPanel->m_nTimerId4, pPanel->m_nTimerId5})
            QCOMPARE(nId, -1);
        QCOMPARE(pPanel->m_bDeInterfered, false);
        QCOMPARE(pPanel->m_bSatDef, true);
        QCOMPARE(pPanel->m_bBriDef, true);
        QCOMPARE(pPanel->m_bDeInterferedDef, true);
        QCOMPARE(pPanel->m_bGrayscaleEqualization, false);
        QCOMPARE(pPanel->m_bGrayPro, false);
        QVERIFY(!pPanel->m_pShowLabel && !pPanel->m_pRefreshThread && !pPanel->m_pTabWidget);
    }

    void destroyingAnUnbuiltPanel()
    {
        ZKCostomCameraWidget* pPanel = makePanel(false);
        destroyPanel(pPanel); // must not crash
    }

    void noCameraBuildsAnEmptyPanel()
    {
        HostSim::removeAllCameras();
        PanelPtr pPanel(makePanel());
        QVERIFY(pPanel->m_pTabWidget);
        QCOMPARE(pPanel->m_pMainLayout->count(), 0); // the tabs are never added
        QCOMPARE(pPanel->m_pRefreshThread, static_cast<HXL_RefreshCameraThread*>(nullptr));
        QCOMPARE(pPanel->m_pDealWithDialog, static_cast<HXL_ShowDealWithDialog*>(nullptr));
        // Events that touch the thread find none and do nothing.
        int nParam = 5;
        pPanel->OnEvent(1201, &nParam);
        pPanel->OnEvent(1202, &nParam);
        pPanel->OnEvent(1205, &nParam);
        pPanel->OnEvent(1102, &nParam);
        QCOMPARE(nParam, 5);
    }

    void widgetTree()
    {
        PanelPtr pPanel(makePanel());
        QTabWidget* pTabs = pPanel->m_pTabWidget;
        QCOMPARE(pTabs->count(), 3);
        QCOMPARE(pTabs->tabText(0), HXL_Text(3));
        QCOMPARE(pTabs->tabText(1), HXL_Text(36));
        QCOMPARE(pTabs->tabText(2), HXL_Text(38));
        QCOMPARE(pPanel->maximumHeight(), 290);
        QCOMPARE(pPanel->m_pMainLayout->count(), 1);
        QCOMPARE(pPanel->m_pPhotographBtn->text(), HXL_Text(0));
        const QList<QPushButton*> buttons = pTabs->widget(0)->findChildren<QPushButton*>();
        QStringList captions;
        for (QPushButton* b : buttons)
            captions << b->text();
        QCOMPARE(captions, QStringList({HXL_Text(0), HXL_Text(1), HXL_Text(2)}));
        QCOMPARE(pPanel->m_pPhotographBtn->height(), 25);

        // Page 2: the grid cell by cell.
        auto* pGroup = pTabs->widget(1)->findChild<QGroupBox*>();
        QVERIFY(pGroup);
        auto* pGrid = qobject_cast<QGridLayout*>(pGroup->layout());
        QVERIFY(pGrid);
        QCOMPARE(pGrid->contentsMargins(), QMargins(2, 2, 2, 8));
        auto cell = [pGrid](int r, int c) { return pGrid->itemAtPosition(r, c); };
        QCOMPARE(qobject_cast<QLabel*>(cell(0, 1)->widget())->text(), HXL_Text(4));
        QCOMPARE(cell(0, 2)->widget(), static_cast<QWidget*>(pPanel->m_pSatCombo));
        QCOMPARE(pPanel->m_pSatDefCheck->parentWidget(), cell(0, 3)->widget());
        QCOMPARE(pPanel->m_pSatSettingBtn->parentWidget(), cell(0, 3)->widget());
        QCOMPARE(qobject_cast<QLabel*>(cell(1, 1)->widget())->text(), HXL_Text(10));
        QCOMPARE(cell(1, 2)->widget(), static_cast<QWidget*>(pPanel->m_pBriCombo));
        QVERIFY(cell(1, 5)->spacerItem());
        QVERIFY(qobject_cast<QFrame*>(cell(2, 0)->widget()));
        QCOMPARE(qobject_cast<QFrame*>(cell(2, 3)->widget()), qobject_cast<QFrame*>(cell(2, 0)->widget()));
        QCOMPARE(qobject_cast<QLabel*>(cell(3, 1)->widget())->text(), HXL_Text(12));
        QCOMPARE(cell(3, 2)->widget(), static_cast<QWidget*>(pPanel->m_pGrayModeCombo));
        QCOMPARE(cell(4, 1)->widget(), static_cast<QWidget*>(pPanel->m_pDeInterferedCheck));
        QCOMPARE(pPanel->m_pDeInterferedDefCheck->parentWidget(), cell(4, 2)->widget());
        QCOMPARE(cell(5, 1)->widget(), static_cast<QWidget*>(pPanel->m_pGrayEqualizationCheck));
        QCOMPARE(cell(6, 1)->widget(), static_cast<QWidget*>(pPanel->m_pGrayProCheck));
        QCOMPARE(pPanel->m_pGraySlider->parentWidget(), cell(6, 3)->widget()); // spans two columns
        QCOMPARE(pPanel->m_pAdvancedCheck1->parentWidget(), cell(7, 2)->widget());
        QVERIFY(qobject_cast<QFrame*>(cell(8, 0)->widget()));
        QCOMPARE(qobject_cast<QLabel*>(cell(9, 1)->widget())->text(), HXL_Text(28));
        QCOMPARE(cell(9, 2)->widget(), static_cast<QWidget*>(pPanel->m_pSharpeningCombo));
        QCOMPARE(cell(9, 3)->widget(), static_cast<QWidget*>(pPanel->m_pInverCheck));
        QCOMPARE(cell(9, 3)->alignment(), Qt::AlignHCenter);

        auto items = [](QComboBox* pCombo) {
            QStringList texts;
            for (int i = 0; i < pCombo->count(); ++i)
                texts << pCombo->itemText(i);
            return texts;
        };
        QCOMPARE(items(pPanel->m_pSatCombo), QStringList({HXL_Text(5), HXL_Text(6), HXL_Text(7)}));
        QCOMPARE(items(pPanel->m_pGrayModeCombo).size(), 9);
        QCOMPARE(items(pPanel->m_pGrayModeCombo).last(), HXL_Text(21));
        QCOMPARE(items(pPanel->m_pSharpeningCombo),
                 QStringList({HXL_Text(5), HXL_Text(29), HXL_Text(30), HXL_Text(31), HXL_Text(32), HXL_Text(33)}));
        QCOMPARE(pPanel->m_pSatCombo->minimumWidth(), 80);
        QVERIFY(pPanel->m_pSatSettingBtn->toolTip() == HXL_Text(9));
        QCOMPARE(pPanel->m_pGrayRestoreBtn->size(), QSize(26, 26));
        QCOMPARE(pPanel->m_pGrayRestoreBtn->toolTip(), HXL_Text(26));
        QCOMPARE(pPanel->m_pAutoPhotoCheck->text(), HXL_Text(37));
        QCOMPARE(pPanel->m_pAdvancedBtn, static_cast<QWidget*>(nullptr));
        QCOMPARE(pPanel->m_pCameraCombo, static_cast<QComboBox*>(nullptr));
        QVERIFY(pPanel->m_pDealWithDialog);
        QVERIFY(pPanel->m_pDealWithDialog->testAttribute(Qt::WA_DeleteOnClose));
    }

    void defaultSwitchRules_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("useDefault");
        QTest::addColumn<bool>("switchEnabled");
        QTest::addColumn<bool>("buttonEnabled");
        QTest::newRow("mode 0, default") << 0 << true << false << false;
        QTest::newRow("mode 0, own value") << 0 << false << false << false;
        QTest::newRow("mode 1, own value") << 1 << false << false << false;
        QTest::newRow("mode 2, default") << 2 << true << true << false;
        QTest::newRow("mode 2, own value") << 2 << false << true << true;
    }
    void defaultSwitchRules()
    {
        QFETCH(int, mode);
        QFETCH(bool, useDefault);
        QFETCH(bool, switchEnabled);
        QFETCH(bool, buttonEnabled);
        IZKVisionCameraManager& m = HostSim::cameraManager();
        m.nSatMode = mode;
        m.bSatDef = useDefault;
        m.nBriMode = mode;
        m.bBriDef = useDefault;
        PanelPtr pPanel(makePanel());
        QCOMPARE(pPanel->m_pSatDefCheck->isEnabled(), switchEnabled);
        QCOMPARE(pPanel->m_pSatSettingBtn->isEnabled(), buttonEnabled);
        QCOMPARE(pPanel->m_pSatDefCheck->isChecked(), useDefault);
        QCOMPARE(pPanel->m_pBriDefCheck->isEnabled(), switchEnabled);
        QCOMPARE(pPanel->m_pBriSettingBtn->isEnabled(), buttonEnabled);
        QCOMPARE(pPanel->m_pSatCombo->currentIndex(), mode);
        QCOMPARE(pPanel->m_pBriCombo->currentIndex(), mode);
    }

    void sharpeningKernelSelectsItem_data()
    {
        QTest::addColumn<int>("kernel");
        QTest::addColumn<int>("item");
        QTest::newRow("off") << 0 << 0;
        QTest::newRow("3") << 3 << 1;
        QTest::newRow("5") << 5 << 2;
        QTest::newRow("9") << 9 << 4;
        QTest::newRow("11") << 11 << 5;
    }
    void sharpeningKernelSelectsItem()
    {
        QFETCH(int, kernel);
        QFETCH(int, item);
        HostSim::cameraManager().nSharpenKernel = kernel;
        PanelPtr pPanel(makePanel());
        QCOMPARE(pPanel->m_nSharpeningIndex, item);
        QCOMPARE(pPanel->m_pSharpeningCombo->currentIndex(), item);
    }

    void statesFromTheRecord()
    {
        IZKVisionCameraManager& m = HostSim::cameraManager();
        m.nGrayMode = 3;
        m.nAdvancedSetting1 = 1;
        m.bIsInver = true;
        m.bGoInterfere = true;
        m.bGoInterfereDef = false;
        m.bGrayPro = true;
        m.nGrayValue = 37;
        m.bGrayscaleEqualization = true;
        isAutoPhoto = 1;
        PanelPtr pPanel(makePanel());
        QCOMPARE(pPanel->m_pGrayModeCombo->currentIndex(), 3);
        QVERIFY(pPanel->m_pAdvancedCheck1->isEnabled());
        QVERIFY(pPanel->m_pAdvancedCheck1->isChecked());
        QVERIFY(pPanel->m_pAdvancedBtn1->isEnabled());
        QVERIFY(pPanel->m_pInverCheck->isChecked());
        QVERIFY(pPanel->m_pDeInterferedCheck->isChecked());
        QVERIFY(pPanel->m_pDeInterferedDefCheck->isEnabled());
        QVERIFY(!pPanel->m_pDeInterferedDefCheck->isChecked());
        QVERIFY(pPanel->m_pDeInterferedSettingBtn->isEnabled());
        QVERIFY(pPanel->m_pGrayProCheck->isChecked());
        QVERIFY(pPanel->m_pGraySlider->isEnabled());
        QCOMPARE(pPanel->m_pGraySlider->value(), 37);
        QCOMPARE(pPanel->m_pGraySliderLabel->text(), QStringLiteral("37%"));
        QVERIFY(pPanel->m_pGrayEqualizationCheck->isChecked());
        QVERIFY(pPanel->m_pAutoPhotoCheck->isChecked());

        m.nGrayMode = 0;
        m.nAdvancedSetting1 = 0;
        m.bGrayPro = false;
        PanelPtr pOther(makePanel());
        QVERIFY(!pOther->m_pAdvancedCheck1->isEnabled());
        QVERIFY(!pOther->m_pAdvancedBtn1->isEnabled());
        QVERIFY(!pOther->m_pGraySlider->isEnabled());
        QVERIFY(!pOther->m_pGraySliderLabel->isEnabled());
    }

    void graySliderStaysWithinItsRange()
    {
        PanelPtr pPanel(makePanel());
        QSlider* pSlider = pPanel->m_pGraySlider;
        QCOMPARE(pSlider->minimum(), 3);
        QCOMPARE(pSlider->maximum(), 100);
        pSlider->setValue(250);
        QCOMPARE(pSlider->value(), 100);
        QCOMPARE(pPanel->m_pGraySliderLabel->text(), QStringLiteral("100%"));
        pSlider->setValue(0);
        QCOMPARE(pSlider->value(), 3);
        QCOMPARE(pPanel->m_nGrayValue, 3);
        QCOMPARE(pPanel->m_pGraySliderLabel->text(), QStringLiteral("3%"));
        pSlider->setValue(37);
        QCOMPARE(pPanel->m_pGraySliderLabel->text(), QStringLiteral("37%"));
    }

    void searchOutlinesOfTheMainModel()
    {
        const int nLive = hostsim::SimPolyline::liveCount();
        {
            PanelPtr pPanel(makePanel());
            QString why;
            QVERIFY2(hasSequence(HostSim::journal().lines(),
                                 {"IZKVisionCameraManager::GetSearchRangeByModelName(Main)",
                                  "IZKVisionCameraManager::WorldToStandardImage(0, 1)", "BatchReleasePolyline(0)",
                                  "IZKVisionCameraManager::WorldToStandardImage(0, 1)", "BatchReleasePolyline(0)",
                                  "IZKGePolyline::Clone()"},
                                 &why),
                     qPrintable(why));
            QCOMPARE(pPanel->m_vecSearchOutline.size(), size_t(1));
            QCOMPARE(pPanel->m_pRefreshThread->m_vecPolylines.size(), size_t(1));
        }
        QCOMPARE(hostsim::SimPolyline::liveCount(), nLive);

        // Without live video the outlines are dropped.
        isOpenVideo = 0;
        PanelPtr pDark(makePanel());
        QVERIFY(pDark->m_vecSearchOutline.empty());
        QVERIFY(pDark->m_pRefreshThread->m_vecPolylines.empty());
        QCOMPARE(hostsim::SimPolyline::liveCount(), nLive + 3); // only the picture label's own three outlines
        QCOMPARE(pDark->m_pRefreshThread->m_bRunning.load(), 0);
    }

    void threadSignalsReachThePanel()
    {
        PanelPtr pPanel(makePanel());
        HXL_RefreshCameraThread* pThread = pPanel->m_pRefreshThread;
        QVERIFY(pThread && pThread->isRunning());
        QCOMPARE(pThread->m_pShowLabel.load(), static_cast<QWidget*>(pPanel->m_pShowLabel));
        QCOMPARE(pThread->m_nMode, 0);
        // Emitted on the panel's thread, so the connections act at once.
        emit pThread->updateUIBtn(0);
        QVERIFY(!pPanel->m_pPhotographBtn->isEnabled());
        emit pThread->updateUIBtn(1);
        QVERIFY(pPanel->m_pPhotographBtn->isEnabled());
        QPixmap pixmap(10, 10);
        pixmap.fill(Qt::green);
        emit pThread->updatePixmap(pixmap);
        QCOMPARE(labelPixmap(pPanel->m_pShowLabel).cacheKey(), pixmap.cacheKey());
        int w = -1, h = -1;
        emit pThread->getShowLabelWH(&w, &h);
        QCOMPARE(w, pPanel->m_pShowLabel->width());
        QCOMPARE(h, pPanel->m_pShowLabel->height());
        char* pBuffer = nullptr;
        bool b1 = true, b2 = true, b3 = true;
        int n[10] = {7, 7, 7, 7, 7, 7, 7, 7, 7, 7};
        emit pThread->getBuff(&pBuffer, &b1, &b2, &b3, &n[0], &n[1], &n[2], &n[3], &n[4], &n[5], &n[6], &n[7], &n[8],
                              &n[9]);
        QCOMPARE(pBuffer, static_cast<char*>(nullptr)); // the panel fills nothing in
        QCOMPARE(n[9], 7);
        // And the live frames arrive.
        QTRY_VERIFY_WITH_TIMEOUT(!labelPixmap(pPanel->m_pShowLabel).isNull() &&
                                     labelPixmap(pPanel->m_pShowLabel).cacheKey() != pixmap.cacheKey(),
                                 5000);
    }

    // A live picture that covers the whole label repaints the label alone:
    // ten times a second, repainting the panel and the host's window behind
    // it cost more than the picture itself. Anything that leaves part of the
    // label uncovered (smaller, transparent) must let what is behind show.
    void livePictureRepaintsOnlyTheLabel_data()
    {
        QTest::addColumn<int>("nGrowW");
        QTest::addColumn<int>("nGrowH");
        QTest::addColumn<bool>("bAlpha");
        QTest::addColumn<bool>("bBehindRepainted");
        QTest::newRow("the label's size") << 0 << 0 << false << false;
        QTest::newRow("larger") << 7 << 3 << false << false;
        QTest::newRow("one column short") << -1 << 0 << false << true;
        QTest::newRow("one row short") << 0 << -1 << false << true;
        QTest::newRow("transparent") << 0 << 0 << true << true;
    }

    void livePictureRepaintsOnlyTheLabel()
    {
        QFETCH(int, nGrowW);
        QFETCH(int, nGrowH);
        QFETCH(bool, bAlpha);
        QFETCH(bool, bBehindRepainted);
        DockedPanel docked;
        QWidget& host = docked.host;
        PanelPtr& pPanel = docked.pPanel;
        QVERIFY(QTest::qWaitForWindowExposed(&host));
        pPanel->OnEvent(1201, nullptr); // the thread's own pictures stop
        QCoreApplication::processEvents();

        struct PaintCounter : QObject
        {
            QMap<QObject*, int> counts;
            bool eventFilter(QObject* pWatched, QEvent* pEvent) override
            {
                if (pEvent->type() == QEvent::Paint)
                    ++counts[pWatched];
                return false;
            }
        } counter;
        HXLDisplayLabel* pLabel = pPanel->m_pShowLabel;
        QList<QWidget*> behind;
        for (QWidget* p = pLabel->parentWidget(); p; p = p->parentWidget())
            behind << p;
        QVERIFY(behind.contains(pPanel.get()) && behind.contains(&host));
        pLabel->installEventFilter(&counter);
        for (QWidget* p : behind)
            p->installEventFilter(&counter);

        // Pictures as the live thread composes them, at the label's size of
        // the moment (a label showing a picture may take a new size once).
        QImage picture;
        auto showPicture = [&](const QImage& image) {
            emit pPanel->m_pRefreshThread->updatePixmap(QPixmap::fromImage(image));
            QTest::qWait(30); // each picture painted before the next
        };
        auto show = [&](int i) {
            picture = QImage(pLabel->width() + nGrowW, pLabel->height() + nGrowH,
                             bAlpha ? QImage::Format_ARGB32 : QImage::Format_RGB32);
            picture.fill(bAlpha ? QColor(20 * i, 0, 0, 128) : QColor(20 * i, 0, 0));
            showPicture(picture);
        };
        show(0);
        show(0);
        counter.counts.clear();
        const int nFrames = 5;
        for (int i = 1; i <= nFrames; ++i)
            show(i);
        QCOMPARE(labelPixmap(pLabel).size(), picture.size());
        QVERIFY2(counter.counts.value(pLabel) >= nFrames, qPrintable(QString::number(counter.counts.value(pLabel))));
        int nBehind = 0;
        for (QWidget* p : behind)
            nBehind += counter.counts.value(p);
        if (bBehindRepainted)
            QVERIFY2(nBehind >= nFrames, qPrintable(QString::number(nBehind)));
        else
            QCOMPARE(nBehind, 0);

        // Video off: a black picture of the label's size, opaque like a live one.
        QImage settled(pLabel->size(), QImage::Format_RGB32);
        settled.fill(Qt::darkGreen);
        showPicture(settled);
        showPicture(settled);
        counter.counts.clear();
        pPanel->slotTurnOffTheVideo();
        QTest::qWait(30);
        QVERIFY(counter.counts.value(pLabel) >= 1);
        for (QWidget* p : behind)
            QCOMPARE(counter.counts.value(p), 0);
    }

    // Live pictures no longer make the tab widget lay itself out again, but
    // a real change of what it lays out still does.
    void tabWidgetStillFollowsItsTabsAndPages()
    {
        DockedPanel docked;
        PanelPtr& pPanel = docked.pPanel;
        QVERIFY(QTest::qWaitForWindowExposed(&docked.host));
        HXLDisplayLabel* pLabel = pPanel->m_pShowLabel;
        QTRY_VERIFY_WITH_TIMEOUT(!labelPixmap(pLabel).isNull(), 5000); // live pictures arrive
        // The tab bar asks for more room (a larger font): the tab widget
        // hears of it only through a layout request, and gives it.
        QTabBar* pBar = pPanel->m_pTabWidget->tabBar();
        const int nBarWidth = pBar->width();
        QFont font = pBar->font();
        font.setPixelSize(3 * QFontInfo(font).pixelSize());
        pBar->setFont(font);
        QTRY_VERIFY_WITH_TIMEOUT(pBar->width() > nBarWidth + 20, 2000);
        // And live pictures go on reaching the label meanwhile.
        const qint64 nKey = labelPixmap(pLabel).cacheKey();
        QTRY_VERIFY_WITH_TIMEOUT(labelPixmap(pLabel).cacheKey() != nKey, 2000);
    }

    // The live picture is made at the label's size; it must not become the
    // label's smallest size too: a panel on its own kept growing by a
    // picture's worth of layout, and a host window could not be made smaller
    // than the last picture while the video ran.
    void livePicturesDoNotPinTheLabelsSize()
    {
        PanelPtr pPanel(makePanel());
        pPanel->resize(600, 240);
        pPanel->show();
        QVERIFY(QTest::qWaitForWindowExposed(pPanel.get()));
        HXLDisplayLabel* pLabel = pPanel->m_pShowLabel;
        QTRY_VERIFY_WITH_TIMEOUT(!labelPixmap(pLabel).isNull(), 5000);
        const QSize started = pPanel->size();
        const qint64 nKey = labelPixmap(pLabel).cacheKey();
        QTRY_VERIFY_WITH_TIMEOUT(labelPixmap(pLabel).cacheKey() != nKey, 2000);
        QTest::qWait(1000); // about ten live pictures
        QCOMPARE(pPanel->size(), started);

        // In a host's window that the operator makes smaller while the video runs.
        QWidget host;
        auto* pHostLayout = new QVBoxLayout(&host);
        pHostLayout->addWidget(pPanel.get());
        // The panel is deleted as a panel, not as the window's child.
        const auto takeBack = qScopeGuard([&pPanel] { pPanel->setParent(nullptr); });
        host.resize(900, 300);
        host.show();
        QVERIFY(QTest::qWaitForWindowExposed(&host));
        QTRY_COMPARE_WITH_TIMEOUT(labelPixmap(pLabel).width(), pLabel->width(), 3000);
        const int nWide = pLabel->width();
        host.resize(500, 300);
        QTRY_COMPARE_WITH_TIMEOUT(host.width(), 500, 3000);
        QTRY_VERIFY_WITH_TIMEOUT(pLabel->width() < nWide - 300, 3000);
        // And the pictures follow the label's new size.
        QTRY_COMPARE_WITH_TIMEOUT(labelPixmap(pLabel).size(), pLabel->size(), 3000);
    }

    void pauseAndResumeEvents()
    {
        PanelPtr pPanel(makePanel());
        hostsim::SimCamera* pCamera = HostSim::camera(0);
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->grabCount() > 0, 5000);
        pPanel->OnEvent(1201, nullptr); // returns once paused
        QVERIFY(pPanel->m_pRefreshThread->m_bAck);
        QTRY_COMPARE_WITH_TIMEOUT(pPanel->m_pRefreshThread->m_bParked.load(), 1, 3000);
        const int nGrabs = pCamera->grabCount();
        QTest::qWait(350);
        QCOMPARE(pCamera->grabCount(), nGrabs);
        pPanel->OnEvent(1202, nullptr);
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->grabCount() > nGrabs, 3000);

        // With video off, 1202 does not resume.
        pPanel->OnEvent(1201, nullptr);
        QTRY_COMPARE_WITH_TIMEOUT(pPanel->m_pRefreshThread->m_bParked.load(), 1, 3000);
        isOpenVideo = 0;
        const int nParked = pCamera->grabCount();
        pPanel->OnEvent(1202, nullptr);
        QTest::qWait(350);
        QCOMPARE(pCamera->grabCount(), nParked);
    }

    void singleFrameEvent()
    {
        isOpenVideo = 0; // paused from the start: the label shows only what 1205 brings
        PanelPtr pPanel(makePanel());
        pPanel->show();
        QTRY_COMPARE_WITH_TIMEOUT(pPanel->m_pRefreshThread->m_bParked.load(), 1, 3000);
        int nParam = 0;
        // No frame buffer yet: the single frame fails.
        pPanel->OnEvent(1205, &nParam);
        QCOMPARE(nParam, -1);
        // Once the thread has a buffer, one frame is shown.
        isOpenVideo = 1;
        pPanel->OnEvent(1202, nullptr);
        QTRY_VERIFY_WITH_TIMEOUT(pPanel->m_pRefreshThread->bufferBytes() > 0, 5000);
        pPanel->OnEvent(1201, nullptr);
        QCoreApplication::processEvents();
        pPanel->m_pShowLabel->clear();
        nParam = 0;
        pPanel->OnEvent(1205, &nParam);
        QCOMPARE(nParam, 0);
        QVERIFY(!labelPixmap(pPanel->m_pShowLabel).isNull());
        QCOMPARE(labelPixmap(pPanel->m_pShowLabel).size(), pPanel->m_pShowLabel->size());
        HostSim::camera(0)->setGrabFails(true);
        pPanel->OnEvent(1205, &nParam);
        QCOMPARE(nParam, -1);
        pPanel->OnEvent(1205, nullptr); // no parameter: nothing to write
    }

    void stopForGoodEvent()
    {
        PanelPtr pPanel(makePanel());
        QTRY_VERIFY_WITH_TIMEOUT(!labelPixmap(pPanel->m_pShowLabel).isNull(), 5000);
        HXL_RefreshCameraThread* pThread = pPanel->m_pRefreshThread;
        HostSim::journal().clear();
        pPanel->OnEvent(1102, nullptr);
        QCOMPARE(pThread->m_pShowLabel.load(), static_cast<QWidget*>(nullptr));
        QCOMPARE(pThread->m_pImageBuffer, static_cast<unsigned char*>(nullptr));
        QCOMPARE(HostSim::journal().count(QStringLiteral("BatchReleasePolyline(1)")), 1);
        // Resuming afterwards brings no frame to the label: the thread is detached.
        const qint64 nKey = labelPixmap(pPanel->m_pShowLabel).cacheKey();
        pPanel->OnEvent(1202, nullptr);
        QTest::qWait(400);
        QCOMPARE(labelPixmap(pPanel->m_pShowLabel).cacheKey(), nKey);
    }

    void saveEvent()
    {
        PanelPtr pPanel(makePanel());
        HostSim::cameraManager().nSatMode = 2;
        pPanel->OnEvent(1101, nullptr);
        QVERIFY(QFile::exists(HostSim::cameraManager().configPath()));
        HostSim::reset();
        QCOMPARE(HostSim::cameraManager().nSatMode, 2);
        hostsim::eventManager().removeListenerEverywhere(pPanel.get());
    }

    void selectionEventReloadsTheRange()
    {
        PanelPtr pPanel(makePanel());
        pPanel->show();
        QTRY_VERIFY_WITH_TIMEOUT(!pPanel->m_pShowLabel->imageRect().isNull(), 5000);
        HostSim::setSearchRangeSelectedPer(0.25, 0.75, 0.25, 0.75);
        IZKEventManger::singleton()->FireEvent(2, 208, nullptr);
        QCOMPARE(pPanel->m_pShowLabel->m_dSelectPer[0], 0.25);
        QCOMPARE(pPanel->m_pShowLabel->m_dSelectPer[3], 0.75);
        const QRectF image = pPanel->m_pShowLabel->imageRect();
        const QRectF select = pPanel->m_pShowLabel->selectRect();
        QVERIFY(qAbs(select.left() - (image.left() + image.width() * 0.25)) < 1.0);
        QVERIFY(qAbs(select.right() - (image.left() + image.width() * 0.75)) < 1.0);
    }

    // The host's new range becomes the module's settings too: the preview's
    // closing, which pushes the settings back to the host, leaves it there.
    void selectionEventRangeSurvivesTheFullScreenPreview()
    {
        PanelPtr pPanel(makePanel());
        pPanel->show();
        QTRY_VERIFY_WITH_TIMEOUT(!pPanel->m_pShowLabel->imageRect().isNull(), 5000);
        HostSim::setSearchRangeSelectedPer(0.2, 0.7, 0.15, 0.8);
        IZKEventManger::singleton()->FireEvent(2, 208, nullptr);

        bool bPreviewShown = false;
        QTimer closer;
        closer.setInterval(50);
        connect(&closer, &QTimer::timeout, pPanel.get(), [&] {
            if (auto* pPreview = pPanel->findChild<ZKFullScreenUI*>(); pPreview && pPreview->isVisible()) {
                bPreviewShown = true;
                QTest::keyClick(pPreview, Qt::Key_Escape);
            }
        });
        closer.start();
        pPanel->slotShowPreviewFullScreen();
        closer.stop();
        QVERIFY(bPreviewShown);

        double dLeft = 0.0, dRight = 0.0, dBottom = 0.0, dTop = 0.0;
        Dll_HXL_VisionFeature_GetSearchRangeSelectedPer(dLeft, dRight, dBottom, dTop);
        QCOMPARE(dLeft, 0.2);
        QCOMPARE(dRight, 0.7);
        QCOMPARE(dBottom, 0.15);
        QCOMPARE(dTop, 0.8);
        QCOMPARE(pPanel->m_pShowLabel->m_dSelectPer[0], 0.2);
        QCOMPARE(pPanel->m_pShowLabel->m_dSelectPer[3], 0.8);
    }

    // ... and the settings file keeps it at exit.
    void selectionEventRangeIsSavedAtExit()
    {
        PanelPtr pPanel(makePanel());
        pPanel->show();
        QTRY_VERIFY_WITH_TIMEOUT(!pPanel->m_pShowLabel->imageRect().isNull(), 5000);
        HostSim::setSearchRangeSelectedPer(0.2, 0.7, 0.15, 0.8);
        IZKEventManger::singleton()->FireEvent(3, 208, nullptr);
        HXL_CameraUI_TellAppExit();
        QSettings settings(HostSim::workPath() + QStringLiteral("qcv.dat"), QSettings::IniFormat);
        settings.beginGroup(QStringLiteral("HXL_CameraUI"));
        QCOMPARE(settings.value(QStringLiteral("dPerMinX")).toString(), QStringLiteral("0.2"));
        QCOMPARE(settings.value(QStringLiteral("dPerMaxX")).toString(), QStringLiteral("0.7"));
        QCOMPARE(settings.value(QStringLiteral("dPerMinY")).toString(), QStringLiteral("0.15"));
        QCOMPARE(settings.value(QStringLiteral("dPerMaxY")).toString(), QStringLiteral("0.8"));
    }

    void cameraChangeOnlyWithPermission()
    {
        HostSim::addCamera(hostsim::CameraSetup());
        PanelPtr pPanel(makePanel());
        int nIndex = 1;
        pPanel->OnEvent(1002, &nIndex); // the panel has no camera selector: nothing happens
        QCOMPARE(HostSim::cameraManager().GetCurCameraIndex(), 0);
        QVERIFY(!g_bCameraChangeAllowed);
        pPanel->slotCameraChange(1);
        QCOMPARE(HostSim::cameraManager().GetCurCameraIndex(), 0);
        g_bCameraChangeAllowed = true;
        pPanel->slotCameraChange(1);
        QCOMPARE(HostSim::cameraManager().GetCurCameraIndex(), 1);
        QVERIFY(!g_bCameraChangeAllowed); // consumed
    }

    void unknownEventsAreIgnored()
    {
        PanelPtr pPanel(makePanel());
        int n = 9;
        pPanel->OnEvent(777, &n);
        pPanel->OnEvent(0, nullptr);
        QCOMPARE(n, 9);
    }

    void teardownReleasesAndDetaches()
    {
        const int nLive = hostsim::SimPolyline::liveCount();
        ZKCostomCameraWidget* pPanel = makePanel();
        QPointer<HXL_RefreshCameraThread> pThread = pPanel->m_pRefreshThread;
        QTRY_VERIFY_WITH_TIMEOUT(pPanel->m_pRefreshThread->bufferBytes() > 0, 5000);
        HostSim::journal().clear();
        destroyPanel(pPanel);
        QVERIFY(pThread.isNull()); // deleted once its deferred deletion came round
        QCOMPARE(hostsim::SimPolyline::liveCount(), nLive);
        QCOMPARE(HostSim::journal().count(QStringLiteral("BatchReleasePolyline(1)")), 2); // thread's and panel's
    }

    void destroyingANoCameraPanel()
    {
        HostSim::removeAllCameras();
        ZKCostomCameraWidget* pPanel = makePanel();
        destroyPanel(pPanel);
    }

    void listenerStaysRegisteredAfterDestruction()
    {
        ZKCostomCameraWidget* pPanel = makePanel(false);
        IZKEventListener* pListener = pPanel;
        delete pPanel;
        // The panel never withdraws itself; its host must before it fires again.
        QCOMPARE(hostsim::eventManager().channelsOf(pListener), (std::vector<int>{2, 3, 4}));
        hostsim::eventManager().removeListenerEverywhere(pListener);
    }

private:
    // A panel docked in a host window of a fixed size, as hosts show it
    // (the panel goes first, as a panel, when this ends).
    struct DockedPanel
    {
        QWidget host;
        PanelPtr pPanel;

        DockedPanel()
            : pPanel(makePanel())
        {
            host.setFixedSize(820, 420);
            (new QVBoxLayout(&host))->addWidget(pPanel.get());
            host.show();
        }
    };

    std::unique_ptr<QTemporaryDir> m_pDir;
};

QTEST_MAIN(TestPanelBuild)
#include "tst_panel_build.moc"

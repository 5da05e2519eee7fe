// The small windows of the module: the "processing" notice with its growing
// row of marks, the camera parameter dialog that the camera fills with its
// own controls, and the exported camera tab host.

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"
#include "auxiliary/HXLCameraParameterSettingDialog.h"
#include "auxiliary/HXLCameraWidget.h"
#include "auxiliary/HXL_ShowDealWithDialog.h"
#include "display/HXLCustomLabel.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "cameras/SimCamera.h"
#include "services/SimCameraManager.h"
#include "services/SimEvents.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMetaMethod>
#include <QPushButton>
#include <QSlider>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <QtTest>

#ifdef Q_OS_WIN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

using hostsim::HostSim;

namespace {

QStringList ownMethods(const QMetaObject& mo)
{
    QStringList methods;
    for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
        const QMetaMethod m = mo.method(i);
        const char* kind = m.methodType() == QMetaMethod::Signal ? "signal " : m.methodType() == QMetaMethod::Slot ? "slot " : "method ";
        methods << QString::fromLatin1(kind) + QString::fromLatin1(m.methodSignature());
    }
    return methods;
}

int objectTimers(QObject* pObject)
{
    return QAbstractEventDispatcher::instance()->registeredTimers(pObject).size();
}

QString noticeText(HXL_ShowDealWithDialog& box)
{
    QLabel* pLabel = box.findChild<QLabel*>();
    return pLabel ? pLabel->text() : QString();
}

bool sendWheel(QObject* pTarget)
{
    QWheelEvent wheel(QPointF(5, 5), QPointF(5, 5), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    return QApplication::sendEvent(pTarget, &wheel);
}

// Collects the warnings Qt prints while it lives.
class WarningCatcher
{
public:
    WarningCatcher()
    {
        s_messages.clear();
        m_previous = qInstallMessageHandler(&WarningCatcher::handle);
    }
    ~WarningCatcher() { qInstallMessageHandler(m_previous); }
    static QStringList messages() { return s_messages; }

private:
    static void handle(QtMsgType type, const QMessageLogContext&, const QString& message)
    {
        if (type != QtDebugMsg && type != QtInfoMsg)
            s_messages << message;
    }
    static QStringList s_messages;
    QtMessageHandler m_previous = nullptr;
};
QStringList WarningCatcher::s_messages;

} // namespace

class TestSmallWindows : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        HostSim::setLanguage(QStringLiteral("en"));
#ifndef Q_OS_WIN
        // The captions of the camera tab host are local 8-bit literals, UTF-8
        // outside Windows: they are read here as a UTF-8 locale reads them.
        // (On Windows the test runs with the system's own code page.)
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
#endif
    }

    void init()
    {
        QVERIFY(m_dir.isValid());
        HostSim::reset(m_dir.path());
        HXL_CameraUI_ReadParam();
        g_nDotCount = 0;
    }

    // --- processing notice -----------------------------------------------------------

    void noticeMetaObjectHasOnlyTheTimeoutSlot()
    {
        const QMetaObject& mo = HXL_ShowDealWithDialog::staticMetaObject;
        QCOMPARE(mo.className(), "HXL_ShowDealWithDialog");
        QCOMPARE(mo.superClass(), &QDialog::staticMetaObject);
        QCOMPARE(ownMethods(mo), QStringList{QStringLiteral("slot onTimeout()")});
    }

    void noticeIsAFramelessBoxWithTheProcessingText()
    {
        QWidget parent;
        HXL_ShowDealWithDialog box(&parent);
        QVERIFY(box.windowFlags() & Qt::FramelessWindowHint);
        QVERIFY(box.windowFlags() & Qt::Dialog);
        QCOMPARE(box.parentWidget(), &parent);
        QVERIFY(box.findChild<QLabel*>() == nullptr); // built by InitUI only
        QCOMPARE(objectTimers(&box), 0);

        box.InitUI();
        QCOMPARE(box.minimumSize(), QSize(250, 40));
        QCOMPARE(box.maximumSize(), QSize(250, 40));
        auto* pLayout = qobject_cast<QHBoxLayout*>(box.layout());
        QVERIFY(pLayout);
        QCOMPARE(pLayout->contentsMargins(), QMargins(0, 0, 0, 0));
        QCOMPARE(pLayout->count(), 1);
        auto* pGroup = qobject_cast<QGroupBox*>(pLayout->itemAt(0)->widget());
        QVERIFY(pGroup);
        QVERIFY(pGroup->title().isEmpty());
        QCOMPARE(pGroup->styleSheet(), QStringLiteral("border: 3px solid gray;border-radius:5px;"));
        auto* pGroupLayout = qobject_cast<QHBoxLayout*>(pGroup->layout());
        QVERIFY(pGroupLayout);
        QCOMPARE(pGroupLayout->contentsMargins(), QMargins(2, 2, 2, 2));
        auto* pLabel = qobject_cast<QLabel*>(pGroupLayout->itemAt(0)->widget());
        QVERIFY(pLabel);
        QCOMPARE(pLabel->alignment(), Qt::AlignHCenter | Qt::AlignVCenter);
        QCOMPARE(HXL_Text(44), QStringLiteral("Processing"));
        QCOMPARE(pLabel->text(), HXL_Text(44));
        // Deleting on close is the creator's choice.
        QVERIFY(!box.testAttribute(Qt::WA_DeleteOnClose));
        QVERIFY(!box.isVisible());
    }

    void ticksCycleThroughZeroToFourMarks()
    {
        HXL_ShowDealWithDialog box(nullptr);
        box.InitUI();
        const QString base = HXL_Text(44);
        const int expected[] = {0, 1, 2, 3, 4, 0, 1, 2};
        for (int n : expected) {
            box.onTimeout();
            QCOMPARE(noticeText(box), base + QString(n, QLatin1Char('>')));
        }
        QCOMPARE(g_nDotCount, 3);
    }

    void theMarkCountIsSharedByEveryBox()
    {
        HXL_ShowDealWithDialog first(nullptr);
        first.InitUI();
        HXL_ShowDealWithDialog second(nullptr);
        second.InitUI();
        first.onTimeout();
        first.onTimeout();
        second.onTimeout();
        QCOMPARE(noticeText(second), HXL_Text(44) + QStringLiteral(">>"));
        first.onTimeout();
        QCOMPARE(noticeText(first), HXL_Text(44) + QStringLiteral(">>>"));
    }

    void animationRunsWhileHidden()
    {
        HXL_ShowDealWithDialog box(nullptr);
        box.InitUI();
        QVERIFY(!box.isVisible());
        g_nDotCount = 3;
        QTRY_COMPARE_WITH_TIMEOUT(noticeText(box), HXL_Text(44) + QStringLiteral(">>>"), 2000);
        QTRY_COMPARE_WITH_TIMEOUT(noticeText(box), HXL_Text(44) + QStringLiteral(">>>>"), 2000);
        QTRY_COMPARE_WITH_TIMEOUT(noticeText(box), HXL_Text(44), 2000);
    }

    void animationTicksEvery200ms()
    {
        HXL_ShowDealWithDialog box(nullptr);
        box.InitUI();
        int nTicks = 0;
        QLabel* pLabel = box.findChild<QLabel*>();
        QObject context;
        QString last = pLabel->text();
        QTimer probe;
        connect(&probe, &QTimer::timeout, &context, [&]() {
            if (pLabel->text() != last) {
                last = pLabel->text();
                ++nTicks;
            }
        });
        probe.start(10);
        QTest::qWait(1100);
        // About five ticks in a second; the first shows no mark, like the text
        // before it, so about four changes (a 400 ms timer would give one).
        QVERIFY2(nTicks >= 2 && nTicks <= 6, qPrintable(QString::number(nTicks)));
    }

    void startShowTwiceStartsOneObjectTimer()
    {
        HXL_ShowDealWithDialog box(nullptr);
        box.InitUI();
        box.StartShow();
        QVERIFY(box.isVisible());
        box.StartShow();
        const QList<QAbstractEventDispatcher::TimerInfo> timers =
            QAbstractEventDispatcher::instance()->registeredTimers(&box);
        QCOMPARE(timers.size(), 1);
        QCOMPARE(timers.at(0).interval, 200);
        QCOMPARE(timers.at(0).timerType, Qt::CoarseTimer);

        box.StopShow();
        QVERIFY(!box.isVisible());
        QCOMPARE(objectTimers(&box), 0);

        box.StartShow();
        QCOMPARE(objectTimers(&box), 1);
        // The object timer changes nothing visible.
        g_nDotCount = 0;
        QTest::qWait(450);
        QVERIFY(box.isVisible());
        box.StopShow();
    }

    void stopShowOnABoxNeverShownOnlyHidesIt()
    {
        HXL_ShowDealWithDialog box(nullptr);
        box.InitUI();
        {
            WarningCatcher catcher;
            box.StopShow();
            QVERIFY(!box.isVisible());
            box.show();
            box.StopShow();
            QVERIFY(!box.isVisible());
            QCOMPARE(WarningCatcher::messages(), QStringList());
        }
        QCOMPARE(objectTimers(&box), 0);
        // The animation is untouched.
        g_nDotCount = 2;
        QTRY_COMPARE_WITH_TIMEOUT(noticeText(box), HXL_Text(44) + QStringLiteral(">>"), 2000);
    }

    void deletedBoxStopsAnimating()
    {
        auto* pBox = new HXL_ShowDealWithDialog(nullptr);
        pBox->InitUI();
        pBox->StartShow();
        delete pBox;
        g_nDotCount = 1;
        QTest::qWait(450);
        QCOMPARE(g_nDotCount, 1);
    }

    // --- camera parameter dialog ----------------------------------------------------------

    void parameterDialogMetaObjectHasNoMethods()
    {
        const QMetaObject& mo = HXLCameraParameterSettingDialog::staticMetaObject;
        QCOMPARE(mo.className(), "HXLCameraParameterSettingDialog");
        QCOMPARE(mo.superClass(), &QDialog::staticMetaObject);
        QCOMPARE(ownMethods(mo), QStringList());
    }

    void cameraFillsTheParameterDialog()
    {
        QWidget parent;
        HostSim::journal().clear();
        HXLCameraParameterSettingDialog dialog(&parent);
        QVERIFY(!(dialog.windowFlags() & Qt::WindowContextHelpButtonHint));
        QCOMPARE(dialog.parentWidget(), &parent);

        auto* pLayout = qobject_cast<QVBoxLayout*>(dialog.layout());
        QVERIFY(pLayout);
        QCOMPARE(pLayout->count(), 1);
        QWidget* pContainer = pLayout->itemAt(0)->widget();
        QVERIFY(pContainer);
        QCOMPARE(pContainer->parentWidget(), &dialog);
        QVERIFY(pContainer->findChild<QSlider*>(QStringLiteral("SimCameraExposure")));
        QVERIFY(pContainer->findChild<QDoubleSpinBox*>(QStringLiteral("SimCameraGain")));

        hostsim::Journal& journal = HostSim::journal();
        const int nCount = journal.indexOf(QStringLiteral("IZKVisionCameraManager::GetCameraCount()"));
        const int nIndex = journal.indexOf(QStringLiteral("IZKVisionCameraManager::GetCurCameraIndex()"));
        const int nCamera = journal.indexOf(QStringLiteral("IZKVisionCameraManager::GetCamera("));
        const int nCreate = journal.indexOf(QStringLiteral("IZKVisionCamera::CreateParamWidget()"));
        QVERIFY(nCount >= 0);
        QVERIFY(nCount < nIndex);
        QVERIFY(nIndex < nCamera);
        QVERIFY(nCamera < nCreate);
    }

    void theCurrentCameraFillsIt()
    {
        hostsim::CameraSetup setup;
        setup.name = QStringLiteral("SecondCam");
        HostSim::addCamera(setup);
        HostSim::cameraManager().SetCurCameraIndex(1);
        HostSim::journal().clear();
        HXLCameraParameterSettingDialog dialog(nullptr);
        QCOMPARE(HostSim::journal().linesStartingWith(QStringLiteral("IZKVisionCamera::CreateParamWidget()")),
                 QStringList{QStringLiteral("IZKVisionCamera::CreateParamWidget() [SecondCam]")});
        QVERIFY(HostSim::journal().indexOf(QStringLiteral("IZKVisionCameraManager::GetCamera(1)")) >= 0);
    }

    void withoutCameraTheDialogIsEmpty()
    {
        HostSim::removeAllCameras();
        HostSim::journal().clear();
        HXLCameraParameterSettingDialog dialog(nullptr);
        QVERIFY(dialog.layout());
        QCOMPARE(dialog.layout()->count(), 0);
        QVERIFY(dialog.findChild<QSlider*>() == nullptr);
        QVERIFY(dialog.findChild<QDoubleSpinBox*>() == nullptr);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCamera::CreateParamWidget()")), 0);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCameraManager::GetCamera(")), 0);
    }

    void filterEatsWheelOnSlidersAndCombos_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("eaten");
        QTest::newRow("slider") << QStringLiteral("slider") << true;
        QTest::newRow("combo box") << QStringLiteral("combo") << true;
        QTest::newRow("spin box") << QStringLiteral("spin") << false;
    }
    void filterEatsWheelOnSlidersAndCombos()
    {
        QFETCH(QString, kind);
        QFETCH(bool, eaten);
        HXLCameraParameterSettingDialog dialog(nullptr);
        QWidget* pControl = nullptr;
        std::function<int()> value;
        if (kind == QLatin1String("slider")) {
            auto* pSlider = dialog.findChild<QSlider*>(QStringLiteral("SimCameraExposure"));
            pControl = pSlider;
            value = [pSlider]() { return pSlider->value(); };
        } else if (kind == QLatin1String("combo")) {
            auto* pCombo = new QComboBox(&dialog);
            pCombo->addItems({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")});
            pCombo->setCurrentIndex(1);
            pControl = pCombo;
            value = [pCombo]() { return pCombo->currentIndex(); };
        } else {
            auto* pSpin = new QSpinBox(&dialog);
            pSpin->setRange(0, 100);
            pSpin->setValue(50);
            pControl = pSpin;
            value = [pSpin]() { return pSpin->value(); };
        }
        QVERIFY(pControl);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));

        // Called directly, for a wheel event and for another event.
        QWheelEvent wheel(QPointF(5, 5), QPointF(5, 5), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QCOMPARE(dialog.eventFilter(pControl, &wheel), eaten);
        QEvent other(QEvent::MouseButtonPress);
        QVERIFY(!dialog.eventFilter(pControl, &other));

        // Installed on the control, scrolling over it changes nothing.
        pControl->installEventFilter(&dialog);
        const int before = value();
        sendWheel(pControl);
        QCOMPARE(value() == before, eaten);

        // Without the filter the same wheel does change the value.
        pControl->removeEventFilter(&dialog);
        const int unfiltered = value();
        sendWheel(pControl);
        QVERIFY(value() != unfiltered);
    }

    // --- camera tab host ---------------------------------------------------------------------

    void cameraWidgetMetaObjectHasNoMethods()
    {
        const QMetaObject& mo = HXLCameraWidget::staticMetaObject;
        QCOMPARE(mo.className(), "HXLCameraWidget");
        QCOMPARE(mo.superClass(), &QWidget::staticMetaObject);
        QCOMPARE(ownMethods(mo), QStringList());
    }

    void cameraWidgetIsAListenerOnNoChannel()
    {
        QWidget parent;
        auto* pWidget = new HXLCameraWidget(&parent);
        QCOMPARE(pWidget->parentWidget(), &parent);
        IZKEventListener* pListener = pWidget;
        QVERIFY(pListener);
        QVERIFY(hostsim::eventManager().channelsOf(pListener).empty());
        // Nothing is built before InitDisplay.
        QVERIFY(pWidget->children().isEmpty());
        pWidget->InitDisplay();
        QVERIFY(hostsim::eventManager().channelsOf(pListener).empty());
    }

    void initDisplayBuildsTheCameraTab()
    {
        HXLCameraWidget widget(nullptr);
        widget.InitDisplay();
        QVERIFY(widget.layout() == nullptr);

        const QList<QTabWidget*> tabs = widget.findChildren<QTabWidget*>(QString(), Qt::FindDirectChildrenOnly);
        QCOMPARE(tabs.size(), 1);
        QTabWidget* pTabs = tabs.first();
        QCOMPARE(pTabs->pos(), QPoint(0, 0));
        QCOMPARE(pTabs->count(), 1);

        QWidget* pPage = pTabs->widget(0);
        auto* pLayout = qobject_cast<QVBoxLayout*>(pPage->layout());
        QVERIFY(pLayout);
        QCOMPARE(pLayout->count(), 2);
        auto* pLabel = qobject_cast<HXLCustomLabel*>(pLayout->itemAt(0)->widget());
        QVERIFY(pLabel);
        QVERIFY(pLabel->hasScaledContents());
        QCOMPARE(pLabel->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
        QCOMPARE(pLabel->sizePolicy().verticalPolicy(), QSizePolicy::MinimumExpanding);
        QCOMPARE(pLabel->minimumHeight(), 268);
        QCOMPARE(pLabel->maximumHeight(), 268);
        auto* pButton = qobject_cast<QPushButton*>(pLayout->itemAt(1)->widget());
        QVERIFY(pButton);
        QCOMPARE(widget.findChildren<HXLCustomLabel*>().size(), 1);
        QCOMPARE(widget.findChildren<QPushButton*>().size(), 1);

        widget.resize(500, 400);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QCOMPARE(pLabel->height(), 268);
        // The button sits below the picture.
        QVERIFY(pButton->mapTo(&widget, QPoint(0, 0)).y() > pLabel->mapTo(&widget, QPoint(0, 0)).y() + 268);
    }

    // The tab and button captions are the host's local 8-bit texts: GBK bytes
    // on Windows, read with the system's ANSI code page. A Chinese Windows
    // (code page 936) shows them as they are meant; a Western one (1252)
    // shows each GBK byte as a Latin letter, which is what the product shows
    // there. Run under Wine with a zh_CN.GBK locale for 936 and any other
    // locale for 1252.
    void captionsFollowTheLocalCodePage()
    {
#ifdef Q_OS_WIN
        const uint nCodePage = GetACP();
#else
        const uint nCodePage = 65001; // UTF-8, as initTestCase set it
#endif
        QString strTab;
        QString strButton;
        switch (nCodePage) {
        case 936:   // Simplified Chinese (GBK)
        case 65001: // UTF-8, outside Windows
            strTab = QString::fromUtf8("相机视频");
            strButton = QString::fromUtf8("拍照");
            break;
        case 1252: // Western European
            strTab = QString::fromUtf8("Ïà»úÊÓÆµ");
            strButton = QString::fromUtf8("ÅÄÕÕ");
            break;
        default:
            QFAIL(qPrintable(QStringLiteral("no stated captions for code page %1").arg(nCodePage)));
        }
        qInfo("code page %u", nCodePage);
        HXLCameraWidget widget(nullptr);
        widget.InitDisplay();
        auto* pTabs = widget.findChild<QTabWidget*>();
        auto* pButton = widget.findChild<QPushButton*>();
        QVERIFY(pTabs && pButton);
        QCOMPARE(pTabs->tabText(0), strTab);
        QCOMPARE(pButton->text(), strButton);
    }

    void neitherButtonNorLabelIsWired()
    {
        HXLCameraWidget widget(nullptr);
        widget.InitDisplay();
        auto* pButton = widget.findChild<QPushButton*>();
        auto* pLabel = widget.findChild<HXLCustomLabel*>();
        QVERIFY(!QObject::disconnect(pButton, SIGNAL(clicked(bool)), nullptr, nullptr));
        QVERIFY(!QObject::disconnect(pButton, SIGNAL(pressed()), nullptr, nullptr));
        QVERIFY(!QObject::disconnect(pButton, SIGNAL(released()), nullptr, nullptr));
        const char* labelSignals[] = {SIGNAL(sigClicked(QPoint)),  SIGNAL(sigRMouseDown(QPoint)),
                                      SIGNAL(sigLMouseUp(QPoint)), SIGNAL(sigRMouseUp(QPoint)),
                                      SIGNAL(sigDbClicked()),      SIGNAL(sigMouseMove(QPoint))};
        for (const char* signal : labelSignals)
            QVERIFY2(!QObject::disconnect(pLabel, signal, nullptr, nullptr), signal);

        // A host may connect to the picture label.
        QSignalSpy clicked(pLabel, &HXLCustomLabel::sigClicked);
        QTest::mouseClick(pLabel, Qt::LeftButton, Qt::NoModifier, QPoint(12, 34));
        QCOMPARE(clicked.count(), 1);
        QCOMPARE(clicked.at(0).at(0).toPoint(), QPoint(12, 34));
        // Pressing the photograph button does nothing here.
        HostSim::journal().clear();
        pButton->click();
        QVERIFY(HostSim::journal().lines().isEmpty());
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(TestSmallWindows)
#include "tst_small_windows.moc"

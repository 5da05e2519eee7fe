#include "HXLParamDialogCommon.h"

#include "HXL_ModuleGlobals.h"
#include "auxiliary/HXL_ShowDealWithDialog.h"

#include "host/ZKAppService.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QDialog>
#include <QEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

namespace HXLParamDialogCommon {

namespace {

TimeOfDayClock& timeOfDayClock()
{
    static TimeOfDayClock s_clock;
    return s_clock;
}

// Text numbers of the simple dialogs' shared pieces.
constexpr int kModeOffText = 5;
constexpr int kModeAutoText = 6;
constexpr int kModeManualText = 7;
constexpr int kRestoreDefaultText = 26;
constexpr int kOkText = 40;
constexpr int kCancelText = 41;

} // namespace

bool isSliderWheel(QObject* watched, QEvent* event)
{
    return watched->inherits("QSlider") && event->type() == QEvent::Wheel;
}

bool isSliderOrComboWheel(QObject* watched, QEvent* event)
{
    return event->type() == QEvent::Wheel && (watched->inherits("QSlider") || watched->inherits("QComboBox"));
}

void setTimeOfDayClock(TimeOfDayClock clock)
{
    timeOfDayClock() = std::move(clock);
}

QTime currentTimeOfDay()
{
    const TimeOfDayClock& clock = timeOfDayClock();
    return clock ? clock() : QTime::currentTime();
}

void waitTimeOfDay(int nMs)
{
    // A time of day, not an elapsed timer: the deadline wraps at midnight, and
    // a wrapped deadline is already "earlier" than now, so the wait ends at once.
    const QTime deadline = currentTimeOfDay().addMSecs(nMs);
    while (currentTimeOfDay() < deadline)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 100);
}

void refreshHostView()
{
    // A host without its application, document or view has nothing to redraw.
    ZKAppService* pApp = HXL_GetAppService();
    ZKGloabVisionAppBase* pMainApp = pApp ? pApp->GetMainApp() : nullptr;
    IZKDocument* pDocument = pMainApp ? pMainApp->GetDocument() : nullptr;
    if (IZKView* pView = pDocument ? pDocument->GetView() : nullptr)
        pView->RefreshView(true);
}

void runApplySequence(HXL_ShowDealWithDialog* pNotice, const std::function<void()>& fnWrite,
                      const std::function<void()>& fnAnnounce)
{
    if (pNotice)
        pNotice->StartShow();
    waitTimeOfDay(kApplyWaitMs);
    if (fnWrite)
        fnWrite();
    fnAnnounce();
    refreshHostView();
    if (pNotice)
        pNotice->StopShow();
}

QString advancedDialogStyleSheet()
{
    // Kept character for character, the runs of blanks included.
    return QStringLiteral("QTabBar::tab{height:30px;}                   QPushButton{height:20px;}                   QSpinBox{height:24px;}                   QComboBox{height:22px;}                   QLineEdit{height:22px;}");
}

QString percentText(int nValue)
{
    return QStringLiteral("%1%2").arg(nValue).arg(QStringLiteral("%"));
}

QString numberText(int nValue)
{
    return QStringLiteral("%1").arg(nValue);
}

SimpleDialogFrame buildSimpleDialogFrame(QDialog* pDialog)
{
    SimpleDialogFrame frame;

    auto* pMainLayout = new QVBoxLayout(pDialog);
    pMainLayout->setContentsMargins(5, 5, 5, 5);

    auto* pGroupBox = new QGroupBox(pDialog);
    frame.pGrid = new QGridLayout(pGroupBox);
    frame.pGrid->setContentsMargins(5, 5, 5, 5);
    pMainLayout->addWidget(pGroupBox);

    auto* pButtonRow = new QWidget(pDialog);
    auto* pButtonLayout = new QHBoxLayout(pButtonRow);
    pButtonLayout->setContentsMargins(0, 0, 0, 0);
    frame.pOkBtn = new QPushButton(HXL_Text(kOkText), pButtonRow);
    frame.pOkBtn->setFixedHeight(30);
    frame.pCancelBtn = new QPushButton(HXL_Text(kCancelText), pButtonRow);
    frame.pCancelBtn->setFixedHeight(30);
    pButtonLayout->addWidget(frame.pOkBtn);
    pButtonLayout->addWidget(frame.pCancelBtn);
    pMainLayout->addWidget(pButtonRow);

    return frame;
}

QLabel* createCaption(const QString& strText)
{
    auto* pLabel = new QLabel(strText);
    pLabel->setFixedHeight(30);
    pLabel->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    return pLabel;
}

QSlider* createSlider(int nMin, int nMax, int nValue)
{
    auto* pSlider = new QSlider(Qt::Horizontal);
    pSlider->setFixedHeight(25);
    pSlider->setSingleStep(1);
    pSlider->setPageStep(1);
    pSlider->setRange(nMin, nMax);
    pSlider->setValue(nValue);
    return pSlider;
}

QLabel* createReadOut(const QString& strText)
{
    auto* pLabel = new QLabel(strText);
    pLabel->setFixedSize(24, 30);
    return pLabel;
}

QComboBox* createModeCombo(int nMode)
{
    auto* pCombo = new QComboBox();
    pCombo->setFixedHeight(25);
    pCombo->setMinimumWidth(80);
    // With a styled delegate the dialog's style sheet reaches the drop-down list too.
    pCombo->setItemDelegate(new QStyledItemDelegate(pCombo));
    pCombo->addItem(HXL_Text(kModeOffText));
    pCombo->addItem(HXL_Text(kModeAutoText));
    pCombo->addItem(HXL_Text(kModeManualText));
    pCombo->setCurrentIndex(nMode);
    return pCombo;
}

QPushButton* createDefaultButton()
{
    auto* pButton = new QPushButton();
    pButton->setFixedSize(26, 26);
    pButton->setIcon(QIcon(QStringLiteral(":/HXL_CameraUI/pic/restoreDefaultUp.png")));
    pButton->setIconSize(QSize(24, 24));
    pButton->setToolTip(HXL_Text(kRestoreDefaultText));
    pButton->setStyleSheet(QStringLiteral("QPushButton {    border: none;}QPushButton:checked {    "
                                          "background-color: #4CAF50;}QPushButton:hover:!checked {    "
                                          "background-color: #e0e0e0;}"));
    return pButton;
}

} // namespace HXLParamDialogCommon

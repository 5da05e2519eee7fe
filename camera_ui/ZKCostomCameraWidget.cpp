#include "ZKCostomCameraWidget.h"

#include "HXL_RefreshCameraThread.h"
#include "ZKFullScreenUI.h"
#include "auxiliary/HXLCameraParameterSettingDialog.h"
#include "auxiliary/HXL_ShowDealWithDialog.h"
#include "dialogs/HXLBriSettingDialog.h"
#include "dialogs/HXLGaySettingDialog.h"
#include "dialogs/HXLGoInterfereSettingDialog.h"
#include "dialogs/HXLSatSettingDialog.h"
#include "dialogs/HXL_AdvancedMorphologyDialog.h"
#include "dialogs/HXL_AdvancedPreprocessingDialog.h"
#include "display/HXLDisplayLabel.h"

#include "host/HXL_HostFunctions.h"
#include "host/IZKDatabase.h"
#include "host/IZKEventManger.h"
#include "host/IZKRobotService.h"
#include "host/IZKVisionCameraManager.h"
#include "host/ZKAppService.h"
#include "host/ZKVisionLocatorManager.h"
#include "host/ZKWindowManager.h"

#include <QCheckBox>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QSlider>
#include <QSpacerItem>
#include <QStyledItemDelegate>
#include <QStackedWidget>
#include <QTabBar>
#include <QTabWidget>
#include <QTextCodec>
#include <QTimerEvent>
#include <QVBoxLayout>

#include <array>
#include <cstdio>
#include <new>

namespace {

const char* const kSettingIcon = ":/HXL_CameraUI/pic/setting.png";
const char* const kRestoreIcon = ":/HXL_CameraUI/pic/restoreDefaultUp.png";
const char* const kRestoreButtonStyle = "QPushButton {    border: none;}QPushButton:checked {    background-color: "
                                        "#4CAF50;}QPushButton:hover:!checked {    background-color: #e0e0e0;}";

// Drawing layers of the picture and the layers that survive a picture rebuild.
constexpr int kPictureLayer = 210;
constexpr int kCalibRangeLayer = 480;
constexpr int kSelectedRangeLayer = 360;
const std::vector<int> kKeptLayers = {210, 370, 380, 390, 400, 360, 410};

// Sets a picture on the live-picture label. A picture without transparency
// that covers the whole label (the live view's are composed at the label's
// size) marks the label opaque: ten times a second a new picture then
// repaints the label alone, not the panel and the host's window behind it.
void showOnLabel(QLabel* pLabel, const QPixmap& pixmap)
{
    const QSize pictureSize = pixmap.size() / pixmap.devicePixelRatio();
    const bool bCovers = !pixmap.isNull() && !pixmap.hasAlphaChannel() && pLabel->contentsRect() == pLabel->rect()
        && pictureSize.width() >= pLabel->width() && pictureSize.height() >= pLabel->height();
    pLabel->setAttribute(Qt::WA_OpaquePaintEvent, bCovers);
    pLabel->setPixmap(pixmap);
}

// QLabel asks its layout to look again for every picture it is given, and
// every layout on the way passes the request up: ten times a second the tab
// widget laid out its tab bar and pages again and repainted itself whole,
// and the host's window after it. The tab widget lays out from the sizes
// its tab bar and page stack ask for and its own size: a request that finds
// them as the last one left them is already answered, and goes no further.
class SettledLayoutFilter : public QObject
{
public:
    // The tab widget makes its tab bar and page stack when it is made.
    explicit SettledLayoutFilter(QTabWidget* pTabWidget)
        : QObject(pTabWidget), m_pTabWidget(pTabWidget), m_pBar(pTabWidget->tabBar()),
          m_pStack(pTabWidget->findChild<QStackedWidget*>(QString(), Qt::FindDirectChildrenOnly))
    {
    }

    bool eventFilter(QObject* pWatched, QEvent* pEvent) override
    {
        if (pWatched != m_pTabWidget || pEvent->type() != QEvent::LayoutRequest || !m_pBar || !m_pStack)
            return false;
        const QTabBar* pBar = m_pBar;
        const QStackedWidget* pStack = m_pStack;
        const std::array<QSize, 7> sizes = {pBar->sizeHint(),      pBar->minimumSizeHint(),   pStack->sizeHint(),
                                            pStack->minimumSizeHint(), pStack->minimumSize(), pStack->maximumSize(),
                                            m_pTabWidget->size()};
        if (m_bSeen && sizes == m_sizes)
            return true;
        m_bSeen = true;
        m_sizes = sizes;
        return false;
    }

private:
    QTabWidget* m_pTabWidget;
    const QPointer<QTabBar> m_pBar;
    const QPointer<QStackedWidget> m_pStack;
    bool m_bSeen = false;
    std::array<QSize, 7> m_sizes;
};

// Sharpening combo index <-> the host's kernel size.
int kernelFromIndex(int nIndex)
{
    return nIndex == 0 ? 0 : 2 * nIndex + 1;
}

int indexFromKernel(int nKernel)
{
    return nKernel == 0 ? 0 : nKernel / 2 - 1 + nKernel % 2;
}

QString defaultOpenFileName(QWidget* pParent, const QString& strCaption, const QString& strDir,
                            const QString& strFilter)
{
    return QFileDialog::getOpenFileName(pParent, strCaption, strDir, strFilter);
}

ZKCostomCameraWidget::OpenFileNameFunction g_pfnOpenFileName = &defaultOpenFileName;

// The open-picture texts are Chinese literals in the GBK encoding of the
// host's Windows code page; decode them as such on every platform.
QString fromGbk(const char* szGbk, const char* szUtf8Fallback)
{
    if (QTextCodec* pCodec = QTextCodec::codecForName("GBK"))
        return pCodec->toUnicode(szGbk);
    return QString::fromUtf8(szUtf8Fallback);
}

QComboBox* makeCombo(QWidget* pParent, QObject* pFilter, const QList<int>& texts)
{
    auto* pCombo = new QComboBox(pParent);
    pCombo->setItemDelegate(new QStyledItemDelegate(pCombo));
    pCombo->setMinimumWidth(80);
    pCombo->installEventFilter(pFilter);
    for (int nText : texts)
        pCombo->addItem(HXL_Text(nText));
    return pCombo;
}

QLabel* makeCaption(QWidget* pParent, int nText)
{
    auto* pLabel = new QLabel(HXL_Text(nText), pParent);
    pLabel->setFixedHeight(30);
    pLabel->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    return pLabel;
}

QPushButton* makeSettingButton(QWidget* pParent, int nTooltip)
{
    auto* pButton = new QPushButton(pParent);
    pButton->setToolTip(HXL_Text(nTooltip));
    pButton->setIcon(QIcon(QString::fromLatin1(kSettingIcon)));
    return pButton;
}

QWidget* makeHBox(QWidget* pParent)
{
    auto* pBox = new QWidget(pParent);
    auto* pLayout = new QHBoxLayout(pBox);
    pLayout->setContentsMargins(0, 0, 0, 0);
    return pBox;
}

QFrame* makeLine(QWidget* pParent)
{
    auto* pLine = new QFrame(pParent);
    pLine->setFrameShape(QFrame::HLine);
    pLine->setFrameShadow(QFrame::Raised);
    return pLine;
}

QSpacerItem* makeSpacer(int nWidth)
{
    return new QSpacerItem(nWidth, 0, QSizePolicy::Expanding, QSizePolicy::Minimum);
}

} // namespace

// --- construction ------------------------------------------------------------------

IZKCostomCameraWidget* IZKCostomCameraWidget::NewInstance(QWidget* parent)
{
    auto* pPanel = new (std::nothrow) ZKCostomCameraWidget(parent);
    return pPanel;
}

QString ZKCostomCameraWidget::PanelStyleSheet()
{
    // The runs of blanks and the doubled colon are part of the panel's look as the host knows it.
    return QString::fromUtf8("QTabBar::tab{height:30px;}                   QPushButton{height:20px;}                   "
                             "QSpinBox{height:24px;}                   QComboBox{height:22px;}                   "
                             "QWidget{font-family: \xE5\xBE\xAE\xE8\xBD\xAF\xE9\x9B\x85\xE9\xBB\x91;}                   "
                             "QLineEdit{height::30px;}");
}

QString ZKCostomCameraWidget::OpenPictureCaption()
{
    return fromGbk("\xD1\xA1\xD4\xF1\xD2\xBB\xB8\xF6\xCE\xC4\xBC\xFE", "\xE9\x80\x89\xE6\x8B\xA9\xE4\xB8\x80\xE4\xB8\xAA"
                                                                        "\xE6\x96\x87\xE4\xBB\xB6");
}

QString ZKCostomCameraWidget::OpenPictureFilter()
{
    return fromGbk("\xCD\xBC\xC6\xAC\xCE\xC4\xBC\xFE(*.jpg *.bmp)",
                   "\xE5\x9B\xBE\xE7\x89\x87\xE6\x96\x87\xE4\xBB\xB6(*.jpg *.bmp)");
}

void ZKCostomCameraWidget::SetOpenFileNameFunction(OpenFileNameFunction pfn)
{
    g_pfnOpenFileName = pfn ? pfn : &defaultOpenFileName;
}

ZKCostomCameraWidget::ZKCostomCameraWidget(QWidget* parent) : QWidget(parent, Qt::WindowFlags())
{
    setWindowFlag(Qt::FramelessWindowHint, true);
    setAttribute(Qt::WA_MouseTracking, true);
    setStyleSheet(PanelStyleSheet());

    IZKEventManger* pEvents = IZKEventManger::singleton();
    pEvents->AddListener(3, this);
    pEvents->AddListener(2, this);
    pEvents->AddListener(4, this);
}

ZKCostomCameraWidget::~ZKCostomCameraWidget()
{
    if (m_pRefreshThread && m_pRefreshThread->isRunning()) {
        m_pRefreshThread->Pause();
        m_pRefreshThread->SetShowLabel(nullptr);
        disconnect(m_pRefreshThread, nullptr, this, nullptr);
        m_pRefreshThread->quit();
        // Here the buffer goes before the wait (the host-event stop waits first).
        m_pRefreshThread->ReleaseBuffer();
        // quit() cannot end a loop without an event loop, and a paused worker
        // would stay parked: a running thread object must not be deleted, so
        // tell the worker to leave before waiting for it.
        m_pRefreshThread->RequestStop();
        if (!m_pRefreshThread->wait(500)) {
            // Still busy with a grab: its deletion must wait for the end.
            m_pRefreshThread->wait();
        }
        // A worker that was between two frames when the buffer went may have
        // taken a new one before it saw the stop: free that one too.
        m_pRefreshThread->ReleaseBuffer();
    }
    if (m_pRefreshThread)
        m_pRefreshThread->deleteLater();
    m_pRefreshThread = nullptr;
    // The outlines are the panel's own copies: release them with their storage.
    BatchReleasePolyline(m_vecSearchOutline);
    std::vector<IZKGePolyline*>().swap(m_vecSearchOutline);
}

QWidget* ZKCostomCameraWidget::GetWidget()
{
    return this;
}

void ZKCostomCameraWidget::InitWidget()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (pManager) {
        m_nSatMode = pManager->nSatMode;
        m_nBriMode = pManager->nBriMode;
        m_nGrayMode = pManager->nGrayMode;
        m_nGrayProMode = pManager->nGrayProMode;
        m_nInver = pManager->bIsInver;
        m_nSatValue = pManager->nSatValue;
        m_nBriValue = pManager->nBriValue;
        m_nGrayValue = pManager->nGrayValue;
        m_nAdvancedSetting = pManager->nAdvancedSetting;
        m_bDeInterfered = pManager->bGoInterfere;
        m_bDeInterferedDef = pManager->bGoInterfereDef;
        m_bGrayscaleEqualization = pManager->bGrayscaleEqualization;
        m_bSatDef = pManager->bSatDef;
        m_bBriDef = pManager->bBriDef;
        m_bGrayPro = pManager->bGrayPro;
        m_nSharpeningIndex = indexFromKernel(pManager->nSharpenKernel);
    }

    m_pMainLayout = new QHBoxLayout();
    setMaximumHeight(290);
    setLayout(m_pMainLayout);
    m_pMainLayout->setContentsMargins(0, 0, 0, 0);

    m_pShowLabel = new HXLDisplayLabel(this);
    // The live picture is composed at the label's size: the label takes the
    // room the page gives it and never asks for the picture's size, or each
    // picture would become the label's smallest size (a panel on its own grew
    // with every picture; a host's window could not be made smaller than the
    // last picture while the video ran).
    m_pShowLabel->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);

    // Page 1: the live picture and the three command buttons.
    auto* pPage1 = new QWidget();
    auto* pPage1Layout = new QVBoxLayout(pPage1);
    pPage1Layout->setContentsMargins(2, 2, 2, 2);
    pPage1Layout->addWidget(m_pShowLabel);
    auto* pButtonBar = new QWidget(pPage1);
    pButtonBar->setFixedHeight(30);
    auto* pButtonLayout = new QHBoxLayout(pButtonBar);
    pButtonLayout->setContentsMargins(0, 0, 0, 0);
    m_pPhotographBtn = new QPushButton(HXL_Text(0), pButtonBar);
    auto* pParamButton = new QPushButton(HXL_Text(1), pButtonBar);
    auto* pOpenButton = new QPushButton(HXL_Text(2), pButtonBar);
    for (QPushButton* pButton : {m_pPhotographBtn, pParamButton, pOpenButton}) {
        pButton->setFixedHeight(25);
        pButtonLayout->addWidget(pButton);
    }
    connect(m_pPhotographBtn, &QPushButton::clicked, this, &ZKCostomCameraWidget::slotCapture);
    connect(pParamButton, &QPushButton::clicked, this, &ZKCostomCameraWidget::slotCameraParameter);
    connect(pOpenButton, &QPushButton::clicked, this, &ZKCostomCameraWidget::slotOpenThePicture);
    pPage1Layout->addWidget(pButtonBar);

    m_pTabWidget = new QTabWidget(this);
    m_pTabWidget->addTab(pPage1, HXL_Text(3));
    m_pTabWidget->installEventFilter(new SettledLayoutFilter(m_pTabWidget));
    connect(m_pShowLabel, &HXLDisplayLabel::sigDbClicked, this, &ZKCostomCameraWidget::slotShowPreviewFullScreen);

    // Page 2: the pre-processing controls.
    auto* pPage2 = new QWidget();
    auto* pPage2Layout = new QHBoxLayout(pPage2);
    pPage2Layout->setContentsMargins(0, 0, 0, 0);
    auto* pColumn = new QWidget(pPage2);
    auto* pColumnLayout = new QVBoxLayout(pColumn);
    pColumnLayout->setContentsMargins(2, 2, 2, 2);
    auto* pGroup = new QGroupBox(pColumn);
    auto* pGrid = new QGridLayout(pGroup);
    pGrid->setContentsMargins(2, 2, 2, 8);
    pColumnLayout->addWidget(pGroup);
    pPage2Layout->addWidget(pColumn);

    // Row 0: saturation.
    pGrid->addItem(makeSpacer(30), 0, 0);
    pGrid->addWidget(makeCaption(pGroup, 4), 0, 1);
    m_pSatCombo = makeCombo(pGroup, this, {5, 6, 7});
    m_pSatCombo->setCurrentIndex(m_nSatMode);
    connect(m_pSatCombo, SIGNAL(currentIndexChanged(int)), this, SLOT(slotSatChange(int)));
    pGrid->addWidget(m_pSatCombo, 0, 2);
    QWidget* pSatBox = makeHBox(pGroup);
    m_pSatDefCheck = new QCheckBox(HXL_Text(8), pSatBox);
    m_pSatDefCheck->setChecked(m_bSatDef);
    m_pSatDefCheck->setEnabled(m_nSatMode == 2);
    connect(m_pSatDefCheck, &QCheckBox::stateChanged, this, &ZKCostomCameraWidget::slotSatDef);
    m_pSatSettingBtn = makeSettingButton(pSatBox, 9);
    m_pSatSettingBtn->setEnabled(m_nSatMode == 2 && !m_bSatDef);
    connect(m_pSatSettingBtn, &QPushButton::clicked, this, [this] { PopUpSimpleDialog<HXLSatSettingDialog>(nullptr); });
    pSatBox->layout()->addWidget(m_pSatDefCheck);
    pSatBox->layout()->addWidget(m_pSatSettingBtn);
    pGrid->addWidget(pSatBox, 0, 3);

    // Row 1: brightness. Its index is set after connecting, so the slot runs once.
    pGrid->addWidget(makeCaption(pGroup, 10), 1, 1);
    m_pBriCombo = makeCombo(pGroup, this, {5, 6, 7});
    connect(m_pBriCombo, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &ZKCostomCameraWidget::slotLightChange);
    m_pBriCombo->setCurrentIndex(m_nBriMode);
    pGrid->addWidget(m_pBriCombo, 1, 2);
    QWidget* pBriBox = makeHBox(pGroup);
    m_pBriDefCheck = new QCheckBox(HXL_Text(8), pBriBox);
    m_pBriDefCheck->setChecked(m_bBriDef);
    m_pBriDefCheck->setEnabled(m_nBriMode == 2);
    connect(m_pBriDefCheck, &QCheckBox::stateChanged, this, &ZKCostomCameraWidget::slotBriDef);
    m_pBriSettingBtn = makeSettingButton(pBriBox, 11);
    m_pBriSettingBtn->setEnabled(m_nBriMode == 2 && !m_bBriDef);
    connect(m_pBriSettingBtn, &QPushButton::clicked, this, [this] { PopUpSimpleDialog<HXLBriSettingDialog>(this); });
    pBriBox->layout()->addWidget(m_pBriDefCheck);
    pBriBox->layout()->addWidget(m_pBriSettingBtn);
    pGrid->addWidget(pBriBox, 1, 3);
    pGrid->addItem(makeSpacer(30), 1, 5);

    pGrid->addWidget(makeLine(pGroup), 2, 0, 1, 4);

    // Row 3: gray mode.
    pGrid->addItem(makeSpacer(30), 3, 0);
    pGrid->addWidget(makeCaption(pGroup, 12), 3, 1);
    m_pGrayModeCombo = makeCombo(pGroup, this, {13, 14, 15, 16, 17, 18, 19, 20, 21});
    m_pGrayModeCombo->setCurrentIndex(pManager ? pManager->nGrayMode : 0);
    connect(m_pGrayModeCombo, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &ZKCostomCameraWidget::slotGrayModeChange);
    pGrid->addWidget(m_pGrayModeCombo, 3, 2);

    // Row 4: de-interference.
    m_pDeInterferedCheck = new QCheckBox(HXL_Text(22), pGroup);
    m_pDeInterferedCheck->setChecked(m_bDeInterfered);
    connect(m_pDeInterferedCheck, SIGNAL(stateChanged(int)), this, SLOT(slotDeInterfered(int)));
    pGrid->addWidget(m_pDeInterferedCheck, 4, 1);
    QWidget* pDeBox = makeHBox(pGroup);
    m_pDeInterferedDefCheck = new QCheckBox(HXL_Text(8), pDeBox);
    m_pDeInterferedDefCheck->setChecked(m_bDeInterferedDef);
    m_pDeInterferedDefCheck->setEnabled(m_bDeInterfered);
    connect(m_pDeInterferedDefCheck, &QCheckBox::stateChanged, this, &ZKCostomCameraWidget::slotDeInterferedDef);
    m_pDeInterferedSettingBtn = makeSettingButton(pDeBox, 23);
    m_pDeInterferedSettingBtn->setEnabled(m_bDeInterfered && !m_bDeInterferedDef);
    connect(m_pDeInterferedSettingBtn, &QPushButton::clicked, this,
            [this] { PopUpSimpleDialog<HXLGoInterfereSettingDialog>(this); });
    pDeBox->layout()->addWidget(m_pDeInterferedDefCheck);
    pDeBox->layout()->addWidget(m_pDeInterferedSettingBtn);
    pGrid->addWidget(pDeBox, 4, 2);

    // Row 5: gray equalization.
    m_pGrayEqualizationCheck = new QCheckBox(HXL_Text(24), pGroup);
    m_pGrayEqualizationCheck->setChecked(m_bGrayscaleEqualization);
    connect(m_pGrayEqualizationCheck, &QCheckBox::stateChanged, this,
            &ZKCostomCameraWidget::slotGrayscaleEqualization);
    pGrid->addWidget(m_pGrayEqualizationCheck, 5, 1);

    // Row 6: gray processing with its slider, read-out, restore and settings buttons.
    m_pGrayProCheck = new QCheckBox(HXL_Text(25), pGroup);
    m_pGrayProCheck->setChecked(m_bGrayPro);
    connect(m_pGrayProCheck, SIGNAL(stateChanged(int)), this, SLOT(slotGrayPro(int)));
    pGrid->addWidget(m_pGrayProCheck, 6, 1);
    QWidget* pGrayBox = makeHBox(pGroup);
    m_pGraySlider = new QSlider(Qt::Horizontal, pGrayBox);
    m_pGraySlider->setRange(3, 100);
    m_pGraySlider->setFixedWidth(100);
    m_pGraySlider->setSingleStep(1);
    m_pGraySlider->setPageStep(1);
    m_pGraySlider->setValue(m_nGrayValue);
    m_pGraySlider->setEnabled(m_bGrayPro);
    m_pGraySlider->installEventFilter(this);
    connect(m_pGraySlider, &QSlider::valueChanged, this, &ZKCostomCameraWidget::slotGraSliderValueChanged);
    connect(m_pGraySlider, &QSlider::sliderReleased, this, &ZKCostomCameraWidget::slotApplication);
    m_pGraySliderLabel = new QLabel(pGrayBox);
    m_pGraySliderLabel->setFixedWidth(30);
    m_pGraySliderLabel->setText(QStringLiteral("%1%2").arg(m_pGraySlider->value(), 0, 10, QLatin1Char(' ')).arg(QStringLiteral("%")));
    m_pGraySliderLabel->setEnabled(m_bGrayPro);
    m_pGrayRestoreBtn = new QPushButton(pGrayBox);
    m_pGrayRestoreBtn->setFixedSize(26, 26);
    m_pGrayRestoreBtn->setIconSize(QSize(24, 24));
    m_pGrayRestoreBtn->setToolTip(HXL_Text(26));
    m_pGrayRestoreBtn->setIcon(QIcon(QString::fromLatin1(kRestoreIcon)));
    m_pGrayRestoreBtn->setStyleSheet(QString::fromLatin1(kRestoreButtonStyle));
    m_pGrayRestoreBtn->setEnabled(m_bGrayPro);
    connect(m_pGrayRestoreBtn, &QPushButton::clicked, this, [this] {
        IZKVisionCameraManager* pMgr = HXL_GetVisionCameraManager();
        if (!pMgr)
            return;
        pMgr->nGrayValue = pMgr->nGrayValueDef;
        pMgr->nGrayWidth = pMgr->nGrayWidthDef;
        pMgr->WriteSystemCFG();
        m_nGrayValue = pMgr->nGrayValue;
        m_pGraySlider->setValue(m_nGrayValue);
        emit sigGrayParamChanged();
    });
    m_pGraySettingBtn = makeSettingButton(pGrayBox, 27);
    m_pGraySettingBtn->setEnabled(m_bGrayPro);
    connect(m_pGraySettingBtn, &QPushButton::clicked, this, [this] { PopUpSimpleDialog<HXLGaySettingDialog>(this); });
    for (QWidget* pWidget : std::initializer_list<QWidget*>{m_pGraySlider, m_pGraySliderLabel, m_pGrayRestoreBtn,
                                                             m_pGraySettingBtn})
        pGrayBox->layout()->addWidget(pWidget);
    pGrid->addWidget(pGrayBox, 6, 2, 1, 2);

    // Row 7: the second advanced switch and the morphology button.
    QWidget* pAdvancedBox = makeHBox(pGroup);
    m_pAdvancedCheck1 = new QCheckBox(HXL_Text(35), pAdvancedBox);
    m_pAdvancedCheck1->setEnabled(pManager && pManager->nGrayMode != 0);
    m_pAdvancedCheck1->setChecked(pManager && pManager->nAdvancedSetting1 != 0);
    connect(m_pAdvancedCheck1, &QCheckBox::stateChanged, this, &ZKCostomCameraWidget::slotAdvancedSetting1);
    m_pAdvancedBtn1 = new QPushButton(pAdvancedBox);
    m_pAdvancedBtn1->setMaximumWidth(30);
    m_pAdvancedBtn1->setIcon(QIcon(QString::fromLatin1(kSettingIcon)));
    m_pAdvancedBtn1->setEnabled(pManager && pManager->nAdvancedSetting1 != 0);
    connect(m_pAdvancedBtn1, &QPushButton::clicked, this, &ZKCostomCameraWidget::slotSeniorBtn1);
    pAdvancedBox->layout()->addWidget(m_pAdvancedCheck1);
    pAdvancedBox->layout()->addWidget(m_pAdvancedBtn1);
    static_cast<QHBoxLayout*>(pAdvancedBox->layout())->addItem(
        new QSpacerItem(150, 0, QSizePolicy::Expanding, QSizePolicy::Minimum));
    pGrid->addWidget(pAdvancedBox, 7, 1, 1, 2);

    pGrid->addWidget(makeLine(pGroup), 8, 0, 1, 4);

    // Row 9: sharpening and inversion.
    pGrid->addWidget(makeCaption(pGroup, 28), 9, 1);
    m_pSharpeningCombo = makeCombo(pGroup, this, {5, 29, 30, 31, 32, 33});
    m_pSharpeningCombo->setCurrentIndex(m_nSharpeningIndex);
    connect(m_pSharpeningCombo, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &ZKCostomCameraWidget::slotSharpeningChanged);
    pGrid->addWidget(m_pSharpeningCombo, 9, 2);
    m_pInverCheck = new QCheckBox(HXL_Text(34), pGroup);
    m_pInverCheck->setChecked(pManager && pManager->bIsInver);
    connect(m_pInverCheck, &QCheckBox::stateChanged, this, &ZKCostomCameraWidget::slotInverChange);
    pGrid->addWidget(m_pInverCheck, 9, 3, Qt::AlignHCenter);

    m_pTabWidget->addTab(pPage2, HXL_Text(36));

    // Page 3: the auto-photo switch.
    auto* pPage3 = new QWidget();
    auto* pPage3Layout = new QGridLayout(pPage3);
    pPage3Layout->addItem(new QSpacerItem(100, 0, QSizePolicy::Expanding, QSizePolicy::Minimum), 0, 0);
    m_pAutoPhotoCheck = new QCheckBox(HXL_Text(37), pPage3);
    m_pAutoPhotoCheck->setChecked(isAutoPhoto != 0);
    pPage3Layout->addWidget(m_pAutoPhotoCheck, 0, 1);
    pPage3Layout->addItem(new QSpacerItem(100, 0, QSizePolicy::Expanding, QSizePolicy::Minimum), 0, 2);
    connect(m_pAutoPhotoCheck, &QCheckBox::stateChanged, this, &ZKCostomCameraWidget::slotAutoPhoto);
    m_pTabWidget->addTab(pPage3, HXL_Text(38));

    ZKWindowManager::singleton().getMainWindow();
    connect(this, &ZKCostomCameraWidget::sigAppication, this, &ZKCostomCameraWidget::slotGrayParamChanged);

    // Without a camera the panel stays an empty, valid widget.
    if (!pManager || pManager->GetCameraCount() == 0)
        return;

    m_pMainLayout->addWidget(m_pTabWidget);
    connect(this, &ZKCostomCameraWidget::sigGrayParamChanged, this, &ZKCostomCameraWidget::slotApplication);
    std::vector<IZKGePolyline*> vecOutlines;
    pManager->GetSearchRangeByModelName("Main", vecOutlines);
    pManager->WorldToStandardImage(0, vecOutlines);

    m_pRefreshThread = new HXL_RefreshCameraThread();
    m_pRefreshThread->SetShowLabel(m_pShowLabel);
    if (isOpenVideo)
        UpdateThreadPolylines(vecOutlines);
    else
        BatchReleasePolyline(vecOutlines); // without live video the outlines are not kept

    int nShowW = m_pShowLabel->geometry().width();
    int nShowH = m_pShowLabel->geometry().height();
    m_pRefreshThread->SetShowLabelWH(&nShowW, &nShowH);
    m_pRefreshThread->SetMode(0);

    connect(m_pRefreshThread, SIGNAL(updateUIBtn(int)), this, SLOT(slotUpdatePhotographBtn(int)));
    connect(m_pRefreshThread, SIGNAL(updatePixmap(QPixmap)), this, SLOT(slotUpdataShowLabel(QPixmap)));
    connect(m_pRefreshThread, SIGNAL(getShowLabelWH(int* , int*)), this, SLOT(slotSetShowLabelWH(int* , int*)));
    connect(m_pRefreshThread,
            SIGNAL(getBuff(char**, bool*, bool*, bool*, int* , int* , int* , int* , int* , int* , int* , int* , int* , int*)),
            this, SLOT(slotSetBuff(char**, bool*, bool*, bool*, int* , int* , int* , int* , int* , int* , int* , int* , int* , int*)));

    m_pRefreshThread->start(QThread::InheritPriority);
    if (isOpenVideo)
        m_pRefreshThread->Resume();
    else
        m_pRefreshThread->Pause();

    m_pDealWithDialog = new HXL_ShowDealWithDialog(this);
    m_pDealWithDialog->InitUI();
    m_pDealWithDialog->setAttribute(Qt::WA_DeleteOnClose, true);

    std::vector<IZKGePolyline*>().swap(vecOutlines);
}

void ZKCostomCameraWidget::UpdateThreadPolylines(std::vector<IZKGePolyline*>& vecOutlines)
{
    m_pRefreshThread->Pause();
    BatchReleasePolyline(m_vecSearchOutline);
    m_vecSearchOutline = vecOutlines;
    std::vector<IZKGePolyline*> vecCopy = m_vecSearchOutline;
    if (IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager())
        pManager->WorldToStandardImage(0, vecCopy);
    m_pRefreshThread->SetPolylines(vecCopy);
    m_pRefreshThread->Resume();
}

// --- host events ------------------------------------------------------------------------

void ZKCostomCameraWidget::DetachRefreshThread()
{
    m_pRefreshThread->Pause();
    m_pRefreshThread->SetShowLabel(nullptr);
    disconnect(m_pRefreshThread, nullptr, this, nullptr);
    m_pRefreshThread->quit();
}

void ZKCostomCameraWidget::OnEvent(int nEventId, int* pParam)
{
    switch (nEventId) {
    case 208:
        if (m_pShowLabel) {
            Dll_HXL_VisionFeature_GetSearchRangeSelectedPer(m_pShowLabel->m_dSelectPer[0], m_pShowLabel->m_dSelectPer[1],
                                                            m_pShowLabel->m_dSelectPer[2], m_pShowLabel->m_dSelectPer[3]);
            m_pShowLabel->UpdateSelectRect();
            // The host's range is now the committed one: kept in the settings,
            // it is what the next resize pushes back and what is saved at exit.
            m_pShowLabel->SaveSelectPer();
            m_pShowLabel->update();
        }
        break;
    case 1002:
        if (m_pCameraCombo && pParam) {
            g_bCameraChangeAllowed = true;
            m_pCameraCombo->setCurrentIndex(*pParam);
        }
        break;
    case 1101:
        if (IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager())
            pManager->WriteSystemCFG();
        break;
    case 1102:
        if (m_pRefreshThread && m_pRefreshThread->isRunning()) {
            DetachRefreshThread();
            m_pRefreshThread->wait(500);
            m_pRefreshThread->ReleaseBuffer();
        }
        break;
    case 1201:
        if (m_pRefreshThread) {
            m_pRefreshThread->Pause();
            m_pRefreshThread->WaitPaused();
        }
        break;
    case 1202:
        if (m_pRefreshThread && isOpenVideo)
            m_pRefreshThread->Resume();
        break;
    case 1205:
        if (m_pRefreshThread) {
            QPixmap pixmap;
            if (m_pRefreshThread->GrabOneFrame(pixmap) < 0) {
                if (pParam)
                    *pParam = -1;
            } else if (m_pShowLabel) {
                showOnLabel(m_pShowLabel, pixmap);
            }
        }
        break;
    default:
        break;
    }
}

// --- relays and empty slots ------------------------------------------------------------------

void ZKCostomCameraWidget::slotMakePhoto() {}
void ZKCostomCameraWidget::slotMorphyModeChange(int) {}
void ZKCostomCameraWidget::slotMorphySizeChange(int) {}
void ZKCostomCameraWidget::slotImageGainChange(int) {}
void ZKCostomCameraWidget::slotSetBuff(char**, bool*, bool*, bool*, int*, int*, int*, int*, int*, int*, int*, int*, int*,
                                       int*)
{
}
void ZKCostomCameraWidget::slotSatSetting() {}
void ZKCostomCameraWidget::slotBriSetting() {}
void ZKCostomCameraWidget::slotDefDeInterfered(int) {}

void ZKCostomCameraWidget::slotUpdatePhotographBtn(int ienable)
{
    if (m_pPhotographBtn)
        m_pPhotographBtn->setEnabled(ienable != 0);
}

void ZKCostomCameraWidget::slotUpdataShowLabel(QPixmap pixmap)
{
    if (m_pShowLabel)
        showOnLabel(m_pShowLabel, pixmap);
}

void ZKCostomCameraWidget::slotSetShowLabelWH(int* pW, int* pH)
{
    if (!m_pShowLabel)
        return;
    *pW = m_pShowLabel->width();
    *pH = m_pShowLabel->height();
}

// --- parameter controls --------------------------------------------------------------------------

int ZKCostomCameraWidget::StartDebounceTimer()
{
    // The previous timer of the same control is deliberately not killed: its
    // id is overwritten and it fires on without effect.
    return startTimer(m_nTimerInterval, Qt::CoarseTimer);
}

void ZKCostomCameraWidget::slotSatChange(int value)
{
    m_nSatMode = value;
    if (m_pSatDefCheck)
        m_pSatDefCheck->setEnabled(value == 2);
    if (m_pSatSettingBtn)
        m_pSatSettingBtn->setEnabled(value == 2 && !m_bSatDef);
    m_nTimerId2 = StartDebounceTimer();
}

void ZKCostomCameraWidget::slotLightChange(int value)
{
    m_nBriMode = value;
    if (m_pBriDefCheck)
        m_pBriDefCheck->setEnabled(value == 2);
    if (m_pBriSettingBtn)
        m_pBriSettingBtn->setEnabled(value == 2 && !m_bBriDef);
    m_nTimerId3 = StartDebounceTimer();
}

void ZKCostomCameraWidget::slotGrayModeChange(int value)
{
    m_nGrayMode = value;
    if (m_pAdvancedCheck1)
        m_pAdvancedCheck1->setEnabled(value != 0);
    m_nTimerId1 = StartDebounceTimer();
}

void ZKCostomCameraWidget::slotGrayProChange(int value)
{
    m_nGrayProMode = value;
    if (m_pGraySlider)
        m_pGraySlider->setEnabled(value == 2);
    if (m_pGraySliderLabel)
        m_pGraySliderLabel->setEnabled(value == 2);
    m_nTimerId4 = StartDebounceTimer();
}

void ZKCostomCameraWidget::slotSharpeningChanged(int value)
{
    m_nSharpeningIndex = value;
    m_nTimerId5 = StartDebounceTimer();
}

void ZKCostomCameraWidget::slotInverChange(int bCheck)
{
    m_nInver = bCheck;
    if (m_pInverCheck)
        m_pInverCheck->setChecked(bCheck != 0);
    emit sigGrayParamChanged();
}

void ZKCostomCameraWidget::slotShowGrayChange(int value)
{
    if (IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager()) {
        pManager->bShowGray = value != 0;
        emit sigAppication();
    }
}

void ZKCostomCameraWidget::slotSatSliderValueChanged(int value)
{
    m_nSatValue = value;
}

void ZKCostomCameraWidget::slotBriSliderValueChanged(int value)
{
    m_nBriValue = value;
}

void ZKCostomCameraWidget::slotGraSliderValueChanged(int value)
{
    m_nGrayValue = value;
    if (m_pGraySliderLabel)
        m_pGraySliderLabel->setText(QStringLiteral("%1%2").arg(value, 0, 10, QLatin1Char(' ')).arg(QStringLiteral("%")));
}

void ZKCostomCameraWidget::WriteRecordFlag(bool IZKVisionCameraManager::*pField, bool bValue)
{
    if (IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager())
        pManager->*pField = bValue;
}

void ZKCostomCameraWidget::SaveAndApply()
{
    if (IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager())
        pManager->WriteSystemCFG();
    emit sigGrayParamChanged();
}

void ZKCostomCameraWidget::slotSatDef(int value)
{
    WriteRecordFlag(&IZKVisionCameraManager::bSatDef, value != 0);
    m_bSatDef = value != 0;
    if (m_pSatSettingBtn)
        m_pSatSettingBtn->setEnabled(value == 0);
    SaveAndApply();
}

void ZKCostomCameraWidget::slotBriDef(int value)
{
    WriteRecordFlag(&IZKVisionCameraManager::bBriDef, value != 0);
    m_bBriDef = value != 0;
    if (m_pBriSettingBtn)
        m_pBriSettingBtn->setEnabled(value == 0);
    SaveAndApply();
}

void ZKCostomCameraWidget::slotDeInterfered(int value)
{
    if (!m_pDeInterferedDefCheck || !m_pDeInterferedSettingBtn)
        return;
    WriteRecordFlag(&IZKVisionCameraManager::bGoInterfere, value != 0);
    m_bDeInterfered = value != 0;
    m_pDeInterferedDefCheck->setEnabled(value != 0);
    m_pDeInterferedSettingBtn->setEnabled(value != 0 && !m_bDeInterferedDef);
    SaveAndApply();
}

void ZKCostomCameraWidget::slotDeInterferedDef(int value)
{
    WriteRecordFlag(&IZKVisionCameraManager::bGoInterfereDef, value != 0);
    m_bDeInterferedDef = value != 0;
    if (m_pDeInterferedSettingBtn)
        m_pDeInterferedSettingBtn->setEnabled(value == 0);
    SaveAndApply();
}

void ZKCostomCameraWidget::slotGrayPro(int value)
{
    WriteRecordFlag(&IZKVisionCameraManager::bGrayPro, value != 0);
    // m_bGrayPro follows on the next reload from the host, not here.
    if (!m_pGrayRestoreBtn || !m_pGraySlider || !m_pGraySettingBtn || !m_pGraySliderLabel)
        return;
    m_pGrayRestoreBtn->setEnabled(value != 0);
    m_pGraySlider->setEnabled(value != 0);
    m_pGraySettingBtn->setEnabled(value != 0);
    m_pGraySliderLabel->setEnabled(value != 0);
    SaveAndApply();
}

void ZKCostomCameraWidget::slotGrayscaleEqualization(int value)
{
    WriteRecordFlag(&IZKVisionCameraManager::bGrayscaleEqualization, value != 0);
    m_bGrayscaleEqualization = value != 0;
    SaveAndApply();
}

void ZKCostomCameraWidget::slotAdvancedSetting(int value)
{
    m_nAdvancedSetting = value;
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (pManager) {
        pManager->nAdvancedSetting = value;
        pManager->WriteSystemCFG();
    }
    if (m_pAdvancedBtn)
        m_pAdvancedBtn->setEnabled(value != 0);
    emit sigGrayParamChanged();
}

void ZKCostomCameraWidget::slotAdvancedSetting1(int value)
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (pManager) {
        pManager->nAdvancedSetting1 = value;
        pManager->WriteSystemCFG();
    }
    if (m_pAdvancedBtn1)
        m_pAdvancedBtn1->setEnabled(value != 0);
    emit sigGrayParamChanged();
}

void ZKCostomCameraWidget::timerEvent(QTimerEvent* event)
{
    int* const ids[] = {&m_nTimerId1, &m_nTimerId2, &m_nTimerId3, &m_nTimerId4, &m_nTimerId5};
    for (int* pId : ids) {
        if (event->timerId() == *pId) {
            killTimer(*pId);
            emit sigGrayParamChanged();
            *pId = -1;
            return;
        }
    }
}

void ZKCostomCameraWidget::slotApplication()
{
    if (!g_bCanApply)
        return;
    g_bCanApply = false;

    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (pManager) {
        pManager->nSatMode = m_nSatMode;
        pManager->nBriMode = m_nBriMode;
        pManager->nGrayMode = m_nGrayMode;
        pManager->nGrayProMode = m_nGrayProMode;
        pManager->nMode5 = 10;
        pManager->bIsInver = m_nInver != 0;
        pManager->nSatValue = m_nSatValue;
        pManager->nBriValue = m_nBriValue;
        pManager->nGrayValue = m_nGrayValue;
        pManager->nSharpenKernel = kernelFromIndex(m_nSharpeningIndex);
    }
    if (m_pAdvancedCheck1)
        m_pAdvancedCheck1->setEnabled(m_nGrayMode != 0);

    ImageAdapter* pAdapter = pManager ? pManager->GetImageAdapter() : nullptr;
    if (pAdapter && pAdapter->GetBuffer()) {
        if (m_pDealWithDialog) {
            const QPoint topLeft = mapToGlobal(QPoint(0, 0));
            m_pDealWithDialog->move(topLeft.x() + width() / 2 - m_pDealWithDialog->width() / 2,
                                    topLeft.y() + height() / 2 - m_pDealWithDialog->height() / 2);
            m_pDealWithDialog->setWindowModality(Qt::WindowModal);
            m_pDealWithDialog->StartShow();
        }
        QCoreApplication::processEvents();
        emit sigAppication();
        RefreshHostView();
        // The box is the panel's for its whole life: hide it, do not destroy it.
        if (m_pDealWithDialog)
            m_pDealWithDialog->StopShow();
    }
    g_bCanApply = true;
}

void ZKCostomCameraWidget::RefreshHostView()
{
    ZKAppService* pApp = HXL_GetAppService();
    ZKGloabVisionAppBase* pMainApp = pApp ? pApp->GetMainApp() : nullptr;
    IZKDocument* pDocument = pMainApp ? pMainApp->GetDocument() : nullptr;
    IZKView* pView = pDocument ? pDocument->GetView() : nullptr;
    if (pView)
        pView->RefreshView(true);
}

void ZKCostomCameraWidget::slotGrayParamChanged()
{
    ZKAppService* pApp = HXL_GetAppService();
    ZKGloabVisionAppBase* pMainApp = pApp ? pApp->GetMainApp() : nullptr;
    IZKDocument* pDocument = pMainApp ? pMainApp->GetDocument() : nullptr;
    IZKDatabase* pDatabase = pDocument ? pDocument->GetDatabase() : nullptr;

    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (!pManager)
        return;
    pManager->WriteSystemCFG();
    for (int i = 0; i < pManager->GetCameraCount(); ++i) {
        IZKVisionCamera* pCamera = pManager->GetCamera(i);
        if (ImageAdapter* pAdapter = pCamera ? pCamera->GetImageAdapter() : nullptr)
            pAdapter->bufferUseSrc();
    }
    if (HXL_GetIsOpenFile()) {
        if (ImageAdapter* pAdapter = pManager->GetImageAdapter())
            pAdapter->bufferUseSrc();
    } else if (pManager->CalibrateImages() != 0) {
        if (ImageAdapter* pAdapter = pManager->GetImageAdapter()) {
            pAdapter->Release();
            pAdapter->ReleaseSrc();
        }
        return;
    }
    pManager->PreprocessImage();
    HandOverProcessedPicture();
    if (pDatabase)
        pDatabase->Update();

    // The application service is found again by its key for the refresh.
    RefreshHostView();
}

// --- pop-up dialogs ---------------------------------------------------------------------------------

void ZKCostomCameraWidget::EnableParamControls(bool bEnable)
{
    QWidget* const controls[] = {m_pSatCombo,
                                 m_pBriCombo,
                                 m_pGrayModeCombo,
                                 m_pInverCheck,
                                 m_pSharpeningCombo,
                                 m_pDeInterferedCheck,
                                 m_pDeInterferedDefCheck,
                                 m_pDeInterferedSettingBtn,
                                 m_pGrayProCheck,
                                 m_pGrayRestoreBtn,
                                 m_pGraySettingBtn,
                                 m_pGrayEqualizationCheck,
                                 m_pGraySlider,
                                 m_pAdvancedCheck1,
                                 m_pAdvancedBtn1,
                                 m_pSatDefCheck,
                                 m_pSatSettingBtn,
                                 m_pBriDefCheck,
                                 m_pBriSettingBtn};
    for (QWidget* pControl : controls)
        if (pControl)
            pControl->setEnabled(bEnable);
    if (!bEnable)
        return;

    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    const int nGrayMode = pManager ? pManager->nGrayMode : 0;
    const int nAdvanced1 = pManager ? pManager->nAdvancedSetting1 : 0;
    if (m_pSatDefCheck)
        m_pSatDefCheck->setEnabled(m_nSatMode == 2);
    if (m_pSatSettingBtn)
        m_pSatSettingBtn->setEnabled(m_nSatMode == 2 && !m_bSatDef);
    if (m_pBriDefCheck)
        m_pBriDefCheck->setEnabled(m_nBriMode == 2);
    if (m_pBriSettingBtn)
        m_pBriSettingBtn->setEnabled(m_nBriMode == 2 && !m_bBriDef);
    if (m_pDeInterferedDefCheck)
        m_pDeInterferedDefCheck->setEnabled(m_bDeInterfered);
    if (m_pDeInterferedSettingBtn)
        m_pDeInterferedSettingBtn->setEnabled(m_bDeInterfered && !m_bDeInterferedDef);
    for (QWidget* pGray : std::initializer_list<QWidget*>{m_pGraySlider, m_pGrayRestoreBtn, m_pGraySettingBtn})
        if (pGray)
            pGray->setEnabled(m_bGrayPro);
    if (m_pAdvancedCheck1)
        m_pAdvancedCheck1->setEnabled(nGrayMode != 0);
    if (m_pAdvancedBtn1)
        m_pAdvancedBtn1->setEnabled(nGrayMode != 0 && nAdvanced1 != 0);
}

template <class Dialog>
void ZKCostomCameraWidget::PopUpSimpleDialog(QWidget* pParent)
{
    EnableParamControls(false);
    const QPoint p = mapToGlobal(QPoint(0, 0));
    const int nWidth = GetWidget()->width();
    auto* pDialog = new Dialog(pParent);
    connect(pDialog, SIGNAL(sigClose()), this, SLOT(slotDealWithDialog()));
    pDialog->setFixedWidth(nWidth - 15);
    pDialog->move(p);
    pDialog->show();
    pDialog->setAttribute(Qt::WA_DeleteOnClose, true);
}

void ZKCostomCameraWidget::slotSeniorBtn()
{
    if (g_pPreprocessingDialog)
        return;
    EnableParamControls(false);
    const QPoint p = mapToGlobal(QPoint(0, 0));
    g_pPreprocessingDialog = new HXL_AdvancedPreprocessingDialog(this);
    g_pPreprocessingDialog->InitUI();
    connect(g_pPreprocessingDialog, SIGNAL(sigClose()), this, SLOT(slotDealWithDialog()));
    g_pPreprocessingDialog->move(p.x() - 300, p.y());
    g_pPreprocessingDialog->show();
    g_pPreprocessingDialog->setAttribute(Qt::WA_DeleteOnClose, true);
}

void ZKCostomCameraWidget::slotSeniorBtn1()
{
    if (g_pMorphologyDialog)
        return;
    // Unlike the other pop-ups, the parameter controls stay enabled here.
    const QPoint p = mapToGlobal(QPoint(0, 0));
    g_pMorphologyDialog = new HXL_AdvancedMorphologyDialog(this);
    g_pMorphologyDialog->InitUI();
    connect(g_pMorphologyDialog, SIGNAL(sigClose()), this, SLOT(slotDealWithDialog1()));
    g_pMorphologyDialog->move(p.x() - 300, p.y());
    g_pMorphologyDialog->show();
    g_pMorphologyDialog->setAttribute(Qt::WA_DeleteOnClose, true);
}

void ZKCostomCameraWidget::slotDealWithDialog()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (pManager) {
        m_nSatMode = pManager->nSatMode;
        m_nBriMode = pManager->nBriMode;
        m_nGrayMode = pManager->nGrayMode;
        m_nGrayProMode = pManager->nGrayProMode;
        m_nInver = pManager->bIsInver;
        m_nSatValue = pManager->nSatValue;
        m_nBriValue = pManager->nBriValue;
        m_nGrayValue = pManager->nGrayValue;
        m_nAdvancedSetting = pManager->nAdvancedSetting;
        m_nSharpeningIndex = indexFromKernel(pManager->nSharpenKernel);
        m_bDeInterfered = pManager->bGoInterfere;
        m_bDeInterferedDef = pManager->bGoInterfereDef;
        m_bSatDef = pManager->bSatDef;
        m_bBriDef = pManager->bBriDef;
        m_bGrayscaleEqualization = pManager->bGrayscaleEqualization;
        m_bGrayPro = pManager->bGrayPro;
    }
    // Setting the combo indices runs their slots, whose timers apply the values again.
    if (m_pDeInterferedCheck)
        m_pDeInterferedCheck->setChecked(m_bDeInterfered);
    if (m_pSatCombo)
        m_pSatCombo->setCurrentIndex(m_nSatMode);
    if (m_pBriCombo)
        m_pBriCombo->setCurrentIndex(m_nBriMode);
    if (m_pGrayModeCombo)
        m_pGrayModeCombo->setCurrentIndex(m_nGrayMode);
    if (m_pGraySlider)
        m_pGraySlider->setValue(m_nGrayValue);
    if (m_pInverCheck)
        m_pInverCheck->setChecked(m_nInver != 0);
    if (m_pSharpeningCombo)
        m_pSharpeningCombo->setCurrentIndex(m_nSharpeningIndex);
    if (m_pGrayProCheck)
        m_pGrayProCheck->setChecked(m_bGrayPro);
    if (m_pDeInterferedDefCheck)
        m_pDeInterferedDefCheck->setChecked(m_bDeInterferedDef);
    if (m_pSatDefCheck)
        m_pSatDefCheck->setChecked(m_bSatDef);
    if (m_pBriDefCheck)
        m_pBriDefCheck->setChecked(m_bBriDef);
    g_pPreprocessingDialog = nullptr;
    EnableParamControls(true);
}

void ZKCostomCameraWidget::slotDealWithDialog1()
{
    g_pMorphologyDialog = nullptr;
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (m_pAdvancedCheck1)
        m_pAdvancedCheck1->setEnabled(pManager && pManager->nGrayMode != 0);
}

// --- video, camera, auto photo, preview ---------------------------------------------------------

void ZKCostomCameraWidget::slotOpenVideo()
{
    if (m_pRefreshThread)
        m_pRefreshThread->Resume();
    isOpenVideo = 1;
}

void ZKCostomCameraWidget::slotTurnOffTheVideo()
{
    if (m_pRefreshThread)
        m_pRefreshThread->Pause();
    if (m_pShowLabel) {
        QPixmap black(m_pShowLabel->size());
        black.fill(Qt::black);
        showOnLabel(m_pShowLabel, black);
    }
    isOpenVideo = 0;
}

void ZKCostomCameraWidget::slotCameraChange(int index)
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (pManager && pManager->GetCurCameraIndex() != index && g_bCameraChangeAllowed)
        pManager->SetCurCameraIndex(index);
    g_bCameraChangeAllowed = false;
}

void ZKCostomCameraWidget::slotAutoPhoto(int index)
{
    isAutoPhoto = index != 0 ? 1 : 0;
    int nParam = index != 0 ? 1 : 0;
    IZKEventManger::singleton()->FireEvent(0, 600, &nParam);
}

void ZKCostomCameraWidget::slotCameraParameter()
{
    HXLCameraParameterSettingDialog dialog(this);
    dialog.exec();
}

void ZKCostomCameraWidget::slotShowPreviewFullScreen()
{
    if (m_pRefreshThread)
        m_pRefreshThread->Pause();
    {
        ZKFullScreenUI preview(this);
        preview.exec();
    }
    if (m_pRefreshThread && isOpenVideo)
        m_pRefreshThread->Resume();
    if (m_pShowLabel)
        m_pShowLabel->resizeEvent(nullptr);
}

void ZKCostomCameraWidget::contextMenuEvent(QContextMenuEvent* event)
{
    if (g_bSkipContextMenu) {
        g_bSkipContextMenu = false;
        return;
    }
    if (m_pShowLabel && m_pShowLabel->geometry().contains(event->pos()) && m_pTabWidget)
        m_pTabWidget->currentIndex(); // no menu is offered on the picture
}

// --- capture, open picture, hand-over --------------------------------------------------------------

void ZKCostomCameraWidget::slotCapture()
{
    if (!g_bCanCapture)
        return;
    g_bCanCapture = false;
    HXL_SetIsOpenFile(false);

    IMainWindow* pMainWindow = ZKWindowManager::singleton().getMainWindow();
    ZKProgressUI* pProgress = pMainWindow ? pMainWindow->GetProgressUI() : nullptr;
    int nScreenW = 0, nScreenH = 0;
    FTGetScreenSize(0, nScreenW, nScreenH);
    if (pProgress) {
        // 50 pixels below the centre of the screen, deliberately.
        pProgress->move(nScreenW / 2 - pProgress->width() / 2, nScreenH / 2 - pProgress->height() / 2 + 50);
        pProgress->show();
        pProgress->UpdateProgress(2, QStringLiteral("processing"));
    }
    auto finish = [pProgress] {
        if (pProgress)
            pProgress->hide();
        g_bCanCapture = true;
    };

    QElapsedTimer ticks;
    ticks.start();
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (!pManager || pManager->GetCameraCount() == 0) {
        finish();
        return;
    }
    std::printf("start1 %dms\n", static_cast<int>(ticks.elapsed()));
    std::fflush(stdout);

    ZKAppService* pApp = HXL_GetAppService();
    ZKGloabVisionAppBase* pMainApp = pApp ? pApp->GetMainApp() : nullptr;
    IZKDocument* pDocument = pMainApp ? pMainApp->GetDocument() : nullptr;
    IZKDatabase* pDatabase = pDocument ? pDocument->GetDatabase() : nullptr;
    IZKShapeTable* pShapes = pDatabase ? pDatabase->GetShapeTable() : nullptr;
    IZKLayerTable* pLayers = pDatabase ? pDatabase->GetLayerTable() : nullptr;

    if (pProgress)
        pProgress->UpdateProgress(10, QStringLiteral("processing"));
    ClearLayerData(pDatabase, kPictureLayer, true);
    int nEventParam = 0;
    IZKEventManger::singleton()->FireEvent(3, 902, &nEventParam);

    const std::string strWorkPath = GetCurrentWorkPath();
    if (bIsDebug) {
        IZKVisionCamera* pCamera = pManager->GetCamera(pManager->GetCurCameraIndex());
        if (ImageAdapter* pAdapter = pCamera ? pCamera->GetImageAdapter() : nullptr) {
            pAdapter->Release();
            pAdapter->ReleaseSrc();
            pAdapter->ReadFile(strWorkPath + "VisSourcePicTest.jpg");
            pAdapter->setSrcData();
        }
    } else {
        pManager->SaveImageFile(strWorkPath + "VisSourcePic.jpg");
    }

    double dX = 0.0, dY = 0.0;
    HXL_GetCurPos(dX, dY);
    MovableCam_SetCurMachineMmPos(dX, dY);

    if (pManager->CalibrateImages() < 0) {
        if (ImageAdapter* pAdapter = pManager->GetImageAdapter()) {
            pAdapter->ReleaseSrc();
            pAdapter->Release();
        }
        finish();
        return;
    }
    IZKBound* pBound = pManager->GetCamerasCalImageBound();
    if (!pBound) {
        finish();
        return;
    }
    ImageAdapter* pAdapter = pManager->GetImageAdapter();
    if (!pAdapter || pAdapter->IsEmpty()) {
        RefreshHostView();
        finish();
        return;
    }

    if (pProgress)
        pProgress->UpdateProgress(70, QStringLiteral("process"));
    pManager->PreprocessImage();

    if (IZKDbImage* pImage = pAdapter->CreateDbImage()) {
        if (pLayers)
            pImage->SetLayer(pLayers->GetLayer(kPictureLayer));
        pImage->SetExtents(pBound->GetMinX(), pBound->GetMinY(), pBound->GetMaxX(), pBound->GetMaxY());
        if (pShapes)
            pShapes->AppendEntity(pImage);
        else
            pImage->Release();
    }

    double dLeft = 0.0, dRight = 0.0, dBottom = 0.0, dTop = 0.0;
    Dll_HXL_VisionFeature_GetSearchRangeCalibPer(dLeft, dRight, dBottom, dTop);
    HXL_AddImageRange(pDatabase, pBound, pShapes, pLayers, dLeft, dRight, dBottom, dTop, kCalibRangeLayer);
    Dll_HXL_VisionFeature_GetSearchRangeSelectedPer(dLeft, dRight, dBottom, dTop);
    HXL_AddImageRange(pDatabase, pBound, pShapes, pLayers, dLeft, dRight, dBottom, dTop, kSelectedRangeLayer);

    IZKEventManger::singleton()->FireEvent(0, 405, nullptr);

    if (pDatabase)
        pDatabase->Update();
    RefreshHostView();

    if (pProgress)
        pProgress->UpdateProgress(100, QStringLiteral("process"));
    finish();
}

void ZKCostomCameraWidget::slotOpenThePicture()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    ZKVisionLocatorManager* pLocator = HXL_GetVisionLocatorManager();

    const QString strName = g_pfnOpenFileName(this, OpenPictureCaption(), QDir::currentPath(), OpenPictureFilter());
    if (strName.isEmpty())
        return;
    const std::string strLocalName = strName.toLocal8Bit().toStdString();
    if (!IsFileExists(strLocalName))
        return;
    ImageAdapter* pAdapter = pManager ? pManager->GetImageAdapter() : nullptr;
    if (!pAdapter)
        return;
    pAdapter->ReadFile(strLocalName);
    pAdapter->setSrcData();
    m_nImageDpi = HXL_GetImageDpi();
    pAdapter->setSrcData();
    pManager->PreprocessImage();

    HandOverOpenedPicture();
    HXL_SetIsOpenFile(true);

    ZKAppService* pApp = HXL_GetAppService();
    ZKGloabVisionAppBase* pMainApp = pApp ? pApp->GetMainApp() : nullptr;
    IZKDocument* pDocument = pMainApp ? pMainApp->GetDocument() : nullptr;
    if (pLocator)
        pLocator->AddSearchDataToMap(strLocalName, pDocument ? pDocument->GetDatabase() : nullptr);
    RefreshHostView();
}

void ZKCostomCameraWidget::PictureSizeMm(int nDpi, int& nWidthMm, int& nHeightMm)
{
    nWidthMm = nHeightMm = 0;
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    ImageAdapter* pAdapter = pManager ? pManager->GetImageAdapter() : nullptr;
    if (!pAdapter)
        return;
    // The host makes a picture entity here, and the panel does not keep it.
    if (IZKDbImage* pProbe = pAdapter->CreateDbImage()) {
        int nPixelW = 0, nPixelH = 0;
        pProbe->GetImageSize(nPixelW, nPixelH);
        pProbe->Release();
        if (nDpi != 0) {
            // Integer division before the multiplication: the truncation is intended.
            nWidthMm = static_cast<int>((nPixelW / nDpi) * 25.4);
            nHeightMm = static_cast<int>((nPixelH / nDpi) * 25.4);
        }
    }
}

void ZKCostomCameraWidget::HandOverProcessedPicture()
{
    ZKVisionLocatorManager* pLocator = HXL_GetVisionLocatorManager();
    ZKAppService* pApp = HXL_GetAppService();
    ZKGloabVisionAppBase* pMainApp = pApp ? pApp->GetMainApp() : nullptr;
    IZKDocument* pDocument = pMainApp ? pMainApp->GetDocument() : nullptr;
    IZKDatabase* pDatabase = pDocument ? pDocument->GetDatabase() : nullptr;
    if (!pDatabase)
        return;

    std::vector<IZKEntity*> vecEntities;
    GetLayerData(pDatabase, kPictureLayer, vecEntities);
    IZKBound* pPrevious = nullptr;
    if (!vecEntities.empty()) {
        IZKPartFactory* pParts = HXL_GetPartFactory();
        pPrevious = pParts ? pParts->CreateBound() : nullptr;
        if (pPrevious)
            for (IZKEntity* pEntity : vecEntities)
                pPrevious->AddBound(pEntity->GetBound());
    }
    ClearLayerData(pDatabase, kPictureLayer, true);
    if (ZKVisionDataPoolManager* pPool = pLocator ? pLocator->GetDataPoolMgr() : nullptr) {
        pPool->ClearCache();
        pPool->ClearOverlapCache();
    }

    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    ImageAdapter* pAdapter = pManager ? pManager->GetImageAdapter() : nullptr;
    if (!pAdapter || pAdapter->IsEmpty()) {
        if (pPrevious)
            pPrevious->Release();
        return;
    }
    IZKDbImage* pImage = pAdapter->CreateDbImage();
    if (!pImage) {
        if (pPrevious)
            pPrevious->Release();
        return;
    }
    IZKLayerTable* pLayers = pDatabase->GetLayerTable();
    pImage->SetLayer(pLayers->GetLayer(kPictureLayer));

    if (pPrevious) {
        // A re-processed picture stays exactly where the previous one was.
        pImage->SetExtents(pPrevious->GetMinX(), pPrevious->GetMinY(), pPrevious->GetMaxX(), pPrevious->GetMaxY());
        pPrevious->Release();
    } else {
        ClearExceptLayer(pDatabase, kKeptLayers);
        IZKBound* pBound = pManager->GetCamerasCalImageBound();
        if (!pBound) {
            pImage->Release();
            return;
        }
        int nCalW = 0, nCalH = 0;
        pManager->GetCameraCalImageSize(nCalW, nCalH);
        const double dScaleX = nCalW ? pBound->GetWidth() / nCalW : 0.0;
        const double dScaleY = nCalH ? pBound->GetHeight() / nCalH : 0.0;
        int nWidthMm = 0, nHeightMm = 0;
        PictureSizeMm(m_nImageDpi, nWidthMm, nHeightMm);
        int a = 0, b = 0;
        pImage->GetImageSize(a, b);
        const float fMinX = static_cast<float>(pBound->GetMinX());
        const float fMinY = static_cast<float>(pBound->GetMinY());
        pImage->SetExtents(fMinX, fMinY, fMinX + static_cast<float>(a * dScaleX), fMinY + static_cast<float>(b * dScaleY));
    }
    pDatabase->GetShapeTable()->AppendEntity(pImage);
}

void ZKCostomCameraWidget::HandOverOpenedPicture()
{
    ZKVisionLocatorManager* pLocator = HXL_GetVisionLocatorManager();
    ZKAppService* pApp = HXL_GetAppService();
    ZKGloabVisionAppBase* pMainApp = pApp ? pApp->GetMainApp() : nullptr;
    IZKDocument* pDocument = pMainApp ? pMainApp->GetDocument() : nullptr;
    IZKDatabase* pDatabase = pDocument ? pDocument->GetDatabase() : nullptr;
    if (!pDatabase)
        return;

    ClearLayerData(pDatabase, kPictureLayer, true);
    if (ZKVisionDataPoolManager* pPool = pLocator ? pLocator->GetDataPoolMgr() : nullptr) {
        pPool->ClearCache();
        pPool->ClearOverlapCache();
        pPool->ClearOneOverlapCache();
    }
    ClearExceptLayer(pDatabase, kKeptLayers);

    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    ImageAdapter* pAdapter = pManager ? pManager->GetImageAdapter() : nullptr;
    if (!pAdapter || pAdapter->IsEmpty())
        return;

    IZKRobotService* pRobot = HXL_GetRobotService();
    if (IZKMachine* pMachine = pRobot ? pRobot->GetCurMachine() : nullptr) {
        const double dX = pMachine->GetAxisPos(0);
        const double dY = pMachine->GetAxisPos(1);
        MovableCam_SetCurMachineMmPos(dX, dY);
    }

    IZKBound* pBound = pManager->GetCamerasCalImageBound();
    if (!pBound)
        return; // without a calibration nothing is placed
    int nCalW = 0, nCalH = 0;
    pManager->GetCameraCalImageSize(nCalW, nCalH);
    const double dScaleX = nCalW ? pBound->GetWidth() / nCalW : 0.0;
    const double dScaleY = nCalH ? pBound->GetHeight() / nCalH : 0.0;
    int nWidthMm = 0, nHeightMm = 0;
    PictureSizeMm(m_nImageDpi, nWidthMm, nHeightMm);
    IZKDbImage* pImage = pAdapter->CreateDbImage();
    if (!pImage)
        return;
    pImage->SetLayer(pDatabase->GetLayerTable()->GetLayer(kPictureLayer));
    int a = 0, b = 0;
    pImage->GetImageSize(a, b);
    const float fMinX = static_cast<float>(pBound->GetMinX());
    const float fMinY = static_cast<float>(pBound->GetMinY());
    pImage->SetExtents(fMinX, fMinY, fMinX + static_cast<float>(a * dScaleX), fMinY + static_cast<float>(b * dScaleY));
    pDatabase->GetShapeTable()->AppendEntity(pImage);
}

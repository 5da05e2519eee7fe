#include "HXL_AdvancedPreprocessingDialog.h"

#include "HXLParamDialogCommon.h"
#include "HXL_ModuleGlobals.h"
#include "auxiliary/HXL_ShowDealWithDialog.h"

#include "host/IZKVisionCameraManager.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QStyledItemDelegate>
#include <QTimerEvent>
#include <QVBoxLayout>

#include <array>

using namespace HXLParamDialogCommon;

namespace {

constexpr int kColumnWidth = 295;
constexpr int kSliderWidth = 116;
constexpr int kReadOutWidth = 24;
constexpr int kComboWidth = 140;

// Sharpening kernel size for each level of the sharpening combo box.
constexpr std::array<int, 6> kSharpenKernels = {0, 3, 5, 7, 9, 11};

QLabel* makeCaption(const QString& strText)
{
    auto* pLabel = new QLabel(strText);
    pLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    return pLabel;
}

QSlider* makeSlider(int nMin, int nMax, int nWidth = kSliderWidth)
{
    auto* pSlider = new QSlider(Qt::Horizontal);
    pSlider->setFixedWidth(nWidth);
    pSlider->setRange(nMin, nMax);
    return pSlider;
}

QLabel* makeReadOut()
{
    auto* pLabel = new QLabel();
    pLabel->setFixedWidth(kReadOutWidth);
    return pLabel;
}

QComboBox* makeCombo(const QStringList& items, bool bFixedWidth = true)
{
    auto* pCombo = new QComboBox();
    if (bFixedWidth)
        pCombo->setFixedWidth(kComboWidth);
    else
        pCombo->setMaximumWidth(kComboWidth);
    // With a styled delegate the dialog's style sheet reaches the drop-down list too.
    pCombo->setItemDelegate(new QStyledItemDelegate(pCombo));
    pCombo->addItems(items);
    return pCombo;
}

QFrame* makeVerticalLine()
{
    auto* pLine = new QFrame();
    pLine->setFrameShape(QFrame::VLine);
    pLine->setFrameShadow(QFrame::Raised);
    return pLine;
}

// Connects only a control that the dialog has built. The morphology controls
// are not part of this dialog, so their connections have no sender and make
// nothing.
template <class Sender, class Signal, class Receiver, class Slot>
void connectBuilt(Sender* pSender, Signal signal, Receiver* pReceiver, Slot slot)
{
    if (pSender)
        QObject::connect(pSender, signal, pReceiver, slot);
}

} // namespace

HXL_AdvancedPreprocessingDialog::HXL_AdvancedPreprocessingDialog(QWidget* parent) : QDialog(parent)
{
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
    setStyleSheet(advancedDialogStyleSheet());
}

HXL_AdvancedPreprocessingDialog::~HXL_AdvancedPreprocessingDialog()
{
    delete m_pShowDealWithDialog;
    m_pShowDealWithDialog = nullptr;
}

void HXL_AdvancedPreprocessingDialog::InitUI()
{
    loadFromHost();
    buildWidgets();
    // Filling before connecting: building never runs a slot, so never applies.
    fillWidgets();
    connectWidgets();

    m_pShowDealWithDialog = new HXL_ShowDealWithDialog(this);
    m_pShowDealWithDialog->InitUI();
    m_pShowDealWithDialog->setAttribute(Qt::WA_DeleteOnClose);
}

void HXL_AdvancedPreprocessingDialog::loadFromHost()
{
    const IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    m_current.nSatMode = pManager->nSatMode;
    m_current.nSatValue = pManager->nSatValue;
    m_current.nBriMode = pManager->nBriMode;
    m_current.nBriWidth = pManager->nBriWidth;
    m_current.nBriValue = pManager->nBriValue;
    m_current.nChannelMode = pManager->nGrayMode;
    m_current.nGrayMode = pManager->nGrayProMode;
    m_current.nGrayWidth = pManager->nGrayWidth;
    m_current.nGrayValue = pManager->nGrayValue;
    m_current.nMorphologyType = pManager->nMorphologyType;
    m_current.nMorphologyW = pManager->nMorphologyW;
    // nMorphologyH is deliberately not read: it keeps its initial value.
    m_current.nSharpening = pManager->bSharpening;
    m_current.nSharpenKernel = pManager->nSharpenKernel;
    m_current.nFilterMode = pManager->nFilterMode;
    m_current.nFilterMin = pManager->nFilterMin;
    m_current.nFilterMax = pManager->nFilterMax;
    m_current.nFilterPoleMode = pManager->nFilterPoleMode;
    m_current.nFilterPoleValue = pManager->nFilterPoleValue;
    m_current.nInver = pManager->bIsInver ? 1 : 0;
    m_current.nVagueValue = pManager->nGoInterfereValue;

    m_saved = m_current;
}

void HXL_AdvancedPreprocessingDialog::buildWidgets()
{
    setFixedSize(600, 600);

    const QStringList modeItems = {tr("NoProcess"), tr("Illuminate"), tr("Emphasize")};
    const QStringList filterModeItems = {tr("NoProcess"), tr("black"), tr("white")};

    auto* pMainLayout = new QVBoxLayout(this);
    auto* pColumnsLayout = new QHBoxLayout();
    pMainLayout->addLayout(pColumnsLayout);

    // --- left column --------------------------------------------------------------
    auto* pLeftColumn = new QWidget(this);
    pLeftColumn->setFixedWidth(kColumnWidth);
    auto* pLeftGrid = new QGridLayout(pLeftColumn);
    // The sharpening group is as wide as the column itself: with side margins
    // its right border would lie outside the column and be cut off.
    const QMargins leftMargins = pLeftGrid->contentsMargins();
    pLeftGrid->setContentsMargins(0, leftMargins.top(), 0, leftMargins.bottom());
    pColumnsLayout->addWidget(pLeftColumn);

    auto* pSharpenGroup = new QGroupBox(tr("Image sharpening"));
    pSharpenGroup->setFixedWidth(kColumnWidth);
    auto* pSharpenGrid = new QGridLayout(pSharpenGroup);
    QLabel* pSharpenCaption = makeCaption(tr("Handling unit"));
    pSharpenCaption->setFixedWidth(116);
    m_pSharpeningCombo = makeCombo({tr("NoProcess"), tr("Level 1"), tr("Level 2"), tr("Level 3"), tr("Level 4"),
                                      tr("Level 5")});
    pSharpenGrid->addWidget(pSharpenCaption, 1, 0);
    pSharpenGrid->addWidget(m_pSharpeningCombo, 1, 1);
    pLeftGrid->addWidget(pSharpenGroup, 0, 0);

    auto* pColorGroup = new QGroupBox(tr("color"));
    pColorGroup->setMaximumHeight(130);
    auto* pColorGrid = new QGridLayout(pColorGroup);
    m_pSatCombo = makeCombo(modeItems);
    m_pSatSlider = makeSlider(1, 100);
    m_pSatValueLabel = makeReadOut();
    pColorGrid->addWidget(makeCaption(tr("Saturation")), 0, 0);
    pColorGrid->addWidget(m_pSatCombo, 0, 1, 1, 2);
    pColorGrid->addWidget(makeCaption(tr("grade")), 1, 0);
    pColorGrid->addWidget(m_pSatSlider, 1, 1);
    pColorGrid->addWidget(m_pSatValueLabel, 1, 2);
    pColorGrid->addWidget(makeVerticalLine(), 0, 3, 3, 1);
    // The one combo box that is not fixed: at least 80 wide, 140 where there is room.
    m_pBriCombo = makeCombo(modeItems, false);
    m_pBriCombo->setMinimumWidth(80);
    m_pBriSlider = makeSlider(3, 100);
    m_pBriValueLabel = makeReadOut();
    m_pBriWidthSlider = makeSlider(3, 300);
    m_pBriWidthLabel = makeReadOut();
    pColorGrid->addWidget(makeCaption(tr("Brightness processing")), 0, 4);
    pColorGrid->addWidget(m_pBriCombo, 0, 5, 1, 2);
    pColorGrid->addWidget(makeCaption(tr("grade")), 1, 4);
    pColorGrid->addWidget(m_pBriSlider, 1, 5);
    pColorGrid->addWidget(m_pBriValueLabel, 1, 6);
    pColorGrid->addWidget(makeCaption(tr("width")), 2, 4);
    pColorGrid->addWidget(m_pBriWidthSlider, 2, 5);
    pColorGrid->addWidget(m_pBriWidthLabel, 2, 6);
    pLeftGrid->addWidget(pColorGroup, 1, 0);

    auto* pGrayGroup = new QGroupBox(tr("Gray"));
    pGrayGroup->setMaximumHeight(130);
    auto* pGrayGrid = new QGridLayout(pGrayGroup);
    QLabel* pChannelCaption = makeCaption(tr("ChannelSelection"));
    pChannelCaption->setFixedHeight(30);
    m_pChannelCombo = makeCombo({tr("NoProcess"), tr("MinChannel"), tr("AverageValue"), tr("RedChannel"),
                                   tr("GreenChannel"), tr("BlueChannel"), tr("SatChannel"), tr("HueChannel")});
    QLabel* pGrayModeCaption = makeCaption(tr("Grayscale1"));
    pGrayModeCaption->setFixedHeight(30);
    m_pGrayModeCombo = makeCombo(modeItems);
    m_pGraySlider = makeSlider(3, 100);
    m_pGrayValueLabel = makeReadOut();
    m_pGrayWidthSlider = makeSlider(3, 300);
    m_pGrayWidthLabel = makeReadOut();
    pGrayGrid->addWidget(pChannelCaption, 0, 0);
    pGrayGrid->addWidget(m_pChannelCombo, 0, 1);
    pGrayGrid->addWidget(makeVerticalLine(), 0, 2, 3, 1);
    pGrayGrid->addWidget(pGrayModeCaption, 0, 3);
    pGrayGrid->addWidget(m_pGrayModeCombo, 0, 4, 1, 2);
    pGrayGrid->addWidget(makeCaption(tr("grade")), 1, 3);
    pGrayGrid->addWidget(m_pGraySlider, 1, 4);
    pGrayGrid->addWidget(m_pGrayValueLabel, 1, 5);
    pGrayGrid->addWidget(makeCaption(tr("width")), 2, 3);
    pGrayGrid->addWidget(m_pGrayWidthSlider, 2, 4);
    pGrayGrid->addWidget(m_pGrayWidthLabel, 2, 5);
    pLeftGrid->addWidget(pGrayGroup, 2, 0);

    // The place of the morphology group, which this dialog does not build.
    auto* pMorphologyPlace = new QWidget();
    pMorphologyPlace->setFixedHeight(130);
    pLeftGrid->addWidget(pMorphologyPlace, 3, 0);

    // --- right column -------------------------------------------------------------
    auto* pRightColumn = new QWidget(this);
    pRightColumn->setFixedWidth(kColumnWidth);
    auto* pRightLayout = new QVBoxLayout(pRightColumn);
    pColumnsLayout->addWidget(pRightColumn);

    auto* pFilterGroup = new QGroupBox(tr("filter"));
    auto* pFilterGrid = new QGridLayout(pFilterGroup);
    m_pFilterModeCombo = makeCombo(filterModeItems);
    m_pMinSlider = makeSlider(0, 255);
    m_pMinValueLabel = makeReadOut();
    m_pMaxSlider = makeSlider(0, 255);
    m_pMaxValueLabel = makeReadOut();
    pFilterGrid->addWidget(makeCaption(tr("filterMode")), 0, 0);
    pFilterGrid->addWidget(m_pFilterModeCombo, 0, 1, 1, 2);
    pFilterGrid->addWidget(makeCaption(tr("minValue")), 1, 0);
    pFilterGrid->addWidget(m_pMinSlider, 1, 1);
    pFilterGrid->addWidget(m_pMinValueLabel, 1, 2);
    pFilterGrid->addWidget(makeCaption(tr("maxValue")), 2, 0);
    pFilterGrid->addWidget(m_pMaxSlider, 2, 1);
    pFilterGrid->addWidget(m_pMaxValueLabel, 2, 2);
    pRightLayout->addWidget(pFilterGroup);

    auto* pPoleGroup = new QGroupBox(tr("filterPole"));
    auto* pPoleGrid = new QGridLayout(pPoleGroup);
    m_pPoleModeCombo = makeCombo(filterModeItems);
    m_pPoleSlider = makeSlider(0, 255);
    m_pPoleValueLabel = makeReadOut();
    pPoleGrid->addWidget(makeCaption(tr("filterMode")), 0, 0);
    pPoleGrid->addWidget(m_pPoleModeCombo, 0, 1, 1, 2);
    pPoleGrid->addWidget(makeCaption(tr("poleValue")), 1, 0);
    pPoleGrid->addWidget(m_pPoleSlider, 1, 1);
    pPoleGrid->addWidget(m_pPoleValueLabel, 1, 2);
    pRightLayout->addWidget(pPoleGroup);

    auto* pOtherGroup = new QGroupBox(tr("other"));
    auto* pOtherGrid = new QGridLayout(pOtherGroup);
    QLabel* pVagueCaption = makeCaption(tr("vague"));
    pVagueCaption->setFixedWidth(120);
    m_pVagueSlider = makeSlider(0, 100, 120);
    m_pVagueValueLabel = makeReadOut();
    m_pInverCheck = new QCheckBox(tr("InvertImage"));
    pOtherGrid->addWidget(pVagueCaption, 0, 0);
    pOtherGrid->addWidget(m_pVagueSlider, 0, 1);
    pOtherGrid->addWidget(m_pVagueValueLabel, 0, 2);
    pOtherGrid->addWidget(m_pInverCheck, 1, 0, 1, 3);
    pRightLayout->addWidget(pOtherGroup);
    pRightLayout->addStretch();

    // --- buttons ----------------------------------------------------------------------
    auto* pButtonLayout = new QHBoxLayout();
    pButtonLayout->addStretch();
    auto* pOkBtn = new QPushButton(tr("Ok"));
    pOkBtn->setFixedHeight(30);
    auto* pCancelBtn = new QPushButton(tr("cancel"));
    pCancelBtn->setFixedHeight(30);
    pButtonLayout->addWidget(pOkBtn);
    pButtonLayout->addWidget(pCancelBtn);
    pMainLayout->addLayout(pButtonLayout);

    connect(pOkBtn, &QPushButton::clicked, this, &HXL_AdvancedPreprocessingDialog::slotOK);
    connect(pCancelBtn, &QPushButton::clicked, this, &HXL_AdvancedPreprocessingDialog::slotCancle);
}

void HXL_AdvancedPreprocessingDialog::fillWidgets()
{
    m_pSatCombo->setCurrentIndex(m_current.nSatMode);
    m_pSatSlider->setValue(m_current.nSatValue);
    m_pSatValueLabel->setText(percentText(m_current.nSatValue));
    m_pBriCombo->setCurrentIndex(m_current.nBriMode);
    m_pBriSlider->setValue(m_current.nBriValue);
    m_pBriValueLabel->setText(percentText(m_current.nBriValue));
    m_pBriWidthSlider->setValue(m_current.nBriWidth);
    m_pBriWidthLabel->setText(numberText(m_current.nBriWidth));
    m_pChannelCombo->setCurrentIndex(m_current.nChannelMode);
    m_pGrayModeCombo->setCurrentIndex(m_current.nGrayMode);
    m_pGraySlider->setValue(m_current.nGrayValue);
    m_pGrayValueLabel->setText(percentText(m_current.nGrayValue));
    m_pGrayWidthSlider->setValue(m_current.nGrayWidth);
    m_pGrayWidthLabel->setText(numberText(m_current.nGrayWidth));
    m_pFilterModeCombo->setCurrentIndex(m_current.nFilterMode);
    m_pMinSlider->setValue(m_current.nFilterMin);
    m_pMinValueLabel->setText(numberText(m_current.nFilterMin));
    m_pMaxSlider->setValue(m_current.nFilterMax);
    m_pMaxValueLabel->setText(numberText(m_current.nFilterMax));
    m_pPoleModeCombo->setCurrentIndex(m_current.nFilterPoleMode);
    m_pPoleSlider->setValue(m_current.nFilterPoleValue);
    m_pPoleValueLabel->setText(numberText(m_current.nFilterPoleValue));

    setSatValueWidgetsEnabled(m_current.nSatMode == 2);
    setBriValueWidgetsEnabled(m_current.nBriMode == 2);
    setGrayValueWidgetsEnabled(m_current.nGrayMode == 2);

    m_pVagueSlider->setValue(m_current.nVagueValue);
    m_pVagueValueLabel->setText(percentText(m_current.nVagueValue));
    m_pInverCheck->setChecked(m_current.nInver != 0);

    // A kernel that no level gives leaves the combo where it stands.
    for (int i = 0; i < static_cast<int>(kSharpenKernels.size()); ++i) {
        if (kSharpenKernels[i] == m_current.nSharpenKernel) {
            m_pSharpeningCombo->setCurrentIndex(i);
            break;
        }
    }
}

void HXL_AdvancedPreprocessingDialog::connectWidgets()
{
    using Self = HXL_AdvancedPreprocessingDialog;
    const auto indexChanged = QOverload<int>::of(&QComboBox::currentIndexChanged);

    connectToMainWindow(this, &Self::sigGrayParamChanged);
    connect(this, &Self::sigAppication, this, &Self::slotApplication);

    connect(m_pSatCombo, indexChanged, this, &Self::slotSatChange);
    connect(m_pBriCombo, indexChanged, this, &Self::slotBriChange);
    connect(m_pChannelCombo, indexChanged, this, &Self::slotChannelMode);
    connect(m_pGrayModeCombo, indexChanged, this, &Self::slotGrayMode);
    connect(m_pSharpeningCombo, indexChanged, this, &Self::slotSharpening);

    const std::array<std::pair<QSlider*, void (Self::*)(int)>, 6> valueSliders = {{
        {m_pSatSlider, &Self::slotSatSliderValueChanged},
        {m_pBriSlider, &Self::slotBriSliderValueChanged},
        {m_pBriWidthSlider, &Self::slotBriSliderValueWidthChanged},
        {m_pGraySlider, &Self::slotGraySliderValueChanged},
        {m_pGrayWidthSlider, &Self::slotGraySliderValueWidthChanged},
        {m_pVagueSlider, &Self::slotvagueSliderValueChanged},
    }};
    for (const auto& entry : valueSliders) {
        connect(entry.first, &QSlider::valueChanged, this, entry.second);
        // Dragging only edits the working copy; letting go applies it.
        connect(entry.first, &QSlider::sliderReleased, this, &Self::slotApplication);
    }

    connect(m_pInverCheck, &QCheckBox::stateChanged, this, &Self::slotInverChange);

    connectBuilt(m_pMorphologyTypeCbo, indexChanged, this, &Self::slotMorphologyTypeCboChanged);
    connectBuilt(m_pMorphologySliderW, &QSlider::valueChanged, this, &Self::slotMorphologySliderWValueChanged);
    connectBuilt(m_pMorphologySliderW, &QSlider::sliderReleased, this, &Self::slotApplication);
    connectBuilt(m_pMorphologySliderH, &QSlider::valueChanged, this, &Self::slotMorphologySliderHValueChanged);
    connectBuilt(m_pMorphologySliderH, &QSlider::sliderReleased, this, &Self::slotApplication);
}

void HXL_AdvancedPreprocessingDialog::setSatValueWidgetsEnabled(bool bEnabled)
{
    m_pSatSlider->setEnabled(bEnabled);
    m_pSatValueLabel->setEnabled(bEnabled);
}

void HXL_AdvancedPreprocessingDialog::setBriValueWidgetsEnabled(bool bEnabled)
{
    m_pBriSlider->setEnabled(bEnabled);
    m_pBriValueLabel->setEnabled(bEnabled);
    if (m_pBriWidthSlider)
        m_pBriWidthSlider->setEnabled(bEnabled);
    if (m_pBriWidthLabel)
        m_pBriWidthLabel->setEnabled(bEnabled);
}

void HXL_AdvancedPreprocessingDialog::setGrayValueWidgetsEnabled(bool bEnabled)
{
    m_pGraySlider->setEnabled(bEnabled);
    m_pGrayValueLabel->setEnabled(bEnabled);
    if (m_pGrayWidthSlider)
        m_pGrayWidthSlider->setEnabled(bEnabled);
    if (m_pGrayWidthLabel)
        m_pGrayWidthLabel->setEnabled(bEnabled);
}

void HXL_AdvancedPreprocessingDialog::startDebounceTimer(DebounceTimer& timer)
{
    // The previous timer of the group is not killed: after two quick changes
    // it goes on firing, matches no stored id and is ignored, so the two
    // changes apply once.
    timer.nTimerId = startTimer(timer.nInterval, Qt::CoarseTimer);
}

void HXL_AdvancedPreprocessingDialog::timerEvent(QTimerEvent* event)
{
    const std::array<DebounceTimer*, 7> timers = {&m_morphologyTypeTimer, &m_satModeTimer,    &m_briModeTimer,
                                                 &m_channelModeTimer,    &m_grayModeTimer,   &m_filterModeTimer,
                                                 &m_filterPoleModeTimer};
    for (DebounceTimer* pTimer : timers) {
        if (pTimer->nTimerId == event->timerId()) {
            killTimer(pTimer->nTimerId);
            emit sigAppication();
            return;
        }
    }
}

// --- changes -------------------------------------------------------------------------

void HXL_AdvancedPreprocessingDialog::slotSatChange(int value)
{
    m_current.nSatMode = value;
    setSatValueWidgetsEnabled(value == 2);
    startDebounceTimer(m_satModeTimer);
}

void HXL_AdvancedPreprocessingDialog::slotSatSliderValueChanged(int value)
{
    m_current.nSatValue = value;
    m_pSatValueLabel->setText(percentText(value));
}

void HXL_AdvancedPreprocessingDialog::slotBriChange(int value)
{
    m_current.nBriMode = value;
    setBriValueWidgetsEnabled(value == 2);
    startDebounceTimer(m_briModeTimer);
}

void HXL_AdvancedPreprocessingDialog::slotBriSliderValueChanged(int value)
{
    m_current.nBriValue = value;
    m_pBriValueLabel->setText(percentText(value));
}

void HXL_AdvancedPreprocessingDialog::slotBriSliderValueWidthChanged(int value)
{
    m_current.nBriWidth = value;
    m_pBriWidthLabel->setText(numberText(value));
}

void HXL_AdvancedPreprocessingDialog::slotChannelMode(int value)
{
    m_current.nChannelMode = value;
    startDebounceTimer(m_channelModeTimer);
}

void HXL_AdvancedPreprocessingDialog::slotGrayMode(int value)
{
    m_current.nGrayMode = value;
    setGrayValueWidgetsEnabled(value == 2);
    startDebounceTimer(m_grayModeTimer);
}

void HXL_AdvancedPreprocessingDialog::slotGraySliderValueChanged(int value)
{
    m_current.nGrayValue = value;
    m_pGrayValueLabel->setText(percentText(value));
}

void HXL_AdvancedPreprocessingDialog::slotGraySliderValueWidthChanged(int value)
{
    m_current.nGrayWidth = value;
    m_pGrayWidthLabel->setText(numberText(value));
}

void HXL_AdvancedPreprocessingDialog::slotMorphologyTypeCboChanged(int value)
{
    m_current.nMorphologyType = value;
    startDebounceTimer(m_morphologyTypeTimer);
}

void HXL_AdvancedPreprocessingDialog::slotMorphologySliderWValueChanged(int value)
{
    m_current.nMorphologyW = value;
    if (m_pMorphologyWValueLabel)
        m_pMorphologyWValueLabel->setText(numberText(value));
}

void HXL_AdvancedPreprocessingDialog::slotMorphologySliderHValueChanged(int value)
{
    m_current.nMorphologyH = value;
    if (m_pMorphologyHValueLabel)
        m_pMorphologyHValueLabel->setText(numberText(value));
}

void HXL_AdvancedPreprocessingDialog::slotvagueSliderValueChanged(int value)
{
    m_current.nVagueValue = value;
    m_pVagueValueLabel->setText(percentText(value));
}

void HXL_AdvancedPreprocessingDialog::slotInverChange(int value)
{
    m_current.nInver = value;
    emit sigAppication();
}

void HXL_AdvancedPreprocessingDialog::slotSharpeningEnableChange(int value)
{
    m_current.nSharpening = value;
    emit sigAppication();
}

void HXL_AdvancedPreprocessingDialog::slotfilerModeChange(int mode)
{
    m_current.nFilterMode = mode;
    startDebounceTimer(m_filterModeTimer);
}

void HXL_AdvancedPreprocessingDialog::slotMinValueChange(int value)
{
    // The range never turns inside out: a minimum above the maximum takes the
    // maximum slider along.
    if (value > m_current.nFilterMax)
        m_pMaxSlider->setValue(value);
    m_current.nFilterMin = value;
    m_pMinValueLabel->setText(numberText(value));
}

void HXL_AdvancedPreprocessingDialog::slotMaxValueChange(int value)
{
    if (value < m_current.nFilterMin)
        m_pMinSlider->setValue(value);
    m_current.nFilterMax = value;
    m_pMaxValueLabel->setText(numberText(value));
}

void HXL_AdvancedPreprocessingDialog::slotfilerPoleModeChange(int mode)
{
    m_current.nFilterPoleMode = mode;
    startDebounceTimer(m_filterPoleModeTimer);
}

void HXL_AdvancedPreprocessingDialog::slotPoleValueChange(int value)
{
    m_current.nFilterPoleValue = value;
    m_pPoleValueLabel->setText(numberText(value));
}

void HXL_AdvancedPreprocessingDialog::slotSharpening(int value)
{
    if (value >= 0 && value < static_cast<int>(kSharpenKernels.size()))
        m_current.nSharpenKernel = kSharpenKernels[value];
    emit sigAppication();
}

// --- apply, restore, close -------------------------------------------------------------

void HXL_AdvancedPreprocessingDialog::writeToHost(const ProcessingValues& values)
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->nSatMode = values.nSatMode;
    pManager->nSatValue = values.nSatValue;
    pManager->nBriMode = values.nBriMode;
    pManager->nBriWidth = values.nBriWidth;
    pManager->nBriValue = values.nBriValue;
    pManager->nGrayMode = values.nChannelMode;
    pManager->nGrayProMode = values.nGrayMode;
    pManager->nGrayWidth = values.nGrayWidth;
    pManager->nGrayValue = values.nGrayValue;
    pManager->nMorphologyType = values.nMorphologyType;
    pManager->nMorphologyW = values.nMorphologyW;
    pManager->bSharpening = values.nSharpening;
    pManager->nSharpenKernel = values.nSharpenKernel;
    pManager->nFilterMode = values.nFilterMode;
    pManager->nFilterMin = values.nFilterMin;
    pManager->nFilterMax = values.nFilterMax;
    pManager->nFilterPoleMode = values.nFilterPoleMode;
    pManager->nFilterPoleValue = values.nFilterPoleValue;
    pManager->bIsInver = values.nInver != 0;
    pManager->nGoInterfereValue = values.nVagueValue;
}

void HXL_AdvancedPreprocessingDialog::slotApplication()
{
    runApplySequence(
        m_pShowDealWithDialog,
        [this] {
            writeToHost(m_current);
            HXL_GetVisionCameraManager()->nMode5 = 10;
        },
        [this] { emit sigGrayParamChanged(); });
}

void HXL_AdvancedPreprocessingDialog::restoreSavedValues()
{
    // No wait here: the dialog is going away.
    if (m_pShowDealWithDialog)
        m_pShowDealWithDialog->StartShow();
    writeToHost(m_saved);
    HXL_GetVisionCameraManager()->nMorphologyH = m_saved.nMorphologyH;
    emit sigGrayParamChanged();
    refreshHostView();
    if (m_pShowDealWithDialog)
        m_pShowDealWithDialog->StopShow();
}

void HXL_AdvancedPreprocessingDialog::slotOK()
{
    // The host keeps what was applied last.
    emit sigClose();
    accept();
}

void HXL_AdvancedPreprocessingDialog::slotCancle()
{
    restoreSavedValues();
    emit sigClose();
    QDialog::reject();
}

void HXL_AdvancedPreprocessingDialog::reject()
{
    restoreSavedValues();
    emit sigClose();
    QDialog::reject();
    emit sigClose();
}

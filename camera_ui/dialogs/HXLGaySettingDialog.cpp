#include "HXLGaySettingDialog.h"

#include "HXLParamDialogCommon.h"
#include "HXL_ModuleGlobals.h"
#include "auxiliary/HXL_ShowDealWithDialog.h"

#include "host/IZKVisionCameraManager.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>

using namespace HXLParamDialogCommon;

namespace {
constexpr int kTitleText = 27;
constexpr int kSwitchText = 25;
constexpr int kValueCaptionText = 39;
constexpr int kWidthCaptionText = 42;
} // namespace

HXLGaySettingDialog::HXLGaySettingDialog(QWidget* parent) : QDialog(parent)
{
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
    initUI();
}

HXLGaySettingDialog::~HXLGaySettingDialog()
{
    delete m_pShowDealWithDialog;
    m_pShowDealWithDialog = nullptr;
}

bool HXLGaySettingDialog::eventFilter(QObject* watched, QEvent* event)
{
    return isSliderWheel(watched, event);
}

void HXLGaySettingDialog::initUI()
{
    setWindowTitle(HXL_Text(kTitleText));

    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    m_bGrayPro = pManager->bGrayPro;
    m_nGrayWidth = pManager->nGrayWidth;
    m_nGrayValue = pManager->nGrayValue;

    const SimpleDialogFrame frame = buildSimpleDialogFrame(this);
    QGridLayout* pGrid = frame.pGrid;

    // The check box is connected before it gets its state: the slot that this
    // may run finds the value widgets not built yet and leaves everything as it is.
    auto* pGrayProCheck = new QCheckBox(HXL_Text(kSwitchText));
    pGrid->addWidget(pGrayProCheck, 0, 0);
    connect(pGrayProCheck, &QCheckBox::stateChanged, this, &HXLGaySettingDialog::slotGrayPro);
    pGrayProCheck->setChecked(m_bGrayPro);

    m_pGayValueCaption = createCaption(HXL_Text(kValueCaptionText));
    m_pGayValueCaption->setMinimumWidth(80);
    m_pGaySlider = createSlider(3, 100, m_nGrayValue);
    m_pGayValueLabel = createReadOut(percentText(m_nGrayValue));
    m_pGayDefBtn = createDefaultButton();
    pGrid->addWidget(m_pGayValueCaption, 1, 0);
    pGrid->addWidget(m_pGaySlider, 1, 1);
    pGrid->addWidget(m_pGayValueLabel, 1, 2);
    pGrid->addWidget(m_pGayDefBtn, 1, 3);

    m_pGayWidthCaption = createCaption(HXL_Text(kWidthCaptionText));
    m_pGayWSlider = createSlider(3, 300, m_nGrayWidth);
    m_pGayWValueLabel = createReadOut(numberText(m_nGrayWidth));
    m_pGayWDefBtn = createDefaultButton();
    pGrid->addWidget(m_pGayWidthCaption, 2, 0);
    pGrid->addWidget(m_pGayWSlider, 2, 1);
    pGrid->addWidget(m_pGayWValueLabel, 2, 2);
    pGrid->addWidget(m_pGayWDefBtn, 2, 3);

    m_pGaySlider->installEventFilter(this);
    m_pGayWSlider->installEventFilter(this);

    setValueWidgetsEnabled(m_bGrayPro);

    connect(m_pGaySlider, &QSlider::valueChanged, this, &HXLGaySettingDialog::slotGaySliderValueChanged);
    connect(m_pGaySlider, &QSlider::sliderReleased, this, &HXLGaySettingDialog::slotApplication);
    connect(m_pGayDefBtn, &QPushButton::clicked, this, [this] { restoreDefaultValue(); });
    connect(m_pGayWSlider, &QSlider::valueChanged, this, &HXLGaySettingDialog::slotGayWSliderValueChanged);
    connect(m_pGayWSlider, &QSlider::sliderReleased, this, &HXLGaySettingDialog::slotApplication);
    connect(m_pGayWDefBtn, &QPushButton::clicked, this, [this] { restoreDefaultWidth(); });
    connect(frame.pOkBtn, &QPushButton::clicked, this, [this] { onOk(); });
    connect(frame.pCancelBtn, &QPushButton::clicked, this, [this] { onCancel(); });

    connect(this, &HXLGaySettingDialog::sigAppcation, this, &HXLGaySettingDialog::slotApplication);
    connectToMainWindow(this, &HXLGaySettingDialog::sigGrayParamChanged);

    m_pShowDealWithDialog = new HXL_ShowDealWithDialog(this);
    m_pShowDealWithDialog->InitUI();
    m_pShowDealWithDialog->setAttribute(Qt::WA_DeleteOnClose);
}

bool HXLGaySettingDialog::valueWidgetsBuilt() const
{
    return m_pGayValueCaption && m_pGayWidthCaption && m_pGayWSlider && m_pGaySlider && m_pGayValueLabel
           && m_pGayWValueLabel && m_pGayDefBtn && m_pGayWDefBtn;
}

void HXLGaySettingDialog::setValueWidgetsEnabled(bool bEnabled)
{
    m_pGayValueCaption->setEnabled(bEnabled);
    m_pGayWidthCaption->setEnabled(bEnabled);
    m_pGayWSlider->setEnabled(bEnabled);
    m_pGaySlider->setEnabled(bEnabled);
    m_pGayValueLabel->setEnabled(bEnabled);
    m_pGayWValueLabel->setEnabled(bEnabled);
    m_pGayDefBtn->setEnabled(bEnabled);
    m_pGayWDefBtn->setEnabled(bEnabled);
}

void HXLGaySettingDialog::slotGrayPro(int value)
{
    if (!valueWidgetsBuilt())
        return;
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->bGrayPro = value != 0;
    setValueWidgetsEnabled(pManager->bGrayPro);
    emit sigAppcation();
}

void HXLGaySettingDialog::slotGaySliderValueChanged(int value)
{
    HXL_GetVisionCameraManager()->nGrayValue = value;
    m_pGayValueLabel->setText(percentText(value));
}

void HXLGaySettingDialog::slotGayWSliderValueChanged(int value)
{
    HXL_GetVisionCameraManager()->nGrayWidth = value;
    m_pGayWValueLabel->setText(numberText(value));
}

void HXLGaySettingDialog::slotApplication()
{
    runApplySequence(m_pShowDealWithDialog, nullptr, [this] { emit sigGrayParamChanged(); });
}

void HXLGaySettingDialog::restoreDefaultValue()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->nGrayValue = pManager->nGrayValueDef;
    m_pGaySlider->setValue(pManager->nGrayValue);
    emit sigAppcation();
}

void HXLGaySettingDialog::restoreDefaultWidth()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->nGrayWidth = pManager->nGrayWidthDef;
    m_pGayWSlider->setValue(pManager->nGrayWidth);
    emit sigAppcation();
}

void HXLGaySettingDialog::onOk()
{
    emit sigClose();
    accept();
}

void HXLGaySettingDialog::onCancel()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->bGrayPro = m_bGrayPro;
    pManager->nGrayValue = m_nGrayValue;
    pManager->nGrayWidth = m_nGrayWidth;
    emit sigAppcation();
    emit sigClose();
    // The base class directly: the override would restore a second time.
    QDialog::reject();
}

void HXLGaySettingDialog::reject()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->bGrayPro = m_bGrayPro;
    pManager->nGrayValue = m_nGrayValue;
    pManager->nGrayWidth = m_nGrayWidth;
    emit sigAppcation();
    emit sigClose();
    QDialog::reject();
}

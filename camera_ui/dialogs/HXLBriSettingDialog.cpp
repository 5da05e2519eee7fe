#include "HXLBriSettingDialog.h"

#include "HXLParamDialogCommon.h"
#include "HXL_ModuleGlobals.h"
#include "auxiliary/HXL_ShowDealWithDialog.h"

#include "host/IZKVisionCameraManager.h"

#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>

using namespace HXLParamDialogCommon;

namespace {
constexpr int kTitleText = 11;
constexpr int kModeCaptionText = 10;
constexpr int kValueCaptionText = 39;
} // namespace

HXLBriSettingDialog::HXLBriSettingDialog(QWidget* parent) : QDialog(parent)
{
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
    initUI();
}

HXLBriSettingDialog::~HXLBriSettingDialog()
{
    delete m_pShowDealWithDialog;
    m_pShowDealWithDialog = nullptr;
}

bool HXLBriSettingDialog::eventFilter(QObject* watched, QEvent* event)
{
    return isSliderWheel(watched, event);
}

void HXLBriSettingDialog::initUI()
{
    setWindowTitle(HXL_Text(kTitleText));

    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    m_nBriMode = pManager->nBriMode;
    m_nBriWidth = pManager->nBriWidth;
    m_nBriValue = pManager->nBriValue;

    const SimpleDialogFrame frame = buildSimpleDialogFrame(this);
    QGridLayout* pGrid = frame.pGrid;

    // Controls get their values before they are connected: building applies nothing.
    QComboBox* pModeCombo = createModeCombo(m_nBriMode);
    pGrid->addWidget(createCaption(HXL_Text(kModeCaptionText)), 0, 0);
    pGrid->addWidget(pModeCombo, 0, 1);

    m_pBriValueCaption = createCaption(HXL_Text(kValueCaptionText));
    m_pBriValueCaption->setMinimumWidth(80);
    m_pBriSlider = createSlider(3, 100, m_nBriValue);
    m_pBriValueLabel = createReadOut(percentText(m_nBriValue));
    m_pBriDefBtn = createDefaultButton();
    pGrid->addWidget(m_pBriValueCaption, 1, 0);
    pGrid->addWidget(m_pBriSlider, 1, 1);
    pGrid->addWidget(m_pBriValueLabel, 1, 2);
    pGrid->addWidget(m_pBriDefBtn, 1, 3);

    m_pBriWidthCaption = createCaption(tr("width"));
    m_pBriWSlider = createSlider(3, 300, m_nBriWidth);
    m_pBriWValueLabel = createReadOut(numberText(m_nBriWidth));
    m_pBriWDefBtn = createDefaultButton();
    pGrid->addWidget(m_pBriWidthCaption, 2, 0);
    pGrid->addWidget(m_pBriWSlider, 2, 1);
    pGrid->addWidget(m_pBriWValueLabel, 2, 2);
    pGrid->addWidget(m_pBriWDefBtn, 2, 3);

    m_pBriSlider->installEventFilter(this);
    m_pBriWSlider->installEventFilter(this);
    pModeCombo->installEventFilter(this);

    // At build mode 1 counts as editable too; after a change only mode 2 does.
    setValueWidgetsEnabled(m_nBriMode > 0);

    connect(pModeCombo, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &HXLBriSettingDialog::slotBriModeChange);
    connect(m_pBriSlider, &QSlider::valueChanged, this, &HXLBriSettingDialog::slotBriSliderValueChanged);
    connect(m_pBriSlider, &QSlider::sliderReleased, this, &HXLBriSettingDialog::slotApplication);
    connect(m_pBriDefBtn, &QPushButton::clicked, this, [this] { restoreDefaultValue(); });
    connect(m_pBriWSlider, &QSlider::valueChanged, this, &HXLBriSettingDialog::slotBriWSliderValueChanged);
    connect(m_pBriWSlider, &QSlider::sliderReleased, this, &HXLBriSettingDialog::slotApplication);
    connect(m_pBriWDefBtn, &QPushButton::clicked, this, [this] { restoreDefaultWidth(); });
    connect(frame.pOkBtn, &QPushButton::clicked, this, [this] { onOk(); });
    connect(frame.pCancelBtn, &QPushButton::clicked, this, [this] { onCancel(); });

    connect(this, &HXLBriSettingDialog::sigAppcation, this, &HXLBriSettingDialog::slotApplication);
    connectToMainWindow(this, &HXLBriSettingDialog::sigGrayParamChanged);

    m_pShowDealWithDialog = new HXL_ShowDealWithDialog(this);
    m_pShowDealWithDialog->InitUI();
    m_pShowDealWithDialog->setAttribute(Qt::WA_DeleteOnClose);
}

void HXLBriSettingDialog::setValueWidgetsEnabled(bool bEnabled)
{
    m_pBriValueCaption->setEnabled(bEnabled);
    m_pBriWidthCaption->setEnabled(bEnabled);
    m_pBriWSlider->setEnabled(bEnabled);
    m_pBriSlider->setEnabled(bEnabled);
    m_pBriValueLabel->setEnabled(bEnabled);
    m_pBriWValueLabel->setEnabled(bEnabled);
    m_pBriDefBtn->setEnabled(bEnabled);
    m_pBriWDefBtn->setEnabled(bEnabled);
}

void HXLBriSettingDialog::slotBriSliderValueChanged(int value)
{
    // Written on every step of a drag; the picture follows on release.
    HXL_GetVisionCameraManager()->nBriValue = value;
    m_pBriValueLabel->setText(percentText(value));
}

void HXLBriSettingDialog::slotBriWSliderValueChanged(int value)
{
    HXL_GetVisionCameraManager()->nBriWidth = value;
    m_pBriWValueLabel->setText(numberText(value));
}

void HXLBriSettingDialog::slotBriModeChange(int value)
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->nBriMode = value;
    setValueWidgetsEnabled(pManager->nBriMode == 2);
    emit sigAppcation();
}

void HXLBriSettingDialog::slotApplication()
{
    runApplySequence(m_pShowDealWithDialog, nullptr, [this] { emit sigGrayParamChanged(); });
}

void HXLBriSettingDialog::restoreDefaultValue()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->nBriValue = pManager->nBriValueDef;
    m_pBriSlider->setValue(pManager->nBriValue);
    emit sigAppcation();
}

void HXLBriSettingDialog::restoreDefaultWidth()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->nBriWidth = pManager->nBriWidthDef;
    m_pBriWSlider->setValue(pManager->nBriWidth);
    emit sigAppcation();
}

void HXLBriSettingDialog::onOk()
{
    // The host already holds the edited values.
    emit sigClose();
    accept();
}

void HXLBriSettingDialog::onCancel()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->nBriMode = m_nBriMode;
    pManager->nBriValue = m_nBriValue;
    pManager->nBriWidth = m_nBriWidth;
    emit sigAppcation();
    emit sigClose();
    // The base class directly: the override would restore a second time.
    QDialog::reject();
}

void HXLBriSettingDialog::reject()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->nBriMode = m_nBriMode;
    pManager->nBriValue = m_nBriValue;
    pManager->nBriWidth = m_nBriWidth;
    emit sigAppcation();
    emit sigClose();
    QDialog::reject();
}

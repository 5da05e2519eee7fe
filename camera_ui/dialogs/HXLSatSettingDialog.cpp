#include "HXLSatSettingDialog.h"

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
constexpr int kTitleText = 9;
constexpr int kModeCaptionText = 4;
constexpr int kValueCaptionText = 39;
} // namespace

HXLSatSettingDialog::HXLSatSettingDialog(QWidget* parent) : QDialog(parent)
{
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
    initUI();
}

HXLSatSettingDialog::~HXLSatSettingDialog()
{
    delete m_pShowDealWithDialog;
    m_pShowDealWithDialog = nullptr;
}

bool HXLSatSettingDialog::eventFilter(QObject* watched, QEvent* event)
{
    return isSliderWheel(watched, event);
}

void HXLSatSettingDialog::initUI()
{
    setWindowTitle(HXL_Text(kTitleText));

    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    m_nSatMode = pManager->nSatMode;
    m_nSatValue = pManager->nSatValue;

    const SimpleDialogFrame frame = buildSimpleDialogFrame(this);
    QGridLayout* pGrid = frame.pGrid;

    // Controls get their values before they are connected: building applies nothing.
    QComboBox* pModeCombo = createModeCombo(m_nSatMode);
    pGrid->addWidget(createCaption(HXL_Text(kModeCaptionText)), 0, 0);
    pGrid->addWidget(pModeCombo, 0, 1);

    m_pSatValueCaption = createCaption(HXL_Text(kValueCaptionText));
    m_pSatValueCaption->setMinimumWidth(80);
    m_pSatSlider = createSlider(3, 100, m_nSatValue);
    m_pSatValueLabel = createReadOut(percentText(m_nSatValue));
    m_pSatDefBtn = createDefaultButton();
    pGrid->addWidget(m_pSatValueCaption, 1, 0);
    pGrid->addWidget(m_pSatSlider, 1, 1);
    pGrid->addWidget(m_pSatValueLabel, 1, 2);
    pGrid->addWidget(m_pSatDefBtn, 1, 3);

    m_pSatSlider->installEventFilter(this);
    pModeCombo->installEventFilter(this);

    // At build mode 1 counts as editable too; after a change only mode 2 does.
    setValueWidgetsEnabled(m_nSatMode > 0);

    connect(pModeCombo, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &HXLSatSettingDialog::slotSatModeChange);
    connect(m_pSatSlider, &QSlider::valueChanged, this, &HXLSatSettingDialog::slotSatSliderValueChanged);
    connect(m_pSatSlider, &QSlider::sliderReleased, this, &HXLSatSettingDialog::slotApplication);
    connect(m_pSatDefBtn, &QPushButton::clicked, this, [this] { restoreDefaultValue(); });
    connect(frame.pOkBtn, &QPushButton::clicked, this, [this] { onOk(); });
    connect(frame.pCancelBtn, &QPushButton::clicked, this, [this] { onCancel(); });

    connect(this, &HXLSatSettingDialog::sigAppcation, this, &HXLSatSettingDialog::slotApplication);
    connectToMainWindow(this, &HXLSatSettingDialog::sigGrayParamChanged);

    m_pShowDealWithDialog = new HXL_ShowDealWithDialog(this);
    m_pShowDealWithDialog->InitUI();
    m_pShowDealWithDialog->setAttribute(Qt::WA_DeleteOnClose);
}

void HXLSatSettingDialog::setValueWidgetsEnabled(bool bEnabled)
{
    m_pSatValueCaption->setEnabled(bEnabled);
    m_pSatSlider->setEnabled(bEnabled);
    m_pSatValueLabel->setEnabled(bEnabled);
    m_pSatDefBtn->setEnabled(bEnabled);
}

void HXLSatSettingDialog::slotSatSliderValueChanged(int value)
{
    HXL_GetVisionCameraManager()->nSatValue = value;
    m_pSatValueLabel->setText(percentText(value));
}

void HXLSatSettingDialog::slotSatModeChange(int value)
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->nSatMode = value;
    setValueWidgetsEnabled(pManager->nSatMode == 2);
    emit sigAppcation();
}

void HXLSatSettingDialog::slotApplication()
{
    runApplySequence(m_pShowDealWithDialog, nullptr, [this] { emit sigGrayParamChanged(); });
}

void HXLSatSettingDialog::restoreDefaultValue()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->nSatValue = pManager->nSatValueDef;
    m_pSatSlider->setValue(pManager->nSatValue);
    emit sigAppcation();
}

void HXLSatSettingDialog::onOk()
{
    emit sigClose();
    accept();
}

void HXLSatSettingDialog::onCancel()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->nSatMode = m_nSatMode;
    pManager->nSatValue = m_nSatValue;
    emit sigAppcation();
    emit sigClose();
    // The base class directly: the override would restore a second time.
    QDialog::reject();
}

void HXLSatSettingDialog::reject()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->nSatMode = m_nSatMode;
    pManager->nSatValue = m_nSatValue;
    emit sigAppcation();
    emit sigClose();
    QDialog::reject();
}

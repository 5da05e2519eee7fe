#include "HXLGoInterfereSettingDialog.h"

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
constexpr int kTitleText = 23;
constexpr int kSwitchText = 22;
constexpr int kValueCaptionText = 43;
} // namespace

HXLGoInterfereSettingDialog::HXLGoInterfereSettingDialog(QWidget* parent) : QDialog(parent)
{
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
    initUI();
}

HXLGoInterfereSettingDialog::~HXLGoInterfereSettingDialog()
{
    delete m_pShowDealWithDialog;
    m_pShowDealWithDialog = nullptr;
}

bool HXLGoInterfereSettingDialog::eventFilter(QObject* watched, QEvent* event)
{
    return isSliderWheel(watched, event);
}

void HXLGoInterfereSettingDialog::initUI()
{
    setWindowTitle(HXL_Text(kTitleText));

    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    m_nGoInterfereValue = pManager->nGoInterfereValue;
    m_bGoInterfere = pManager->bGoInterfere;

    const SimpleDialogFrame frame = buildSimpleDialogFrame(this);
    QGridLayout* pGrid = frame.pGrid;

    // The check box is connected before it gets its state. Its slot then
    // rewrites the same flag and asks for an apply, but that request is not
    // connected yet: building never applies.
    auto* pGoInterfereCheck = new QCheckBox(HXL_Text(kSwitchText));
    pGrid->addWidget(pGoInterfereCheck, 0, 0, 1, 2);
    connect(pGoInterfereCheck, &QCheckBox::stateChanged, this, &HXLGoInterfereSettingDialog::slotGoInterfere);
    pGoInterfereCheck->setChecked(m_bGoInterfere);

    m_pGoInterfereValueCaption = createCaption(HXL_Text(kValueCaptionText));
    m_pGoInterfereValueCaption->setMinimumWidth(80);
    m_pGoInterfereSlider = createSlider(1, 100, m_nGoInterfereValue);
    m_pGoInterfereValueLabel = createReadOut(numberText(m_nGoInterfereValue));
    m_pGoInterfereDefBtn = createDefaultButton();
    pGrid->addWidget(m_pGoInterfereValueCaption, 1, 0);
    pGrid->addWidget(m_pGoInterfereSlider, 1, 1);
    pGrid->addWidget(m_pGoInterfereValueLabel, 1, 2);
    pGrid->addWidget(m_pGoInterfereDefBtn, 1, 3);

    m_pGoInterfereSlider->installEventFilter(this);

    connect(m_pGoInterfereSlider, &QSlider::valueChanged, this,
            &HXLGoInterfereSettingDialog::slotGoInterfereSliderValueChanged);
    connect(m_pGoInterfereSlider, &QSlider::sliderReleased, this, &HXLGoInterfereSettingDialog::slotApplication);
    connect(m_pGoInterfereDefBtn, &QPushButton::clicked, this, [this] { restoreDefaultValue(); });
    connect(frame.pOkBtn, &QPushButton::clicked, this, [this] { onOk(); });
    connect(frame.pCancelBtn, &QPushButton::clicked, this, [this] { onCancel(); });

    connect(this, &HXLGoInterfereSettingDialog::sigAppcation, this, &HXLGoInterfereSettingDialog::slotApplication);
    connectToMainWindow(this, &HXLGoInterfereSettingDialog::sigGrayParamChanged);

    m_pShowDealWithDialog = new HXL_ShowDealWithDialog(this);
    m_pShowDealWithDialog->InitUI();
    m_pShowDealWithDialog->setAttribute(Qt::WA_DeleteOnClose);
}

void HXLGoInterfereSettingDialog::slotGoInterfereSliderValueChanged(int value)
{
    HXL_GetVisionCameraManager()->nGoInterfereValue = value;
    m_pGoInterfereValueLabel->setText(numberText(value));
}

void HXLGoInterfereSettingDialog::slotApplication()
{
    runApplySequence(m_pShowDealWithDialog, nullptr, [this] { emit sigGrayParamChanged(); });
}

void HXLGoInterfereSettingDialog::slotGoInterfere(int value)
{
    HXL_GetVisionCameraManager()->bGoInterfere = value != 0;
    emit sigAppcation();
}

void HXLGoInterfereSettingDialog::restoreDefaultValue()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->nGoInterfereValue = pManager->nGoInterfereValueDef;
    m_pGoInterfereSlider->setValue(pManager->nGoInterfereValue);
    emit sigAppcation();
}

void HXLGoInterfereSettingDialog::onOk()
{
    emit sigClose();
    accept();
}

void HXLGoInterfereSettingDialog::onCancel()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    pManager->nGoInterfereValue = m_nGoInterfereValue;
    pManager->bGoInterfere = m_bGoInterfere;
    emit sigAppcation();
    emit sigClose();
    // The base class directly: the override would restore a second time.
    QDialog::reject();
}

void HXLGoInterfereSettingDialog::reject()
{
    // Only the strength goes back here; a switch changed in the dialog stays.
    HXL_GetVisionCameraManager()->nGoInterfereValue = m_nGoInterfereValue;
    emit sigAppcation();
    emit sigClose();
    QDialog::reject();
}

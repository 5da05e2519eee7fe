#include "HXLCameraParameterSettingDialog.h"

#include "HXL_ModuleGlobals.h"

#include "host/IZKVisionCameraManager.h"

#include <QEvent>
#include <QVBoxLayout>

HXLCameraParameterSettingDialog::HXLCameraParameterSettingDialog(QWidget* parent) : QDialog(parent)
{
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);

    auto* pLayout = new QVBoxLayout();
    setLayout(pLayout);
    m_pParamWidget = new QWidget(this);

    // Without the camera manager, as without a camera: the dialog stays empty.
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (pManager && pManager->GetCameraCount() != 0) {
        if (IZKVisionCamera* pCamera = pManager->GetCamera(pManager->GetCurCameraIndex()))
            pCamera->CreateParamWidget(m_pParamWidget);
        pLayout->addWidget(m_pParamWidget);
    }
}

bool HXLCameraParameterSettingDialog::eventFilter(QObject* watched, QEvent* event)
{
    if ((watched->inherits("QSlider") || watched->inherits("QComboBox")) && event->type() == QEvent::Wheel)
        return true;
    return QDialog::eventFilter(watched, event);
}

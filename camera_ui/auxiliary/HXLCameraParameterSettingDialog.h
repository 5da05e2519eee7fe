#pragma once

#include <QDialog>

// Modal dialog into which the host's current camera puts its own parameter
// controls (exposure, gain, ...). With no camera it stays empty.
class HXLCameraParameterSettingDialog : public QDialog
{
    Q_OBJECT
public:
    explicit HXLCameraParameterSettingDialog(QWidget* parent);

    // Eats wheel events on sliders and combo boxes it watches, so that
    // scrolling the dialog never changes a camera value by accident.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* m_pParamWidget = nullptr;
};

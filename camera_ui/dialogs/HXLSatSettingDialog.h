#pragma once

#include <QDialog>

class QLabel;
class QPushButton;
class QSlider;
class HXL_ShowDealWithDialog;

// Saturation pop-up: edits the camera manager's saturation mode and value in
// place. Same design as the brightness pop-up, without a width row.
//
// The dialog exists to edit the camera manager's record and finds the manager
// without checking for it: a host that opens it has registered the manager
// (without one the panel shows none of its controls, so none opens it).
class HXLSatSettingDialog : public QDialog
{
    Q_OBJECT
public:
    explicit HXLSatSettingDialog(QWidget* parent);
    ~HXLSatSettingDialog() override;

protected:
    // Swallows wheel turns on the slider.
    bool eventFilter(QObject* watched, QEvent* event) override;

public:
    // Esc and the close button: restore mode and value, apply, close.
    void reject() override;

signals:
    void sigAppcation();
    void sigGrayParamChanged();
    void sigClose();

public slots:
    void slotSatSliderValueChanged(int value);
    void slotSatModeChange(int value);
    void slotApplication();

private:
    void initUI();
    void setValueWidgetsEnabled(bool bEnabled);
    void restoreDefaultValue();
    void onOk();
    void onCancel();

    // What the host held when the dialog was built; Cancel writes it back.
    int m_nSatMode = 0;
    int m_nSatValue = 0;
    QLabel* m_pSatValueCaption = nullptr;
    QSlider* m_pSatSlider = nullptr;
    QLabel* m_pSatValueLabel = nullptr;
    QPushButton* m_pSatDefBtn = nullptr;
    HXL_ShowDealWithDialog* m_pShowDealWithDialog = nullptr;
};

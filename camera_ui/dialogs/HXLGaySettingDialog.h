#pragma once

#include <QDialog>

class QLabel;
class QPushButton;
class QSlider;
class HXL_ShowDealWithDialog;

// Gray pop-up: switches gray processing on and off and edits the camera
// manager's gray value and width in place. Same design as the brightness
// pop-up, with a check box where that one has its mode.
//
// The dialog exists to edit the camera manager's record and finds the manager
// without checking for it: a host that opens it has registered the manager
// (without one the panel shows none of its controls, so none opens it).
class HXLGaySettingDialog : public QDialog
{
    Q_OBJECT
public:
    explicit HXLGaySettingDialog(QWidget* parent);
    ~HXLGaySettingDialog() override;

protected:
    // Swallows wheel turns on the sliders.
    bool eventFilter(QObject* watched, QEvent* event) override;

public:
    // Esc and the close button: restore the switch, value and width, apply, close.
    void reject() override;

signals:
    void sigAppcation();
    void sigGrayParamChanged();
    void sigClose();

public slots:
    void slotGrayPro(int value);
    void slotGaySliderValueChanged(int value);
    void slotGayWSliderValueChanged(int value);
    void slotApplication();

private:
    void initUI();
    bool valueWidgetsBuilt() const;
    void setValueWidgetsEnabled(bool bEnabled);
    void restoreDefaultValue();
    void restoreDefaultWidth();
    void onOk();
    void onCancel();

    // What the host held when the dialog was built; Cancel writes it back.
    bool m_bGrayPro = false;
    int m_nGrayWidth = 0;
    int m_nGrayValue = 0;
    QLabel* m_pGayValueCaption = nullptr;
    QLabel* m_pGayWidthCaption = nullptr;
    QSlider* m_pGayWSlider = nullptr;
    QSlider* m_pGaySlider = nullptr;
    QLabel* m_pGayValueLabel = nullptr;
    QLabel* m_pGayWValueLabel = nullptr;
    QPushButton* m_pGayDefBtn = nullptr;
    QPushButton* m_pGayWDefBtn = nullptr;
    HXL_ShowDealWithDialog* m_pShowDealWithDialog = nullptr;
};

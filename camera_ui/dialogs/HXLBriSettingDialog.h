#pragma once

#include <QDialog>

class QLabel;
class QPushButton;
class QSlider;
class HXL_ShowDealWithDialog;

// Brightness pop-up: edits the camera manager's brightness mode, value and
// width in place while the live picture runs. A slider writes its field on
// every step and applies when it is released; OK keeps the values, Cancel,
// Esc and the close button put back what the dialog found when it opened.
//
// The dialog exists to edit the camera manager's record and finds the manager
// without checking for it: a host that opens it has registered the manager
// (without one the panel shows none of its controls, so none opens it).
class HXLBriSettingDialog : public QDialog
{
    Q_OBJECT
public:
    explicit HXLBriSettingDialog(QWidget* parent);
    ~HXLBriSettingDialog() override;

protected:
    // Swallows wheel turns on the sliders.
    bool eventFilter(QObject* watched, QEvent* event) override;

public:
    // Esc and the close button: restore mode, value and width, apply, close.
    void reject() override;

signals:
    void sigAppcation();
    void sigGrayParamChanged();
    void sigClose();

public slots:
    void slotBriSliderValueChanged(int value);
    void slotBriWSliderValueChanged(int value);
    void slotBriModeChange(int value);
    void slotApplication();

private:
    void initUI();
    void setValueWidgetsEnabled(bool bEnabled);
    void restoreDefaultValue();
    void restoreDefaultWidth();
    void onOk();
    void onCancel();

    // What the host held when the dialog was built; Cancel writes it back.
    int m_nBriMode = 0;
    int m_nBriWidth = 0;
    int m_nBriValue = 0;
    QLabel* m_pBriValueCaption = nullptr;
    QLabel* m_pBriWidthCaption = nullptr;
    QSlider* m_pBriWSlider = nullptr;
    QSlider* m_pBriSlider = nullptr;
    QLabel* m_pBriValueLabel = nullptr;
    QLabel* m_pBriWValueLabel = nullptr;
    QPushButton* m_pBriDefBtn = nullptr;
    QPushButton* m_pBriWDefBtn = nullptr;
    HXL_ShowDealWithDialog* m_pShowDealWithDialog = nullptr;
};

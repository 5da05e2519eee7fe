#pragma once

#include <QDialog>

class QLabel;
class QPushButton;
class QSlider;
class HXL_ShowDealWithDialog;

// De-interference pop-up: switches de-interference on and off and edits its
// strength in place. Its controls are always enabled and its read-out shows
// the bare number. Esc and the close button restore only the strength; the
// switch goes back only with the Cancel button.
//
// The dialog exists to edit the camera manager's record and finds the manager
// without checking for it: a host that opens it has registered the manager
// (without one the panel shows none of its controls, so none opens it).
class HXLGoInterfereSettingDialog : public QDialog
{
    Q_OBJECT
public:
    explicit HXLGoInterfereSettingDialog(QWidget* parent);
    ~HXLGoInterfereSettingDialog() override;

protected:
    // Swallows wheel turns on the slider.
    bool eventFilter(QObject* watched, QEvent* event) override;

public:
    // Esc and the close button: restore the strength (not the switch), apply, close.
    void reject() override;

signals:
    void sigAppcation();
    void sigGrayParamChanged();
    void sigClose();

public slots:
    void slotGoInterfereSliderValueChanged(int value);
    void slotApplication();
    void slotGoInterfere(int value);

private:
    void initUI();
    void restoreDefaultValue();
    void onOk();
    void onCancel();

    // What the host held when the dialog was built.
    int m_nGoInterfereValue = 0;
    bool m_bGoInterfere = false;
    QLabel* m_pGoInterfereValueCaption = nullptr;
    QSlider* m_pGoInterfereSlider = nullptr;
    QLabel* m_pGoInterfereValueLabel = nullptr;
    QPushButton* m_pGoInterfereDefBtn = nullptr;
    HXL_ShowDealWithDialog* m_pShowDealWithDialog = nullptr;
};

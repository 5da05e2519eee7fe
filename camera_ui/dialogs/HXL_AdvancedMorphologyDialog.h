#pragma once

#include "host/IZKVisionCameraManager.h"

#include <QDialog>

#include <vector>

class QTableWidget;
class HXL_ShowDealWithDialog;

// Editor of the host's ordered list of morphology steps. Each table row is
// one step: an operation combo box and a line size. OK and Apply write the
// whole table into the camera manager; Cancel, Esc and the close button put
// back the list as it was when the dialog was built.
class HXL_AdvancedMorphologyDialog : public QDialog
{
    Q_OBJECT
public:
    explicit HXL_AdvancedMorphologyDialog(QWidget* parent);
    ~HXL_AdvancedMorphologyDialog() override;

    // Builds the widgets, the processing notice, the backup of the host list
    // and one row per host step. The opener calls it right after construction.
    void InitUI();

protected:
    // Swallows wheel turns on sliders and on the rows' combo boxes.
    bool eventFilter(QObject* watched, QEvent* event) override;

public:
    // Esc and the close button run slotCancle.
    void reject() override;

signals:
    void sigGrayParamChanged();
    void sigAppication();
    void sigClose();

public slots:
    void slotOK();
    void slotCancle();
    void slotApplication();
    void slotDelete();
    void slotClear();
    void slotBlackAdd();
    void slotBlackDel();
    void slotWhiteAdd();
    void slotWhiteDel();
    void slotlineSizeLimit();

private:
    void addRow(int nMorphType, int nLineSize);
    void writeListToHost(IZKVisionCameraManager* pManager);

    QTableWidget* m_pTableWidget = nullptr;
    std::vector<ZKMorphologyParam> vecMorphologyBak;
    HXL_ShowDealWithDialog* m_pShowDealWithDialog = nullptr;
};

#pragma once

#include <QDialog>

class QLabel;
class QTimer;

// The frameless "processing" box that the panel and the parameter dialogs
// show while the host works: the processing text followed by a row of ">"
// marks that grows by one every 200 ms and starts again after four.
class HXL_ShowDealWithDialog : public QDialog
{
    Q_OBJECT
public:
    explicit HXL_ShowDealWithDialog(QWidget* parent);
    ~HXL_ShowDealWithDialog() override;

    // Builds the box and starts its animation, which then runs for the box's
    // whole life, shown or not.
    void InitUI();
    // Shows and hides the box.
    void StartShow();
    void StopShow();

public slots:
    void onTimeout();

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    QLabel* m_pLabel = nullptr;
    QTimer* m_pTimer = nullptr;
    int m_nTimerId = -1;
};

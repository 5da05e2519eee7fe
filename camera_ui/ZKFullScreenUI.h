#pragma once

#include "HXL_ModuleGlobals.h"

#include <QDialog>

class HXLDisplayLabel;

// The current camera's picture over the whole screen, refreshed every 200 ms
// on the GUI thread, with the red crosshair, a hint and a button to the
// camera's own parameters. Escape or a double click on the picture closes it.
class ZKFullScreenUI : public QDialog
{
    Q_OBJECT
public:
    explicit ZKFullScreenUI(QWidget* parent);
    ~ZKFullScreenUI() override;

    HXLDisplayLabel* showLabel() const { return m_pShowLabel; }
    int timerId() const { return m_nTimerId; }

public slots:
    void slotCloseUI();
    void slotParamSetting();

protected:
    void timerEvent(QTimerEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    HXLDisplayLabel* m_pShowLabel = nullptr;
    int m_nTimerId = -1;
};

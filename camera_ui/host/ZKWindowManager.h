#pragma once

#include "HXL_HostExport.h"

#include <QColor>
#include <QMainWindow>
#include <QString>
#include <QWidget>

// The host's progress box: a top-level window that the caller places, shows and hides.
class HXL_COMMONCTRL_EXPORT ZKProgressUI : public QWidget
{
    Q_OBJECT
public:
    explicit ZKProgressUI(QWidget* pParent = nullptr, Qt::WindowFlags flags = Qt::WindowFlags());
    ~ZKProgressUI() override;
    // Shows nPercent (0..100) with a caption.
    virtual void UpdateProgress(int nPercent, QString strText) = 0;
};

// The host's main window.
class HXL_COMMONCTRL_EXPORT IMainWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit IMainWindow(QWidget* pParent = nullptr);
    ~IMainWindow() override;
    virtual ZKProgressUI* GetProgressUI() = 0;

public slots:
    // The picture pre-processing parameters changed: the host redraws what depends on them.
    virtual void slotImageParamChanged();
};

// The user-interface configuration of the host.
struct UiUserConfig
{
    QColor clrBackground = QColor(53, 53, 53); // window background of the host's dialogs
    int nRowHeight = 24;                       // row height of the host's tables, in pixels
};

class HXL_COMMONCTRL_EXPORT ZKWindowManager
{
public:
    static ZKWindowManager& singleton();
    // The main window, or null before the host has made it.
    virtual IMainWindow* getMainWindow() = 0;
    virtual UiUserConfig* GetUiCfg() = 0;

protected:
    virtual ~ZKWindowManager();
};

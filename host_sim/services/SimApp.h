#pragma once

#include "HostSimExport.h"
#include "host/ZKAppService.h"
#include "host/ZKWindowManager.h"

#include <functional>

class QLabel;
class QProgressBar;

namespace hostsim {

class SimDatabase;

// The host view of the drawing. Counts refreshes and tells whoever draws the
// drawing (the demo's graphics view) to redraw; without a window it only counts.
class HXL_HOSTSIM_EXPORT SimView : public IZKView
{
public:
    void RefreshView(bool bUpdateAll) override;
    int refreshCount() const { return m_nRefreshes; }
    void setRedraw(std::function<void(bool)> fnRedraw) { m_fnRedraw = std::move(fnRedraw); }
    void setZoomToData(std::function<void()> fnZoom) { m_fnZoom = std::move(fnZoom); }
    void zoomToData();
    // Redraw without counting a host refresh (the database's display update).
    void redraw(bool bUpdateAll = true);
    void resetCounters() { m_nRefreshes = 0; }

private:
    int m_nRefreshes = 0;
    std::function<void(bool)> m_fnRedraw;
    std::function<void()> m_fnZoom;
};

class HXL_HOSTSIM_EXPORT SimDocument : public IZKDocument
{
public:
    SimDocument(SimDatabase* pDatabase, SimView* pView) : m_pDatabase(pDatabase), m_pView(pView) {}
    IZKDatabase* GetDatabase() override;
    IZKView* GetView() override;

private:
    SimDatabase* m_pDatabase;
    SimView* m_pView;
};

class HXL_HOSTSIM_EXPORT SimMainApp : public ZKGloabVisionAppBase
{
public:
    SimMainApp(SimDocument* pDocument, SimView* pView) : m_pDocument(pDocument), m_pView(pView) {}
    IZKDocument* GetDocument() override;
    int RunCommand(const std::string& strCommand) override;

private:
    SimDocument* m_pDocument;
    SimView* m_pView;
};

class HXL_HOSTSIM_EXPORT SimAppService : public ZKAppService
{
public:
    explicit SimAppService(SimMainApp* pApp) : m_pApp(pApp) {}
    ZKGloabVisionAppBase* GetMainApp() override;

private:
    SimMainApp* m_pApp;
};

// The host's progress box: a frameless window with a caption and a bar.
class HXL_HOSTSIM_EXPORT SimProgressUI : public ZKProgressUI
{
    Q_OBJECT
public:
    explicit SimProgressUI(QWidget* pParent = nullptr);
    void UpdateProgress(int nPercent, QString strText) override;
    int percent() const;
    QString text() const;

    // Journals every show and hide, also of a box that is already hidden.
    void setVisible(bool bVisible) override;

private:
    QLabel* m_pLabel;
    QProgressBar* m_pBar;
};

// The host main window: a QMainWindow with a progress box. The demo host
// derives its window from it; without one the window manager makes a hidden one.
class HXL_HOSTSIM_EXPORT SimMainWindow : public IMainWindow
{
    Q_OBJECT
public:
    explicit SimMainWindow(QWidget* pParent = nullptr);
    ~SimMainWindow() override;
    ZKProgressUI* GetProgressUI() override;
    int imageParamChangedCount() const { return m_nImageParamChanged; }

public slots:
    void slotImageParamChanged() override;

private:
    SimProgressUI* m_pProgress;
    int m_nImageParamChanged = 0;
};

} // namespace hostsim

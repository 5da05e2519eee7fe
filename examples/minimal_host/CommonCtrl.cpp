// HXL_CommonCtrl of the minimal host: the application service with one
// document (an in-memory drawing and a view), the window manager (no main
// window: the minimal host shows the panel on its own), and the Qt classes
// of the host's windows.

#include "MinimalHost.h"

#include <host/HXL_ServiceKeys.h>
#include <host/IZKDatabase.h>
#include <host/ZKAppService.h>
#include <host/ZKWindowManager.h>

#include <memory>

ZKAppService::~ZKAppService() = default;
ZKGloabVisionAppBase::~ZKGloabVisionAppBase() = default;
IZKDocument::~IZKDocument() = default;
IZKView::~IZKView() = default;
ZKWindowManager::~ZKWindowManager() = default;

ZKProgressUI::ZKProgressUI(QWidget* pParent, Qt::WindowFlags flags) : QWidget(pParent, flags) {}
ZKProgressUI::~ZKProgressUI() = default;
IMainWindow::IMainWindow(QWidget* pParent) : QMainWindow(pParent) {}
IMainWindow::~IMainWindow() = default;
void IMainWindow::slotImageParamChanged() {}

namespace {

int g_nRefreshes = 0;

class View : public IZKView
{
public:
    void RefreshView(bool) override { ++g_nRefreshes; }
};

class Document : public IZKDocument
{
public:
    IZKDatabase* GetDatabase() override { return m_pDatabase.get(); }
    IZKView* GetView() override { return &m_view; }

private:
    std::unique_ptr<IZKDatabase, void (*)(IZKDatabase*)> m_pDatabase{MinimalHost_NewDatabase(),
                                                                   &MinimalHost_DeleteDatabase};
    View m_view;
};

class App : public ZKGloabVisionAppBase
{
public:
    IZKDocument* GetDocument() override { return &m_document; }
    int RunCommand(const std::string& strCommand) override { return strCommand == "ZoomToData" ? 0 : -1; }

    Document m_document;
};

class AppService : public ZKAppService
{
public:
    ZKGloabVisionAppBase* GetMainApp() override { return &m_app; }
    App m_app;
};

class WindowManager : public ZKWindowManager
{
public:
    IMainWindow* getMainWindow() override { return nullptr; }
    UiUserConfig* GetUiCfg() override { return &m_config; }

private:
    UiUserConfig m_config;
};

AppService& appService()
{
    static AppService s_service;
    return s_service;
}

} // namespace

ZKWindowManager& ZKWindowManager::singleton()
{
    static WindowManager s_manager;
    return s_manager;
}

void MinimalHost_RegisterAppService()
{
    IServiceManager::singleton()->RegisterService(HXLServiceKey::AppService, &appService());
}

IZKDatabase* MinimalHost_Database() { return appService().m_app.m_document.GetDatabase(); }

int MinimalHost_ViewRefreshes() { return g_nRefreshes; }

// HXL_CommonCtrl: window manager, main window, progress box, application
// service, user interface configuration.

#include "HostLibraryHooks.h"

#include "host/ZKAppService.h"
#include "host/ZKWindowManager.h"

namespace hxlhostlibs {
CommonCtrlHooks& commonCtrlHooks()
{
    static CommonCtrlHooks s_hooks;
    return s_hooks;
}
} // namespace hxlhostlibs

using hxlhostlibs::commonCtrlHooks;

IZKView::~IZKView() = default;
IZKDocument::~IZKDocument() = default;
ZKGloabVisionAppBase::~ZKGloabVisionAppBase() = default;
ZKAppService::~ZKAppService() = default;
ZKWindowManager::~ZKWindowManager() = default;

namespace {
// A host without windows yet: no main window, the default configuration.
class NoWindowManager : public ZKWindowManager
{
public:
    IMainWindow* getMainWindow() override { return nullptr; }
    UiUserConfig* GetUiCfg() override { return &m_config; }

private:
    UiUserConfig m_config;
};
} // namespace

ZKWindowManager& ZKWindowManager::singleton()
{
    if (commonCtrlHooks().windowManager)
        if (ZKWindowManager* pManager = commonCtrlHooks().windowManager())
            return *pManager;
    static NoWindowManager s_manager;
    return s_manager;
}

ZKProgressUI::ZKProgressUI(QWidget* pParent, Qt::WindowFlags flags) : QWidget(pParent, flags) {}
ZKProgressUI::~ZKProgressUI() = default;

IMainWindow::IMainWindow(QWidget* pParent) : QMainWindow(pParent) {}
IMainWindow::~IMainWindow() = default;

void IMainWindow::slotImageParamChanged()
{
    if (commonCtrlHooks().imageParamChanged)
        commonCtrlHooks().imageParamChanged();
}

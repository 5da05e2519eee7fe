#pragma once

#include "HXL_HostExport.h"
#include "IServiceManager.h"

#include <string>

class IZKDatabase;

// A view of the drawing.
class HXL_COMMONCTRL_EXPORT IZKView
{
public:
    // Redraw the drawing; bUpdateAll also rebuilds what the view caches.
    virtual void RefreshView(bool bUpdateAll) = 0;

protected:
    virtual ~IZKView();
};

// The open drawing: its database and its view.
class HXL_COMMONCTRL_EXPORT IZKDocument
{
public:
    virtual IZKDatabase* GetDatabase() = 0;
    virtual IZKView* GetView() = 0;

protected:
    virtual ~IZKDocument();
};

// The host's main application object.
class HXL_COMMONCTRL_EXPORT ZKGloabVisionAppBase
{
public:
    virtual IZKDocument* GetDocument() = 0;
    // Runs a host command by name, e.g. "ZoomToData" (fit the view to the
    // drawing). 0 when the command ran, negative for an unknown command.
    virtual int RunCommand(const std::string& strCommand) = 0;

protected:
    virtual ~ZKGloabVisionAppBase();
};

// Application service (registry key HXLServiceKey::AppService).
class HXL_COMMONCTRL_EXPORT ZKAppService : public IService
{
public:
    virtual ZKGloabVisionAppBase* GetMainApp() = 0;
    // Out of line in the host library: the type information that the
    // registry lookup casts to lives there, once.
    ~ZKAppService() override;
};

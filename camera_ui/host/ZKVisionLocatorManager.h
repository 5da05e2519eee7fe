#pragma once

#include "HXL_HostExport.h"
#include "IServiceManager.h"

#include <string>

class IZKDatabase;

// Caches of the vision locator's search results.
class HXL_VISIONBASE_EXPORT ZKVisionDataPoolManager
{
public:
    virtual void ClearCache() = 0;
    virtual void ClearOverlapCache() = 0;
    virtual void ClearOneOverlapCache() = 0;

protected:
    virtual ~ZKVisionDataPoolManager();
};

// Vision locator (registry key HXLServiceKey::VisionLocatorManager).
class HXL_VISIONBASE_EXPORT ZKVisionLocatorManager : public IService
{
public:
    virtual ZKVisionDataPoolManager* GetDataPoolMgr() = 0;
    // Registers the picture file strName (local 8-bit path) as search data of the drawing.
    virtual void AddSearchDataToMap(std::string strName, IZKDatabase* pDatabase) = 0;
    // Out of line in the host library: the type information that the
    // registry lookup casts to lives there, once.
    ~ZKVisionLocatorManager() override;
};

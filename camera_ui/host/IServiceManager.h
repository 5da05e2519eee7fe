#pragma once

#include "HXL_HostExport.h"

#include <map>

// Base of every service the host publishes in its registry. Services are
// reached through the registry and cast with dynamic_cast, so the base is
// polymorphic and its type information lives in the host library.
class HXL_CADBASE_EXPORT IService
{
public:
    virtual ~IService();
};

// The host's service registry: one per process.
//
// The ordered map is the first data member on purpose: clients search it
// directly with lower_bound and take the entry only when its key matches.
class HXL_CADBASE_EXPORT IServiceManager
{
public:
    std::map<int, IService*> m_mapService;

    static IServiceManager* singleton();

    // Host side: publish a service under a key (replacing any previous one,
    // which is returned and stays owned by whoever created it).
    IService* RegisterService(int nKey, IService* pService);
    // Host side: withdraw the service under a key; returns it, or null.
    IService* UnregisterService(int nKey);

private:
    IServiceManager() = default;
    IServiceManager(const IServiceManager&) = delete;
    IServiceManager& operator=(const IServiceManager&) = delete;
};

#pragma once

#include "HostSimExport.h"
#include "host/IZKEventManger.h"

#include <QMutex>

#include <map>
#include <vector>

namespace hostsim {

class HXL_HOSTSIM_EXPORT SimEventManager : public IZKEventManger
{
public:
    void AddListener(int nChannel, IZKEventListener* pListener) override;
    void RemoveListener(int nChannel, IZKEventListener* pListener) override;
    void FireEvent(int nChannel, int nEventId, void* pParam) override;

    // Facade.
    void clear();
    // Drops a listener from every channel (a host does this before it frees one).
    void removeListenerEverywhere(IZKEventListener* pListener);
    int listenerCount(int nChannel) const;
    std::vector<int> channelsOf(IZKEventListener* pListener) const;

private:
    mutable QMutex m_mutex;
    std::map<int, std::vector<IZKEventListener*>> m_listeners;
};

HXL_HOSTSIM_EXPORT SimEventManager& eventManager();

} // namespace hostsim

#include "services/SimEvents.h"

#include "HostJournal.h"
#include "HostSim.h"

#include <QMutexLocker>

#include <algorithm>

namespace hostsim {

SimEventManager& eventManager()
{
    static SimEventManager s_manager;
    return s_manager;
}

void SimEventManager::AddListener(int nChannel, IZKEventListener* pListener)
{
    HostSim::journal().append(QStringLiteral("IZKEventManger::AddListener(%1)").arg(nChannel));
    if (!pListener)
        return;
    QMutexLocker lock(&m_mutex);
    auto& listeners = m_listeners[nChannel];
    if (std::find(listeners.begin(), listeners.end(), pListener) == listeners.end())
        listeners.push_back(pListener);
}

void SimEventManager::RemoveListener(int nChannel, IZKEventListener* pListener)
{
    HostSim::journal().append(QStringLiteral("IZKEventManger::RemoveListener(%1)").arg(nChannel));
    QMutexLocker lock(&m_mutex);
    auto& listeners = m_listeners[nChannel];
    listeners.erase(std::remove(listeners.begin(), listeners.end(), pListener), listeners.end());
}

void SimEventManager::FireEvent(int nChannel, int nEventId, void* pParam)
{
    auto* pInt = static_cast<int*>(pParam);
    HostSim::journal().append(QStringLiteral("IZKEventManger::FireEvent(%1, %2, %3)")
                                  .arg(nChannel)
                                  .arg(nEventId)
                                  .arg(pInt ? QString::number(*pInt) : QStringLiteral("null")));
    std::vector<IZKEventListener*> listeners;
    {
        QMutexLocker lock(&m_mutex);
        auto it = m_listeners.find(nChannel);
        if (it == m_listeners.end())
            return;
        listeners = it->second; // a listener may add or remove listeners while it runs
    }
    for (IZKEventListener* pListener : listeners)
        pListener->OnEvent(nEventId, pInt);
}

void SimEventManager::clear()
{
    QMutexLocker lock(&m_mutex);
    m_listeners.clear();
}

void SimEventManager::removeListenerEverywhere(IZKEventListener* pListener)
{
    QMutexLocker lock(&m_mutex);
    for (auto& channel : m_listeners)
        channel.second.erase(std::remove(channel.second.begin(), channel.second.end(), pListener),
                             channel.second.end());
}

int SimEventManager::listenerCount(int nChannel) const
{
    QMutexLocker lock(&m_mutex);
    auto it = m_listeners.find(nChannel);
    return it == m_listeners.end() ? 0 : static_cast<int>(it->second.size());
}

std::vector<int> SimEventManager::channelsOf(IZKEventListener* pListener) const
{
    QMutexLocker lock(&m_mutex);
    std::vector<int> channels;
    for (const auto& channel : m_listeners)
        if (std::find(channel.second.begin(), channel.second.end(), pListener) != channel.second.end())
            channels.push_back(channel.first);
    return channels;
}

} // namespace hostsim

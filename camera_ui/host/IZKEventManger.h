#pragma once

#include "HXL_HostExport.h"

// Receives host events on the channels it was added to. Events are delivered
// on the thread that fires them (the GUI thread for every event of the panel).
class HXL_CADBASE_EXPORT IZKEventListener
{
public:
    virtual ~IZKEventListener();
    // pParam is the event's parameter as the firer passed it (may be null).
    // The default does nothing.
    virtual void OnEvent(int nEventId, int* pParam);
};

// The host's event hub: listeners per channel, called in the order they were added.
class HXL_CADBASE_EXPORT IZKEventManger
{
public:
    static IZKEventManger* singleton();

    // Adding a listener twice to one channel is ignored.
    virtual void AddListener(int nChannel, IZKEventListener* pListener) = 0;
    virtual void RemoveListener(int nChannel, IZKEventListener* pListener) = 0;
    // Calls OnEvent(nEventId, pParam) of every listener of the channel, synchronously.
    virtual void FireEvent(int nChannel, int nEventId, void* pParam) = 0;

protected:
    virtual ~IZKEventManger();
};

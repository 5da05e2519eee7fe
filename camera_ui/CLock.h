#pragma once

#include "HXL_ModuleGlobals.h"

#ifdef Q_OS_WIN
#  ifndef NOMINMAX
#    define NOMINMAX
#  endif
#  include <windows.h>
#else
#  include <QRecursiveMutex>
#endif

// A small recursive lock: a Windows critical section, or a recursive mutex
// where there is none. Users enter and leave it directly.
class CLock
{
public:
    CLock();
    virtual ~CLock();

    void Enter();
    void Leave();

#ifdef Q_OS_WIN
    CRITICAL_SECTION m_cs;
#else
    QRecursiveMutex m_cs;
#endif

private:
    CLock(const CLock&) = delete;
    CLock& operator=(const CLock&) = delete;
};

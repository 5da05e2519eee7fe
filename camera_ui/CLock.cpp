#include "CLock.h"
#include "HXL_TsanAnnotations.h"

#ifdef Q_OS_WIN

CLock::CLock()
{
    InitializeCriticalSection(&m_cs);
}

CLock::~CLock()
{
    DeleteCriticalSection(&m_cs);
}

void CLock::Enter()
{
    EnterCriticalSection(&m_cs);
}

void CLock::Leave()
{
    LeaveCriticalSection(&m_cs);
}

#else


CLock::CLock() = default;
CLock::~CLock() = default;

void CLock::Enter()
{
    m_cs.lock();
    HXL_TSAN_ACQUIRE(this);
}

void CLock::Leave()
{
    HXL_TSAN_RELEASE(this);
    m_cs.unlock();
}

#endif

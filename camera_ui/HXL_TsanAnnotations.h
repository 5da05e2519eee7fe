#pragma once

// ThreadSanitizer cannot see inside the uninstrumented QMutex of the system's
// Qt. In TSan builds the module's own locks tell it their acquire and release
// points explicitly, so that what they order is not reported as a race; in
// every other build these are nothing.
#if defined(__SANITIZE_THREAD__)
extern "C" void __tsan_acquire(void* pAddress);
extern "C" void __tsan_release(void* pAddress);
#define HXL_TSAN_ACQUIRE(p) __tsan_acquire(p)
#define HXL_TSAN_RELEASE(p) __tsan_release(p)
#else
#define HXL_TSAN_ACQUIRE(p) ((void)0)
#define HXL_TSAN_RELEASE(p) ((void)0)
#endif

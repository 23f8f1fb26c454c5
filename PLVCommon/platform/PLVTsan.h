#pragma once
// Happens-before edges for ThreadSanitizer across hand-offs it cannot see:
// Qt's thread pool and event queue synchronise in uninstrumented code. Empty
// unless built with -fsanitize=thread.
#if defined(__SANITIZE_THREAD__)
extern "C" void __tsan_acquire(void *addr);
extern "C" void __tsan_release(void *addr);
inline void plvTsanRelease(const void *addr) { __tsan_release(const_cast<void *>(addr)); }
inline void plvTsanAcquire(const void *addr) { __tsan_acquire(const_cast<void *>(addr)); }
#else
inline void plvTsanRelease(const void *) {}
inline void plvTsanAcquire(const void *) {}
#endif

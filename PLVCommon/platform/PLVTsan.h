#pragma once
// Work handed to another thread through Qt (thread pools, queued calls) is
// synchronised inside Qt, which ThreadSanitizer cannot see unless Qt itself was
// built with it. Bracketing the hand-off with a release before it and an
// acquire first thing on the receiving thread makes the work's captures count
// as published, so that only races of our own are reported.
#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
inline void plvTsanRelease(const void *tag) { __tsan_release(const_cast<void *>(tag)); }
inline void plvTsanAcquire(const void *tag) { __tsan_acquire(const_cast<void *>(tag)); }
#else
inline void plvTsanRelease(const void *) {}
inline void plvTsanAcquire(const void *) {}
#endif

// Clang's thread-safety annotations (https://clang.llvm.org/docs/ThreadSafetyAnalysis.html) under short names.
#pragma once

#if defined(__clang__)
#define QZ_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define QZ_THREAD_ATTRIBUTE(x)
#endif

#define CAPABILITY(x) QZ_THREAD_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY QZ_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) QZ_THREAD_ATTRIBUTE(guarded_by(x))
#define PT_GUARDED_BY(x) QZ_THREAD_ATTRIBUTE(pt_guarded_by(x))
#define ACQUIRED_BEFORE(...) QZ_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) QZ_THREAD_ATTRIBUTE(acquired_after(__VA_ARGS__))
#define REQUIRES(...) QZ_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define REQUIRES_SHARED(...) QZ_THREAD_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define ACQUIRE(...) QZ_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define ACQUIRE_SHARED(...) QZ_THREAD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define RELEASE(...) QZ_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) QZ_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define EXCLUDES(...) QZ_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define RETURN_CAPABILITY(x) QZ_THREAD_ATTRIBUTE(lock_returned(x))
#define NO_THREAD_SAFETY_ANALYSIS QZ_THREAD_ATTRIBUTE(no_thread_safety_analysis)

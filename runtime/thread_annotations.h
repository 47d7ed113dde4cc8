#pragma once

// What clang's thread-safety analysis is told; nothing for other compilers. The analysis is on in
// the clang builds.

#if defined(__clang__)
#define CORVID_THREAD_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define CORVID_THREAD_ATTRIBUTE(attribute)
#endif

#define CORVID_CAPABILITY(name) CORVID_THREAD_ATTRIBUTE(capability(name))
#define CORVID_SCOPED_CAPABILITY CORVID_THREAD_ATTRIBUTE(scoped_lockable)
#define CORVID_GUARDED_BY(mutex) CORVID_THREAD_ATTRIBUTE(guarded_by(mutex))
#define CORVID_REQUIRES(mutex) CORVID_THREAD_ATTRIBUTE(requires_capability(mutex))
#define CORVID_ACQUIRE(...) CORVID_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define CORVID_RELEASE(...) CORVID_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define CORVID_NO_THREAD_ANALYSIS CORVID_THREAD_ATTRIBUTE(no_thread_safety_analysis)

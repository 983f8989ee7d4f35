#pragma once

// Clang's thread-safety attributes: which lock guards a member, which lock an
// operation needs or must not hold. Checked by -Wthread-safety; other compilers
// see nothing.

#if defined(__clang__)
#define VEX_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define VEX_THREAD_ATTRIBUTE(x)
#endif

#define VEX_CAPABILITY(x) VEX_THREAD_ATTRIBUTE(capability(x))
#define VEX_SCOPED_CAPABILITY VEX_THREAD_ATTRIBUTE(scoped_lockable)
#define VEX_GUARDED_BY(x) VEX_THREAD_ATTRIBUTE(guarded_by(x))
#define VEX_PT_GUARDED_BY(x) VEX_THREAD_ATTRIBUTE(pt_guarded_by(x))
#define VEX_REQUIRES(...) VEX_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define VEX_EXCLUDES(...) VEX_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define VEX_ACQUIRE(...) VEX_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define VEX_TRY_ACQUIRE(...) VEX_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define VEX_RELEASE(...) VEX_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define VEX_NO_THREAD_SAFETY_ANALYSIS VEX_THREAD_ATTRIBUTE(no_thread_safety_analysis)

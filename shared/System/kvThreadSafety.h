// kvThreadSafety.h - which lock guards what, for clang's -Wthread-safety to check; empty for other compilers.
#pragma once

#ifdef __clang__
#define KV_THREAD_ANNOTATION(attribute) __attribute__((attribute))
#else
#define KV_THREAD_ANNOTATION(attribute)
#endif

// On a class: it is a lock; it holds a lock from construction to destruction.
#define KV_CAPABILITY(name) KV_THREAD_ANNOTATION(capability(name))
#define KV_SCOPED_CAPABILITY KV_THREAD_ANNOTATION(scoped_lockable)

// On a member: touched only with the lock held; a pointer whose target is.
#define KV_GUARDED_BY(lock) KV_THREAD_ANNOTATION(guarded_by(lock))
#define KV_PT_GUARDED_BY(lock) KV_THREAD_ANNOTATION(pt_guarded_by(lock))

// On a function: the caller must hold the lock; must not hold it; the function takes it, releases it, or
// takes it when it returns the value given first.
#define KV_REQUIRES(...) KV_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define KV_EXCLUDES(...) KV_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define KV_ACQUIRE(...) KV_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define KV_RELEASE(...) KV_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define KV_TRY_ACQUIRE(...) KV_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))

// On a function: from its return on the lock is held, by what its comment says; it returns the lock.
#define KV_ASSERT_CAPABILITY(lock) KV_THREAD_ANNOTATION(assert_capability(lock))
#define KV_RETURN_CAPABILITY(lock) KV_THREAD_ANNOTATION(lock_returned(lock))

// On a function whose locking the analysis cannot follow; say why beside it.
#define KV_NO_THREAD_SAFETY_ANALYSIS KV_THREAD_ANNOTATION(no_thread_safety_analysis)

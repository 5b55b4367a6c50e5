// The counting interposer behind rtcheck.h.
//
// Heap calls: in a plain build the library defines malloc and friends and
// forwards to glibc's __libc_* entry points, so no dlsym is needed on the
// allocation path. Under AddressSanitizer (or ThreadSanitizer) the sanitizer owns malloc (its
// runtime comes first in the search order), so the library registers the
// sanitizer's allocation hooks instead.
//
// Locks and system calls are interposed by name and forwarded to the next
// definition (dlsym(RTLD_NEXT)), resolved once when the library loads. A
// mutex is tried first: only an acquisition that would block is counted.
#include "rtcheck.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdarg>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <sched.h>
#include <sys/types.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define RTCHECK_SANITIZER_HOOKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define RTCHECK_SANITIZER_HOOKS 1
#endif
#endif

#ifdef RTCHECK_SANITIZER_HOOKS
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void*, size_t),
                                                         void (*)(const volatile void*));
#endif

#define RTCHECK_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// Initial-exec TLS: reading it never allocates, even from inside malloc.
__thread int t_depth __attribute__((tls_model("initial-exec"))) = 0;

std::atomic<unsigned long long> g_allocs{0};
std::atomic<unsigned long long> g_frees{0};
std::atomic<unsigned long long> g_lockWaits{0};
std::atomic<unsigned long long> g_syscalls{0};
std::atomic<unsigned long long> g_locks{0};

inline bool Counting() { return t_depth > 0; }
inline void Count(std::atomic<unsigned long long>& c)
{
    if (Counting())
        c.fetch_add(1, std::memory_order_relaxed);
}

template <typename Fn>
Fn Next(const char* name)
{
    return reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
}

using MutexFn = int (*)(pthread_mutex_t*);
using RwFn = int (*)(pthread_rwlock_t*);
using CondWaitFn = int (*)(pthread_cond_t*, pthread_mutex_t*);
using CondTimedFn = int (*)(pthread_cond_t*, pthread_mutex_t*, const struct timespec*);
using CondClockFn = int (*)(pthread_cond_t*, pthread_mutex_t*, clockid_t, const struct timespec*);
using SemFn = int (*)(sem_t*);
using SemTimedFn = int (*)(sem_t*, const struct timespec*);
using ReadFn = ssize_t (*)(int, void*, size_t);
using WriteFn = ssize_t (*)(int, const void*, size_t);
using OpenFn = int (*)(const char*, int, ...);
using OpenAtFn = int (*)(int, const char*, int, ...);
using CloseFn = int (*)(int);
using NanosleepFn = int (*)(const struct timespec*, struct timespec*);
using ClockNanosleepFn = int (*)(clockid_t, int, const struct timespec*, struct timespec*);
using UsleepFn = int (*)(useconds_t);
using YieldFn = int (*)();

struct Real {
    MutexFn mutexLock = nullptr, mutexTrylock = nullptr;
    RwFn rdlock = nullptr, tryrdlock = nullptr, wrlock = nullptr, trywrlock = nullptr;
    CondWaitFn condWait = nullptr;
    CondTimedFn condTimedwait = nullptr;
    CondClockFn condClockwait = nullptr;
    SemFn semWait = nullptr;
    SemTimedFn semTimedwait = nullptr;
    ReadFn read = nullptr;
    WriteFn write = nullptr;
    OpenFn open = nullptr;
    OpenAtFn openat = nullptr;
    CloseFn close = nullptr;
    NanosleepFn nanosleep = nullptr;
    ClockNanosleepFn clockNanosleep = nullptr;
    UsleepFn usleep = nullptr;
    YieldFn yield = nullptr;
};
Real g_real;

// Resolves lazily as well, for calls that arrive before the constructor.
template <typename Fn>
Fn Resolve(Fn& slot, const char* name)
{
    if (!slot)
        slot = Next<Fn>(name);
    return slot;
}

#ifdef RTCHECK_SANITIZER_HOOKS
void MallocHook(const volatile void*, size_t) { Count(g_allocs); }
void FreeHook(const volatile void* p)
{
    if (p)
        Count(g_frees);
}
#endif

__attribute__((constructor)) void Init()
{
    Resolve(g_real.mutexLock, "pthread_mutex_lock");
    Resolve(g_real.mutexTrylock, "pthread_mutex_trylock");
    Resolve(g_real.rdlock, "pthread_rwlock_rdlock");
    Resolve(g_real.tryrdlock, "pthread_rwlock_tryrdlock");
    Resolve(g_real.wrlock, "pthread_rwlock_wrlock");
    Resolve(g_real.trywrlock, "pthread_rwlock_trywrlock");
    Resolve(g_real.condWait, "pthread_cond_wait");
    Resolve(g_real.condTimedwait, "pthread_cond_timedwait");
    Resolve(g_real.condClockwait, "pthread_cond_clockwait");
    Resolve(g_real.semWait, "sem_wait");
    Resolve(g_real.semTimedwait, "sem_timedwait");
    Resolve(g_real.read, "read");
    Resolve(g_real.write, "write");
    Resolve(g_real.open, "open");
    Resolve(g_real.openat, "openat");
    Resolve(g_real.close, "close");
    Resolve(g_real.nanosleep, "nanosleep");
    Resolve(g_real.clockNanosleep, "clock_nanosleep");
    Resolve(g_real.usleep, "usleep");
    Resolve(g_real.yield, "sched_yield");
#ifdef RTCHECK_SANITIZER_HOOKS
    __sanitizer_install_malloc_and_free_hooks(MallocHook, FreeHook);
#endif
}

}  // namespace

// ---- the API ---------------------------------------------------------------
RTCHECK_EXPORT void rtcheck_begin(void) { ++t_depth; }
RTCHECK_EXPORT void rtcheck_end(void)
{
    if (t_depth > 0)
        --t_depth;
}
RTCHECK_EXPORT void rtcheck_read(struct rtcheck_counts* out)
{
    if (!out)
        return;
    out->allocs = g_allocs.load(std::memory_order_relaxed);
    out->frees = g_frees.load(std::memory_order_relaxed);
    out->lock_waits = g_lockWaits.load(std::memory_order_relaxed);
    out->syscalls = g_syscalls.load(std::memory_order_relaxed);
    out->locks = g_locks.load(std::memory_order_relaxed);
}
RTCHECK_EXPORT void rtcheck_reset(void)
{
    g_allocs.store(0, std::memory_order_relaxed);
    g_frees.store(0, std::memory_order_relaxed);
    g_lockWaits.store(0, std::memory_order_relaxed);
    g_syscalls.store(0, std::memory_order_relaxed);
    g_locks.store(0, std::memory_order_relaxed);
}

// ---- the heap --------------------------------------------------------------
#ifndef RTCHECK_SANITIZER_HOOKS
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);
void __libc_free(void*);
}

RTCHECK_EXPORT void* malloc(size_t n)
{
    Count(g_allocs);
    return __libc_malloc(n);
}
RTCHECK_EXPORT void* calloc(size_t n, size_t size)
{
    Count(g_allocs);
    return __libc_calloc(n, size);
}
RTCHECK_EXPORT void* realloc(void* p, size_t n)
{
    Count(g_allocs);
    return __libc_realloc(p, n);
}
RTCHECK_EXPORT void free(void* p)
{
    if (p)
        Count(g_frees);
    __libc_free(p);
}
RTCHECK_EXPORT void* memalign(size_t align, size_t n)
{
    Count(g_allocs);
    return __libc_memalign(align, n);
}
RTCHECK_EXPORT void* aligned_alloc(size_t align, size_t n)
{
    Count(g_allocs);
    return __libc_memalign(align, n);
}
RTCHECK_EXPORT int posix_memalign(void** out, size_t align, size_t n)
{
    Count(g_allocs);
    if (align < sizeof(void*) || (align & (align - 1)) != 0)
        return EINVAL;
    void* p = __libc_memalign(align, n);
    if (!p)
        return ENOMEM;
    *out = p;
    return 0;
}
#endif

// ---- locks and waits -------------------------------------------------------
namespace {
// Every acquisition counts as a lock; tried first while counting, so an
// acquisition that would block also counts as a wait.
template <typename Lock, typename Fn>
int Acquire(Lock* l, Fn& trySlot, const char* tryName, Fn& lockSlot, const char* lockName)
{
    if (Counting()) {
        Count(g_locks);
        const int r = Resolve(trySlot, tryName)(l);
        if (r != EBUSY)
            return r;
        Count(g_lockWaits);
    }
    return Resolve(lockSlot, lockName)(l);
}

template <typename Lock, typename Fn>
int TryAcquire(Lock* l, Fn& trySlot, const char* tryName)
{
    const int r = Resolve(trySlot, tryName)(l);
    if (r == 0)
        Count(g_locks);
    return r;
}
}  // namespace

RTCHECK_EXPORT int pthread_mutex_trylock(pthread_mutex_t* m)
{
    return TryAcquire(m, g_real.mutexTrylock, "pthread_mutex_trylock");
}
RTCHECK_EXPORT int pthread_rwlock_tryrdlock(pthread_rwlock_t* l)
{
    return TryAcquire(l, g_real.tryrdlock, "pthread_rwlock_tryrdlock");
}
RTCHECK_EXPORT int pthread_rwlock_trywrlock(pthread_rwlock_t* l)
{
    return TryAcquire(l, g_real.trywrlock, "pthread_rwlock_trywrlock");
}

RTCHECK_EXPORT int pthread_mutex_lock(pthread_mutex_t* m)
{
    return Acquire(m, g_real.mutexTrylock, "pthread_mutex_trylock", g_real.mutexLock, "pthread_mutex_lock");
}
RTCHECK_EXPORT int pthread_rwlock_rdlock(pthread_rwlock_t* l)
{
    return Acquire(l, g_real.tryrdlock, "pthread_rwlock_tryrdlock", g_real.rdlock, "pthread_rwlock_rdlock");
}
RTCHECK_EXPORT int pthread_rwlock_wrlock(pthread_rwlock_t* l)
{
    return Acquire(l, g_real.trywrlock, "pthread_rwlock_trywrlock", g_real.wrlock, "pthread_rwlock_wrlock");
}
RTCHECK_EXPORT int pthread_cond_wait(pthread_cond_t* c, pthread_mutex_t* m)
{
    Count(g_lockWaits);
    return Resolve(g_real.condWait, "pthread_cond_wait")(c, m);
}
RTCHECK_EXPORT int pthread_cond_timedwait(pthread_cond_t* c, pthread_mutex_t* m, const struct timespec* t)
{
    Count(g_lockWaits);
    return Resolve(g_real.condTimedwait, "pthread_cond_timedwait")(c, m, t);
}
RTCHECK_EXPORT int pthread_cond_clockwait(pthread_cond_t* c, pthread_mutex_t* m, clockid_t clk,
                                          const struct timespec* t)
{
    Count(g_lockWaits);
    return Resolve(g_real.condClockwait, "pthread_cond_clockwait")(c, m, clk, t);
}
RTCHECK_EXPORT int sem_wait(sem_t* s)
{
    Count(g_lockWaits);
    return Resolve(g_real.semWait, "sem_wait")(s);
}
RTCHECK_EXPORT int sem_timedwait(sem_t* s, const struct timespec* t)
{
    Count(g_lockWaits);
    return Resolve(g_real.semTimedwait, "sem_timedwait")(s, t);
}

// ---- system calls ----------------------------------------------------------
RTCHECK_EXPORT ssize_t read(int fd, void* buf, size_t n)
{
    Count(g_syscalls);
    return Resolve(g_real.read, "read")(fd, buf, n);
}
RTCHECK_EXPORT ssize_t write(int fd, const void* buf, size_t n)
{
    Count(g_syscalls);
    return Resolve(g_real.write, "write")(fd, buf, n);
}
// open and openat carry a mode argument only when they may create a file.
#define RTCHECK_CREATION_MODE(flags, mode)                 \
    if ((flags) & (O_CREAT | O_TMPFILE)) {                 \
        va_list ap;                                        \
        va_start(ap, flags);                               \
        (mode) = static_cast<mode_t>(va_arg(ap, int));     \
        va_end(ap);                                        \
    }

RTCHECK_EXPORT int open(const char* path, int flags, ...)
{
    Count(g_syscalls);
    mode_t mode = 0;
    RTCHECK_CREATION_MODE(flags, mode);
    return Resolve(g_real.open, "open")(path, flags, mode);
}
RTCHECK_EXPORT int openat(int dir, const char* path, int flags, ...)
{
    Count(g_syscalls);
    mode_t mode = 0;
    RTCHECK_CREATION_MODE(flags, mode);
    return Resolve(g_real.openat, "openat")(dir, path, flags, mode);
}
RTCHECK_EXPORT int close(int fd)
{
    Count(g_syscalls);
    return Resolve(g_real.close, "close")(fd);
}
RTCHECK_EXPORT int nanosleep(const struct timespec* req, struct timespec* rem)
{
    Count(g_syscalls);
    return Resolve(g_real.nanosleep, "nanosleep")(req, rem);
}
RTCHECK_EXPORT int clock_nanosleep(clockid_t clk, int flags, const struct timespec* req, struct timespec* rem)
{
    Count(g_syscalls);
    return Resolve(g_real.clockNanosleep, "clock_nanosleep")(clk, flags, req, rem);
}
RTCHECK_EXPORT int usleep(useconds_t us)
{
    Count(g_syscalls);
    return Resolve(g_real.usleep, "usleep")(us);
}
RTCHECK_EXPORT int sched_yield(void)
{
    Count(g_syscalls);
    return Resolve(g_real.yield, "sched_yield")();
}

#pragma once
// graphiceq_rtcheck: counts what a real-time thread must never do.
//
// Load the library (LD_PRELOAD, or link it into a test executable) and
// bracket the code under test with rtcheck_begin()/rtcheck_end() on the
// thread that runs it. Between the two, that thread's calls to the heap
// (malloc, calloc, realloc, free and the aligned forms; operator new and
// delete go through them), contended mutex and read-write lock acquisitions,
// condition and semaphore waits, and a set of blocking system calls (file
// I/O, sleeps, yields) are counted. Other threads are never counted.
//
// A program that does not know whether the library is loaded looks the
// functions up with dlsym(RTLD_DEFAULT, "rtcheck_begin") and does nothing
// when they are absent.
#ifdef __cplusplus
extern "C" {
#endif

struct rtcheck_counts {
    unsigned long long allocs;      // malloc, calloc, realloc, memalign and friends
    unsigned long long frees;       // free (of a non-null pointer)
    unsigned long long lock_waits;  // a lock that was held by someone else, or a wait
    unsigned long long syscalls;    // read, write, open, close, sleeps, yields
    unsigned long long locks;       // every mutex or read-write lock taken, held by someone or not
};

void rtcheck_begin(void);
void rtcheck_end(void);
void rtcheck_read(struct rtcheck_counts* out);
void rtcheck_reset(void);

#ifdef __cplusplus
}
#endif

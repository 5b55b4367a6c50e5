#pragma once
// The one lock type of the system: a recursive POSIX mutex behind the MFC
// interface. The equalizer engine and every filter section own one.
#include <pthread.h>

class CCriticalSection {
public:
    CCriticalSection();
    ~CCriticalSection();
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

    bool Lock();
    // The timeout is accepted for source compatibility and ignored: the call
    // waits as long as Lock() does and never fails for lack of time.
    bool Lock(unsigned timeout);
    bool Unlock();
    // True when another thread holds the lock right now. Takes and releases
    // the lock if it is free, so the caller never ends up owning it.
    bool IsLocked();

private:
    pthread_mutexattr_t m_attr;
    pthread_mutex_t m_mutex;
};

// Scoped holder, so early returns can never leave a lock taken.
class CSingleLock {
public:
    explicit CSingleLock(CCriticalSection& cs) : m_cs(cs) { m_cs.Lock(); }
    ~CSingleLock() { m_cs.Unlock(); }
    CSingleLock(const CSingleLock&) = delete;
    CSingleLock& operator=(const CSingleLock&) = delete;

private:
    CCriticalSection& m_cs;
};

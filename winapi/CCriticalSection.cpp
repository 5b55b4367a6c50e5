#include "CCriticalSection.h"

CCriticalSection::CCriticalSection()
{
    pthread_mutexattr_init(&m_attr);
    pthread_mutexattr_settype(&m_attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m_mutex, &m_attr);
}

CCriticalSection::~CCriticalSection()
{
    pthread_mutex_destroy(&m_mutex);
    pthread_mutexattr_destroy(&m_attr);
}

bool CCriticalSection::Lock()
{
    pthread_mutex_lock(&m_mutex);
    return true;
}

bool CCriticalSection::Lock(unsigned /*timeout*/)
{
    return Lock();
}

bool CCriticalSection::Unlock()
{
    pthread_mutex_unlock(&m_mutex);
    return true;
}

bool CCriticalSection::IsLocked()
{
    if (pthread_mutex_trylock(&m_mutex) != 0)
        return true;
    pthread_mutex_unlock(&m_mutex);
    return false;
}

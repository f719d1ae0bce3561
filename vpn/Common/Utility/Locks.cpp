#include "vpn/Common/Utility/Locks.h"

CManualLock::CManualLock(unsigned long /*ignored*/)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m_mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

CManualLock::~CManualLock()
{
    while (Unlock() != 0) {
    }
    pthread_mutex_destroy(&m_mutex);
}

void CManualLock::Lock()
{
    pthread_mutex_lock(&m_mutex);
    ++m_holds;
}

bool CManualLock::TryLock()
{
    if (pthread_mutex_trylock(&m_mutex) != 0) {
        return false;
    }
    ++m_holds;
    return true;
}

std::uint64_t CManualLock::Unlock()
{
    // Counted before the mutex is given back, as the next holder may be at work as soon as it is, and in one step: of
    // two threads that give back the last hold, only one may find it.
    std::uint64_t held = m_holds;
    do {
        if (held == 0) {
            return 0;
        }
    } while (!m_holds.compare_exchange_weak(held, held - 1));
    pthread_mutex_unlock(&m_mutex);
    return held - 1;
}

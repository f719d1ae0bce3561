#pragma once

#include <atomic>
#include <cstdint>

#include <pthread.h>

/// A recursive lock with a hold count. The thread that holds it may lock it again; each Lock needs one Unlock.
///
/// The count belongs to the lock, not to a thread: an Unlock by a thread that holds nothing still takes one off while
/// another thread holds the lock, so callers pair their calls strictly. No operation logs.
class CManualLock
{
public:
    /// Makes an unheld lock. The argument is accepted for its callers' sake and has no effect.
    explicit CManualLock(unsigned long ignored);

    /// Gives back every hold that is left, then the lock itself.
    virtual ~CManualLock();

    CManualLock(const CManualLock&) = delete;
    CManualLock& operator=(const CManualLock&) = delete;

    /// Waits until the lock is this thread's, then counts one hold more.
    void Lock();

    /// As Lock, but gives false at once when another thread holds the lock.
    bool TryLock();

    /// Gives back one hold and returns how many are left; returns 0 and touches nothing when there is none.
    std::uint64_t Unlock();

private:
    pthread_mutex_t m_mutex;
    std::atomic<std::uint64_t> m_holds{0};
};

#include "vpn/Common/Utility/Locks.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <thread>
#include <type_traits>
#include <vector>

#include <dlfcn.h>
#include <pthread.h>

#include <gmock/gmock.h>

/** Two tests unlock from a thread that holds nothing, which the thread sanitizer rightly takes for a misuse. */
extern "C" const char* __tsan_default_suppressions()
{
    return "mutex:theHoldCountIsSharedByAllThreads\nmutex:twoThreadsCannotBothGiveBackTheLastHold";
}

namespace {

/** What the last pthread_mutex_destroy of this program gave. */
std::atomic<int> s_destroyed = -1;

} // namespace

// Stands before that of the C library in this binary.
extern "C" int pthread_mutex_destroy(pthread_mutex_t* mutex) noexcept
{
    static const auto real = reinterpret_cast<int (*)(pthread_mutex_t*)>(dlsym(RTLD_NEXT, "pthread_mutex_destroy"));
    s_destroyed = real(mutex);
    return s_destroyed;
}

namespace {

/** Whether another thread could take the lock now; it gives it back at once. */
bool anotherThreadGets(CManualLock& lock)
{
    return std::async(std::launch::async,
                      [&lock] {
                          const bool got = lock.TryLock();
                          if (got) {
                              lock.Unlock();
                          }
                          return got;
                      })
        .get();
}

static_assert(std::has_virtual_destructor_v<CManualLock>);

TEST(CManualLock, unlockOfAnUnheldLockGivesZeroAndLeavesItUsable)
{
    CManualLock lock(500);
    EXPECT_EQ(lock.Unlock(), 0U);
    EXPECT_EQ(lock.Unlock(), 0U);
    // That the mutex itself was left alone, the thread sanitizer tells.
    lock.Lock();
    EXPECT_FALSE(anotherThreadGets(lock));
    EXPECT_EQ(lock.Unlock(), 0U);
    EXPECT_TRUE(anotherThreadGets(lock));
}

TEST(CManualLock, eachLockNeedsOneUnlock)
{
    CManualLock lock(500);
    lock.Lock();
    lock.Lock();
    lock.Lock();
    EXPECT_EQ(lock.Unlock(), 2U);
    EXPECT_EQ(lock.Unlock(), 1U);
    EXPECT_FALSE(anotherThreadGets(lock));
    EXPECT_EQ(lock.Unlock(), 0U);
    EXPECT_TRUE(anotherThreadGets(lock));
}

TEST(CManualLock, tryLockCountsAHoldOfTheSameThread)
{
    CManualLock lock(500);
    EXPECT_TRUE(lock.TryLock());
    EXPECT_TRUE(lock.TryLock());
    EXPECT_FALSE(anotherThreadGets(lock));
    EXPECT_EQ(lock.Unlock(), 1U);
    EXPECT_EQ(lock.Unlock(), 0U);
}

TEST(CManualLock, aRefusedTryLockCountsNothing)
{
    CManualLock lock(500);
    lock.Lock();
    EXPECT_FALSE(anotherThreadGets(lock));
    EXPECT_EQ(lock.Unlock(), 0U);
}

TEST(CManualLock, theHoldCountIsSharedByAllThreads)
{
    CManualLock lock(500);
    lock.Lock();
    lock.Lock();
    const auto leftForTheOther = std::async(std::launch::async, [&lock] { return lock.Unlock(); }).get();
    EXPECT_EQ(leftForTheOther, 1U);
}

TEST(CManualLock, twoThreadsCannotBothGiveBackTheLastHold)
{
    // As many tries to make them meet as go into this time.
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(200);
    CManualLock lock(500);
    std::atomic<unsigned> begun = 0;
    std::atomic<unsigned> done = 0;
    std::atomic<bool> isOver = false;
    std::thread other([&] {
        for (unsigned round = 1; !isOver; ++round) {
            while (begun < round && !isOver) {
            }
            EXPECT_EQ(lock.Unlock(), 0U);
            done = round;
        }
    });
    for (unsigned round = 1; std::chrono::steady_clock::now() < end; ++round) {
        lock.Lock();
        begun = round;
        EXPECT_EQ(lock.Unlock(), 0U);
        while (done < round) {
        }
    }
    isOver = true;
    other.join();
    EXPECT_EQ(lock.Unlock(), 0U);
}

TEST(CManualLock, keepsOthersOutOfACriticalSection)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    CManualLock lock(500);
    int counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&lock, &counter] {
            for (int round = 0; round < kRounds; ++round) {
                lock.Lock();
                lock.Lock();
                ++counter;
                lock.Unlock();
                lock.Unlock();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter, kThreads * kRounds);
    EXPECT_EQ(lock.Unlock(), 0U);
}

TEST(CManualLock, theConstructorsArgumentHasNoEffect)
{
    for (const unsigned long argument : {0UL, 500UL, ~0UL}) {
        CManualLock lock(argument);
        EXPECT_TRUE(lock.TryLock());
        EXPECT_EQ(lock.Unlock(), 0U);
    }
}

TEST(CManualLock, givesBackItsHoldsBeforeItIsDestroyed)
{
    {
        CManualLock lock(500);
        lock.Lock();
        lock.Lock();
        s_destroyed = -1;
    }
    EXPECT_EQ(s_destroyed, 0) << "EBUSY is " << EBUSY;
}

} // namespace

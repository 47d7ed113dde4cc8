#include "runtime/maro_thread.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <thread>
#include <vector>

#include <pthread.h>

namespace {

TEST(MaroMutexTest, LockAndUnlockReturnZero) {
    Maro_Mutex mutex;
    EXPECT_EQ(mutex.lock(), 0);
    EXPECT_EQ(mutex.unlock(), 0);
    EXPECT_EQ(mutex.lock(), 0);
    EXPECT_EQ(mutex.unlock(), 0);
}

TEST(MaroMutexTest, TheHandleIsTheMutexThatIsLocked) {
    Maro_Mutex mutex;
    EXPECT_EQ(mutex.lock(), 0);
    EXPECT_EQ(::pthread_mutex_trylock(mutex.gethandle()), EBUSY);
    ASSERT_EQ(mutex.unlock(), 0);
    EXPECT_EQ(::pthread_mutex_trylock(mutex.gethandle()), 0);
    EXPECT_EQ(::pthread_mutex_unlock(mutex.gethandle()), 0);
}

TEST(MaroMutexTest, OnlyOneThreadIsInsideAtATime) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 5000;
    Maro_Mutex mutex;
    int plain = 0;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                mutex.lock();
                ++plain;
                mutex.unlock();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(plain, kThreads * kRounds);
}

} // namespace

#include "Zel/System/Commons/Threading/Mutex.h"

#include "Zel/System/Commons/Threading/ConditionVariable.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <mutex>
#include <thread>

namespace Zel::System::Commons::Threading
{

namespace
{

[[nodiscard]] bool IsFreeForOthers(Mutex& mutex)
{
    return std::async(std::launch::async,
                      [&]
                      {
                          const std::unique_lock lock(mutex, std::try_to_lock);
                          return lock.owns_lock();
                      })
        .get();
}

} // namespace

TEST(MutexTest, RecursiveOneIsFreeAfterAsManyUnlocks)
{
    Mutex mutex(true);
    mutex.lock();
    ASSERT_TRUE(mutex.try_lock());
    ASSERT_TRUE(mutex.try_lock_for(std::chrono::milliseconds(0)));
    mutex.unlock();
    mutex.unlock();
    EXPECT_FALSE(IsFreeForOthers(mutex));
    mutex.unlock();
    EXPECT_TRUE(IsFreeForOthers(mutex));
}

TEST(MutexTest, TryLockForWaitsForTheWholeDuration)
{
    for (const bool recursive : {false, true})
    {
        Mutex mutex(recursive);
        const std::lock_guard lock(mutex);
        constexpr std::chrono::milliseconds Duration(20);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_FALSE(std::async(std::launch::async, [&] { return mutex.try_lock_for(Duration); }).get());
        EXPECT_GE(std::chrono::steady_clock::now() - begin, Duration);
    }
}

TEST(MutexTest, ConditionVariableWaitsOnIt)
{
    Mutex mutex;
    ConditionVariable changed;
    bool ready = false;
    std::thread other(
        [&]
        {
            const std::lock_guard lock(mutex);
            ready = true;
            changed.notify_all();
        });
    {
        std::unique_lock lock(mutex);
        EXPECT_TRUE(changed.wait_for(lock, std::chrono::seconds(10), [&] { return ready; }));
    }
    other.join();
}

} // namespace Zel::System::Commons::Threading

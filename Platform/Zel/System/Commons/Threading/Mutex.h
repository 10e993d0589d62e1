#pragma once

#include "Zel/Visibility.h"

#include <atomic>
#include <cstddef>
#include <mutex>
#include <thread>

namespace Zel::System::Commons::Threading
{

/// A lock that is recursive where it is built so. Its operations carry the standard library's names, so that
/// `std::lock_guard` and `std::unique_lock` hold it.
class ZEL_API Mutex
{
public:
    /// `recursive` lets the owning thread lock again; it unlocks as often as it locked.
    explicit Mutex(bool recursive = false);
    ~Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock();
    void unlock();

private:
    const bool recursive;
    std::mutex mutex;
    /// The thread that holds the lock; no thread's ID while none does.
    std::atomic<std::thread::id> owner{};
    /// How often the owner holds the lock.
    std::size_t depth = 0;
};

} // namespace Zel::System::Commons::Threading

#pragma once

#include "Zel/Visibility.h"

#include <chrono>
#include <mutex>

namespace Zel::System::Commons::Threading
{

/// A lock that is recursive where it is built so. Its operations carry the standard library's names, so that
/// `std::lock_guard` and `std::unique_lock` hold it.
class ZEL_API Mutex
{
public:
    /// `recursive` lets the owning thread lock again; it unlocks as often as it locked.
    explicit Mutex(bool recursive = false);
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock();
    [[nodiscard]] bool try_lock();
    /// Returns whether the lock was taken within `duration`.
    [[nodiscard]] bool try_lock_for(std::chrono::milliseconds duration);
    void unlock();

private:
    const bool recursive;
    std::timed_mutex plainMutex;
    std::recursive_timed_mutex recursiveMutex;
};

} // namespace Zel::System::Commons::Threading

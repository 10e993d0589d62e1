#include "Zel/System/Commons/Threading/Mutex.h"

namespace Zel::System::Commons::Threading
{

// Not on the standard library's timed locks: the thread sanitizer of our compilers does not see their timed
// acquisition, and reports every unlock after it.

Mutex::Mutex(bool recursive) : recursive(recursive) {}

Mutex::~Mutex() = default;

bool Mutex::TryEnter()
{
    const std::thread::id caller = std::this_thread::get_id();
    if (depth > 0 && !(recursive && owner == caller))
    {
        return false;
    }
    owner = caller;
    ++depth;
    return true;
}

void Mutex::lock()
{
    std::unique_lock guarded(guard);
    freed.wait(guarded, [this] { return TryEnter(); });
}

bool Mutex::try_lock()
{
    const std::lock_guard guarded(guard);
    return TryEnter();
}

bool Mutex::try_lock_for(std::chrono::milliseconds duration)
{
    std::unique_lock guarded(guard);
    return freed.wait_for(guarded, duration, [this] { return TryEnter(); });
}

void Mutex::unlock()
{
    const std::lock_guard guarded(guard);
    if (--depth == 0)
    {
        // Under the guard: the next owner may destroy the object as soon as it can have the lock.
        freed.notify_one();
    }
}

} // namespace Zel::System::Commons::Threading

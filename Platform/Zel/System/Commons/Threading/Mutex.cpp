#include "Zel/System/Commons/Threading/Mutex.h"

namespace Zel::System::Commons::Threading
{

Mutex::Mutex(bool recursive) : recursive(recursive) {}

void Mutex::lock()
{
    const std::thread::id caller = std::this_thread::get_id();
    if (!recursive || owner != caller)
    {
        mutex.lock();
        owner = caller;
    }
    ++depth;
}

void Mutex::unlock()
{
    if (--depth == 0)
    {
        owner = std::thread::id();
        mutex.unlock();
    }
}

} // namespace Zel::System::Commons::Threading

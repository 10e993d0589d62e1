#pragma once

#include <condition_variable>

namespace Zel::System::Commons::Threading
{

/// Waits on any lock, in particular on a held `Mutex`. Wake-ups may be spurious: the waiter checks its
/// condition again.
using ConditionVariable = std::condition_variable_any;

} // namespace Zel::System::Commons::Threading

#pragma once

#include <shared_mutex>

namespace Zel::System::Commons::Threading
{

/// Many readers (`std::shared_lock`) or one writer (`std::unique_lock`).
using ReadWriteLock = std::shared_mutex;

} // namespace Zel::System::Commons::Threading

#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Delegate.h"
#include "Zel/Visibility.h"

#include <cstddef>
#include <memory>

namespace Zel::System::Commons::Threading
{

/// A named thread that runs one delegate once. Nothing escapes its entry: an exception of the delegate is
/// caught and logged at error level, and the thread ends. Not copyable; one owner uses it.
class ZEL_API Thread
{
public:
    using Entry = Delegate<void*>;

    /// `name` is shown by the kernel cut to 15 bytes. `priority` is a real-time (round robin) priority, 0 for
    /// the creator's scheduling; `stackSize` is in bytes, 0 for the system's default. Nothing runs before
    /// `Start`.
    Thread(String name, Entry entry, void* argument = nullptr, int priority = 0, std::size_t stackSize = 0);

    /// A thread that was started and never joined goes on by itself: it is detached.
    ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Starts the thread; returns false (and logs why) when the system refuses or it was started before.
    [[nodiscard]] bool Start();

    /// Waits for its end; does nothing when it was not started, or was joined already. Must not be called on
    /// the thread itself.
    void Join();

    /// Whether the caller runs on this thread.
    [[nodiscard]] bool IsCurrent() const noexcept;

    [[nodiscard]] const String& GetName() const noexcept;

    /// Blocks the calling thread for at least `milliseconds`.
    static void Sleep(unsigned int milliseconds);

private:
    struct State;
    std::shared_ptr<State> state;
};

} // namespace Zel::System::Commons::Threading

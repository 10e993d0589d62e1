#pragma once

#include "Zel/Exception.h"
#include "Zel/TypeName.h"
#include "Zel/Visibility.h"

#include <atomic>
#include <typeinfo>

namespace Zel
{

namespace Impl
{

/// Returns the process-wide slot of `type`; the same address from every library of the process, for its whole
/// life. Kept in one source of the platform library: a static member of the template would exist once per
/// library. Types are told apart by their names, so a type of an unnamed namespace shares its slot with its
/// namesakes.
[[nodiscard]] ZEL_API std::atomic<void*>& GetSingletonSlot(const std::type_info& type);

} // namespace Impl

/// The process's one instance of `T`. Whoever sets it owns it and clears it before destroying it.
/// Every operation may be called from any thread.
template <typename T>
class Singleton
{
public:
    [[nodiscard]] static bool HasInstance() noexcept { return TryGetInstance() != nullptr; }

    /// Returns the instance, or null when there is none.
    [[nodiscard]] static T* TryGetInstance() noexcept { return static_cast<T*>(Slot().load()); }

    /// Throws `Exception` "Singleton instance of type '{0}' was not created yet!" when there is none.
    [[nodiscard]] static T& GetInstance()
    {
        if (T* instance = TryGetInstance())
        {
            return *instance;
        }
        throw Exception("Singleton instance of type '" + TypeName<T>() + "' was not created yet!");
    }

    /// Null clears the slot.
    static void SetInstance(T* instance) noexcept { Slot().store(instance); }

    /// Sets `instance` only where there is none yet; returns whether it was set.
    static bool TrySetInstance(T* instance) noexcept
    {
        void* expected = nullptr;
        return Slot().compare_exchange_strong(expected, instance);
    }

private:
    static std::atomic<void*>& Slot()
    {
        static std::atomic<void*>& slot = Impl::GetSingletonSlot(typeid(T));
        return slot;
    }
};

} // namespace Zel

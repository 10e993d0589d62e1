#pragma once

#include <concepts>
#include <functional>
#include <utility>

namespace Zel::System::Commons
{

/// A call with the arguments `Arguments` and no result: either a member function bound to an object, or any
/// callable such as a lambda. Two delegates are equal when they bind the same member function to the same
/// object; a callable equals nothing, so it cannot be found again in a list, and events refuse it. The object
/// is not owned: whoever binds it keeps it alive as long as the delegate can be called.
template <typename... Arguments>
class Delegate
{
public:
    Delegate() = default;

    template <std::invocable<Arguments...> Callable>
    Delegate(Callable callable) : callable(std::move(callable))
    {
    }

    /// Binds a member function: `Delegate<int>::Bind<&Counter::Add>(this)`.
    template <auto Method, typename Object>
    [[nodiscard]] static Delegate Bind(Object* object) noexcept
    {
        Delegate delegate;
        delegate.object = object;
        delegate.method = &CallMethod<Method, Object>;
        return delegate;
    }

    /// Whether this is a bound member function.
    [[nodiscard]] bool IsBound() const noexcept { return method != nullptr; }

    /// Calls what was bound; an empty delegate throws `std::bad_function_call`.
    void operator()(Arguments... arguments) const
    {
        if (IsBound())
        {
            method(object, arguments...);
        }
        else
        {
            callable(arguments...);
        }
    }

    friend bool operator==(const Delegate& left, const Delegate& right) noexcept
    {
        return left.IsBound() && left.method == right.method && left.object == right.object;
    }

private:
    using MethodCall = void (*)(const void*, Arguments...);

    template <auto Method, typename Object>
    static void CallMethod(const void* object, Arguments... arguments)
    {
        static_cast<void>((const_cast<Object*>(static_cast<const Object*>(object))->*Method)(arguments...));
    }

    const void* object = nullptr;
    MethodCall method = nullptr;
    std::function<void(Arguments...)> callable;
};

} // namespace Zel::System::Commons

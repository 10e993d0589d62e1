#pragma once

#include "Zel/Exception.h"
#include "Zel/System/Commons/Delegate.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

namespace Zel::System::Commons
{

/// A list of delegates that are called together. Safe against a concurrent add or remove: raising calls the
/// delegates that were in the list when it began, in the order in which they were added, on the raising
/// thread and without a lock. A delegate that is removed meanwhile may therefore still be called once:
/// whoever destroys its object first stops the thread that raises the event.
template <typename... Arguments>
class Event
{
public:
    using DelegateType = Delegate<Arguments...>;

    /// Appends a bound member function. Throws `Exception` "Lambda delegates are not supported by events."
    /// for anything else, because it could never be removed again.
    void Add(const DelegateType& delegate)
    {
        if (!delegate.IsBound())
        {
            throw Exception("Lambda delegates are not supported by events.");
        }
        const std::lock_guard lock(mutex);
        auto changed = std::make_shared<List>(*delegates);
        changed->push_back(delegate);
        delegates = std::move(changed);
    }

    /// Removes the first delegate that equals `delegate`; does nothing when there is none.
    void Remove(const DelegateType& delegate)
    {
        const std::lock_guard lock(mutex);
        auto changed = std::make_shared<List>(*delegates);
        const auto found = std::find(changed->begin(), changed->end(), delegate);
        if (found != changed->end())
        {
            changed->erase(found);
            delegates = std::move(changed);
        }
    }

    void Raise(Arguments... arguments) const
    {
        const auto called = GetDelegates();
        for (const auto& delegate : *called)
        {
            delegate(arguments...);
        }
    }

private:
    using List = std::vector<DelegateType>;

    [[nodiscard]] std::shared_ptr<const List> GetDelegates() const
    {
        const std::lock_guard lock(mutex);
        return delegates;
    }

    mutable std::mutex mutex;
    std::shared_ptr<const List> delegates = std::make_shared<const List>();
};

} // namespace Zel::System::Commons

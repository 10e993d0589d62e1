#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

namespace Zel::Tests::Support
{

/// What a test's double was told, in order. Thread-safe.
template <typename Entry>
class Recorded
{
public:
    void Add(Entry entry)
    {
        const std::lock_guard lock(mutex);
        entries.push_back(std::move(entry));
        added.notify_all();
    }

    /// Returns what was added since the last `Clear`.
    [[nodiscard]] std::vector<Entry> Get() const
    {
        const std::lock_guard lock(mutex);
        return entries;
    }

    void Clear()
    {
        const std::lock_guard lock(mutex);
        entries.clear();
    }

    /// Waits until `predicate` holds for an entry; returns false when it does not within 10 s.
    template <typename Predicate>
    [[nodiscard]] bool WaitFor(const Predicate& predicate) const
    {
        std::unique_lock lock(mutex);
        return added.wait_for(lock, std::chrono::seconds(10),
                              [&] { return std::ranges::any_of(entries, predicate); });
    }

private:
    mutable std::mutex mutex;
    mutable std::condition_variable added;
    std::vector<Entry> entries;
};

} // namespace Zel::Tests::Support

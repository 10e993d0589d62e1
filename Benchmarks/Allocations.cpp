#include "Allocations.h"

#include <cstddef>

namespace
{

thread_local std::uint64_t allocations = 0;

} // namespace

// The names of the C library's own allocator and of the functions over it that a program may replace.
extern "C"
{
    void* __libc_malloc(std::size_t size);                    // NOLINT(bugprone-reserved-identifier)
    void* __libc_calloc(std::size_t count, std::size_t size); // NOLINT(bugprone-reserved-identifier)
    void* __libc_realloc(void* allocated, std::size_t size);  // NOLINT(bugprone-reserved-identifier)

    __attribute__((visibility("default"))) void* malloc(std::size_t size)
    {
        ++allocations;
        return __libc_malloc(size);
    }

    __attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size)
    {
        ++allocations;
        return __libc_calloc(count, size);
    }

    __attribute__((visibility("default"))) void* realloc(void* allocated, std::size_t size)
    {
        ++allocations;
        return __libc_realloc(allocated, size);
    }
}

namespace Zel::Benchmarks
{

std::uint64_t CountAllocations(const std::function<void()>& work)
{
    const std::uint64_t before = allocations;
    work();
    return allocations - before;
}

} // namespace Zel::Benchmarks

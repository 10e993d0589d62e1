#include "Support/AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace
{

thread_local std::size_t allocationCount = 0;

} // namespace

void* operator new(std::size_t size)
{
    ++allocationCount;
    if (void* memory = std::malloc(size == 0 ? 1 : size))
    {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace Zel::Tests::Support
{

std::size_t GetAllocationCount() noexcept
{
    return allocationCount;
}

} // namespace Zel::Tests::Support

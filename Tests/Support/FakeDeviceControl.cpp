#include "Support/FakeDeviceControl.h"

namespace Zel::Tests::Support
{

FakeDeviceControl::~FakeDeviceControl() = default;

void FakeDeviceControl::RestartDevice()
{
    const std::lock_guard lock(mutex);
    ++restarts;
    ordered.notify_all();
}

int FakeDeviceControl::GetRestarts() const
{
    const std::lock_guard lock(mutex);
    return restarts;
}

bool FakeDeviceControl::WaitForRestarts(int count, std::chrono::milliseconds deadline) const
{
    std::unique_lock lock(mutex);
    return ordered.wait_for(lock, deadline, [&] { return restarts >= count; });
}

} // namespace Zel::Tests::Support

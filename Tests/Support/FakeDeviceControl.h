#pragma once

#include "Zel/Services/Device/IDeviceControlService.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace Zel::Tests::Support
{

/// Counts the restarts that were ordered. Thread-safe.
class FakeDeviceControl : public Services::Device::IDeviceControlService
{
public:
    FakeDeviceControl() = default;
    ~FakeDeviceControl() override;
    FakeDeviceControl(const FakeDeviceControl&) = delete;
    FakeDeviceControl& operator=(const FakeDeviceControl&) = delete;

    void RestartDevice() override;

    [[nodiscard]] int GetRestarts() const;

    /// Waits until that many restarts were ordered; returns false when `deadline` passes before.
    [[nodiscard]] bool WaitForRestarts(int count,
                                       std::chrono::milliseconds deadline = std::chrono::seconds(10)) const;

private:
    mutable std::mutex mutex;
    mutable std::condition_variable ordered;
    int restarts = 0;
};

} // namespace Zel::Tests::Support

#pragma once

#include "Service/EventLoop.h"

#include "Zel/Services/Device/IDeviceControlService.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <functional>
#include <vector>

namespace Zel::Host::Service
{

/// Restarts the device by a command, started in a session of its own, or else by a function that asks logind.
class DeviceControl : public Services::Device::IDeviceControlService,
                      private System::Commons::Diagnostics::Logging::Loggable<DeviceControl>
{
public:
    using Task = EventLoop::Task;
    /// Takes the reason.
    using FailureHandler = std::function<void(const String& reason)>;

    struct Handlers
    {
        /// Called before anything is done, on the thread that wants the restart.
        Task ordered;
        /// Called on the loop's thread after a failure, which was logged at error level.
        FailureHandler failed;
        /// Asks logind, on the loop's thread; used without a command.
        Task askLogind;
    };

    /// `command` is the program and its arguments, searched in PATH, with the service's environment.
    DeviceControl(EventLoop& loop, std::vector<String> command, Handlers handlers);
    ~DeviceControl() override;
    DeviceControl(const DeviceControl&) = delete;
    DeviceControl& operator=(const DeviceControl&) = delete;

    void RestartDevice() override;

    /// Says why a restart could not be ordered now; empty where nothing is known to stand against it.
    [[nodiscard]] String FindObstacle() const;

    /// Logs that the restart failed, and tells the handler; on the loop's thread.
    void ReportFailure(const String& reason) const;

private:
    /// Starts the command at once, on any thread, so that it runs even when the loop is about to end.
    void StartCommand();
    void OnCommandEnded(int waitStatus) const;

    EventLoop& loop;
    const std::vector<String> command;
    const Handlers handlers;
};

} // namespace Zel::Host::Service

#pragma once

#include "Support/ProgramRun.h"
#include "Support/TemporaryFolder.h"
#include "Support/Thrown.h"

#include <iostream>

namespace Zel::Tests::Support
{

/// A device in a folder with the real RAUC, driven through the program `device` beside this file, which says
/// what each operation means. Its private bus is the process's system bus, at the same address for every
/// device that the process makes one after the other. Every failure throws `Exception` with what the program
/// said; a machine without RAUC is one.
class DeviceFolder
{
public:
    using Options = std::vector<String>;

    /// Makes the device, switched off, and starts its bus.
    explicit DeviceFolder(const Options& createOptions = {})
    {
        Run("create", createOptions);
        // Before any libdbus call of the process: libdbus keeps the first address that it saw.
        setenv("DBUS_SYSTEM_BUS_ADDRESS", Run("bus-start").c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    }

    /// Stops and removes everything.
    ~DeviceFolder()
    {
        const String failure = GetThrown([this] { Run("destroy"); });
        failure != "nothing" ? static_cast<void>(std::cerr << failure << "\n") : void();
    }

    /// Makes a bundle in a folder beside the device and returns its path.
    [[nodiscard]] String MakeBundle(const String& version, const Options& options = {})
    {
        auto bundle = bundles / (version + ".raucb");
        Options arguments = options;
        arguments.insert(arguments.begin(), {version, bundle});
        Run("bundle", arguments);
        return bundle;
    }

    /// Runs one command of the program on this device and returns what it printed, without the last line's
    /// end.
    String Run(const String& command, Options arguments = {}) const
    {
        arguments.insert(arguments.begin(), {ZEL_DEVICE_PROGRAM, command, path});
        ProgramRun run(arguments);
        if (run.Finish() != 0)
        {
            throw Exception("device " + command + ": " + run.GetErr());
        }
        return run.GetOut().substr(0, run.GetOut().find_last_not_of('\n') + 1);
    }

private:
    const String path = "/tmp/zel-device-" + std::to_string(getpid());
    const TemporaryFolder bundles;
};

} // namespace Zel::Tests::Support

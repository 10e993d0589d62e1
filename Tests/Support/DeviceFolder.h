#pragma once

#include "Support/TemporaryFolder.h"
#include "Zel/Exception.h"
#include "Zel/String.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <unistd.h>
#include <vector>

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
        setenv("DBUS_SYSTEM_BUS_ADDRESS", Run("bus-start").c_str(), 1);
    }

    /// Stops and removes everything.
    ~DeviceFolder()
    {
        try
        {
            Run("destroy");
        }
        catch (const Exception& exception)
        {
            std::cerr << exception.ToString() << "\n";
        }
    }

    DeviceFolder(const DeviceFolder&) = delete;
    DeviceFolder& operator=(const DeviceFolder&) = delete;

    /// Makes a bundle in a folder beside the device and returns its path.
    [[nodiscard]] String MakeBundle(const String& version, const Options& options = {})
    {
        const auto bundle = bundles / (version + ".raucb");
        Options arguments{version, bundle};
        arguments.insert(arguments.end(), options.begin(), options.end());
        Run("bundle", arguments);
        return bundle;
    }

    /// Runs one command of the program on this device and returns what it printed, without the last line's
    /// end.
    String Run(const String& command, const Options& arguments = {}) const
    {
        String line = ZEL_DEVICE_PROGRAM " " + command + " " + path;
        for (const auto& argument : arguments)
        {
            line += " '" + argument + "'";
        }
        // A shell in between gives both outputs in one pipe.
        FILE* const pipe = popen((line + " 2>&1").c_str(), "re");
        String output;
        std::array<char, 4096> buffer{};
        while (const auto count = pipe != nullptr ? fread(buffer.data(), 1, buffer.size(), pipe) : 0)
        {
            output.append(buffer.data(), count);
        }
        if (pipe == nullptr || pclose(pipe) != 0)
        {
            throw Exception("device " + command + ": " + output);
        }
        return output.substr(0, output.find_last_not_of('\n') + 1);
    }

private:
    const String path = "/tmp/zel-device-" + std::to_string(getpid());
    const TemporaryFolder bundles;
};

} // namespace Zel::Tests::Support

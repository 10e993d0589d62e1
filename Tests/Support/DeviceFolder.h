#pragma once

#include "Support/TemporaryFolder.h"
#include "Zel/String.h"

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
    explicit DeviceFolder(const Options& createOptions = {});
    /// Stops and removes everything.
    ~DeviceFolder();
    DeviceFolder(const DeviceFolder&) = delete;
    DeviceFolder& operator=(const DeviceFolder&) = delete;

    /// Makes a bundle in a folder beside the device and returns its path.
    [[nodiscard]] String MakeBundle(const String& version, const Options& options = {});

    /// Runs one command of the program on this device and returns what it printed, without the last line's
    /// end.
    String Run(const String& command, const Options& arguments = {}) const;

private:
    const String path;
    const TemporaryFolder bundles;
};

} // namespace Zel::Tests::Support

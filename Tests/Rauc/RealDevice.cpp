#include "Rauc/RealDevice.h"

#include <filesystem>

namespace Zel::Tests
{

RealDevice::RealDevice()
{
    device.Run("boot");
    device.Run("mark-good");
}

String RealDevice::MakeBundle(const String& version, const Lines& options)
{
    if (!options.empty() && options.front() == "--missing")
    {
        return bundles / "missing";
    }
    if (!options.empty() && options.front() == "--folder")
    {
        std::filesystem::create_directory(bundles / "folder");
        return bundles / "folder";
    }
    return device.MakeBundle(version, options);
}

String RealDevice::Run(const String& command, const Lines& arguments)
{
    if (command == "busy")
    {
        const String bundle = device.MakeBundle("9.0.0.0", {"--held"});
        foreign = std::async(std::launch::async, [this, bundle] { return device.Run("install", {bundle}); });
        return device.Run("wait-held", {"10"});
    }
    if (command == "rest")
    {
        device.Run("release");
        return foreign.get();
    }
    const Lines perhapsSlot = command == "slot-version" ? Lines{device.Run("booted")} : arguments;
    return device.Run(command, perhapsSlot);
}

} // namespace Zel::Tests

#include "Support/DeviceFolder.h"

#include "Zel/Exception.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <unistd.h>

namespace Zel::Tests::Support
{

DeviceFolder::DeviceFolder(const Options& createOptions) : path("/tmp/zel-device-" + std::to_string(getpid()))
{
    Run("create", createOptions);
    // Before any libdbus call of the process: libdbus keeps the first address that it saw.
    setenv("DBUS_SYSTEM_BUS_ADDRESS", Run("bus-start").c_str(), 1);
}

DeviceFolder::~DeviceFolder()
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

String DeviceFolder::MakeBundle(const String& version, const Options& options)
{
    const auto bundle = bundles / (version + ".raucb");
    Options arguments{version, bundle};
    arguments.insert(arguments.end(), options.begin(), options.end());
    Run("bundle", arguments);
    return bundle;
}

String DeviceFolder::Run(const String& command, const Options& arguments) const
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

} // namespace Zel::Tests::Support

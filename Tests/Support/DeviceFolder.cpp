#include "Support/DeviceFolder.h"

#include "Zel/Exception.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

namespace Zel::Tests::Support
{

namespace
{

String Quote(const String& text)
{
    String quoted = "'";
    for (const char character : text)
    {
        quoted += character == '\'' ? String("'\\''") : String(1, character);
    }
    return quoted + "'";
}

/// Returns the exit status and everything that the command printed.
std::pair<int, String> RunShell(const String& commandLine)
{
    // A shell in between gives both outputs in one pipe.
    FILE* const pipe = popen((commandLine + " 2>&1").c_str(), "re");
    if (pipe == nullptr)
    {
        throw Exception("Failed to run " + commandLine);
    }
    String output;
    std::array<char, 4096> buffer{};
    while (const auto count = fread(buffer.data(), 1, buffer.size(), pipe))
    {
        output.append(buffer.data(), count);
    }
    return {pclose(pipe), output};
}

} // namespace

DeviceFolder::DeviceFolder(const Options& createOptions) : path("/tmp/zel-device-" + std::to_string(getpid()))
{
    Run("create", createOptions);
    const auto address = Run("bus-start");
    // Before any libdbus call of the process: libdbus keeps the first address that it saw.
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
}

DeviceFolder::~DeviceFolder()
{
    try
    {
        Run("destroy");
    }
    catch (const Exception& exception)
    {
        static_cast<void>(std::fprintf(stderr, "%s\n", exception.ToString().c_str()));
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
    String commandLine = Quote(ZEL_DEVICE_PROGRAM) + " " + command + " " + Quote(path);
    for (const auto& argument : arguments)
    {
        commandLine += " " + Quote(argument);
    }
    auto [status, output] = RunShell(commandLine);
    if (!output.empty() && output.back() == '\n')
    {
        output.pop_back();
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    {
        throw Exception("device " + command + ": " + output);
    }
    return output;
}

} // namespace Zel::Tests::Support

#include "Rows/Rows.h"

#include "Program.h"
#include "Support/DeviceFolder.h"
#include "Zel/Exception.h"
#include "Zel/System/Core/Format.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <memory>
#include <thread>

namespace Zel::Benchmarks
{

using std::chrono::steady_clock;
using System::Core::Format;
using Tests::Support::DeviceFolder;

namespace
{

constexpr const char* Service = "zel.SoftwareUpdate1";
constexpr const char* Path = "/zel/SoftwareUpdate1/component/ZDC_2d100";
constexpr std::size_t Readers = 50;
/// Each reader's; all of them together ask a thousand times a second.
constexpr std::chrono::milliseconds Interval{50};

using Milliseconds = std::chrono::duration<double, std::milli>;
using Bus = std::unique_ptr<sd_bus, decltype(&sd_bus_flush_close_unref)>;

void Require(int result, const char* what)
{
    if (result < 0)
    {
        throw Exception(Format("{0}: error {1}", what, -result));
    }
}

[[nodiscard]] Bus Connect()
{
    sd_bus* opened = nullptr;
    Require(sd_bus_open_system(&opened), "connecting to the bus");
    return {opened, &sd_bus_flush_close_unref};
}

/// Returns how long all the component's properties took to come, in milliseconds.
[[nodiscard]] double ReadOnce(sd_bus* bus)
{
    const auto begin = steady_clock::now();
    sd_bus_message* answer = nullptr;
    Require(sd_bus_call_method(bus, Service, Path, "org.freedesktop.DBus.Properties", "GetAll", nullptr,
                               &answer, "s", "zel.SoftwareUpdate1.Component"),
            "reading the component");
    sd_bus_message_unref(answer);
    return Milliseconds(steady_clock::now() - begin).count();
}

/// Reads until `end`; returns each time, or nothing when one could not be read.
[[nodiscard]] std::vector<double> Read(steady_clock::time_point end)
{
    std::vector<double> times;
    try
    {
        const Bus bus = Connect();
        for (auto next = steady_clock::now(); next < end; next += Interval)
        {
            std::this_thread::sleep_until(next);
            times.push_back(ReadOnce(bus.get()));
        }
    }
    catch (const Exception&)
    {
        times.clear();
    }
    return times;
}

/// Returns the resident memory of the service's process in KiB.
[[nodiscard]] long ReadServiceMemory()
{
    const Bus bus = Connect();
    sd_bus_creds* credentials = nullptr;
    Require(sd_bus_get_name_creds(bus.get(), Service, SD_BUS_CREDS_PID, &credentials), "finding the service");
    pid_t process = 0;
    Require(sd_bus_creds_get_pid(credentials, &process), "finding the service's process");
    sd_bus_creds_unref(credentials);
    std::ifstream statm(Format("/proc/{0}/statm", process));
    long size = 0;
    long resident = 0;
    statm >> size >> resident;
    constexpr long PageSize = 4; // KiB
    return resident * PageSize;
}

} // namespace

Results MeasureReaders(const String& row, const Effort& effort)
{
    constexpr double Limit = 50;       // ms
    constexpr long MemoryLimit = 1024; // KiB
    DeviceFolder device;
    device.Run("stop");
    device.Run("install-service", {ZEL_BUILD_FOLDER, "nobody"});
    for (const char* command : {"boot", "service-start", "mark-good"})
    {
        device.Run(command);
    }
    const auto bundle = device.MakeBundle("2.0.0.0", {"--held"});
    RunProgram({ZEL_BUILD_FOLDER "/bin/zelupdate", "install", bundle, "--yes", "--no-wait"});
    device.Run("wait-held", {"30"});

    // The first reads grow what stays at its size from then on.
    static_cast<void>(Read(steady_clock::now() + std::chrono::seconds(1)));
    const long before = ReadServiceMemory();
    const auto end = steady_clock::now() + std::chrono::seconds(effort.readSeconds);
    std::vector<std::vector<double>> times(Readers);
    {
        std::vector<std::jthread> threads;
        for (auto& own : times)
        {
            threads.emplace_back([&own, end] { own = Read(end); });
        }
    }
    const long growth = ReadServiceMemory() - before;
    device.Run("release");
    device.Run("wait-restart", {"60"});

    std::vector<double> all;
    std::size_t failed = 0;
    for (const auto& own : times)
    {
        failed += own.empty() ? 1U : 0U;
        all.insert(all.end(), own.begin(), own.end());
    }
    const double slowest = all.empty() ? 0 : *std::ranges::max_element(all);
    return {Judged(row, "slowest read", Format("{0:.1f} ms", slowest), "at most 50 ms", slowest <= Limit),
            Judged(row, "readers that failed", Format("{0}", failed), "none", failed == 0),
            Judged(row, "the service's memory", Format("{0:+} KiB", growth), "at most +1024 KiB",
                   growth <= MemoryLimit),
            Shown(row, "reads", Format("{0} in {1} s", all.size(), effort.readSeconds))};
}

} // namespace Zel::Benchmarks

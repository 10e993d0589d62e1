#include "Rows/Rows.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusConnection.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompatibleProperty.h"
#include "Rows/PropertyPeer.h"
#include "Zel/Exception.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>

namespace Zel::Benchmarks
{

using Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus::DesktopBusConnection;
using Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus::RaucCompatibleProperty;
using std::chrono::steady_clock;
using System::Core::Format;

namespace
{

using Milliseconds = std::chrono::duration<float, std::milli>;

/// What one caller saw.
struct Calls
{
    std::size_t lost = 0;
    std::vector<float> milliseconds;
};

void Call(const DesktopBusConnection& connection, std::size_t count, Calls& calls)
{
    calls.milliseconds.reserve(count);
    for (std::size_t call = 0; call < count; ++call)
    {
        const auto begin = steady_clock::now();
        RaucCompatibleProperty property;
        if (!property.SendMessage(connection, false) ||
            property.GetCompatible() != PropertyPeer::PropertyText)
        {
            ++calls.lost;
        }
        calls.milliseconds.push_back(Milliseconds(steady_clock::now() - begin).count());
    }
}

/// The module's listener, but every millisecond.
void Listen(const std::stop_token& stop, DesktopBusConnection& connection)
{
    while (!stop.stop_requested())
    {
        const auto next = steady_clock::now() + std::chrono::milliseconds(1);
        connection.ReadSignals();
        std::this_thread::sleep_until(next);
    }
}

[[nodiscard]] Calls MakeCalls(DesktopBusConnection& connection, std::size_t count)
{
    std::array<Calls, 4> callers;
    {
        const std::jthread listener(&Listen, std::ref(connection));
        std::array<std::jthread, callers.size()> threads;
        for (std::size_t caller = 0; caller < callers.size(); ++caller)
        {
            threads[caller] =
                std::jthread([&, caller] { Call(connection, count / callers.size(), callers[caller]); });
        }
        for (auto& thread : threads)
        {
            thread.join();
        }
    }
    Calls all;
    for (const auto& calls : callers)
    {
        all.lost += calls.lost;
        all.milliseconds.insert(all.milliseconds.end(), calls.milliseconds.begin(), calls.milliseconds.end());
    }
    std::ranges::sort(all.milliseconds);
    return all;
}

} // namespace

Results MeasureNoLostReply(const String& row, const Effort& effort)
{
    constexpr float Limit = 50;
    constexpr unsigned int CallsPerSignal = 100;
    const PropertyPeer peer(CallsPerSignal);
    DesktopBusConnection connection;
    if (!connection.Open())
    {
        throw Exception("There is no bus");
    }
    const auto calls = MakeCalls(connection, effort.calls);
    const auto made = calls.milliseconds.size();
    // The peer answers at once: its time is left out of the limit.
    const float slow = calls.milliseconds[made - 1 - made / 1000];
    return {
        Judged(row, Format("lost replies in {0} calls", made), std::to_string(calls.lost), "none",
               calls.lost == 0),
        Judged(row, "99.9 % of the calls within", Format("{0:.1f} ms", slow), "below 50 ms", slow < Limit),
        Shown(row, "slowest call", Format("{0:.1f} ms", calls.milliseconds.back()))};
}

} // namespace Zel::Benchmarks

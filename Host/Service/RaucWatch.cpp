#include "Service/RaucWatch.h"

#include <array>
#include <memory>
#include <string_view>
#include <utility>

namespace Zel::Host::Service
{

using System::Commons::Diagnostics::Logging::LogLevel;

RaucWatch::RaucWatch(BusConnection& connection, BusConnection::OwnerHandler ownerChanged) : client(connection)
{
    connection.WatchName(RaucClient::BusName,
                         [ownerChanged = std::move(ownerChanged)](bool owned)
                         {
                             Log(LogLevel::Info, "RAUC has {0}.", owned ? "appeared" : "gone");
                             ownerChanged(owned);
                         });
}

RaucWatch::~RaucWatch()
{
    Answer({});
}

void RaucWatch::Probe(RaucAnswerHandler handler)
{
    waiting.push_back(std::move(handler));
    if (waiting.size() > 1)
    {
        return;
    }
    client.GetPrimary([this](const BusAnswer& primary) { OnPrimary(primary); });
}

void RaucWatch::OnPrimary(const BusAnswer& primary)
{
    const RaucAnswer answer = {Classify(primary), primary.IsOk() ? primary.text : String(), bootSlot};
    if (answer.state != RaucState::Resting || !bootSlot.empty())
    {
        Answer(answer);
        return;
    }
    client.GetText("BootSlot",
                   [this, answer](const BusAnswer& text)
                   {
                       bootSlot = text.IsOk() ? text.text : String();
                       Answer({answer.state, answer.primarySlot, bootSlot});
                   });
}

void RaucWatch::Answer(const RaucAnswer& answer)
{
    for (const RaucAnswerHandler& handler : std::exchange(waiting, {}))
    {
        EventLoop::Guard([&] { handler(answer); });
    }
}

RaucState RaucWatch::Classify(const BusAnswer& answer)
{
    using namespace std::string_view_literals;
    constexpr std::array Absent = {
        "org.freedesktop.DBus.Error.ServiceUnknown"sv, "org.freedesktop.DBus.Error.NameHasNoOwner"sv,
        "org.freedesktop.DBus.Error.Disconnected"sv, "org.freedesktop.DBus.Error.NoServer"sv};
    const std::string_view name = answer.errorName;
    // What its own handlers refuse, it answers with such an error: for example where its bootloader cannot
    // be asked for the primary slot.
    if (answer.IsOk() || name.starts_with("org.gtk.GDBus.UnmappedGError."))
    {
        return answer.text.find("lready processing") != String::npos ? RaucState::Busy : RaucState::Resting;
    }
    // The bus answers for a service that it could not start, and hands on why systemd did not.
    const bool isAbsent = std::find(Absent.begin(), Absent.end(), name) != Absent.end() ||
                          name.starts_with("org.freedesktop.DBus.Error.Spawn.") ||
                          name.starts_with("org.freedesktop.systemd1.");
    return isAbsent ? RaucState::Absent : RaucState::Silent;
}

} // namespace Zel::Host::Service

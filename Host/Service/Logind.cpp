#include "Service/Logind.h"

#include "Zel/System/Core/Format.h"

#include <systemd/sd-bus.h>

#include <chrono>

namespace Zel::Host::Service
{

using System::Core::Format;

namespace
{

constexpr std::chrono::seconds AnswerTime{30};

BusCall MakeCall(const char* member)
{
    return {"org.freedesktop.login1",
            "/org/freedesktop/login1",
            "org.freedesktop.login1.Manager",
            member,
            AnswerTime,
            {}};
}

} // namespace

Logind::Logind(BusConnection& connection) : connection(connection) {}

void Logind::Reboot(const Handler& handler)
{
    BusCall call = MakeCall("Reboot");
    call.write = [](sd_bus_message* message) { return sd_bus_message_append(message, "b", 0); };
    connection.Call(call, [handler](const BusAnswer& answer)
                    { handler(answer.IsOk() ? String() : "logind: " + answer.text); });
}

void Logind::CanReboot(const Handler& handler)
{
    connection.Call(MakeCall("CanReboot"),
                    [handler](const BusAnswer& answer)
                    {
                        handler(
                            answer.IsOk() && answer.text == "yes"
                                ? String()
                                : Format("logind says '{0}' about a restart by this service. Allow it by a "
                                         "polkit rule, or configure a command.",
                                         answer.text));
                    });
}

} // namespace Zel::Host::Service

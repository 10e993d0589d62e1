#include "Rows/PropertyPeer.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

#include <dbus/dbus.h>

namespace Zel::Benchmarks
{

using Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus::DesktopBusManager;
using Tests::Support::BusMessage;
using Tests::Support::BusWriter;

namespace
{

[[nodiscard]] BusMessage MakeSignal()
{
    const auto writeText = [](BusWriter& content) { content.Text("idle"); };
    return BusMessage::Signal(DesktopBusManager::DesktopBusObjectPathRauc,
                              DesktopBusManager::DesktopBusInterfaceProperties, "PropertiesChanged")
        .With(
            [&writeText](BusWriter& arguments)
            {
                arguments.Text(DesktopBusManager::DesktopBusInterfaceRauc);
                arguments.Array("{sv}", [&writeText](BusWriter& entries)
                                { entries.Entry("Operation", "s", writeText); });
                arguments.Array("s", [](BusWriter& /*none*/) {});
            });
}

} // namespace

PropertyPeer::PropertyPeer(const Tests::Support::PrivateBus& bus, unsigned int callsPerSignal)
    : callsPerSignal(callsPerSignal), peer(bus.GetAddress(), DesktopBusManager::DesktopBusDestinationRauc,
                                           [this](const BusMessage& message) { Answer(message); })
{
}

void PropertyPeer::Answer(const BusMessage& message)
{
    if (!dbus_message_is_method_call(message.Get(), DesktopBusManager::DesktopBusInterfaceProperties.c_str(),
                                     "Get"))
    {
        return;
    }
    ++calls;
    if (callsPerSignal != 0 && calls % callsPerSignal == 0)
    {
        peer.Send(MakeSignal());
    }
    peer.Send(message.Return().With(
        [](BusWriter& arguments)
        { arguments.Variant("s", [](BusWriter& content) { content.Text(PropertyText); }); }));
}

} // namespace Zel::Benchmarks

#include "Rows/PropertyPeer.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

namespace Zel::Benchmarks
{

using Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus::DesktopBusManager;

PropertyPeer::PropertyPeer(unsigned int callsPerSignal)
    : callsPerSignal(callsPerSignal), peer(DesktopBusManager::DesktopBusDestinationRauc, lock,
                                           [this](sd_bus_message* message) { Answer(message); })
{
}

void PropertyPeer::Answer(sd_bus_message* message)
{
    const char* const interfaceName = DesktopBusManager::DesktopBusInterfaceProperties.c_str();
    if (sd_bus_message_is_method_call(message, interfaceName, "Get") <= 0)
    {
        return;
    }
    ++calls;
    if (callsPerSignal != 0 && calls % callsPerSignal == 0)
    {
        sd_bus_emit_signal(
            sd_bus_message_get_bus(message), DesktopBusManager::DesktopBusObjectPathRauc.c_str(),
            interfaceName, "PropertiesChanged", "sa{sv}as",
            DesktopBusManager::DesktopBusInterfaceRauc.c_str(), 1, "Operation", "s", "idle", 0);
    }
    sd_bus_reply_method_return(message, "v", "s", PropertyText.c_str());
}

} // namespace Zel::Benchmarks

#pragma once

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// Base of the signals that the connection hands on. Each has static texts `SignalInterface` and `SignalName`
/// and a static `bool Notify(const DesktopBusMessage&)`, which decodes the signal and raises its events.
class DesktopBusSignal
{
public:
    virtual ~DesktopBusSignal() = default;

protected:
    DesktopBusSignal() = default;
    DesktopBusSignal(const DesktopBusSignal&) = default;
    DesktopBusSignal& operator=(const DesktopBusSignal&) = default;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

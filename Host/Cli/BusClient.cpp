#include "Cli/BusClient.h"

#include "Api/SoftwareUpdate1.h"
#include "Cli/AnswerReader.h"
#include "Cli/BusError.h"
#include "Cli/MessageReader.h"
#include "Zel/System/Core/Format.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

const String PropertiesInterface = "org.freedesktop.DBus.Properties";
const String DaemonName = "org.freedesktop.DBus";

} // namespace

BusClient::BusClient(const InterruptSignals& interrupts, bool interactive)
    : connection(interrupts), interactive(interactive)
{
    connection.SetSignalHandler([this](sd_bus_message& signal) { OnSignal(signal); });
}

BusClient::~BusClient() = default;

void BusClient::SetReadLimit(Clock::time_point limit)
{
    readLimit = limit;
}

ServiceDescription BusClient::ReadService()
{
    const BusMessage reply = CallGetAll(Api::ManagerPath, Api::ManagerInterface);
    if (owner.empty())
    {
        const char* const sender = sd_bus_message_get_sender(reply.get());
        owner = sender != nullptr ? sender : Api::BusName;
        SubscribeToOwner();
    }
    return AnswerReader::ReadService(*reply);
}

bool BusClient::WaitForService(Clock::time_point deadline)
{
    owner.clear();
    componentPath.clear();
    appeared = false;
    SubscribeToOwner();
    BusMessage call = connection.NewCall(DaemonName, "/org/freedesktop/DBus", DaemonName, "NameHasOwner");
    ClientConnection::Check(sd_bus_message_append(call.get(), "s", Api::BusName.c_str()));
    const BusMessage reply = connection.Call(std::move(call), GetReadDeadline());
    int owned = 0;
    MessageReader::Check(sd_bus_message_read(reply.get(), "b", &owned));
    appeared = appeared || owned != 0;
    while (!appeared)
    {
        if (!connection.WaitForMessage(deadline))
        {
            return false;
        }
    }
    return true;
}

void BusClient::Select(const String& id)
{
    componentPath = AnswerReader::ToPath(id);
    state = ComponentState();
    connection.Subscribe(
        Format("type='signal',sender='{0}',path='{1}',interface='{2}',member='PropertiesChanged'", owner,
               componentPath, PropertiesInterface),
        GetReadDeadline());
    Refresh();
}

void BusClient::Refresh()
{
    stale = false;
    const BusMessage reply = CallGetAll(componentPath, Api::ComponentInterface);
    AnswerReader::ReadProperties(*reply, state);
    NotifyChange();
}

void BusClient::SetChangeHandler(ChangeHandler handler)
{
    changeHandler = std::move(handler);
}

String BusClient::Stage(int descriptor)
{
    const BusMessage reply = CallWithBundle("Stage", descriptor);
    return MessageReader::ReadText(*reply);
}

BundleInspection BusClient::Inspect(int descriptor)
{
    const BusMessage reply = CallWithBundle("Inspect", descriptor);
    return AnswerReader::ReadInspection(*reply);
}

std::vector<PastInstallation> BusClient::ReadHistory(std::uint32_t limit)
{
    BusMessage call = NewComponentCall("History");
    ClientConnection::Check(sd_bus_message_append(call.get(), "u", limit));
    const BusMessage reply = connection.Call(std::move(call), GetReadDeadline());
    return AnswerReader::ReadHistory(*reply);
}

void BusClient::Install(const String& version, bool fallback, std::chrono::milliseconds delay)
{
    BusMessage call = NewComponentCall("Install");
    ClientConnection::Check(sd_bus_message_append(call.get(), "s", version.c_str()));
    ClientConnection::Check(sd_bus_message_open_container(call.get(), SD_BUS_TYPE_ARRAY, "{sv}"));
    if (fallback)
    {
        ClientConnection::Check(sd_bus_message_append(call.get(), "{sv}", "fallback", "b", 1));
    }
    if (delay.count() > 0)
    {
        const auto milliseconds = static_cast<std::uint64_t>(delay.count());
        ClientConnection::Check(sd_bus_message_append(call.get(), "{sv}", "delay", "t", milliseconds));
    }
    ClientConnection::Check(sd_bus_message_close_container(call.get()));
    static_cast<void>(connection.Call(std::move(call), ClientConnection::Forever));
}

void BusClient::TryInstall()
{
    try
    {
        Install("", false, std::chrono::milliseconds::max());
    }
    catch (const BusError& error)
    {
        if (error.GetName() != BusError::InvalidArgument)
        {
            throw;
        }
    }
}

void BusClient::Cancel()
{
    CallPlain("Cancel");
}

void BusClient::Revert()
{
    CallPlain("Revert");
}

void BusClient::Resume()
{
    CallPlain("Resume");
}

bool BusClient::WaitForMessage(Clock::time_point deadline)
{
    const bool arrived = connection.WaitForMessage(deadline);
    if (stale)
    {
        Refresh();
    }
    return arrived;
}

BusClient::Clock::time_point BusClient::GetReadDeadline() const
{
    // Reading is answered from the service's memory; longer means that it hangs, or is being started.
    return std::min(readLimit, Clock::now() + std::chrono::seconds(25));
}

BusMessage BusClient::NewComponentCall(const String& member)
{
    BusMessage call = connection.NewCall(owner, componentPath, Api::ComponentInterface, member);
    ClientConnection::Check(
        sd_bus_message_set_allow_interactive_authorization(call.get(), interactive ? 1 : 0));
    return call;
}

BusMessage BusClient::CallWithBundle(const String& member, int descriptor)
{
    BusMessage call = NewComponentCall(member);
    ClientConnection::Check(sd_bus_message_append(call.get(), "ha{sv}", descriptor, 0));
    return connection.Call(std::move(call), ClientConnection::Forever);
}

void BusClient::CallPlain(const String& member)
{
    static_cast<void>(connection.Call(NewComponentCall(member), ClientConnection::Forever));
}

BusMessage BusClient::CallGetAll(const String& path, const String& interface)
{
    // The first call goes to the well-known name, which starts the service where the bus can do that.
    BusMessage call =
        connection.NewCall(owner.empty() ? Api::BusName : owner, path, PropertiesInterface, "GetAll");
    ClientConnection::Check(sd_bus_message_append(call.get(), "s", interface.c_str()));
    return connection.Call(std::move(call), GetReadDeadline());
}

void BusClient::SubscribeToOwner()
{
    if (std::exchange(ownerWatched, true))
    {
        return;
    }
    connection.Subscribe(
        Format("type='signal',sender='{0}',interface='{0}',member='NameOwnerChanged',arg0='{1}'", DaemonName,
               Api::BusName),
        GetReadDeadline());
}

void BusClient::OnSignal(sd_bus_message& signal)
{
    const char* const sender = sd_bus_message_get_sender(&signal);
    if (sender == nullptr)
    {
        return;
    }
    // A message that is sent to this connection alone passes the match rules: look at the sender again.
    if (sender == DaemonName && sd_bus_message_is_signal(&signal, DaemonName.c_str(), "NameOwnerChanged") > 0)
    {
        OnNameOwnerChanged(signal);
    }
    const char* const path = sd_bus_message_get_path(&signal);
    if (sender == owner && path != nullptr && path == componentPath &&
        sd_bus_message_is_signal(&signal, PropertiesInterface.c_str(), "PropertiesChanged") > 0)
    {
        OnPropertiesChanged(signal);
    }
}

void BusClient::OnPropertiesChanged(sd_bus_message& signal)
{
    if (MessageReader::ReadText(signal) != Api::ComponentInterface)
    {
        return;
    }
    AnswerReader::ReadProperties(signal, state);
    ClientConnection::Check(sd_bus_message_enter_container(&signal, SD_BUS_TYPE_ARRAY, "s"));
    stale = stale || sd_bus_message_at_end(&signal, 0) == 0;
    NotifyChange();
}

void BusClient::NotifyChange() const
{
    if (changeHandler)
    {
        changeHandler(state);
    }
}

void BusClient::OnNameOwnerChanged(sd_bus_message& signal)
{
    const char* name = nullptr;
    const char* earlier = nullptr;
    const char* later = nullptr;
    ClientConnection::Check(sd_bus_message_read(&signal, "sss", &name, &earlier, &later));
    appeared = appeared || (name == Api::BusName && *later != '\0');
    if (name == Api::BusName && !owner.empty() && earlier == owner)
    {
        owner.clear();
        throw BusError(BusError::NameHasNoOwner, "the update service has gone");
    }
}

} // namespace Zel::Host::Cli

#include "Service/BusApi.h"

#include "Service/BusRequest.h"
#include "Service/SystemCall.h"

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <utility>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using System::Commons::Diagnostics::Logging::EscapeControlCharacters;

namespace
{

using Published = BusApi::Published;

const ComponentSnapshot& GetSnapshot(void* published)
{
    return static_cast<Published*>(published)->component->GetSnapshot();
}

const char* GetStateName(InstallationState state)
{
    switch (state)
    {
    case InstallationState::Idle:
        return "idle";
    case InstallationState::Installing:
        return "installing";
    case InstallationState::Failed:
        return "failed";
    }
    return "";
}

/// A property whose value `Append` writes; it returns a negated errno on failure.
template <int (*Append)(sd_bus_message* reply, void* object)>
int GetProperty(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* /*property*/,
                sd_bus_message* reply, void* object, sd_bus_error* /*error*/)
{
    return Append(reply, object);
}

template <String ComponentSnapshot::*Member>
int AppendText(sd_bus_message* reply, void* object)
{
    return sd_bus_message_append(reply, "s", (GetSnapshot(object).*Member).c_str());
}

int AppendId(sd_bus_message* reply, void* object)
{
    const Component& component = *static_cast<Published*>(object)->component;
    return sd_bus_message_append(reply, "s", EscapeControlCharacters(component.GetId()).c_str());
}

int AppendBootId(sd_bus_message* reply, void* object)
{
    return sd_bus_message_append(reply, "s", static_cast<Published*>(object)->bootId.c_str());
}

int AppendState(sd_bus_message* reply, void* object)
{
    return sd_bus_message_append(reply, "s", GetStateName(GetSnapshot(object).state));
}

int AppendProgress(sd_bus_message* reply, void* object)
{
    const ComponentSnapshot& snapshot = GetSnapshot(object);
    // The module does not tell how deep the step is nested.
    return sd_bus_message_append(reply, "(isi)", snapshot.progress, snapshot.progressText.c_str(), 0);
}

int AppendRevertible(sd_bus_message* reply, void* object)
{
    return sd_bus_message_append(reply, "b", static_cast<int>(GetSnapshot(object).revertible));
}

int AppendLastVerdict(sd_bus_message* reply, void* object)
{
    const Verdict& verdict = GetSnapshot(object).lastVerdict;
    const char* outcome = verdict.succeeded ? "succeeded" : "failed";
    return sd_bus_message_append(reply, "(ssst)", verdict.time == 0 ? "" : outcome, verdict.version.c_str(),
                                 verdict.reason.c_str(), static_cast<std::uint64_t>(verdict.time));
}

int AppendNextStart(sd_bus_message* reply, void* object)
{
    return sd_bus_message_append(reply, "t", static_cast<std::uint64_t>(GetSnapshot(object).nextStart));
}

int AppendVersion(sd_bus_message* reply, void* object)
{
    return sd_bus_message_append(reply, "s", static_cast<BusApi::Content*>(object)->version.c_str());
}

int AppendModules(sd_bus_message* reply, void* object)
{
    int result = sd_bus_message_open_container(reply, SD_BUS_TYPE_ARRAY, "s");
    for (const String& name : static_cast<BusApi::Content*>(object)->modules)
    {
        result = result < 0 ? result : sd_bus_message_append(reply, "s", name.c_str());
    }
    return result < 0 ? result : sd_bus_message_close_container(reply);
}

int AppendComponents(sd_bus_message* reply, void* object)
{
    int result = sd_bus_message_open_container(reply, SD_BUS_TYPE_ARRAY, "o");
    for (const Component* component : static_cast<BusApi::Content*>(object)->components)
    {
        const String path = BusApi::GetPath(component->GetId());
        result = result < 0 ? result : sd_bus_message_append(reply, "o", path.c_str());
    }
    return result < 0 ? result : sd_bus_message_close_container(reply);
}

void Stage(const BusRequest& request, Component& component)
{
    auto bundle = request.ReadDescriptor();
    request.ReadNoOptions();
    component.Stage(std::move(bundle), request.GetCaller(), request.Reply(true));
}

void Install(const BusRequest& request, Component& component)
{
    InstallRequest installation;
    installation.version = request.ReadText();
    request.ReadInstallOptions(installation);
    component.Install(installation, request.GetCaller(), request.Reply(false));
}

void Revert(const BusRequest& request, Component& component)
{
    component.Revert(request.GetCaller(), request.Reply(false));
}

void Resume(const BusRequest& request, Component& component)
{
    component.Resume(request.GetCaller(), request.Reply(false));
}

/// A method that `Carry` begins to carry out; the answer follows later.
template <void (*Carry)(const BusRequest& request, Component& component)>
int OnMethod(sd_bus_message* message, void* object, sd_bus_error* error)
{
    try
    {
        Carry(BusRequest(message), *static_cast<Published*>(object)->component);
        return 1;
    }
    catch (const BusRequestException& exception)
    {
        return sd_bus_error_set(error, exception.GetName(), exception.what());
    }
    catch (const std::exception& exception)
    {
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, exception.what());
    }
}

// Whether the caller may is decided by the handlers, not by capabilities as without this flag.
constexpr std::uint64_t Open = SD_BUS_VTABLE_UNPRIVILEGED;
constexpr std::uint64_t Emits = SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE;

const sd_bus_vtable ManagerTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Version", "s", GetProperty<AppendVersion>, 0, Emits),
    SD_BUS_PROPERTY("Modules", "as", GetProperty<AppendModules>, 0, Emits),
    SD_BUS_PROPERTY("Components", "ao", GetProperty<AppendComponents>, 0, Emits),
    SD_BUS_VTABLE_END,
};

const sd_bus_vtable ComponentTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("Stage", "ha{sv}", SD_BUS_PARAM(bundle) SD_BUS_PARAM(options), "s",
                             SD_BUS_PARAM(version), OnMethod<Stage>, Open),
    SD_BUS_METHOD_WITH_NAMES("Install", "sa{sv}", SD_BUS_PARAM(version) SD_BUS_PARAM(options), "", "",
                             OnMethod<Install>, Open),
    SD_BUS_METHOD("Revert", "", "", OnMethod<Revert>, Open),
    SD_BUS_METHOD("Resume", "", "", OnMethod<Resume>, Open),
    SD_BUS_PROPERTY("Id", "s", GetProperty<AppendId>, 0, Emits),
    SD_BUS_PROPERTY("State", "s", GetProperty<AppendState>, 0, Emits),
    SD_BUS_PROPERTY("Message", "s", GetProperty<AppendText<&ComponentSnapshot::message>>, 0, Emits),
    SD_BUS_PROPERTY("Progress", "(isi)", GetProperty<AppendProgress>, 0, Emits),
    SD_BUS_PROPERTY("Revertible", "b", GetProperty<AppendRevertible>, 0, Emits),
    SD_BUS_PROPERTY("CurrentVersion", "s", GetProperty<AppendText<&ComponentSnapshot::currentVersion>>, 0,
                    Emits),
    SD_BUS_PROPERTY("PendingVersion", "s", GetProperty<AppendText<&ComponentSnapshot::pendingVersion>>, 0,
                    Emits),
    SD_BUS_PROPERTY("FallbackVersion", "s", GetProperty<AppendText<&ComponentSnapshot::fallbackVersion>>, 0,
                    Emits),
    SD_BUS_PROPERTY("BootId", "s", GetProperty<AppendBootId>, 0, Emits),
    SD_BUS_PROPERTY("LastVerdict", "(ssst)", GetProperty<AppendLastVerdict>, 0, Emits),
    SD_BUS_PROPERTY("NextStart", "t", GetProperty<AppendNextStart>, 0, Emits),
    SD_BUS_VTABLE_END,
};

void Announce(sd_bus* bus, const Published& published, const std::vector<String>& properties)
{
    std::vector<char*> names;
    names.reserve(properties.size() + 1);
    for (const String& property : properties)
    {
        names.push_back(const_cast<char*>(property.c_str()));
    }
    names.push_back(nullptr);
    // A bus that is gone has nobody who listens.
    static_cast<void>(sd_bus_emit_properties_changed_strv(bus, published.path.c_str(),
                                                          BusApi::ComponentInterface.c_str(), names.data()));
}

} // namespace

void BusApi::Unreference::operator()(sd_bus_slot* slot) const noexcept
{
    sd_bus_slot_unref(slot);
}

BusApi::BusApi(BusConnection& connection, Content content)
    : connection(connection), content(std::move(content))
{
    PublishManager();
    for (Component* component : this->content.components)
    {
        Publish(*component);
    }
    connection.RequestName(BusName);
}

BusApi::~BusApi()
{
    for (const auto& entry : published)
    {
        entry->component->SetChangeHandler({});
    }
}

void BusApi::PublishManager()
{
    sd_bus_slot* slot = nullptr;
    CheckSystemCall(sd_bus_add_object_vtable(connection.Get(), &slot, ManagerPath.c_str(),
                                             ManagerInterface.c_str(), ManagerTable,
                                             const_cast<Content*>(&content)),
                    "publish the manager");
    slots.emplace_back(slot);
}

void BusApi::Publish(Component& component)
{
    published.push_back(
        std::make_unique<Published>(Published{&component, GetPath(component.GetId()), content.bootId}));
    Published& entry = *published.back();
    sd_bus_slot* slot = nullptr;
    CheckSystemCall(sd_bus_add_object_vtable(connection.Get(), &slot, entry.path.c_str(),
                                             ComponentInterface.c_str(), ComponentTable, &entry),
                    "publish a component");
    slots.emplace_back(slot);
    component.SetChangeHandler([bus = connection.Get(), &entry](const std::vector<String>& properties)
                               { Announce(bus, entry, properties); });
}

String BusApi::GetPath(const String& componentId)
{
    char* encoded = nullptr;
    CheckSystemCall(sd_bus_path_encode(ComponentPrefix.c_str(), componentId.c_str(), &encoded),
                    "encode an object path");
    const std::unique_ptr<char, decltype(&std::free)> owner(encoded, std::free);
    return encoded;
}

} // namespace Zel::Host::Service

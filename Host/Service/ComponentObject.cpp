#include "Service/ComponentObject.h"

#include "Api/SoftwareUpdate1.h"
#include "Service/BusProperty.h"
#include "Service/BusRequest.h"
#include "Service/ComponentAnswers.h"
#include "Service/SystemCall.h"

#include <cstdlib>
#include <utility>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using System::Commons::Diagnostics::Logging::EscapeControlCharacters;

namespace
{

const ComponentSnapshot& GetSnapshot(void* object)
{
    return static_cast<ComponentObject*>(object)->GetComponent().GetSnapshot();
}

const char* GetStateName(InstallationState state)
{
    switch (state)
    {
    case InstallationState::Idle:
        return Api::State::Idle.c_str();
    case InstallationState::Installing:
        return Api::State::Installing.c_str();
    case InstallationState::Failed:
        return Api::State::Failed.c_str();
    }
    return "";
}

template <String ComponentSnapshot::*Member>
int AppendText(sd_bus_message* reply, void* object)
{
    return sd_bus_message_append(reply, "s", (GetSnapshot(object).*Member).c_str());
}

template <std::int64_t ComponentSnapshot::*Member>
int AppendTime(sd_bus_message* reply, void* object)
{
    return sd_bus_message_append(reply, "t", static_cast<std::uint64_t>(GetSnapshot(object).*Member));
}

int AppendId(sd_bus_message* reply, void* object)
{
    const Component& component = static_cast<ComponentObject*>(object)->GetComponent();
    return sd_bus_message_append(reply, "s", EscapeControlCharacters(component.GetId()).c_str());
}

int AppendBootId(sd_bus_message* reply, void* object)
{
    return sd_bus_message_append(reply, "s", static_cast<ComponentObject*>(object)->GetBootId().c_str());
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
    return sd_bus_message_append(reply, "(ssst)", verdict.result.c_str(), verdict.version.c_str(),
                                 verdict.reason.c_str(), static_cast<std::uint64_t>(verdict.time));
}

/// Answers with nothing but the result.
Completion Answer(const BusRequest& request)
{
    return [request](const RequestResult& result) { request.Answer(result); };
}

void Stage(const BusRequest& request, Component& component)
{
    auto bundle = request.ReadDescriptor();
    request.ReadNoOptions();
    component.Stage(std::move(bundle), request.GetCaller(),
                    [request](const RequestResult& result)
                    {
                        const String version = EscapeControlCharacters(result.text);
                        request.Answer(result, [&version](sd_bus_message* answer)
                                       { return sd_bus_message_append(answer, "s", version.c_str()); });
                    });
}

void Install(const BusRequest& request, Component& component)
{
    InstallRequest installation;
    installation.version = request.ReadText();
    request.ReadInstallOptions(installation);
    component.Install(installation, request.GetCaller(), Answer(request));
}

void Cancel(const BusRequest& request, Component& component)
{
    component.Cancel(request.GetCaller(), Answer(request));
}

void Revert(const BusRequest& request, Component& component)
{
    component.Revert(request.GetCaller(), Answer(request));
}

void Resume(const BusRequest& request, Component& component)
{
    component.Resume(request.GetCaller(), Answer(request));
}

void Inspect(const BusRequest& request, Component& component)
{
    auto bundle = request.ReadDescriptor();
    request.ReadNoOptions();
    component.Inspect(std::move(bundle), request.GetCaller(),
                      [request](const RequestResult& result, const Inspection& inspection)
                      {
                          request.Answer(result, [&inspection](sd_bus_message* answer)
                                         { return ComponentAnswers::Append(answer, inspection); });
                      });
}

/// Runs `task`, which may throw `BusRequestException`, for a call that is answered by it otherwise.
template <typename Task>
void Carry(const BusRequest& request, const Task& task)
{
    try
    {
        task();
    }
    catch (const BusRequestException& exception)
    {
        request.Refuse(exception.GetName(), exception.GetMessage());
    }
    catch (const std::exception& exception)
    {
        request.Refuse(SD_BUS_ERROR_FAILED, exception.what());
    }
}

/// Makes a handler of libsystemd's of one that gets a request and throws as `Carry` takes it.
template <void (*Handle)(const BusRequest& request, ComponentObject& object)>
int OnCall(sd_bus_message* message, void* object, sd_bus_error* error)
{
    try
    {
        const BusRequest request(message);
        Carry(request, [&] { Handle(request, *static_cast<ComponentObject*>(object)); });
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

/// A method that changes something, once that is authorized; the answer follows later.
template <void (*Change)(const BusRequest& request, Component& component)>
void Authorized(const BusRequest& request, ComponentObject& object)
{
    object.GetAuthorizer().Check(request.GetSender(), ToLower(request.GetMember()),
                                 [request, &object](const String& refusal)
                                 {
                                     if (!refusal.empty())
                                     {
                                         request.Refuse(SD_BUS_ERROR_ACCESS_DENIED, refusal);
                                         return;
                                     }
                                     Carry(request, [&] { Change(request, object.GetComponent()); });
                                 });
}

void History(const BusRequest& request, ComponentObject& object)
{
    const auto entries = object.GetComponent().GetHistory(request.ReadNumber());
    request.Answer(RequestResult::Done(),
                   [&entries](sd_bus_message* answer) { return ComponentAnswers::Append(answer, entries); });
}

// Whether the caller may is decided by the handlers, not by capabilities as without this flag.
constexpr std::uint64_t Open = SD_BUS_VTABLE_UNPRIVILEGED;
constexpr std::uint64_t Emits = SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE;

const sd_bus_vtable Table[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("Stage", "ha{sv}", SD_BUS_PARAM(bundle) SD_BUS_PARAM(options), "s",
                             SD_BUS_PARAM(version), OnCall<Authorized<Stage>>, Open),
    SD_BUS_METHOD_WITH_NAMES("Install", "sa{sv}", SD_BUS_PARAM(version) SD_BUS_PARAM(options), "", "",
                             OnCall<Authorized<Install>>, Open),
    SD_BUS_METHOD("Cancel", "", "", OnCall<Authorized<Cancel>>, Open),
    SD_BUS_METHOD("Revert", "", "", OnCall<Authorized<Revert>>, Open),
    SD_BUS_METHOD("Resume", "", "", OnCall<Authorized<Resume>>, Open),
    SD_BUS_METHOD_WITH_NAMES("Inspect", "ha{sv}", SD_BUS_PARAM(bundle) SD_BUS_PARAM(options), "a{sv}",
                             SD_BUS_PARAM(information), OnCall<Authorized<Inspect>>, Open),
    SD_BUS_METHOD_WITH_NAMES("History", "u", SD_BUS_PARAM(limit), "aa{sv}", SD_BUS_PARAM(entries),
                             OnCall<History>, Open),
    SD_BUS_PROPERTY("Id", "s", GetBusProperty<AppendId>, 0, Emits),
    SD_BUS_PROPERTY("State", "s", GetBusProperty<AppendState>, 0, Emits),
    SD_BUS_PROPERTY("Activity", "s", GetBusProperty<AppendText<&ComponentSnapshot::activity>>, 0, Emits),
    SD_BUS_PROPERTY("Message", "s", GetBusProperty<AppendText<&ComponentSnapshot::message>>, 0, Emits),
    SD_BUS_PROPERTY("Progress", "(isi)", GetBusProperty<AppendProgress>, 0, Emits),
    SD_BUS_PROPERTY("Revertible", "b", GetBusProperty<AppendRevertible>, 0, Emits),
    SD_BUS_PROPERTY("CurrentVersion", "s", GetBusProperty<AppendText<&ComponentSnapshot::currentVersion>>, 0,
                    Emits),
    SD_BUS_PROPERTY("PendingVersion", "s", GetBusProperty<AppendText<&ComponentSnapshot::pendingVersion>>, 0,
                    Emits),
    SD_BUS_PROPERTY("FallbackVersion", "s", GetBusProperty<AppendText<&ComponentSnapshot::fallbackVersion>>,
                    0, Emits),
    SD_BUS_PROPERTY("VersionsTime", "t", GetBusProperty<AppendTime<&ComponentSnapshot::versionsTime>>, 0,
                    Emits),
    SD_BUS_PROPERTY("BootId", "s", GetBusProperty<AppendBootId>, 0, Emits),
    SD_BUS_PROPERTY("LastVerdict", "(ssst)", GetBusProperty<AppendLastVerdict>, 0, Emits),
    SD_BUS_PROPERTY("NextStart", "t", GetBusProperty<AppendTime<&ComponentSnapshot::nextStart>>, 0, Emits),
    SD_BUS_SIGNAL_WITH_NAMES("Finished", "sss",
                             SD_BUS_PARAM(result) SD_BUS_PARAM(version) SD_BUS_PARAM(reason), 0),
    SD_BUS_VTABLE_END,
};

} // namespace

ComponentObject::ComponentObject(BusConnection& connection, Component& component, Authorizer& authorizer,
                                 String bootId)
    : connection(connection), component(component), authorizer(authorizer), bootId(std::move(bootId)),
      path(GetPath(component.GetId()))
{
    sd_bus_slot* added = nullptr;
    CheckSystemCall(sd_bus_add_object_vtable(connection.Get(), &added, path.c_str(),
                                             Api::ComponentInterface.c_str(), Table, this),
                    "publish a component");
    slot.reset(added);
    component.GetView().SetChangeHandler([this](const std::vector<String>& properties)
                                         { Announce(properties); });
    component.GetView().SetVerdictHandler([this](const Verdict& verdict) { TellVerdict(verdict); });
}

ComponentObject::~ComponentObject()
{
    component.GetView().SetChangeHandler({});
    component.GetView().SetVerdictHandler({});
}

void ComponentObject::Announce(const std::vector<String>& properties) const
{
    std::vector<char*> names;
    names.reserve(properties.size() + 1);
    for (const String& property : properties)
    {
        names.push_back(const_cast<char*>(property.c_str()));
    }
    names.push_back(nullptr);
    // A bus that is gone has nobody who listens.
    static_cast<void>(sd_bus_emit_properties_changed_strv(connection.Get(), path.c_str(),
                                                          Api::ComponentInterface.c_str(), names.data()));
}

void ComponentObject::TellVerdict(const Verdict& verdict) const
{
    static_cast<void>(sd_bus_emit_signal(connection.Get(), path.c_str(), Api::ComponentInterface.c_str(),
                                         "Finished", "sss", verdict.result.c_str(), verdict.version.c_str(),
                                         verdict.reason.c_str()));
}

String ComponentObject::GetPath(const String& componentId)
{
    char* encoded = nullptr;
    CheckSystemCall(sd_bus_path_encode(Api::ComponentPathPrefix.c_str(), componentId.c_str(), &encoded),
                    "encode an object path");
    const std::unique_ptr<char, decltype(&std::free)> owner(encoded, std::free);
    return encoded;
}

} // namespace Zel::Host::Service
